// Finding a source device's snapshot target: from the configuration, or on
// the array mirror unit by mirror unit; and choosing the pair between them.
#include <cstdlib>
#include <cstring>

#include "hitachi_exception.h"
#include "hitachi_rmlib_records.h"
#include "hitachi_rmlibintf.h"
#include "hitachi_trace.h"
#include "zfi.h"

using namespace frim_pdk_4_4;

namespace {

int mirrorUnits(CHitachiCommandIntf& intf, SCmdInfo& cmd) {
  dkc_limit limit;
  std::memset(&limit, 0, sizeof limit);
  intf.ShadowImage_call_getdkclimit(cmd.info, &limit);  // result ignored: a zero limit means no search
  HITACHI_TRACE(FI_TRACE_DETAIL, "Limits: maxmmun  '%d'.", limit.maxmmun);
  return limit.maxmmun;
}

// A mirror unit's partner is never a snapshot target when the source is the
// pair's secondary: the partner is then the primary, and a resync would copy
// it over the very device being protected. Simplex answers are left to the
// callers' own rules.
bool seenFromSecondary(const pairstatinfo& stat) { return stat.volstat == VOL_SVOL; }

}  // namespace

std::string CHitachiCommandIntf::findConfiguredTarget(std::string target) {
  size_t marker = target.rfind("##");
  if (marker == std::string::npos) {
    HITACHI_TRACE(FI_TRACE_ERROR, "Invalid target %s entered at config stage", target.c_str());
    CHitachiException e;
    e.m_kind = HITACHI_EXC_INVALID_INPUT;
    e.m_errorNumber = 6;
    e.m_reason = "could not find target Id";
    e.m_apiName = "[findConfiguredTarget]";
    e.m_file = __FILE__;
    e.m_line = __LINE__;
    throw e;
  }
  std::string id = target.substr(marker + 2);
  HITACHI_TRACE(FI_TRACE_FLOW, "DevId supplied in snapshot config spec is %s", id.c_str());
  return id;
}

int CHitachiCommandIntf::autoDiscoverTarget(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk& source,
                                            std::string&, std::string& targetId) {
  HITACHI_TRACE_FUNCTION("CHitachiCommandIntf::autoDiscoverTarget");
  HITACHI_TRACE(FI_TRACE_FLOW, "primary deviceId  '%s'.", source.m_deviceId.c_str());
  attachCmd(cmd);
  const int maxmmun = mirrorUnits(*this, *cmd);
  std::string primaryId;  // set when the source turns out to be a secondary
  for (int mu = 0; mu < maxmmun; ++mu) {
    pairstatinfo stat;
    std::memset(&stat, 0, sizeof stat);
    if (pairVolStat(cmd->info, 1, source.m_hostInfo.m_portNo, source.m_hostInfo.m_hostGroupNo,
                    source.m_deviceNumber, mu, &stat) != 0) {
      HITACHI_TRACE(FI_TRACE_ERROR, "pairVolStat failed for device '%s' and #MU '%d'.",
                    source.m_deviceId.c_str(), mu);
      continue;
    }
    if (stat.pldev == 0 || stat.plun == 0) continue;
    if (seenFromSecondary(stat)) {
      if (primaryId.empty()) primaryId = std::to_string(static_cast<unsigned>(stat.pldev));
      continue;
    }
    targetId = std::to_string(static_cast<unsigned>(stat.pldev));
    HITACHI_TRACE(FI_TRACE_DETAIL, "Target Device Id =[%s]", targetId.c_str());
    return 0;
  }
  if (!primaryId.empty()) {
    // Refused as invalid input rather than "no target": the device has a
    // pair, but as its copy; the framework should be handed the primary.
    HITACHI_TRACE(FI_TRACE_ERROR,
                  "Device '%s' is the secondary volume of a pair whose primary is device '%s'; a secondary "
                  "is not a snapshot source.",
                  source.m_deviceId.c_str(), primaryId.c_str());
    return ZFI_E_INVALID;
  }
  HITACHI_TRACE(FI_TRACE_ERROR, "No pair found for '%s'.", source.m_deviceId.c_str());
  return -1;
}

int CHitachiCommandIntf::selectPair(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk& source,
                                    SHitachiVirtualDisk secondary) {
  HITACHI_TRACE_FUNCTION("CHitachiCommandIntf::selectPair");
  HITACHI_TRACE(FI_TRACE_FLOW, "primary deviceId  '%s'.", source.m_deviceId.c_str());
  HITACHI_TRACE(FI_TRACE_FLOW, "secondary deviceId  '%s'.", secondary.m_deviceId.c_str());
  attachCmd(cmd);
  const int maxmmun = mirrorUnits(*this, *cmd);
  const int wanted = std::atoi(secondary.m_deviceId.c_str());
  for (int mu = 0; mu < maxmmun; ++mu) {
    pairstatinfo stat;
    std::memset(&stat, 0, sizeof stat);
    pairVolStat(cmd->info, 1, source.m_hostInfo.m_portNo, source.m_hostInfo.m_hostGroupNo,
                source.m_deviceNumber, mu, &stat);
    if (stat.pldev == wanted && !seenFromSecondary(stat)) {
      SHitachiSnapPair pair;
      pair.m_muNumber = mu;
      pair.m_status = stat.pairstat;
      pair.m_lun = static_cast<uint16_t>(stat.plun);
      pair.m_ctgid = stat.ctgid;
      pair.m_serialNo = 0;
      source.m_pairList.push_back(pair);
      HITACHI_TRACE(FI_TRACE_FLOW, "Got #MU for device '%s'.", source.m_deviceId.c_str());
      return 0;
    }
  }
  HITACHI_TRACE(FI_TRACE_ERROR, "No pair found for '%s'.", source.m_deviceId.c_str());
  return -1;
}
