// The second process of the provider-state round trip:
//
//   restore_peer BLOCK_FILE NODE_NAME
//
// A fresh load of the plugin given back the block in BLOCK_FILE (its length
// is the file's) on a new node; restores the pair the records name. Prints
// "set RC", "state TEXT", "restore RC SOURCE SNAPSHOT" and "messages COUNT".
#include <cstdio>
#include <iterator>

#include "plugin_abi.h"

namespace {

// The contents of the `n`-th node `name` of the text ("" when absent).
std::string nodeContents(const std::string& text, const std::string& name, int n) {
  size_t at = 0;
  for (int i = 0; i <= n && at != std::string::npos; ++i) {
    at = text.find("<" + name + ">", at);
    if (at != std::string::npos) at += name.size() + 2;
  }
  const size_t end = at == std::string::npos ? at : text.find("</" + name + ">", at);
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

  // "UDID##VENDOR##PRODUCT##" of the node, then the records' enclosure and device.
  const std::string name = argv[2];
  size_t prefix = name.find("UDID##");
  for (int i = 0; i < 3 && prefix != std::string::npos; ++i) prefix = name.find("##", prefix + 2);
  const std::string udid =
      prefix == std::string::npos ? "" : name.substr(name.find("UDID##"), prefix + 2 - name.find("UDID##"));
  const std::string source =
      udid + nodeContents(state, "EnclosureId", 0) + "##" + nodeContents(state, "DeviceId", 0);
  const std::string snapshot =
      udid + nodeContents(state, "EnclosureId", 1) + "##" + nodeContents(state, "DeviceId", 1);
  std::printf("restore %d %s %s\n", plugin.restore({{source, snapshot}}), source.c_str(), snapshot.c_str());
  std::printf("messages %zu\n", plugin.takeMessages().size());
  return 0;
}
