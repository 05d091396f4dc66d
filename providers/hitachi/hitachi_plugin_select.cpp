// Snapshot selection: identify each node's source device on the array,
// choose the device that receives its snapshot, check that it suits the
// method and the array, and keep both records with the node.
#include "cfisessionmgr.h"
#include "cfiudid.h"
#include "hitachi_clierror.h"
#include "hitachi_plugin.h"
#include "hitachi_plugin_guard.h"
#include "hitachi_plugin_nodes.h"
#include "hitachi_trace.h"

using namespace frim_pdk_4_4;

namespace {

// Whether the source supports the method of a configured target; traces
// the refusal. Methods other than the four pass.
bool supportsFim(const std::string& fim, const SHitachiVirtualDisk& vdisk) {
  const char* id = vdisk.m_deviceId.c_str();
  if (fim == "Hitachi_CopyOnWrite" && !vdisk.m_supportSnapshot) {
    HITACHI_TRACE(FI_TRACE_ERROR,
                  "CHitachiPlugin::selectSnapshots : HITACHI_FIM_SNAPSHOT not supported for : %s", id);
    return false;
  }
  if (fim == "Hitachi_ShadowImage" && !vdisk.m_supportShadowImage) {
    HITACHI_TRACE(FI_TRACE_ERROR,
                  "CHitachiPlugin::selectSnapshots : HITACHI_FIM_SHADOW_IMAGE not supported for : %s", id);
    return false;
  }
  if (fim == "HPXP_Snapshot" && !vdisk.m_supportSnapshot) {
    HITACHI_TRACE(FI_TRACE_ERROR, "HPXP_FIM_SNAPSHOT not supported for : %s", id);
    return false;
  }
  if (fim == "HPXP_BusinessCopy" && !vdisk.m_supportShadowImage) {
    HITACHI_TRACE(FI_TRACE_ERROR, "HPXP_FIM_BUSINESS_COPY not supported for : %s", id);
    return false;
  }
  return true;
}

// The array a configured target names: the enclosure of its UDID, empty
// when the text is no UDID with an enclosure (the target then lies on the
// source's array).
std::string enclosureNamedBy(const std::string& configured) {
  CFiUdid udid;
  try {
    udid.parse(configured);
  } catch (const CFiUdidException&) {
    return std::string();
  }
  return udid.hasEnclosureId() ? udid.getEnclosureId() : std::string();
}

}  // namespace

int CHitachiPlugin::selectSnapshots(CFiSessionPtr& session) {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::selectSnapshots");
  return HITACHI_GUARDED({
    if (!session) return ZFI_E_INVALID;
    session->registerTraceLog(hitachiTraceLog());
    const std::vector<CFiSplitNode> nodes = session->getSplitNodeList(FI_PHASE_SELECT);
    for (const CFiSplitNode& node : nodes) {
      // The first failure ends the operation; nodes before it stay selected.
      const int result =
          selectNode(session, std::string(node.m_name.c_str(), node.m_name.length()), node.m_fimName);
      if (result != ZFI_OK) return result;
    }
    return ZFI_OK;
  });
}

int CHitachiPlugin::selectNode(CFiSessionPtr& session, const std::string& name, const std::string& fim) {
  CFiPrivateDataPtr holder = privateDataByName(name);
  HITACHI_TRACE(FI_TRACE_FLOW, "nodename for select %s", name.c_str());
  if (isGroupNode(ACE_CString(name.c_str()))) return ZFI_OK;  // left unselected
  // Nodes without the plugin's marker are not the plugin's to snapshot.
  const std::string marker = std::string("<") + getProviderName().c_str() + ">";
  if (name.find(marker) == std::string::npos) {
    markDone(session, name, FI_PHASE_SELECT);
    return ZFI_OK;
  }
  CHitachiPrivateData* data = hitachi_nodes::hitachiData(holder);
  if (data == nullptr) return hitachi_nodes::reportNoPrivateData("CHitachiPlugin::selectSnapshots", name);

  CFiUdid udid;
  udid.parse(name);
  CFiSmartPtr<SCmdInfo> cmd = commandDeviceOf(udid.getEnclosureId());
  SHitachiVirtualDisk vdisk = m_cmdIntf.getLUNInfo(cmd, udid.getDeviceId(), true);
  data->m_vdisk = vdisk;

  std::string target, targetEnclosure;
  if (data->selectTargetFromConfigData() == 0) {
    const std::string configured = data->getConfiguredTarget();
    target = m_cmdIntf.findConfiguredTarget(configured);
    targetEnclosure = enclosureNamedBy(configured);
    if (!supportsFim(fim, vdisk)) return ZFI_E_INVALID;
  } else {
    // Discovery chooses by method itself; no capability check on this path.
    HITACHI_TRACE(FI_TRACE_FLOW, "Performing auto discovery of target on nodename [%s]", name.c_str());
    std::string method = fim;
    const int found = m_cmdIntf.autoDiscoverTarget(cmd, vdisk, method, target);
    if (found != 0) {
      pushHitachiMessage(MSG_ERROR_NO_SNAPSHOT_TARGET_SELECTED, {messageText(vdisk.m_deviceId)});
      return found;
    }
  }

  SHitachiVirtualDisk copy;
  if (targetEnclosure.empty() || targetEnclosure == vdisk.m_enclosureId) {
    copy = m_cmdIntf.getLUNInfo(cmd, target, false);
  } else {
    // A device of another array: the source array's command device would
    // answer for its own LDEV of that number. Nothing is asked; the
    // enclosure check below refuses it.
    copy.m_deviceId = target;
    copy.m_enclosureId = targetEnclosure;
  }
  copy.m_isSnap = true;
  if (vdisk.m_enclosureId != copy.m_enclosureId) {
    HITACHI_TRACE(
        FI_TRACE_ERROR,
        "CHitachiPlugin::selectSnapshots : vdisk.enclosureId : [%s] vdiskCopy.enclosureId : [%s] don't "
        "match",
        vdisk.m_enclosureId.c_str(), copy.m_enclosureId.c_str());
    return ZFI_E_INVALID;
  }
  data->m_vdiskCopy = copy;
  // Kept: this line has always printed the two enclosure ids under these labels.
  HITACHI_TRACE(FI_TRACE_DETAIL,
                "CHitachiPlugin::selectSnapshots : Source DeviceId : [%s] Target DeviceId : [%s]",
                vdisk.m_enclosureId.c_str(), copy.m_enclosureId.c_str());
  // The other configured targets must exist on the array too; only probed.
  for (const std::string& other : data->getTargets()) {
    if (other == target) continue;
    HITACHI_TRACE(FI_TRACE_DETAIL, "Validating target %s.", other.c_str());
    m_cmdIntf.getLUNInfo(cmd, other, false);
  }
  markDone(session, name, FI_PHASE_SELECT);
  return ZFI_OK;
}
