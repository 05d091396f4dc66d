#include "hitachi_plugin_nodes.h"

#include "cfisessionmgr.h"
#include "hitachi_clierror.h"
#include "hitachi_exception.h"
#include "hitachi_plugin.h"
#include "hitachi_trace.h"
#include "zfi.h"

namespace hitachi_nodes {

bool isSnapshotFim(const std::string& fim) {
  return fim == "Hitachi_ShadowImage" || fim == "Hitachi_CopyOnWrite" || fim == "HPXP_BusinessCopy" ||
         fim == "HPXP_Snapshot";
}

CHitachiPrivateData* hitachiData(const frim_pdk_4_4::CFiPrivateDataPtr& holder) {
  return dynamic_cast<CHitachiPrivateData*>(holder.get());
}

int reportNoPrivateData(const char* operation, const std::string& node) {
  pushHitachiMessage(MSG_ERROR_PRIVATE_DATA_MALLOC, {messageText(operation), messageText(node)});
  return ZFI_E_NO_PRIVDATA;
}

void throwBadPairStatus(const char* status, const SHitachiVirtualDisk& vdisk,
                        const SHitachiVirtualDisk& vdiskCopy, const char* file, int line) {
  CHitachiException e;
  e.m_kind = HITACHI_EXC_BAD_PAIR;
  e.m_errorNumber = ZFI_E_REPORTED;
  e.m_pairStatus = status;
  e.m_file = file;
  e.m_line = line;
  e.m_vdisk = vdisk.m_deviceId;
  e.m_vdiskCopy = vdiskCopy.m_deviceId;
  e.m_enclosureId = vdisk.m_enclosureId;
  throw e;
}

}  // namespace hitachi_nodes

using namespace frim_pdk_4_4;

CFiSmartPtr<SCmdInfo> CHitachiPlugin::commandDeviceOf(const std::string& enclosure) {
  // Looked up without adding: every name a framework sends must not grow the table.
  auto found = m_cmdDevices.find(enclosure);
  if (found != m_cmdDevices.end() && found->second) return found->second;
  throwNoCommandDevice(enclosure, __FILE__, __LINE__);
}

CFiPrivateDataPtr CHitachiPlugin::privateDataByName(const std::string& name) {
  CFiPrivateDataFactoryPtr factory = privateDataFactory();
  return factory ? factory->accessByName(name, false) : CFiPrivateDataPtr();
}

CFiPrivateDataPtr CHitachiPlugin::privateDataOf(zfi_domain* node) {
  CFiPrivateDataFactoryPtr factory = privateDataFactory();
  if (!factory || node == nullptr) return CFiPrivateDataPtr();
  CFiPrivateDataPtr data = factory->access(node);
  if (data) return data;
  // A framework may hand isready a node record of its own for a node that
  // select already worked on; the name finds the same private data. Nothing
  // is created here: a node nobody initialised or selected has none.
  const char* name = node->objid != nullptr && node->objid->name != nullptr ? node->objid->name : node->name;
  return factory->accessByName(name != nullptr ? name : "", false);
}

void CHitachiPlugin::markDone(CFiSessionPtr& session, const std::string& name, int phase) {
  std::map<std::string, CFiSplitNode>& nodes = session->getSplitNodeMap();
  auto found = nodes.find(name);
  if (found == nodes.end()) return;  // not one of the session's nodes: nothing to mark
  CFiSplitNode& node = found->second;
  switch (phase) {
    case FI_PHASE_SELECT:
      HITACHI_TRACE(FI_TRACE_DETAIL, "DBG: Marking selectdone as 1 in the node %s", name.c_str());
      node.selectDone = 1;
      break;
    case FI_PHASE_PREPARE:
      HITACHI_TRACE(FI_TRACE_DETAIL, "DBG: Marking preparedone as 1 in the node %s", name.c_str());
      node.prepareDone = 1;
      break;
    default:
      break;
  }
}
