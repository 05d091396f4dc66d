// The kit default of the framework's config operation: how the values an
// administrator gives the plugin's declared parameters reach the plugin.
#include <string>
#include <vector>

#include "cfipluginbase.h"
#include "cfiprivatedatamgr.h"
#include "cfitargetconfig.h"

namespace frim_pdk_4_4 {

// config(node, ZFI_CONFIG_SET, xml, nullptr): `xml` is a parameter list in
// the form CFiConfigParamInfoList writes. Every parameter the plugin declared
// takes the value given for it; names the plugin never declared are traced
// and left out, so a framework that hands every provider the same list does
// not make this one fail. The snapshot targets are then read from the new
// "snapshot_resource_spec" value.
//
// Nothing is taken unless all of it is good: an XML text that does not
// parse, or a target list the private-data manager refuses, returns
// ZFI_E_INVALID with the reason traced at level 1, and the parameters and
// targets configured before stay in force.
int CFiPluginBase::config(zfi_domain*, int mode, char* text, zfi_confspec*) {
  CFiTraceLogFunction trace(m_traceLog, "CFiPluginBase::config", __LINE__, __FILE__);
  if (mode != ZFI_CONFIG_SET) return ZFI_E_NOT_SUPPORTED;
  if (text == nullptr) return ZFI_E_INVALID;
  try {
    CFiConfigParamInfoList updated = m_configParams;
    for (const CFiConfigParamInfo& given : CFiConfigParamInfoList::parseXML(text)) {
      const CFiConfigParamInfo* declared = updated.find(given.m_name);
      if (declared == nullptr) {
        if (!m_traceLog.isNull())
          m_traceLog->trace(FI_TRACE_WARNING, "config: parameter '%s' is not one of this provider's; ignored",
                            given.m_name.c_str());
        continue;
      }
      CFiConfigParamInfo changed = *declared;
      changed.m_value = given.m_value;
      updated.addParamInfo(changed);
    }
    if (!m_privateDataManager.isNull()) m_privateDataManager->loadSnapshotResourceSpec(updated);
    m_configParams = updated;
  } catch (const std::exception& e) {  // CFiConfigXmlError, CFiTargetConfigError
    if (!m_traceLog.isNull()) m_traceLog->trace(FI_TRACE_ERROR, "config: %s", e.what());
    return ZFI_E_INVALID;
  }
  return ZFI_OK;
}

}  // namespace frim_pdk_4_4
