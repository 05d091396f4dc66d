// Node import (the kit hands import_resource's flags to importNode).
#include "hitachi_plugin.h"
#include "hitachi_trace.h"

using namespace frim_pdk_4_4;

int CHitachiPlugin::importNode(ACE_CString, std::vector<ACE_CString>, bool, bool, bool, int importFlags) {
  HITACHI_TRACE_FUNCTION("importNode");
  // The ordinary import needs nothing of the plugin: the devices are already
  // seen on this host. Bringing a snapshot to another host is not offered.
  if ((importFlags & ZFI_IMPORT_OFFHOST) != 0) {
    HITACHI_TRACE(
        FI_TRACE_ERROR,
        "CHitachiPlugin::importNode - importNode for ZFI_IMPORT_OFFHOST use case is not supported.");
    return ZFI_E_USE_SESSION;
  }
  return ZFI_OK;
}
