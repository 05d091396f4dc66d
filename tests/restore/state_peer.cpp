// The second process of the provider-state round trip:
//
//   restore_peer BLOCK_FILE NODE_NAME
//
// A fresh load of the plugin given back the block in BLOCK_FILE (its length
// is the file's) on a new node; restores the pair the records name. Prints
// "set RC", "state TEXT", "restore RC SOURCE SNAPSHOT" and "messages COUNT".
#include <cstdio>
#include <fstream>
#include <iterator>

#include "plugin_host.h"

namespace {

// The contents of the `n`-th element `name` of the text ("" when absent).
std::string element(const std::string& text, const std::string& name, int n) {
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
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  PluginHost host{PluginHost::Peer{}};
  HostNode& node = host.node(argv[2], "Hitachi_ShadowImage");
  std::printf("set %d\n", host.setState(&node.domain, bytes, bytes.size()));
  std::string state;
  host.getState(&node.domain, &state);
  std::printf("state %s\n", state.c_str());
  // "UDID##VENDOR##PRODUCT##" of the node, then the records' enclosure and device.
  const std::string name = argv[2];
  const size_t udid = name.find("UDID##");
  size_t prefix = udid;
  for (int i = 0; i < 3 && prefix != std::string::npos; ++i) prefix = name.find("##", prefix + 2);
  const std::string head = prefix == std::string::npos ? "" : name.substr(udid, prefix + 2 - udid);
  const std::string source = head + element(state, "EnclosureId", 0) + "##" + element(state, "DeviceId", 0);
  const std::string snapshot = head + element(state, "EnclosureId", 1) + "##" + element(state, "DeviceId", 1);
  std::printf("restore %d %s %s\n", host.restore({{source, snapshot}}), source.c_str(), snapshot.c_str());
  std::printf("messages %zu\n", host.messages().size());
  return 0;
}
