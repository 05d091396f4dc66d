// Provider state: the node's device records as a block the framework keeps.
#include "hitachi_plugin.h"

using namespace frim_pdk_4_4;

int CHitachiPlugin::processProviderState(zfi_domain* node, zfi_blob* block, zfi_op_providerstate op) {
  return CFiPluginInterposer::processProviderState(node, block, op);
}
CHitachiPrivateData* CHitachiPlugin::GetPrivateData(zfi_domain*) { return nullptr; }
int CHitachiPlugin::getProviderState(zfi_domain*, zfi_blob*) { return ZFI_E_NOT_SUPPORTED; }
int CHitachiPlugin::setProviderState(zfi_domain*, zfi_blob*) { return ZFI_E_NOT_SUPPORTED; }
