// Node import.
#include "hitachi_plugin.h"

using namespace frim_pdk_4_4;

int CHitachiPlugin::importNode(ACE_CString, std::vector<ACE_CString>, bool, bool, bool, int) {
  return ZFI_E_NOT_SUPPORTED;
}
