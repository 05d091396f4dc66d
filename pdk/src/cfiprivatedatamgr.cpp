#include "cfiprivatedatamgr.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace frim_pdk_4_4 {

namespace {
const char kSnapshotResourceSpec[] = "snapshot_resource_spec";
const char kEnvironment[] = "HITACHIFI_SNAPSHOT_RESOURCE_SPEC";

// The value the environment gives; "@<file>" names a file holding it.
std::string valueFromEnvironment() {
  const char* value = std::getenv(kEnvironment);
  if (value == nullptr || value[0] != '@') return value != nullptr ? value : "";
  std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(value + 1, "r"), &std::fclose);
  std::string text;
  char buffer[4096];
  size_t got = 0;
  while (file && (got = std::fread(buffer, 1, sizeof buffer, file.get())) > 0) text.append(buffer, got);
  if (!file || std::ferror(file.get())) {
    throw CFiTargetConfigError(std::string("snapshot_resource_spec: cannot read the file '") + (value + 1) +
                               "' named by " + kEnvironment);
  }
  return text;
}
}  // namespace

void CFiPrivateDataManager::setSnapshotResourceSpec(const std::string& value) {
  CFiTraceLogFunction trace(m_traceLog, "CFiPrivateDataManager::setSnapshotResourceSpec", __LINE__, __FILE__);
  try {
    m_targetConfig.parse(value);
    m_targetsSet = true;
  } catch (const CFiTargetConfigError& e) {
    if (!m_traceLog.isNull()) m_traceLog->trace(FI_TRACE_ERROR, "%s", e.what());
    throw;
  }
}

void CFiPrivateDataManager::loadSnapshotResourceSpec(const CFiConfigParamInfoList& parameters) {
  const CFiConfigParamInfo* parameter = parameters.find(kSnapshotResourceSpec);
  setSnapshotResourceSpec(parameter != nullptr ? parameter->m_value : std::string());
}

const CFiTargetConfig& CFiPrivateDataManager::getTargetConfig() {
  if (!m_targetsSet) setSnapshotResourceSpec(valueFromEnvironment());
  return m_targetConfig;
}

}  // namespace frim_pdk_4_4
