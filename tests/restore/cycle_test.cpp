// A snapshot taken in one process and restored in another: the first gets
// the node's provider-state block, a fresh load of the plugin in the peer
// process is given it on a new node and restores what its records name.
#include <gtest/gtest.h>

#include "plugin_host.h"
#include "process_run.h"
#include "rmsim.h"

namespace {

TEST(SnapshotCycle, AFreshProcessRestoresTheSnapshotTheProviderStateNames) {
  PluginHost host;
  const std::string source = "UDID##HITACHI##HDS##410001##256", name = PluginHost::marked(source);
  HostNode& node = host.node(name, "Hitachi_ShadowImage");
  ASSERT_EQ(0, host.select("cycle", {&node}));
  ASSERT_EQ(0, host.prepare("cycle", {}));
  for (int asked = 0; (node.domain.flags & ZFI_NODE_READY) == 0 && asked < 10; ++asked)
    ASSERT_EQ(0, host.isready({&node}));
  std::vector<std::string> snapshots;
  ASSERT_EQ(0, host.make("cycle", {&node}, &snapshots));
  ASSERT_EQ(1u, snapshots.size());
  std::string kept;
  ASSERT_EQ(0, host.getState(&node.domain, &kept));
  host.calls();

  const std::string blockFile = host.dir() + "/block";
  std::ofstream(blockFile, std::ios::binary)
      .write(kept.c_str(), static_cast<std::streamsize>(kept.size() + 1));
  const RunResult peer = runProgram(PEER_PATH, {blockFile, name}, "", host.dir());
  ASSERT_EQ(0, peer.status) << peer.err;
  // The snapshot's record has no pairs: the fresh node holds exactly the block.
  EXPECT_EQ("set 0\nstate " + kept + "\nrestore 0 " + source + " " + snapshots[0] + "\nmessages 0\n",
            peer.out);
  int reverse = 0, splits = 0;
  for (const rmsim::CallRecord& call : host.calls()) {
    EXPECT_NE(::getpid(), call.pid) << call.function;
    reverse += call.function == "pairresync" && call.option == 1;
    splits += call.function == "pairsplit";
  }
  EXPECT_EQ(1, reverse);
  EXPECT_EQ(1, splits);
  EXPECT_EQ(4, host.sim().pairStatus(410001, 256, 0));  // PSUS
}

}  // namespace
