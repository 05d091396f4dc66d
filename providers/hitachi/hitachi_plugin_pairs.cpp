// The pair-state rules that prepare, make and restore share: what to do with
// one pair in each state when it is to be synchronised or split.
#include "hitachi_exception.h"
#include "hitachi_plugin.h"
#include "hitachi_plugin_nodes.h"
#include "hitachi_rmlib_records.h"
#include "hitachi_trace.h"

using namespace frim_pdk_4_4;
using hitachi_nodes::throwBadPairStatus;

namespace {

// Kept: "staus" is how these lines have always read; log watchers match it.
void traceBadStatus(const SHitachiVirtualDisk& vdisk, const SHitachiVirtualDisk& vdiskCopy, int status) {
  HITACHI_TRACE(FI_TRACE_ERROR, "pair staus is bad. vdisk '%s' vdisk Copy '%s'. staus '%d'.",
                vdisk.m_deviceId.c_str(), vdiskCopy.m_deviceId.c_str(), status);
}

}  // namespace

int CHitachiPlugin::syncPair(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk vdisk,
                             SHitachiVirtualDisk vdiskCopy, bool reverse) {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::syncPair");
  const int status = m_cmdIntf.getPairStatus(cmd, vdisk, vdiskCopy, true);
  switch (status) {
    case PAIR_SMPL:
      traceBadStatus(vdisk, vdiskCopy, status);
      // Kept: a simplex pair is reported with the reverse-copy word here.
      throwBadPairStatus("STAT_RCPY", vdisk, vdiskCopy, __FILE__, __LINE__);
    case PAIR_COPY:
      return reverse ? -1 : 0;
    case PAIR_PAIR:
      return 0;
    case PAIR_PSUS:
      return m_cmdIntf.synchronize(cmd, vdisk, vdiskCopy, reverse);
    case PAIR_RCPY:
      return reverse ? 0 : -1;
    default:
      traceBadStatus(vdisk, vdiskCopy, status);
      return ZFI_E_REPORTED;
  }
}

int CHitachiPlugin::splitPair(CFiSmartPtr<SCmdInfo> cmd, SHitachiVirtualDisk vdisk,
                              SHitachiVirtualDisk vdiskCopy) {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::splitPair");
  const int status = m_cmdIntf.getPairStatus(cmd, vdisk, vdiskCopy, true);
  switch (status) {
    case PAIR_PAIR:
      return m_cmdIntf.splitPair(cmd, vdisk, vdiskCopy);
    case PAIR_PSUS:
      // Kept: "splitted" is how this line has always read.
      HITACHI_TRACE(FI_TRACE_WARNING, "pair might be already splitted. vdisk '%s' vdisk Copy '%s'",
                    vdisk.m_deviceId.c_str(), vdiskCopy.m_deviceId.c_str());
      return 0;
    case PAIR_SMPL:
      throwBadPairStatus("STAT_SMPL", vdisk, vdiskCopy, __FILE__, __LINE__);
    default:
      traceBadStatus(vdisk, vdiskCopy, status);
      throwBadPairStatus(status == PAIR_COPY ? "STAT_COPY" : "STAT_RCPY", vdisk, vdiskCopy, __FILE__,
                         __LINE__);
  }
}
