// Provider-state blocks as the framework hands them back (possibly from
// another process or host, possibly damaged): SET on a node through the
// exported entry point, then GET of what the plugin took. The block is
// exactly the input's bytes: nothing promises a terminating zero.
// Run: fuzz_providerstate -dict=providerstate.dict corpus/
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "fuzz_plugin.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzzPluginOnce();
  static char name[] = "UDID##HITACHI##HDS##410001##256";
  static frim_objid object{sizeof name, 0, name};
  static zfi_domain node{0, 0, name, &object, nullptr, nullptr};

  std::unique_ptr<uint8_t[]> bytes(new uint8_t[size]);
  if (size != 0) std::memcpy(bytes.get(), data, size);
  zfi_blob block{size, bytes.get(), 0};
  hitachifi_fi_pgn_process_providerstate(&node, &block, ZFI_PS_SET);
  if (block.data != bytes.get()) std::free(block.data);  // a plugin that answered with a block of its own

  // Only a node the plugin holds state for may be asked for it.
  if (node.private_data != nullptr) {
    zfi_blob back{};
    hitachifi_fi_pgn_process_providerstate(&node, &back, ZFI_PS_GET);
    if (back.data != nullptr && back.length != 0 && static_cast<char*>(back.data)[back.length - 1] != '\0')
      __builtin_trap();
    std::free(back.data);
  }
  return 0;
}
