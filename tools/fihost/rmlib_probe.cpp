#include "rmlib_probe.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>

#include "problem.h"
#include "svrrm.h"

namespace fihost {

namespace {

using AttachFn = int (*)(cmddevinfo*, char*, int);
using DetachFn = int (*)(cmddevinfo*);
using PairVolStatFn = int (*)(cmddevinfo*, targdev*, pairstatinfo*);
using RmInfoFn = int (*)(cmddevinfo*, int, int, int, void*);
using ErrMsgFn = char* (*)(cmddevinfo*);
using VersionFn = int (*)(int*);
using LimitFn = int (*)(cmddevinfo*, dkc_limit*);
using FormatFn = int (*)(cmddevinfo*, char*);

template <class Fn>
Fn lookup(void* handle, const char* name) {
  return reinterpret_cast<Fn>(::dlsym(handle, name));
}

}  // namespace

std::string rmlibPath() {
  const char* root = ::secure_getenv("FRIM_DLOPEN_ROOT");
  return std::string(root ? root : "") + "/usr/lib/libsvrrm.so";
}

const char* pairStatusName(int status) {
  switch (status) {
    case 1:
      return "SMPL";
    case 2:
      return "COPY";
    case 3:
      return "PAIR";
    case 4:
      return "PSUS";
    case 5:
      return "PSUE";
    case 6:
      return "PDUB";
    case 7:
      return "RCPY";
    case 255:
      return "UNKN";
    default:
      return "unknown";
  }
}

bool pairCanComplete(int status) {
  return status == RMSIM_COPY || status == RMSIM_PAIR || status == RMSIM_PSUS || status == RMSIM_RCPY;
}

RmLibrary::RmLibrary() {
  const std::string path = rmlibPath();
  m_handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);  // as the plugin: see plugin.cpp
  if (!m_handle) {
    const char* why = ::dlerror();
    throw Problem("cannot load the RAID Manager library " + path + ": " + (why ? why : "unknown reason"));
  }
  for (const char* name :
       {"attachcmddev", "detachcmddev", "pairvolstat", "getrminfo", "getrmerrmsg", "getrmver"}) {
    if (!::dlsym(m_handle, name)) throw Problem(path + " lacks the RAID Manager function " + name);
  }
  lookup<VersionFn>(m_handle, "getrmver")(&m_version);
}

RmLibrary::~RmLibrary() {
  if (m_handle) ::dlclose(m_handle);
}

RmLibrary::Attached::Attached(const RmLibrary& library, const std::string& path, int instance)
    : m_library(library), m_info(new unsigned char[sizeof(cmddevinfo)]()) {
  std::string device = path;
  int rc = lookup<AttachFn>(library.m_handle, "attachcmddev")(reinterpret_cast<cmddevinfo*>(m_info.get()),
                                                              &device[0], instance);
  if (rc != 0) {
    std::string why = failure("attachcmddev", rc);
    m_info.reset();
    throw Problem(why);
  }
}

RmLibrary::Attached::~Attached() {
  if (m_info)
    lookup<DetachFn>(m_library.m_handle, "detachcmddev")(reinterpret_cast<cmddevinfo*>(m_info.get()));
}

std::string RmLibrary::Attached::failure(const std::string& call, int rc) const {
  char* text =
      lookup<ErrMsgFn>(m_library.m_handle, "getrmerrmsg")(reinterpret_cast<cmddevinfo*>(m_info.get()));
  return call + " failed with error " + std::to_string(rc) + (text ? std::string(": ") + text : "");
}

int RmLibrary::Attached::firstLun(int ldev) const { return firstPath(ldev).lun; }

LuPath RmLibrary::Attached::firstPath(int ldev) const {
  unsigned char buffer[RMSIM_RMINFO_SIZE] = {};
  int rc = lookup<RmInfoFn>(m_library.m_handle, "getrminfo")(reinterpret_cast<cmddevinfo*>(m_info.get()),
                                                             RMSIM_OPE_LUINFO, ldev, 0, buffer);
  if (rc != 0) throw Problem(failure("getrminfo", rc));
  LuPath path;
  int lun = (buffer[RMSIM_RMINFO_LUN_OFFSET] << 8) | buffer[RMSIM_RMINFO_LUN_OFFSET + 1];  // big-endian
  if (lun == 0xFFFF) return path;
  path.lun = lun;
  const int groups = (buffer[RMSIM_RMINFO_HG_COUNT_OFFSET] << 8) | buffer[RMSIM_RMINFO_HG_COUNT_OFFSET + 1];
  if (groups > 0) {
    path.port = buffer[RMSIM_RMINFO_HG_OFFSET];
    path.hostGroup = buffer[RMSIM_RMINFO_HG_OFFSET + 2];
  }
  return path;
}

std::vector<PairSide> RmLibrary::Attached::pairsOf(int port, int hostGroup, int lun) const {
  cmddevinfo* info = reinterpret_cast<cmddevinfo*>(m_info.get());
  int mirrorUnits = 64;
  if (auto limits = lookup<LimitFn>(m_library.m_handle, "getdkclimit")) {
    dkc_limit limit{};
    if (limits(info, &limit) == 0 && limit.maxmmun > 0) mirrorUnits = limit.maxmmun;
  }
  auto status = lookup<PairVolStatFn>(m_library.m_handle, "pairvolstat");
  std::vector<PairSide> sides;
  for (int mu = 0; mu < mirrorUnits; ++mu) {
    targdev target{};
    target.porttype = 1;
    target.port = port;
    target.targid = hostGroup;
    target.lun = lun;
    target.mun = mu;
    target.ldevno = 0xFFFF;
    pairstatinfo answer{};
    int rc = status(info, &target, &answer);
    if (rc != 0) throw Problem(failure("pairvolstat", rc));
    if (answer.volstat != RMSIM_VOL_PVOL && answer.volstat != RMSIM_VOL_SVOL) continue;
    PairSide side;
    side.mirrorUnit = mu;
    side.volumeStatus = answer.volstat;
    side.status = answer.pairstat;
    side.copyRate = answer.copyrate;
    side.partnerLdev = answer.pldev;
    sides.push_back(side);
  }
  return sides;
}

PairState RmLibrary::Attached::pairWith(int port, int hostGroup, int lun, int targetLdev) const {
  PairState state;
  for (const PairSide& side : pairsOf(port, hostGroup, lun)) {
    if (side.volumeStatus != RMSIM_VOL_PVOL || side.partnerLdev != targetLdev) continue;
    state.found = true;
    state.mirrorUnit = side.mirrorUnit;
    state.status = side.status;
    state.copyRate = side.copyRate;
    return state;
  }
  return state;
}

std::string RmLibrary::Attached::lastFailure() const {
  auto format = lookup<FormatFn>(m_library.m_handle, "getfmtmsg");
  if (!format) return "";
  std::vector<char> text(RMSIM_FMTMSG_SIZE + 1, '\0');
  if (format(reinterpret_cast<cmddevinfo*>(m_info.get()), text.data()) != 0) return "";
  return std::string(text.data());
}

}  // namespace fihost
