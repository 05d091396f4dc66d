// Readiness check: is each node's pair in the state in which a split gives
// a consistent copy? The answer is the ready mark in the node's flags; the
// result reports only failures.
#include "cfiudid.h"
#include "hitachi_plugin.h"
#include "hitachi_plugin_guard.h"
#include "hitachi_plugin_nodes.h"
#include "hitachi_rmlib_records.h"
#include "hitachi_trace.h"

using namespace frim_pdk_4_4;

namespace {

bool validEntry(zfi_splitnode** nodeList, int index) {
  return nodeList[index] != nullptr && nodeList[index]->node != nullptr;
}

int invalidList() {
  HITACHI_TRACE(FI_TRACE_ERROR, "CHitachiPlugin::isReady : nodeList is null or invalid");
  return ZFI_E_INVALID;
}

}  // namespace

int CHitachiPlugin::isReady(char*, zfi_splitnode** nodeList, int nodeCount) {
  HITACHI_TRACE_FUNCTION("isReady");
  return HITACHI_GUARDED({
    if (nodeCount < 1) return ZFI_OK;
    if (nodeList == nullptr || !validEntry(nodeList, 0)) return invalidList();
    for (int i = 0; i < nodeCount; ++i) {
      zfi_splitnode* split = nodeList[i];
      zfi_domain* node = split->node;
      // The snapshot side needs no check of its own.
      if (split->alt_node != nullptr) split->alt_node->flags |= ZFI_NODE_READY;
      const std::string name = node->name != nullptr ? node->name : "";
      CFiUdid udid;
      udid.parse(name);
      CFiPrivateDataPtr holder = privateDataOf(node);
      if (isGroupNode(ACE_CString(name.c_str()))) {
        // A group node answers for the whole list.
        node->flags |= ZFI_NODE_READY;
        return ZFI_OK;
      }
      // A method not checked is passed over unmarked; it needs no records.
      if (hitachi_nodes::isSnapshotFim(split->fim_name != nullptr ? split->fim_name : "")) {
        CHitachiPrivateData* data = hitachi_nodes::hitachiData(holder);
        if (data == nullptr) return hitachi_nodes::reportNoPrivateData("CHitachiPlugin::isReady", name);
        SHitachiVirtualDisk vdisk = data->m_vdisk;
        SHitachiVirtualDisk vdiskCopy = data->m_vdiskCopy;
        if (vdisk.m_pairList.empty()) {
          // Kept: "dvice" is how this line has always read; log watchers match it.
          HITACHI_TRACE(FI_TRACE_ERROR, "pair list is empty for dvice '%s'.", vdisk.m_deviceId.c_str());
          return ZFI_E_INVALID;
        }
        CFiSmartPtr<SCmdInfo> cmd = commandDeviceOf(udid.getEnclosureId());
        if (m_cmdIntf.getPairStatus(cmd, vdisk, vdiskCopy, true) == PAIR_PAIR) {
          node->flags |= ZFI_NODE_READY;
          HITACHI_TRACE(FI_TRACE_DETAIL, "status of pair of node '%s' is PAIR", vdisk.m_deviceId.c_str());
        } else {
          HITACHI_TRACE(FI_TRACE_DETAIL, "status of pair of node '%s' is NOT PAIR", vdisk.m_deviceId.c_str());
        }
        // The states read from the array stay with the node.
        data->m_vdisk = vdisk;
        data->m_vdiskCopy = vdiskCopy;
      }
      if (i + 1 < nodeCount && !validEntry(nodeList, i + 1)) return invalidList();
    }
    return ZFI_OK;
  });
}
