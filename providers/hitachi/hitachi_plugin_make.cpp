// Snapshot creation: name each snapshot after its target and split its
// pair, at the point in time the framework chose.
#include <cctype>

#include "cfisessionmgr.h"
#include "cfiudid.h"
#include "hitachi_clierror.h"
#include "hitachi_plugin.h"
#include "hitachi_plugin_guard.h"
#include "hitachi_plugin_nodes.h"
#include "hitachi_trace.h"

using namespace frim_pdk_4_4;

namespace {

// The target's UDID: the source's with the target's device id, upper-cased.
// The enclosure field is always written, empty when the source had none.
std::string snapshotName(const CFiUdid& source, const std::string& targetDeviceId) {
  std::string name = "UDID##" + source.getVendor() + "##" + source.getProduct() + "##" +
                     source.getEnclosureId() + "##" + targetDeviceId;
  for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return name;
}

}  // namespace

int CHitachiPlugin::makeSnapshots(CFiSessionPtr& session) {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::makeSnapshots");
  return HITACHI_GUARDED({
    if (!session) return ZFI_E_INVALID;
    session->registerTraceLog(hitachiTraceLog());
    const std::vector<CFiSplitNode> nodes = session->getSplitNodeList(FI_PHASE_MAKE);
    const std::string marker = std::string("<") + getProviderName().c_str() + ">";
    int result = ZFI_OK;
    for (const CFiSplitNode& node : nodes) {
      const std::string name(node.m_name.c_str(), node.m_name.length());
      const std::string& fim = node.m_fimName;
      HITACHI_TRACE(FI_TRACE_DETAIL, "nodename for make");
      if (name.find(marker) == std::string::npos) continue;  // not the plugin's: neither split nor marked
      CFiUdid udid;
      udid.parse(name);
      CFiPrivateDataPtr holder = privateDataByName(name);
      CHitachiPrivateData* data = hitachi_nodes::hitachiData(holder);
      if (data == nullptr) return hitachi_nodes::reportNoPrivateData("CHitachiPlugin::makeSnapshots", name);
      const SHitachiVirtualDisk vdisk = data->m_vdisk;
      const SHitachiVirtualDisk vdiskCopy = data->m_vdiskCopy;
      // Marked made before the split: a node whose split fails is not split again.
      std::map<std::string, CFiSplitNode>& map = session->getSplitNodeMap();
      auto found = map.find(name);
      if (found != map.end()) {
        const std::string snapshot = snapshotName(udid, vdiskCopy.m_deviceId);
        found->second.m_secondName = ACE_CString(snapshot.c_str());
        found->second.makeDone = 1;
      }
      if (!hitachi_nodes::isSnapshotFim(fim)) {
        pushHitachiMessage(MSG_ERROR_INVALID_SPLIT_TYPE, {messageText(fim)});
        return ZFI_E_REPORTED;
      }
      // Kept: a failing split does not stop the others; the last one decides.
      result = splitPair(commandDeviceOf(udid.getEnclosureId()), vdisk, vdiskCopy);
    }
    return result;
  });
}
