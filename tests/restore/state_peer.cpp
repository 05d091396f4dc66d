// The second process of the provider-state round trip: a fresh load of the
// plugin that is given back the block another process kept, and restores
// the pair its records name.
//
//   restore_peer BLOCK_FILE NODE_NAME
//
// BLOCK_FILE holds the block's bytes exactly (its length is the file's).
// Prints "set RC", "state TEXT" (the state got back from the node),
// "restore RC SOURCE SNAPSHOT" and "messages COUNT".
#include <cstdio>
#include <iterator>

#include "plugin_abi.h"

namespace {

// The contents of the `n`-th node `name` of the text ("" when absent).
std::string nodeContents(const std::string& text, const std::string& name, int n) {
  size_t at = 0;
  for (int i = 0; i <= n; ++i) {
    at = text.find("<" + name + ">", at);
    if (at == std::string::npos) return "";
    at += name.size() + 2;
  }
  const size_t end = text.find("</" + name + ">", at);
  return end == std::string::npos ? "" : text.substr(at, end - at);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::ifstream in(argv[1], std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  LoadedPlugin plugin;
  if (!plugin.ready()) return 1;
  TestNode node(argv[2]);

  zfi_blob kept{bytes.size(), &bytes[0], 0};
  std::printf("set %d\n", plugin.providerState(&node.domain, &kept, ZFI_SET_PROVIDERSTATE));
  zfi_blob block{};
  plugin.providerState(&node.domain, &block, ZFI_GET_PROVIDERSTATE);
  const std::string state = block.data ? static_cast<const char*>(block.data) : "";
  std::free(block.data);
  std::printf("state %s\n", state.c_str());

  // The devices as the records name them, on the node's vendor and product.
  const std::string name = argv[2];
  const size_t udid = name.find("UDID##");
  const size_t product = udid == std::string::npos ? udid : name.find("##", udid + 6);
  const size_t enclosure = product == std::string::npos ? product : name.find("##", product + 2);
  const std::string prefix = enclosure == std::string::npos ? "" : name.substr(udid, enclosure + 2 - udid);
  const std::string source =
      prefix + nodeContents(state, "EnclosureId", 0) + "##" + nodeContents(state, "DeviceId", 0);
  const std::string snapshot =
      prefix + nodeContents(state, "EnclosureId", 1) + "##" + nodeContents(state, "DeviceId", 1);
  std::printf("restore %d %s %s\n", plugin.restore({{source, snapshot}}), source.c_str(), snapshot.c_str());
  std::printf("messages %zu\n", plugin.takeMessages().size());
  return 0;
}
