#include "hitachi_plugin.h"

#include "cficontextsingleton.h"
#include "cfiprivatedatamgr.h"

// Constructed in this order before any entry point runs, destroyed in the
// reverse order at process exit.
ACE_CString cfi_pgn_name_tstr("hitachifi");
std::string cfi_pgn_name_str("hitachifi");
std::wstring cfi_pgn_name_wstr(L"hitachifi");
std::string udid_prefix("UDID##");
std::string udid_separator("##");

using namespace frim_pdk_4_4;

CHitachiPlugin::CHitachiPlugin() = default;

CFiPrivateDataFactoryPtr CHitachiPlugin::privateDataFactory() {
  CFiPrivateDataManagerPtr manager =
      CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false);
  return manager->getFactory();
}
