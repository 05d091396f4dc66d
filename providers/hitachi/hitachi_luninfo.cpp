// Device map and LUN information: what the array says about an LDEV, and
// where this host sees it.
#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "cmnnetwork.h"
#include "hitachi_exception.h"
#include "hitachi_rmlibintf.h"
#include "hitachi_trace.h"

using namespace frim_pdk_4_4;

namespace {

const int kLuInformation = 0x21;
const size_t kHostGroupCountOffset = 40;  // big-endian count of the entries below
const size_t kHostGroupOffset = 384;
const size_t kHostGroupSize = 32;

uint16_t be16(const unsigned char* at) { return static_cast<uint16_t>((at[0] << 8) | at[1]); }
uint32_t be32(const unsigned char* at) {
  return (uint32_t(at[0]) << 24) | (uint32_t(at[1]) << 16) | (uint32_t(at[2]) << 8) | uint32_t(at[3]);
}

SrmInfo toSrmInfo(const rminfo& answer) {
  SrmInfo info;
  std::memset(&info, 0, sizeof info);
  const unsigned char* b = answer.bytes;
  info.LUN = be16(b);
  info.unitID = static_cast<int8_t>(b[7]);
  info.serialNumber = be32(b + 8);
  std::memcpy(info.emulationType, b + 14, sizeof info.emulationType);
  info.emulationType[sizeof info.emulationType - 1] = '\0';
  info.LUNSize = be32(b + 32);
  info.LUProperty = be16(b + 36);
  return info;
}

[[noreturn]] void throwKind2(const std::string& reason, const std::string& enclosure, const char* file,
                             int line) {
  CHitachiException e;
  e.m_kind = HITACHI_EXC_ARRAY;
  e.m_errorNumber = -1;
  e.m_reason = reason;
  e.m_apiName = "getLUNInfo";
  e.m_enclosureId = enclosure;
  e.m_file = file;
  e.m_line = line;
  throw e;
}

}  // namespace

void CHitachiCommandIntf::printLUNInfo(const SrmInfo& info) {
  HITACHI_TRACE(FI_TRACE_DETAIL, "LUN           '%d'", info.LUN);
  HITACHI_TRACE(FI_TRACE_DETAIL, "unitID        '%d'", info.unitID);
  HITACHI_TRACE(FI_TRACE_DETAIL, "serialNumber  '%u'", info.serialNumber);
  HITACHI_TRACE(FI_TRACE_DETAIL, "emulationType '%s'", info.emulationType);
  HITACHI_TRACE(FI_TRACE_DETAIL, "LUNSize       '%u'", info.LUNSize);
  HITACHI_TRACE(FI_TRACE_DETAIL, "LUProperty    '%2d'", info.LUProperty);
}

void CHitachiCommandIntf::printHostGroupInfo(const SHostGroupInfoEx& info) {
  HITACHI_TRACE(FI_TRACE_DETAIL, "portNum           '%d'", info.portNum);
  HITACHI_TRACE(FI_TRACE_DETAIL, "portType          '%d'", info.portType);
  HITACHI_TRACE(FI_TRACE_DETAIL, "hostGroupNum      '%d'", info.hostGroupNum);
  HITACHI_TRACE(FI_TRACE_DETAIL, "numLUNInHostGroup '%d'", info.numLUNInHostGroup);
  HITACHI_TRACE(FI_TRACE_DETAIL, "hostGroupName     '%s'", info.hostGroupName);
}

