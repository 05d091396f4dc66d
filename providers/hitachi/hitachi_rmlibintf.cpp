#include "hitachi_rmlibintf.h"

#include <cstring>

#include "cfiloader.h"
#include "hitachi_exception.h"
#include "hitachi_trace.h"

using namespace frim_pdk_4_4;

namespace {

typedef int (*attachcmddev_fn)(cmddevinfo*, char*, int);
typedef int (*detachcmddev_fn)(cmddevinfo*);
typedef int (*pairvolstat_fn)(cmddevinfo*, targdev*, pairstatinfo*);
typedef int (*pairsplit_fn)(cmddevinfo*, targdev*, int, int);
typedef int (*pairresync_fn)(cmddevinfo*, targdev*, int, int);
typedef int (*getldev_fn)(cmddevinfo*, targdev*);
typedef int (*getrminfo_fn)(cmddevinfo*, int, int, int, rminfo*);
typedef char* (*getrmerrmsg_fn)(cmddevinfo*);
typedef int (*getrmver_fn)(int*);
typedef int (*getdkclimit_fn)(cmddevinfo*, dkc_limit*);
typedef int (*getfmtmsg_fn)(cmddevinfo*, char*);

const char kLibraryPath[] = "/usr/lib/libsvrrm.so";
const size_t kFmtMsgSize = 2048;

// Throws the "symbol empty" exception for the wrapper of `api`.
[[noreturn]] void symbolEmpty(const char* api, const char* file, int line) {
  HITACHI_TRACE(FI_TRACE_WARNING, "symbol empty");
  CHitachiException e;
  e.m_kind = HITACHI_EXC_SYMBOL;
  e.m_errorNumber = 0;
  e.m_reason = "symbol empty";
  e.m_apiName = api;
  e.m_file = file;
  e.m_line = line;
  throw e;
}

void traceAddress(const targdev* targ) {
  HITACHI_TRACE(FI_TRACE_FLOW, "Port     :0x%x\t TargetID :0x%x\t Lun      :0x%x\t Mun      :0x%x",
                targ->port, targ->targid, targ->lun, targ->mun);
}

}  // namespace

// The process-wide function pointers, null until looked up.
static attachcmddev_fn p_attachcmddev = nullptr;
static detachcmddev_fn p_detachcmddev = nullptr;
static pairvolstat_fn p_pairvolstat = nullptr;
static pairsplit_fn p_pairsplit = nullptr;
static pairresync_fn p_pairresync = nullptr;
static getldev_fn p_getldev = nullptr;
static getrminfo_fn p_getrminfo = nullptr;
static getrmerrmsg_fn p_getrmerrmsg = nullptr;
static getrmver_fn p_getrmver = nullptr;
static getdkclimit_fn p_getdkclimit = nullptr;
static getfmtmsg_fn p_getfmtmsg = nullptr;

SSvrrmSymbol svrrm_symbols[] = {
    {3, "attachcmddev", reinterpret_cast<void**>(&p_attachcmddev)},
    {3, "detachcmddev", reinterpret_cast<void**>(&p_detachcmddev)},
    {3, "pairvolstat", reinterpret_cast<void**>(&p_pairvolstat)},
    {3, "pairsplit", reinterpret_cast<void**>(&p_pairsplit)},
    {3, "pairresync", reinterpret_cast<void**>(&p_pairresync)},
    {3, "getldev", reinterpret_cast<void**>(&p_getldev)},
    {3, "getrminfo", reinterpret_cast<void**>(&p_getrminfo)},
    {3, "getrmerrmsg", reinterpret_cast<void**>(&p_getrmerrmsg)},
    {3, "getrmver", reinterpret_cast<void**>(&p_getrmver)},
    {2, "getdkclimit", reinterpret_cast<void**>(&p_getdkclimit)},
    {3, "getfmtmsg", reinterpret_cast<void**>(&p_getfmtmsg)},
    {0, nullptr, nullptr},
};

CHitachiCommandIntf::~CHitachiCommandIntf() {
  if (m_initialized) fini();
}

int CHitachiCommandIntf::init() {
  HITACHI_TRACE_FUNCTION("CHitachiCommandIntf::init");
  HITACHI_TRACE(FI_TRACE_DETAIL, "CHitachiCommandIntf::init(): Initializing symbols from library %s.",
                kLibraryPath);
  // Kept: a second init opens the library a second time.
  m_handle = frim_dlopen_lib(kLibraryPath);
  if (m_handle == nullptr) {
    HITACHI_TRACE(FI_TRACE_ERROR, "CHitachiCommandIntf::init() : Error in dlopen of %s : %s", kLibraryPath,
                  frim_dlerror());
    return -1;
  }
  int rc = resolveSvrrmSymbols(2);
  // Kept: a failed resolve leaves the library open and the flag clear.
  if (rc == 0) m_initialized = true;
  return rc;
}

