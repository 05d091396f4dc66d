// Pair operations: read a pair's status, split it, resynchronise it. Each
// issues one library request; waiting for a state is the caller's business.
#include <cstring>

#include "hitachi_exception.h"
#include "hitachi_rmlibintf.h"
#include "hitachi_trace.h"

using namespace frim_pdk_4_4;

namespace {

const int kDefaultCopyPace = 15;

targdev address(unsigned char porttype, int port, int targid, int lun, int mun) {
  targdev targ;
  std::memset(&targ, 0, sizeof targ);
  targ.porttype = porttype;
  targ.port = port;
  targ.targid = targid;
  targ.lun = lun;
  targ.mun = mun;
  targ.ldevno = 0xFFFF;
  return targ;
}

[[noreturn]] void pairMissing(const SHitachiVirtualDisk& disk, const char* api, const char* file, int line) {
  CHitachiException e;
  e.m_kind = HITACHI_EXC_ARRAY;
  e.m_errorNumber = -1;
  e.m_reason = "pair missing";
  e.m_apiName = api;
  e.m_enclosureId = disk.m_enclosureId;
  e.m_file = file;
  e.m_line = line;
  throw e;
}

const char* volumeStatus(int status) {
  static const char* const kNames[] = {"Volume status:SMPL\t", "Volume status:PVOL\t",
                                       "Volume status:SVOL\t"};
  return status >= VOL_SMPL && status <= VOL_SVOL ? kNames[status - VOL_SMPL]
                                                  : "Volume status:Unknown status\t";
}

const char* pairStatus(int status) {
  static const char* const kNames[] = {"Pair status  :SMPL\n", "Pair status  :COPY\n", "Pair status  :PAIR\n",
                                       "Pair status  :PSUS\n", "Pair status  :PSUE\n", "Pair status  :PDUB\n",
                                       "Pair status  :RCPY\n"};
  if (status >= PAIR_SMPL && status <= PAIR_RCPY) return kNames[status - PAIR_SMPL];
  return status == PAIR_UNKN ? "Pair status  :UNKN\n" : "Pair status  :Unknown status\n";
}

}  // namespace

int CHitachiCommandIntf::printVolStat(targdev targ, pairstatinfo stat) {
  HITACHI_TRACE(FI_TRACE_DETAIL, "Port         :0x%x\t", targ.port);
  HITACHI_TRACE(FI_TRACE_DETAIL, "TargetID     :0x%x\t", targ.targid);
  HITACHI_TRACE(FI_TRACE_DETAIL, "Lun          :0x%x\t", targ.lun);
  HITACHI_TRACE(FI_TRACE_DETAIL, "Mun          :0x%x\n", targ.mun);
  HITACHI_TRACE(FI_TRACE_DETAIL, "pport        :0x%x\t", stat.pport);
  HITACHI_TRACE(FI_TRACE_DETAIL, "ptargid      :0x%x\t", stat.ptargid);
  HITACHI_TRACE(FI_TRACE_DETAIL, "plun         :0x%x\n", stat.plun);
  HITACHI_TRACE(FI_TRACE_DETAIL, "pserial      :%d\t\t", stat.pserial);
  HITACHI_TRACE(FI_TRACE_DETAIL, "pssid        :%d\t\t", stat.pssid);
  HITACHI_TRACE(FI_TRACE_DETAIL, "pldev        :0x%x\n", stat.pldev);
  HITACHI_TRACE(FI_TRACE_DETAIL, "ctgid        :0x%x\t", stat.ctgid);
  HITACHI_TRACE(FI_TRACE_DETAIL, "csize        :0x%x\t", stat.csize);
  HITACHI_TRACE(FI_TRACE_DETAIL, "voltype      :%20.20s\n", stat.voltype);
  HITACHI_TRACE(FI_TRACE_DETAIL, "%s", volumeStatus(stat.volstat));
  HITACHI_TRACE(FI_TRACE_DETAIL, "%s", pairStatus(stat.pairstat));
  HITACHI_TRACE(FI_TRACE_DETAIL, "copyrate     :%d\t\t", stat.copyrate);
  HITACHI_TRACE(FI_TRACE_DETAIL, "smod         :%d\n", stat.smod);
  return 0;
}

int CHitachiCommandIntf::pairVolStat(cmddevinfo* info, unsigned char porttype, int port, int targid, int lun,
                                     int mun, pairstatinfo* out) {
  targdev targ = address(porttype, port, targid, lun, mun);
  int rc = ShadowImage_call_pairvolstat(info, &targ, out);
  if (rc == 0) {
    printVolStat(targ, *out);
    return 0;
  }
  reportFailure(info, "pairvolstat failed.", rc, "pairvolstat", HITACHI_EXC_ARRAY, __FILE__, __LINE__);
}

