// Device ids as the framework names its nodes: a node whose name is the
// input, asked whether it is ready, selected and deinitialised, for the
// snapshot method the first byte picks.
// Run: fuzz_udid -dict=udid.dict corpus/
#include <cstdint>
#include <cstring>
#include <string>

#include "cficontextsingleton.h"
#include "cfisessionmgr.h"
#include "fuzz_plugin.h"

using namespace frim_pdk_4_4;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzzPluginOnce();
  static const char* const methods[] = {"Hitachi_ShadowImage", "Hitachi_CopyOnWrite", "HPXP_BusinessCopy",
                                        "HPXP_Snapshot", ""};
  if (size == 0) return 0;
  std::string method = methods[data[0] % (sizeof methods / sizeof methods[0])];
  std::string name(reinterpret_cast<const char*>(data) + 1, size - 1);
  name.resize(std::strlen(name.c_str()));  // a C text ends at its first zero byte
  frim_objid object{static_cast<uint32_t>(name.size() + 1), 0, &name[0]};
  zfi_domain node{0, 0, &name[0], &object, nullptr, nullptr};
  zfi_splitnode split{&method[0], &node, nullptr};
  zfi_splitnode* nodes[] = {&split};
  char session[] = "fuzz";
  hitachifi_fi_pgn_isready(nullptr, session, nodes, 1);
  hitachifi_fi_pgn_select(nullptr, session, nodes, 1);
  // The framework's session and node end here. Forgetting the session and
  // deinitialising the node keep every input's allocations its own, so that
  // the leak check sees real leaks only and memory stays flat.
  CFiContextSingleton<CFiSessionManager, FI_PLUGIN_NAME>::instance(false)->forgetSession(session);
  hitachifi_fi_pgn_deinit_node(&node);
  return 0;
}
