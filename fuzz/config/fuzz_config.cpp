// Configuration through the exported config entry point. An even first byte
// makes the rest a snapshot_resource_spec value, carried in the parameter
// XML the kit writes (values XML cannot carry are skipped); an odd one makes
// the rest the whole XML document. Either is taken (0) or refused (3),
// never anything else.
// Run: fuzz_config -dict=config.dict corpus/
#include <cstdint>
#include <string>

#include "cficonfigparam.h"
#include "fuzz_plugin.h"

using namespace frim_pdk_4_4;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzzPluginOnce();
  if (size == 0) return 0;
  std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::string xml;
  if (data[0] % 2 == 1) {
    xml = rest;
  } else {
    CFiConfigParamInfoList list;
    CFiConfigParamInfo parameter;
    parameter.m_name = "snapshot_resource_spec";
    parameter.m_value = rest;
    try {
      list.addParamInfo(parameter);
    } catch (const CFiConfigXmlError&) {
      return 0;
    }
    xml = list.getXML();
  }
  const int status = hitachifi_fi_pgn_config(nullptr, ZFI_CONFIG_SET, &xml[0], nullptr);
  if (status != ZFI_OK && status != ZFI_E_INVALID) __builtin_trap();
  return 0;
}
