// Snapshot preparation: find each selected node's pair, read its state and
// start resynchronising a split pair, so that the target is a current
// mirror when make splits it. Nothing here waits for the copy to finish.
#include "cfisessionmgr.h"
#include "cfiudid.h"
#include "hitachi_plugin.h"
#include "hitachi_plugin_guard.h"
#include "hitachi_plugin_nodes.h"
#include "hitachi_rmlib_records.h"
#include "hitachi_trace.h"

using namespace frim_pdk_4_4;

int CHitachiPlugin::prepareSnapshots(CFiSessionPtr& session) {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::prepareSnapshots");
  return HITACHI_GUARDED({
    if (!session) return ZFI_E_INVALID;
    session->registerTraceLog(hitachiTraceLog());
    const std::vector<CFiSplitNode> nodes = session->getSplitNodeList(FI_PHASE_PREPARE);
    for (const CFiSplitNode& node : nodes) {
      const std::string name(node.m_name.c_str(), node.m_name.length());
      CFiUdid udid;
      udid.parse(name);  // before the group test: a group node must still be a UDID
      const std::string& fim = node.m_fimName;
      CFiPrivateDataPtr holder = privateDataByName(name);
      // Kept: unlike select, a group node ends the whole call.
      if (isGroupNode(ACE_CString(name.c_str()))) return ZFI_OK;
      CHitachiPrivateData* data = hitachi_nodes::hitachiData(holder);
      if (data == nullptr)
        return hitachi_nodes::reportNoPrivateData("CHitachiPlugin::prepareSnapshots", name);
      SHitachiVirtualDisk vdisk = data->m_vdisk;
      SHitachiVirtualDisk vdiskCopy = data->m_vdiskCopy;
      if (hitachi_nodes::isSnapshotFim(fim)) {
        CFiSmartPtr<SCmdInfo> cmd = commandDeviceOf(udid.getEnclosureId());
        // Narrowed to the one pair with the chosen target.
        vdisk.m_pairList.clear();
        m_cmdIntf.selectPair(cmd, vdisk, vdiskCopy);
        if (vdisk.m_pairList.empty()) {
          HITACHI_TRACE(FI_TRACE_ERROR, "pair list is empty for device '%s'.", vdisk.m_deviceId.c_str());
          return ZFI_E_INVALID;
        }
        switch (m_cmdIntf.getPairStatus(cmd, vdisk, vdiskCopy, true)) {
          case PAIR_SMPL:
            HITACHI_TRACE(FI_TRACE_ERROR, "pair status is SMPL. User needs to create pair. device id '%s'.",
                          vdisk.m_deviceId.c_str());
            hitachi_nodes::throwBadPairStatus("STAT_SMPL", vdisk, vdiskCopy, __FILE__, __LINE__);
          case PAIR_COPY:
          case PAIR_PAIR:
          case PAIR_RCPY:
            break;
          case PAIR_PSUS:
            // Only started here; make refuses the pair until the copy is done.
            m_cmdIntf.synchronize(cmd, vdisk, vdiskCopy, false);
            break;
          default:
            HITACHI_TRACE(FI_TRACE_WARNING, "unknown status of pair");
            break;
        }
      }
      data->m_vdisk = vdisk;
      data->m_vdiskCopy = vdiskCopy;
      markDone(session, name, FI_PHASE_PREPARE);
    }
    return ZFI_OK;
  });
}
