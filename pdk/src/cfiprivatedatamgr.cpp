#include "cfiprivatedatamgr.h"

namespace frim_pdk_4_4 {

namespace {
const char kSnapshotResourceSpec[] = "snapshot_resource_spec";
}

void CFiPrivateDataManager::setSnapshotResourceSpec(const std::string& value) {
  CFiTraceLogFunction trace(m_traceLog, "CFiPrivateDataManager::setSnapshotResourceSpec", __LINE__, __FILE__);
  try {
    m_targetConfig.parse(value);
  } catch (const CFiTargetConfigError& e) {
    if (!m_traceLog.isNull()) m_traceLog->trace(FI_TRACE_ERROR, "%s", e.what());
    throw;
  }
}

void CFiPrivateDataManager::loadSnapshotResourceSpec(const CFiConfigParamInfoList& parameters) {
  const CFiConfigParamInfo* parameter = parameters.find(kSnapshotResourceSpec);
  setSnapshotResourceSpec(parameter != nullptr ? parameter->m_value : std::string());
}

}  // namespace frim_pdk_4_4
