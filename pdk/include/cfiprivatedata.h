#ifndef FRIM_PDK_CFIPRIVATEDATA_H
#define FRIM_PDK_CFIPRIVATEDATA_H

#include <string>
#include <vector>

#include "cfismartptr.h"
#include "cfitraceable.h"
#include "zfi.h"

namespace frim_pdk_4_4 {

// What the kit keeps with each framework node: its object, whether it is
// the node's alternate (snapshot-side) copy, the session and the requested
// snapshot method, the configured snapshot targets, and what the plugin
// only passes through (sub-objects, hosts, configuration lists).
class CFiPrivateData : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  CFiPrivateData(frim_objid* objectId, bool isAltNode);
  ~CFiPrivateData() override;

  frim_objid* getObjectId() const { return m_objectId; }
  // The name of the node's object ("" without one).
  std::string getObjName() const;

  void setIntent(zfi_intent intent) { m_intent = intent; }
  zfi_intent getIntent() const { return m_intent; }
  void setTransportable(bool transportable) { m_transportable = transportable; }
  bool getTransportable() const { return m_transportable; }
  void setIsAltNode(bool isAltNode) { m_isAltNode = isAltNode; }
  bool getIsAltNode() const { return m_isAltNode; }
  void setSessionId(const std::string& id) { m_sessionId = id; }
  std::string getSessionId() const { return m_sessionId; }
  void setSplitType(char const* type) { m_splitType = type ? type : ""; }
  std::string getSplitType() const { return m_splitType; }

  // The node's snapshot targets, as device ids, in configuration order.
  void addTarget(std::string target) { m_targets.push_back(target); }
  std::vector<std::string> getTargets() const { return m_targets; }

  // Looks up the targets configured for the node's device in the
  // "snapshot_resource_spec" value that the private data manager holds
  // (CFiPrivateDataManager::setSnapshotResourceSpec). When there are some,
  // the first becomes the configured target, the device id of each (the
  // text after its last "##") is added to the target list unless it is
  // there already, and the result is 0: take the configured target. 1 when
  // nothing is configured for the node: discover the target on the array.
  // A malformed configuration throws CFiTargetConfigError (a
  // std::runtime_error) rather than choosing either path.
  int selectTargetFromConfigData();
  // The first configured target's whole text, ending in "##<device id>";
  // empty until selectTargetFromConfigData() returned 0.
  std::string getConfiguredTarget() const { return m_configuredTarget; }

  void addSubObject(frim_objid* object) { m_subObjects.push_back(object); }
  std::vector<frim_objid*> getSubObjectList() const { return m_subObjects; }
  int getSubObjectListLength() const { return static_cast<int>(m_subObjects.size()); }
  zfi_host_infn* getHostList() const { return m_hostList; }
  void setHostList(zfi_host_infn* hosts) { m_hostList = hosts; }
  void addConfigInfo(int index) { m_configInfo.push_back(index); }
  void addConfigData(int index) { m_configData.push_back(index); }
  bool hasConfigInfoList(int index) const;
  bool hasConfigDataList(int index) const;

 private:
  frim_objid* m_objectId;
  bool m_isAltNode;
  std::string m_sessionId;
  std::string m_splitType;
  std::vector<std::string> m_targets;
  bool m_transportable = false;
  zfi_intent m_intent = ZFI_INTENT_NONE;
  std::vector<frim_objid*> m_subObjects;
  zfi_host_infn* m_hostList = nullptr;
  std::vector<int> m_configInfo;
  std::vector<int> m_configData;
  std::string m_configuredTarget;
};

using CFiPrivateDataPtr = CFiSmartPtr<CFiPrivateData, CFiNullAllocator<CFiPrivateData>>;

}  // namespace frim_pdk_4_4

#endif
