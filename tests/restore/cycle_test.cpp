// A whole snapshot cycle through the C ABI on the simulator's default
// model, for each of the four methods: select, prepare, ready, make, then
// restore from the snapshot make named.
#include "plugin_host.h"

namespace {

const int kCOPY = 2, kPSUS = 4;

struct Method {
  const char* fim;
  int serial, pvol, mu;
  const char* source;
  const char* snapshot;
};

void PrintTo(const Method& m, std::ostream* out) { *out << m.fim; }

class SnapshotCycle : public PluginOnSimulator, public ::testing::WithParamInterface<Method> {};

TEST_P(SnapshotCycle, SelectPrepareMakeAndRestore) {
  const Method& m = GetParam();
  TestNode node(std::string("<hitachifi>") + m.source, m.fim);
  sim.clearJournal();
  ASSERT_EQ(0, plugin->select("cycle", node));
  ASSERT_EQ(0, plugin->prepare("cycle", node));
  EXPECT_EQ(kCOPY, sim.pairStatus(m.serial, m.pvol, m.mu));
  // The framework asks until the pair is in sync; the model's copies end at
  // their second status read.
  int asked = 0;
  while ((node.domain.flags & ZFI_NODE_READY) == 0 && asked < 10) {
    ASSERT_EQ(0, plugin->isReady("cycle", node));
    ++asked;
  }
  EXPECT_EQ(2, asked);
  std::vector<std::string> snapshots;
  ASSERT_EQ(0, plugin->make("cycle", node, snapshots));
  ASSERT_EQ(std::vector<std::string>{m.snapshot}, snapshots);
  EXPECT_EQ(kPSUS, sim.pairStatus(m.serial, m.pvol, m.mu));

  ASSERT_EQ(0, plugin->restore({{m.source, snapshots[0]}}));
  EXPECT_EQ(kPSUS, sim.pairStatus(m.serial, m.pvol, m.mu));
  std::vector<int> resyncs;
  int splits = 0;
  for (const rmsim::CallRecord& call : sim.journal()) {
    EXPECT_EQ(0, call.result) << call.function;
    if (call.function == "pairresync") resyncs.push_back(call.option);
    if (call.function == "pairsplit") ++splits;
    if (call.function == "pairresync" || call.function == "pairsplit") {
      EXPECT_EQ(m.mu, call.mun);
    }
  }
  EXPECT_EQ((std::vector<int>{0, 1}), resyncs);  // forward to prepare, reverse to restore
  EXPECT_EQ(2, splits);                          // the snapshot, then again after the restore
  EXPECT_TRUE(plugin->takeMessages().empty());
}

INSTANTIATE_TEST_SUITE_P(
    DefaultModel, SnapshotCycle,
    ::testing::Values(
        Method{"Hitachi_ShadowImage", 410001, 256, 0, "UDID##HITACHI##HDS##410001##256",
               "UDID##HITACHI##HDS##410001##512"},
        Method{"Hitachi_CopyOnWrite", 410001, 259, 3, "UDID##HITACHI##HDS##410001##259",
               "UDID##HITACHI##HDS##410001##770"},
        Method{"HPXP_BusinessCopy", 520002, 300, 0, "UDID##HP##XP##520002##300", "UDID##HP##XP##520002##600"},
        Method{"HPXP_Snapshot", 520002, 301, 3, "UDID##HP##XP##520002##301", "UDID##HP##XP##520002##601"}),
    [](const ::testing::TestParamInfo<Method>& info) { return std::string(info.param.fim); });

}  // namespace