int CHitachiCommandIntf::find_devmap(CFiSmartPtr<SCmdInfo> cmd, int ldev, int port, int& lun) {
  HITACHI_TRACE_FUNCTION("CHitachiCommandIntf::find_devmap");
  for (const SLunLdevPair& cached : cmd->deviceCache) {
    if (cached.ldev == ldev) {
      lun = cached.lun;
      HITACHI_TRACE(FI_TRACE_FLOW, "find_devmap: found luNumber in cache ldev:[%d] lun:[%d]", ldev, lun);
      return 0;
    }
  }
  const int serial = std::atoi(cmd->serial.c_str());
  targdev targ;
  std::memset(&targ, 0, sizeof targ);
  targ.serial = serial;
  targ.porttype = 1;
  targ.port = port;
  targ.ldevno = 0xFFFF;
  attachCmd(cmd);
  // The probe only tells the port's kind; its own failure is left to the scan.
  ShadowImage_call_getldev(cmd->info, &targ);
  int targetLimit = 15, lunLimit = 8;
  if (targ.fibre) {
    HITACHI_TRACE(FI_TRACE_FLOW, "find_devmap: port type is fibre, seting targ_limit=1 and lun_limit=2048");
    targetLimit = 1;
    lunLimit = 2048;
  }
  for (int targid = 0; targid < targetLimit; ++targid) {
    for (int candidate = 0; candidate < lunLimit; ++candidate) {
      targ.targid = targid;
      targ.lun = candidate;
      targ.ldevno = 0xFFFF;
      int rc = ShadowImage_call_getldev(cmd->info, &targ);
      if (rc != 0) {
        std::string formatted = ShadowImage_call_getfmtmsg(cmd->info);
        HITACHI_TRACE(FI_TRACE_WARNING,
                      "find_devmap: getldev failed on targid: [%d], lun: [%d] - ret: [%d] with message '%s'",
                      targid, candidate, rc, formatted.c_str());
        return -1;
      }
      if (targ.numldev > 0) {
        HITACHI_TRACE(FI_TRACE_FLOW,
                      "find_devmap: tid %d lun %d targ.ldevno = %d targ.serial = %d targ.numldev = %d",
                      targid, candidate, targ.ldevno, targ.serial, targ.numldev);
      }
      if (targ.ldevno == ldev && targ.serial == serial && targ.numldev > 0) {
        lun = candidate;
        cmd->deviceCache.push_back(SLunLdevPair{candidate, ldev});
        HITACHI_TRACE(FI_TRACE_FLOW, "find_devmap: adding to devache");
        HITACHI_TRACE(FI_TRACE_FLOW, "find_devmap: targ.targid = %d", targ.targid);
        HITACHI_TRACE(FI_TRACE_FLOW, "find_devmap: targ.lun = %d", targ.lun);
        HITACHI_TRACE(FI_TRACE_FLOW, "find_devmap: targ.ldevno = %d", targ.ldevno);
        HITACHI_TRACE(FI_TRACE_FLOW, "find_devmap: targ.serial = %d", targ.serial);
        return 0;
      }
    }
  }
  return -1;
}

