#include "cfiprivatedatamgr.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace frim_pdk_4_4 {

namespace {
const char kSnapshotResourceSpec[] = "snapshot_resource_spec";
const char kEnvironment[] = "HITACHIFI_SNAPSHOT_RESOURCE_SPEC";

// The value the environment gives; "@<file>" names a file holding it, and
// `file` is set to that name. secure_getenv: a setuid or file-capability
// host must not read a file its caller chose.
std::string valueFromEnvironment(std::string& file) {
  const char* value = ::secure_getenv(kEnvironment);
  if (value == nullptr || value[0] != '@') return value != nullptr ? value : "";
  file = value + 1;
  std::unique_ptr<FILE, int (*)(FILE*)> stream(std::fopen(file.c_str(), "re"), &std::fclose);
  std::string text;
  char buffer[4096];
  size_t got = 0;
  while (stream && (got = std::fread(buffer, 1, sizeof buffer, stream.get())) > 0) text.append(buffer, got);
  if (!stream || std::ferror(stream.get())) {
    throw CFiTargetConfigError(std::string("snapshot_resource_spec: cannot read the file '") + file +
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
  if (m_targetsSet) return m_targetConfig;
  std::string file;
  const std::string value = valueFromEnvironment(file);
  if (file.empty()) {
    setSnapshotResourceSpec(value);
    return m_targetConfig;
  }
  // The file may be one the caller could not read itself: its content goes
  // into no message and no trace line, only the place of the fault.
  try {
    m_targetConfig.parse(value);
    m_targetsSet = true;
  } catch (const CFiTargetConfigError& e) {
    CFiTargetConfigError placed("snapshot_resource_spec: the file '" + file + "' named by " + kEnvironment +
                                    " is malformed at line " + std::to_string(e.line()) + ", column " +
                                    std::to_string(e.column()),
                                e.line(), e.column());
    if (!m_traceLog.isNull()) m_traceLog->trace(FI_TRACE_ERROR, "%s", placed.what());
    throw placed;
  }
  return m_targetConfig;
}

}  // namespace frim_pdk_4_4