namespace {

// The copy pace for a split or resync: the low four bits of the pair's
// current pace, 15 when they are 0 or the status cannot be read.
int copyPace(CHitachiCommandIntf& intf, cmddevinfo* info, targdev& targ) {
  pairstatinfo stat;
  std::memset(&stat, 0, sizeof stat);
  int pace = kDefaultCopyPace;
  int rc = intf.ShadowImage_call_pairvolstat(info, &targ, &stat);
  if (rc == 0) {
    HITACHI_TRACE(FI_TRACE_FLOW, "statp.csize : '0x%x'", stat.csize);
    pace = stat.csize & 0x0F;
    HITACHI_TRACE(FI_TRACE_FLOW, "csize : '%d'", pace);
    if (pace < 1 || pace > 15) pace = kDefaultCopyPace;
  } else {
    const char* text = intf.ShadowImage_call_getrmerrmsg(info);
    HITACHI_TRACE(FI_TRACE_FLOW, "pairvolstat failed error number '%d' message '%s'", rc,
                  text ? text : "NULL");
    std::string formatted = intf.ShadowImage_call_getfmtmsg(info);
    HITACHI_TRACE(FI_TRACE_FLOW, "format msg : '%s'", formatted.c_str());
    HITACHI_TRACE(FI_TRACE_FLOW, "Using defult valude for csize");  // Kept: callers grep for this text.
  }
  HITACHI_TRACE(FI_TRACE_FLOW, "csize : '%d'", pace);
  return pace;
}

}  // namespace

int CHitachiCommandIntf::pairSplit(cmddevinfo* info, unsigned char porttype, int port, int targid, int lun,
                                   int mun, bool /*flag: no consistency-group split is made*/) {
  targdev targ = address(porttype, port, targid, lun, mun);
  int pace = copyPace(*this, info, targ);
  int rc = ShadowImage_call_pairsplit(info, &targ, 1, pace);
  if (rc == 0) return 0;
  reportFailure(info, "pairsplit failed.", rc, "pairsplit", HITACHI_EXC_ARRAY, __FILE__, __LINE__);
}

int CHitachiCommandIntf::pairResync(cmddevinfo* info, unsigned char porttype, int port, int targid, int lun,
                                    int mun, bool ropt) {
  targdev targ = address(porttype, port, targid, lun, mun);
  int pace = copyPace(*this, info, targ);
  int rc = ShadowImage_call_pairresync(info, &targ, ropt ? 1 : 0, pace);
  if (rc == 0) return 0;
  // Only the resync guards against a library that gives no error text.
  reportFailure(info, "pairresync failed.", rc, "pairresync", HITACHI_EXC_ARRAY, __FILE__, __LINE__, true);
}

int CHitachiCommandIntf::synchronize(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk& disk,
                                     SHitachiVirtualDisk, bool ropt) {
  HITACHI_TRACE_FUNCTION("CHitachiCommandIntf::synchronize");
  attachCmd(cmd);
  if (disk.m_pairList.empty()) pairMissing(disk, "pairresync", __FILE__, __LINE__);
  const SHitachiSnapPair& pair = disk.m_pairList.front();
  pairResync(cmd->info, 1, disk.m_hostInfo.m_portNo, disk.m_hostInfo.m_hostGroupNo, disk.m_deviceNumber,
             pair.m_muNumber, ropt);
  return 0;
}

int CHitachiCommandIntf::splitPair(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk& disk,
                                   SHitachiVirtualDisk) {
  HITACHI_TRACE_FUNCTION("CHitachiCommandIntf::splitPair");
  attachCmd(cmd);
  if (disk.m_pairList.empty()) pairMissing(disk, "pairsplit", __FILE__, __LINE__);
  const SHitachiSnapPair& pair = disk.m_pairList.front();
  pairSplit(cmd->info, 1, disk.m_hostInfo.m_portNo, disk.m_hostInfo.m_hostGroupNo, disk.m_deviceNumber,
            pair.m_muNumber, pair.m_ctgid != 0);
  return 0;
}

int CHitachiCommandIntf::getPairStatus(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk& disk,
                                       SHitachiVirtualDisk, bool refresh) {
  HITACHI_TRACE_FUNCTION("CHitachiCommandIntf::getPairStatus");
  attachCmd(cmd);
  if (disk.m_pairList.empty()) pairMissing(disk, "pairvolstat", __FILE__, __LINE__);
  SHitachiSnapPair& pair = disk.m_pairList.front();
  if (refresh) {
    pairstatinfo stat;
    std::memset(&stat, 0, sizeof stat);
    pairVolStat(cmd->info, 1, disk.m_hostInfo.m_portNo, disk.m_hostInfo.m_hostGroupNo, disk.m_deviceNumber,
                pair.m_muNumber, &stat);
    pair.m_status = stat.pairstat;
  }
  return pair.m_status;
}