int CHitachiCommandIntf::resolveSvrrmSymbols(int mask) {
  for (SSvrrmSymbol* row = svrrm_symbols; row->name != nullptr; ++row) {
    if ((row->mask & mask) == 0) continue;
    *row->address = frim_dlsym(m_handle, row->name);
    if (*row->address == nullptr) {
      HITACHI_TRACE(FI_TRACE_WARNING,
                    " resolveSvrrmSymbols(): Error in dlsym for symbol %s with masking %d. err msg %s.",
                    row->name, row->mask, frim_dlerror());
      if (row->mask & 1) return -1;
    }
  }
  return 0;
}

int CHitachiCommandIntf::fini() {
  if (m_initialized) {
    if (m_handle != nullptr) {
      frim_dlclose(m_handle);
      m_handle = nullptr;
    }
    for (SSvrrmSymbol* row = svrrm_symbols; row->name != nullptr; ++row) *row->address = nullptr;
    m_initialized = false;
  }
  return 0;
}

int CHitachiCommandIntf::getVersion(int* version) { return ShadowImage_call_getrmver(version); }

int CHitachiCommandIntf::ShadowImage_call_attachcmddev(cmddevinfo* info, char* cmddev, int instance) {
  HITACHI_TRACE(FI_TRACE_FLOW, "Calling attachcmddev params : cmddev [%s] inst [%d]", cmddev ? cmddev : "",
                instance);
  if (p_attachcmddev == nullptr) symbolEmpty("attachcmddev", __FILE__, __LINE__);
  return p_attachcmddev(info, cmddev, instance);
}

int CHitachiCommandIntf::ShadowImage_call_detachcmddev(cmddevinfo* info) {
  HITACHI_TRACE(FI_TRACE_FLOW, "Calling detachcmddev ");
  if (p_detachcmddev == nullptr) symbolEmpty("detachcmddev", __FILE__, __LINE__);
  return p_detachcmddev(info);
}

int CHitachiCommandIntf::ShadowImage_call_getldev(cmddevinfo* info, targdev* targ) {
  HITACHI_TRACE(FI_TRACE_FLOW, "Calling getldev");
  if (p_getldev == nullptr) symbolEmpty("getldev", __FILE__, __LINE__);
  return p_getldev(info, targ);
}

int CHitachiCommandIntf::ShadowImage_call_getrminfo(cmddevinfo* info, int ope, int ldev, int port,
                                                    rminfo* out) {
  HITACHI_TRACE(FI_TRACE_FLOW, "Calling getrminfo with params ope = %d, ldev = %d, port = %d", ope, ldev,
                port);
  if (p_getrminfo == nullptr) symbolEmpty("getrminfo", __FILE__, __LINE__);
  return p_getrminfo(info, ope, ldev, port, out);
}

int CHitachiCommandIntf::ShadowImage_call_getdkclimit(cmddevinfo* info, dkc_limit* out) {
  HITACHI_TRACE(FI_TRACE_FLOW, "Calling getdkclimit");
  if (p_getdkclimit == nullptr) symbolEmpty("getdkclimit", __FILE__, __LINE__);
  return p_getdkclimit(info, out);
}

int CHitachiCommandIntf::ShadowImage_call_pairvolstat(cmddevinfo* info, targdev* targ, pairstatinfo* out) {
  HITACHI_TRACE(FI_TRACE_FLOW, "Calling pairvolstat params :");
  traceAddress(targ);
  if (p_pairvolstat == nullptr) symbolEmpty("pairvolstat", __FILE__, __LINE__);
  return p_pairvolstat(info, targ, out);
}

int CHitachiCommandIntf::ShadowImage_call_pairsplit(cmddevinfo* info, targdev* targ, int sopt, int csize) {
  HITACHI_TRACE(FI_TRACE_FLOW, "Calling pairsplit params : sopt [%d] csize [%d]", sopt, csize);
  traceAddress(targ);
  if (p_pairsplit == nullptr) symbolEmpty("pairsplit", __FILE__, __LINE__);
  return p_pairsplit(info, targ, sopt, csize);
}

int CHitachiCommandIntf::ShadowImage_call_pairresync(cmddevinfo* info, targdev* targ, int ropt, int csize) {
  HITACHI_TRACE(FI_TRACE_FLOW, "Calling pairresync params : ropt [%d] csize [%d]", ropt, csize);
  traceAddress(targ);
  if (p_pairresync == nullptr) symbolEmpty("pairresync", __FILE__, __LINE__);
  return p_pairresync(info, targ, ropt, csize);
}

