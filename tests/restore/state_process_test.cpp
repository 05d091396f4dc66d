// The provider state crosses processes: one process takes a snapshot and
// gets the node's block; a fresh load of the plugin in another process is
// given the block back on a new node and restores what its records name.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "plugin_host.h"

namespace {

const int kPSUS = 4;

// Runs the peer on the block; its pid and what it printed, line by line.
std::pair<pid_t, std::vector<std::string>> runPeer(const std::string& dir, const std::string& block,
                                                   const std::string& nodeName) {
  const std::string blockFile = dir + "/block", output = dir + "/peer.out";
  std::ofstream(blockFile, std::ios::binary).write(block.data(), static_cast<std::streamsize>(block.size()));
  const pid_t child = ::fork();
  if (child == 0) {
    if (std::freopen(output.c_str(), "w", stdout) == nullptr) ::_exit(3);
    ::execl(PEER_PATH, PEER_PATH, blockFile.c_str(), nodeName.c_str(), static_cast<char*>(nullptr));
    ::_exit(4);
  }
  int status = -1;
  if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
    return {child, {"peer failed with status " + std::to_string(status)}};
  std::ifstream in(output);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return {child, lines};
}

class ProviderStateAcrossProcesses : public PluginOnSimulator {};

TEST_F(ProviderStateAcrossProcesses, AFreshProcessRestoresTheSnapshotTheBlockNames) {
  const std::string source = "UDID##HITACHI##HDS##410001##256", name = "<hitachifi>" + source;
  TestNode node(name);
  ASSERT_EQ(0, plugin->select("first", node));
  ASSERT_EQ(0, plugin->prepare("first", node));
  for (int asked = 0; (node.domain.flags & ZFI_NODE_READY) == 0 && asked < 10; ++asked)
    ASSERT_EQ(0, plugin->isReady("first", node));
  std::vector<std::string> snapshots;
  ASSERT_EQ(0, plugin->make("first", node, snapshots));
  zfi_blob block{};
  ASSERT_EQ(0, plugin->providerState(&node.domain, &block, ZFI_GET_PROVIDERSTATE));
  ASSERT_NE(nullptr, block.data);
  const std::string kept(static_cast<const char*>(block.data), block.length);
  std::free(block.data);
  const std::string text = kept.substr(0, kept.size() - 1);

  sim.clearJournal();
  const auto peer = runPeer(sim.dir(), kept, name);
  // The snapshot's record has no pairs, so the source gathers none from it:
  // the fresh node holds exactly what the first process kept.
  EXPECT_EQ((std::vector<std::string>{"set 0", "state " + text, "restore 0 " + source + " " + snapshots.at(0),
                                      "messages 0"}),
            peer.second);
  int reverse = 0, splits = 0;
  for (const rmsim::CallRecord& call : sim.journal()) {
    EXPECT_EQ(peer.first, call.pid) << call.function;
    reverse += call.function == "pairresync" && call.option == 1;
    splits += call.function == "pairsplit";
  }
  EXPECT_EQ(1, reverse);
  EXPECT_EQ(1, splits);
  EXPECT_EQ(kPSUS, sim.pairStatus(410001, 256, 0));
}

}  // namespace
