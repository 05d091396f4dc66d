// Whole snapshot cycles through the C ABI: select, prepare, ready, make and
// restore, in one process per method, and across two processes.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

#include "plugin_host.h"

namespace {

const int kCOPY = 2, kPSUS = 4;

class SnapshotCycle : public PluginOnSimulator {
 protected:
  void snapshot(
      TestNode& node, std::vector<std::string>& names, const std::function<void()>& prepared = [] {}) {
    ASSERT_EQ(0, plugin->step("select", "cycle", node));
    ASSERT_EQ(0, plugin->step("prepare", "cycle", node));
    prepared();
    asked = 0;
    for (; (node.domain.flags & ZFI_NODE_READY) == 0 && asked < 10; ++asked)
      ASSERT_EQ(0, plugin->step("isready", "cycle", node));
    ASSERT_EQ(0, plugin->make("cycle", node, names));
  }
  int asked = 0;
};

struct Method {
  const char* fim;
  int serial, pvol, mu;
  const char *source, *snapshot;
};

void PrintTo(const Method& m, std::ostream* out) { *out << m.fim; }

class EachMethod : public SnapshotCycle, public ::testing::WithParamInterface<Method> {};

TEST_P(EachMethod, SelectPrepareMakeAndRestore) {
  const Method& m = GetParam();
  TestNode node(std::string("<hitachifi>") + m.source, m.fim);
  sim.clearJournal();
  std::vector<std::string> snapshots;
  snapshot(node, snapshots, [&] { EXPECT_EQ(kCOPY, sim.pairStatus(m.serial, m.pvol, m.mu)); });
  EXPECT_EQ(2, asked);  // the model's copies end at their second status read
  ASSERT_EQ(std::vector<std::string>{m.snapshot}, snapshots);
  EXPECT_EQ(kPSUS, sim.pairStatus(m.serial, m.pvol, m.mu));

  ASSERT_EQ(0, plugin->restore({{m.source, snapshots[0]}}));
  EXPECT_EQ(kPSUS, sim.pairStatus(m.serial, m.pvol, m.mu));
  std::vector<int> resyncs;
  int splits = 0;
  for (const rmsim::CallRecord& call : sim.journal()) {
    EXPECT_EQ(0, call.result) << call.function;
    if (call.function == "pairresync") resyncs.push_back(call.option);
    splits += call.function == "pairsplit";
    if (call.function == "pairresync" || call.function == "pairsplit") {
      EXPECT_EQ(m.mu, call.mun);
    }
  }
  EXPECT_EQ((std::vector<int>{0, 1}), resyncs);  // forward to prepare, reverse to restore
  EXPECT_EQ(2, splits);
  EXPECT_TRUE(plugin->takeMessages().empty());
}

INSTANTIATE_TEST_SUITE_P(
    DefaultModel, EachMethod,
    ::testing::Values(
        Method{"Hitachi_ShadowImage", 410001, 256, 0, "UDID##HITACHI##HDS##410001##256",
               "UDID##HITACHI##HDS##410001##512"},
        Method{"Hitachi_CopyOnWrite", 410001, 259, 3, "UDID##HITACHI##HDS##410001##259",
               "UDID##HITACHI##HDS##410001##770"},
        Method{"HPXP_BusinessCopy", 520002, 300, 0, "UDID##HP##XP##520002##300", "UDID##HP##XP##520002##600"},
        Method{"HPXP_Snapshot", 520002, 301, 3, "UDID##HP##XP##520002##301", "UDID##HP##XP##520002##601"}),
    [](const ::testing::TestParamInfo<Method>& info) { return std::string(info.param.fim); });

// One process snapshots and gets the node's block; a fresh load in the peer
// process is given it on a new node and restores what its records name.
TEST_F(SnapshotCycle, AFreshProcessRestoresTheSnapshotTheProviderStateNames) {
  const std::string source = "UDID##HITACHI##HDS##410001##256", name = "<hitachifi>" + source;
  TestNode node(name);
  std::vector<std::string> snapshots;
  snapshot(node, snapshots);
  zfi_blob block{};
  ASSERT_EQ(0, plugin->providerState(&node.domain, &block, ZFI_GET_PROVIDERSTATE));
  ASSERT_NE(nullptr, block.data);
  const std::string kept(static_cast<const char*>(block.data), block.length);
  std::free(block.data);

  sim.clearJournal();
  const std::string blockFile = sim.dir() + "/block", output = sim.dir() + "/peer.out";
  std::ofstream(blockFile, std::ios::binary).write(kept.data(), static_cast<std::streamsize>(kept.size()));
  const pid_t peer = ::fork();
  if (peer == 0) {
    if (std::freopen(output.c_str(), "w", stdout) == nullptr) ::_exit(3);
    ::execl(PEER_PATH, PEER_PATH, blockFile.c_str(), name.c_str(), static_cast<char*>(nullptr));
    ::_exit(4);
  }
  int status = -1;
  ASSERT_EQ(peer, ::waitpid(peer, &status, 0));
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  std::ifstream in(output);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  // The snapshot's record has no pairs: the fresh node holds exactly the block.
  EXPECT_EQ((std::vector<std::string>{"set 0", "state " + kept.substr(0, kept.size() - 1),
                                      "restore 0 " + source + " " + snapshots.at(0), "messages 0"}),
            lines);
  int reverse = 0, splits = 0;
  for (const rmsim::CallRecord& call : sim.journal()) {
    EXPECT_EQ(peer, call.pid) << call.function;
    reverse += call.function == "pairresync" && call.option == 1;
    splits += call.function == "pairsplit";
  }
  EXPECT_EQ(1, reverse);
  EXPECT_EQ(1, splits);
  EXPECT_EQ(kPSUS, sim.pairStatus(410001, 256, 0));
}

}  // namespace