SHitachiVirtualDisk CHitachiCommandIntf::getLUNInfo(CFiSmartPtr<SCmdInfo> cmd, std::string ldev,
                                                    bool hostMapping) {
  HITACHI_TRACE_FUNCTION("CHitachiCommandIntf::getLUNInfo");
  SHitachiVirtualDisk disk;
  attachCmd(cmd);
  HITACHI_TRACE(FI_TRACE_FLOW, " getrminfo is called for '%s'.", ldev.c_str());
  rminfo answer;
  std::memset(&answer, 0, sizeof answer);
  const int ldevNumber = std::atoi(ldev.c_str());
  int rc = ShadowImage_call_getrminfo(cmd->info, kLuInformation, ldevNumber, 0, &answer);
  if (rc != 0) {
    reportFailure(cmd->info, "getrminfo failed.", rc, "getrminfo", HITACHI_EXC_ARRAY, __FILE__, __LINE__);
  }

  SrmInfo info = toSrmInfo(answer);
  printLUNInfo(info);
  const std::string serial = std::to_string(info.serialNumber);
  if (std::strncmp(info.emulationType, "NOT DEFINE", 10) == 0) {
    throwKind2("Invalid lun for snapshot. LUN=" + ldev, serial, __FILE__, __LINE__);
  }
  // The property word as it lies in the buffer: first byte, then second.
  const unsigned char first = answer.bytes[36], second = answer.bytes[37];
  disk.m_isCmdDevice = (first & 0x01) != 0;
  disk.m_supportTrueCopy = (second & 0x02) != 0;
  disk.m_supportShadowImage = (second & 0x04) != 0;
  disk.m_supportSnapshot = (second & 0x08) != 0;
  disk.m_deviceId = ldev;
  disk.m_enclosureId = cmd->serial;
  disk.m_reserved = 0;
  if (!hostMapping) {
    disk.m_deviceNumber = ldevNumber;
    return disk;
  }

  std::string host = CCmnNetwork::getFQDN();
  if (host.empty()) {
    HITACHI_TRACE(FI_TRACE_FLOW, "CCmnNetwork::getFQDN returned empty hostName");
    host = CCmnNetwork::getComputerName();
    if (host.empty()) {
      HITACHI_TRACE(FI_TRACE_ERROR, "Hostname could not be determined using CCmnNetwork::getComputerName.");
      throwKind2("Hostname could not be determined using CCmnNetwork::getComputerName", "", __FILE__,
                 __LINE__);
    }
  }
  HITACHI_TRACE(FI_TRACE_DETAIL, "Host name %s.", host.c_str());

  const size_t count = std::min<size_t>(be16(answer.bytes + kHostGroupCountOffset),
                                        (sizeof answer.bytes - kHostGroupOffset) / kHostGroupSize);
  for (size_t i = 0; i < count; ++i) {
    SHostGroupInfoEx group;
    std::memcpy(&group, answer.bytes + kHostGroupOffset + i * kHostGroupSize, sizeof group);
    group.hostGroupName[sizeof group.hostGroupName - 1] = '\0';
    printHostGroupInfo(group);
    std::string groupHost;
    CCmnNetwork::getFQDN(group.hostGroupName, groupHost);
    if (groupHost.empty()) {
      HITACHI_TRACE(FI_TRACE_FLOW,
                    "CCmnNetwork::getFQDN returned empty hostName : using hostGroupInfo.hostGroupName [%s]",
                    group.hostGroupName);
      groupHost = group.hostGroupName;
    }
    HITACHI_TRACE(FI_TRACE_FLOW, "tmpHostname [%s]", groupHost.c_str());
    // Kept: names match when the shorter is a case-insensitive prefix of the other.
    const size_t length = std::min(host.size(), groupHost.size());
    HITACHI_TRACE(FI_TRACE_FLOW, "strcmplen [%d]", static_cast<int>(length));
    if (::strncasecmp(host.c_str(), groupHost.c_str(), length) != 0) {
      HITACHI_TRACE(FI_TRACE_WARNING, "Host group name NOT matched");
      continue;
    }
    disk.m_hostInfo.m_portNo = group.portNum;
    disk.m_hostInfo.m_hostGroupNo = group.hostGroupNum;
    disk.m_hostInfo.m_hostGroupName = group.hostGroupName;
    HITACHI_TRACE(FI_TRACE_DETAIL, "Host group name matched");
    int lun = -1;
    if (find_devmap(cmd, ldevNumber, group.portNum, lun) == -1) {
      HITACHI_TRACE(FI_TRACE_WARNING,
                    "getLunInfo : failed to get lun from devmap, seting luNumber to deviceId");
      disk.m_deviceNumber = ldevNumber;
    } else {
      disk.m_deviceNumber = lun;
    }
    return disk;
  }
  HITACHI_TRACE(FI_TRACE_ERROR, "getLunInfo : HostGroup correspoding to this host is not found");
  throwKind2("hostGroup correspoding to this host is not found", "", __FILE__, __LINE__);
}

SHitachiVirtualDisk CHitachiCommandIntf::getLUNInfo(CFiSmartPtr<SCmdInfo> cmd, std::string sourceLdev,
                                                    std::string targetLdev) {
  HITACHI_TRACE_FUNCTION("CHitachiCommandIntf::getLUNInfo");
  SHitachiVirtualDisk source = getLUNInfo(cmd, sourceLdev, true);
  SHitachiVirtualDisk target = getLUNInfo(cmd, targetLdev, false);
  selectPair(cmd, source, target);
  return source;
}
