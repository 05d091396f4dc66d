#include "cfiprivatedata.h"

#include <algorithm>

#include "cficontextsingleton.h"
#include "cfiprivatedatamgr.h"
#include "cfitargetconfig.h"

namespace frim_pdk_4_4 {

CFiPrivateData::CFiPrivateData(frim_objid* objectId, bool isAltNode)
    : m_objectId(objectId), m_isAltNode(isAltNode) {}

CFiPrivateData::~CFiPrivateData() = default;

std::string CFiPrivateData::getObjName() const {
  return (m_objectId != nullptr && m_objectId->name != nullptr) ? m_objectId->name : "";
}

int CFiPrivateData::selectTargetFromConfigData() {
  CFiPrivateDataManagerPtr manager =
      CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false);
  std::vector<std::string> configured = manager->getTargetConfig().targetsFor(getObjName());
  if (configured.empty()) return 1;
  m_configuredTarget = configured.front();
  for (const std::string& target : configured) {
    std::string deviceId = CFiTargetConfig::deviceIdOf(target);
    if (std::find(m_targets.begin(), m_targets.end(), deviceId) == m_targets.end())
      m_targets.push_back(deviceId);
  }
  return 0;
}

bool CFiPrivateData::hasConfigInfoList(int index) const {
  return std::find(m_configInfo.begin(), m_configInfo.end(), index) != m_configInfo.end();
}

bool CFiPrivateData::hasConfigDataList(int index) const {
  return std::find(m_configData.begin(), m_configData.end(), index) != m_configData.end();
}

}  // namespace frim_pdk_4_4