int CHitachiCommandIntf::ShadowImage_call_getrmver(int* version) {
  HITACHI_TRACE(FI_TRACE_FLOW, "Calling getrmver");
  if (p_getrmver == nullptr) symbolEmpty("getrmver", __FILE__, __LINE__);
  return p_getrmver(version);
}

char* CHitachiCommandIntf::ShadowImage_call_getrmerrmsg(cmddevinfo* info) {
  if (p_getrmerrmsg == nullptr) symbolEmpty("getrmerrmsg", __FILE__, __LINE__);
  return p_getrmerrmsg(info);
}

std::string CHitachiCommandIntf::ShadowImage_call_getfmtmsg(cmddevinfo* info) {
  if (p_getfmtmsg == nullptr) symbolEmpty("getfmtmsg", __FILE__, __LINE__);
  char buffer[kFmtMsgSize];
  std::memset(buffer, 0, sizeof buffer);
  int rc = p_getfmtmsg(info, buffer);
  // Kept: a warning on every call, whatever the result.
  HITACHI_TRACE(FI_TRACE_WARNING, "getfmtmsg returned with error : [%d]", rc);
  buffer[kFmtMsgSize - 1] = '\0';
  if (rc != 0 && buffer[0] == '\0') return "getfmtmsg failed with error " + std::to_string(rc);
  return buffer;
}

void CHitachiCommandIntf::reportFailure(cmddevinfo* info, const char* failedLine, int error, const char* api,
                                        int kind, const char* file, int line, bool nullGuard) {
  HITACHI_TRACE(FI_TRACE_ERROR, "%s", failedLine);
  const char* text = ShadowImage_call_getrmerrmsg(info);
  HITACHI_TRACE(FI_TRACE_ERROR, "operation failed with error number '%d' with message '%s'.", error,
                text ? text : (nullGuard ? "NULL" : ""));
  std::string formatted = ShadowImage_call_getfmtmsg(info);
  HITACHI_TRACE(FI_TRACE_FLOW, "format msg : '%s'", formatted.c_str());
  CHitachiException e;
  e.m_kind = kind;
  e.m_errorNumber = error;
  const char* reason = ShadowImage_call_getrmerrmsg(info);
  e.m_reason = reason ? reason : (nullGuard ? "Empty error message" : "");
  // The library gave no text: the reason still says what failed.
  if (e.m_reason.empty()) e.m_reason = std::string(api) + " failed with error " + std::to_string(error);
  e.m_apiName = api;
  e.m_enclosureId = info ? std::to_string(info->serial) : "";
  e.m_file = file;
  e.m_line = line;
  throw e;
}

bool CHitachiCommandIntf::attachCmd(SCmdInfoPtr cmd) {
  HITACHI_TRACE_FUNCTION("CHitachiCommandIntf::attachCmd");
  // No command device for the array: a clear failure, not a null block.
  if (!cmd) throwNoCommandDevice("", __FILE__, __LINE__);
  if (cmd->attached) return true;
  int number = -1;
  try {
    number = cmd->instance.get(cmd->udid);
  } catch (const ErrorInstanceNo& e) {
    HITACHI_TRACE(FI_TRACE_ERROR, "Couldn't get instance no failed with message '%s'.",
                  e.getMessage().c_str());
    return false;
  }
  // Kept: a block left by an earlier attach is not freed; its owner frees the last one.
  cmd->info = static_cast<cmddevinfo*>(::operator new(sizeof(cmddevinfo)));
  std::memset(cmd->info, 0, sizeof(cmddevinfo));
  int rc = ShadowImage_call_attachcmddev(cmd->info, cmd->cmddev, number);
  if (rc != 0) {
    try {
      reportFailure(cmd->info, " attachcmddev failed.", rc, "attachcmddev", HITACHI_EXC_COMMAND, __FILE__,
                    __LINE__);
    } catch (CHitachiException& e) {
      e.m_enclosureId = cmd->serial;  // a failed attach fills no block: the array asked for
      throw;
    }
  }
  cmd->attached = true;
  return true;
}

int CHitachiCommandIntf::detachCmd(SCmdInfoPtr cmd) {
  HITACHI_TRACE_FUNCTION("CHitachiCommandIntf::detachCmd");
  if (!cmd || !cmd->attached) return 0;
  int rc = ShadowImage_call_detachcmddev(cmd->info);
  if (rc != 0)
    reportFailure(cmd->info, " detachcmddev failed.", rc, "detachcmddev", HITACHI_EXC_COMMAND, __FILE__,
                  __LINE__);
  cmd->attached = false;
  return 0;
}
