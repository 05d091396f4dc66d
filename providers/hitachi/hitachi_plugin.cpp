#include "hitachi_plugin.h"

// Constructed in this order before any entry point runs, destroyed in the
// reverse order at process exit.
ACE_CString cfi_pgn_name_tstr("hitachifi");
std::string cfi_pgn_name_str("hitachifi");
std::wstring cfi_pgn_name_wstr(L"hitachifi");
std::string udid_prefix("UDID##");
std::string udid_separator("##");

using namespace frim_pdk_4_4;

CHitachiPlugin::CHitachiPlugin() = default;

// The snapshot operations below answer with the kit's behaviour until the
// array work behind them is in place.
int CHitachiPlugin::makeSnapshots(CFiSessionPtr& session) {
  return CFiPluginInterposer::makeSnapshots(session);
}
int CHitachiPlugin::prepareSnapshots(CFiSessionPtr& session) {
  return CFiPluginInterposer::prepareSnapshots(session);
}
int CHitachiPlugin::selectSnapshots(CFiSessionPtr& session) {
  return CFiPluginInterposer::selectSnapshots(session);
}
int CHitachiPlugin::isReady(char* fimName, zfi_splitnode** nodes, int count) {
  return CFiPluginInterposer::isReady(fimName, nodes, count);
}
int CHitachiPlugin::processProviderState(zfi_domain* node, zfi_blob* block, zfi_op_providerstate op) {
  return CFiPluginInterposer::processProviderState(node, block, op);
}
int CHitachiPlugin::restore(frim_objid** sources, frim_objid** snapshots, long count, char* a, char* b,
                            char*** out, long* outCount, long flags, long* status) {
  return CFiPluginInterposer::restore(sources, snapshots, count, a, b, out, outCount, flags, status);
}
int CHitachiPlugin::importNode(ACE_CString, std::vector<ACE_CString>, bool, bool, bool, int) {
  return ZFI_E_NOT_SUPPORTED;
}
