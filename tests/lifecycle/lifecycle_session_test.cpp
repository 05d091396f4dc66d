// Whole snapshot sessions through the plugin's C entry points, one per
// method, with every RMLIB call's arguments pinned.
#include <gtest/gtest.h>

#include "lifecycle_host.h"
#include "svrrm.h"

namespace {

using Lines = std::vector<std::string>;

struct Method {
  const char* fim;
  const char* udid;  // the source
  int serial, source, lun, target, mu;
  const char* snapshot;  // what make names it
};

const Method kMethods[] = {
    {"Hitachi_ShadowImage", "UDID##HITACHI##HDS##410001##256", 410001, 256, 1, 512, 0,
     "UDID##HITACHI##HDS##410001##512"},
    {"Hitachi_CopyOnWrite", "UDID##HITACHI##HDS##410001##259", 410001, 259, 8, 770, 3,
     "UDID##HITACHI##HDS##410001##770"},
    {"HPXP_BusinessCopy", "UDID##HP##XP##520002##300", 520002, 300, 1, 600, 0, "UDID##HP##XP##520002##600"},
    {"HPXP_Snapshot", "UDID##HP##XP##520002##301", 520002, 301, 2, 601, 3, "UDID##HP##XP##520002##601"},
};

class WholeSession : public ::testing::TestWithParam<Method> {
 protected:
  // The calls since the last look, each naming a volume checked for the
  // source's address: port 0, host group 0, its LUN, porttype 1, ldevno 0xFFFF.
  std::vector<rmsim::CallRecord> calls() {
    const auto made = host.calls();
    for (const rmsim::CallRecord& call : made) {
      EXPECT_EQ(0, call.result) << call.function;
      if (call.porttype == -1) continue;
      EXPECT_EQ(1, call.porttype) << call.function;
      EXPECT_EQ(0xFFFF, call.ldevno) << call.function;
      EXPECT_EQ(0, call.port) << call.function;
      EXPECT_EQ(0, call.targid) << call.function;
      if (call.function != "getldev") {  // getldev scans the LUNs
        EXPECT_EQ(GetParam().lun, call.lun) << call.function;
      }
    }
    return made;
  }
  static std::vector<rmsim::CallRecord> only(const std::vector<rmsim::CallRecord>& made,
                                             const char* function) {
    std::vector<rmsim::CallRecord> matching;
    for (const auto& call : made)
      if (call.function == function) matching.push_back(call);
    return matching;
  }

  LifecycleHost host;
};

TEST_P(WholeSession, SelectIsreadyPrepareWaitMakeNamesTheSnapshot) {
  const Method& m = GetParam();
  const std::string name = LifecycleHost::marked(m.udid), source = std::to_string(m.source);
  const std::string serial = std::to_string(m.serial);
  HostNode& node = host.node(name, m.fim);

  ASSERT_EQ(0, host.select("job", {&node})) << host.describeMessages();
  auto made = calls();
  EXPECT_EQ((Lines{source, std::to_string(m.target)}), LifecycleHost::infos(made));
  const auto discovery = only(made, "pairvolstat");
  ASSERT_EQ(static_cast<size_t>(m.mu + 1), discovery.size());  // mirror units up to the partner's
  for (size_t mu = 0; mu < discovery.size(); ++mu) EXPECT_EQ(static_cast<int>(mu), discovery[mu].mun);
  EXPECT_EQ((Lines{"L6 nodename for select " + name}), host.traced("nodename for select"));
  EXPECT_EQ((Lines{"L6 Performing auto discovery of target on nodename [" + name + "]"}),
            host.traced("Performing auto discovery"));
  EXPECT_EQ((Lines{"L3 CHitachiPlugin::selectSnapshots : Source DeviceId : [" + serial +
                   "] Target DeviceId : [" + serial + "]"}),
            host.traced("Source DeviceId"));
  EXPECT_EQ((Lines{"L3 DBG: Marking selectdone as 1 in the node " + name}),
            host.traced("Marking selectdone"));

  // Before prepare there is no pair to ask about; the snapshot side is marked regardless.
  EXPECT_EQ(3, host.isready({&node}));
  EXPECT_EQ(0u, node.domain.flags & ZFI_NODE_READY);
  EXPECT_EQ(ZFI_NODE_READY, node.alt.flags);
  EXPECT_EQ((Lines{"L1 pair list is empty for dvice '" + source + "'."}), host.traced("pair list is empty"));
  EXPECT_TRUE(calls().empty());

  ASSERT_EQ(0, host.prepare("job", {})) << host.describeMessages();
  const auto resyncs = only(calls(), "pairresync");
  ASSERT_EQ(1u, resyncs.size());
  EXPECT_EQ(m.mu, resyncs[0].mun);
  EXPECT_EQ(0, resyncs[0].option);  // forward: primary to secondary
  EXPECT_EQ(3, resyncs[0].csize);   // the pair's own pace
  EXPECT_EQ((Lines{"L3 DBG: Marking preparedone as 1 in the node " + name}),
            host.traced("Marking preparedone"));
  EXPECT_EQ(RMSIM_COPY, host.sim().pairStatus(m.serial, m.source, m.mu));

  int polls = 0;
  for (; (node.domain.flags & ZFI_NODE_READY) == 0 && polls < 10; ++polls)
    ASSERT_EQ(0, host.isready({&node}));
  EXPECT_EQ(2, polls);  // the simulator copies over two status reads
  EXPECT_EQ((Lines{"L3 status of pair of node '" + source + "' is NOT PAIR",
                   "L3 status of pair of node '" + source + "' is PAIR"}),
            host.traced("status of pair of node"));
  EXPECT_EQ(2u, only(calls(), "pairvolstat").size());

  Lines names;
  ASSERT_EQ(0, host.make("job", {&node}, &names)) << host.describeMessages();
  EXPECT_EQ((Lines{m.snapshot}), names);
  EXPECT_EQ(ZFI_NODE_MADE | ZFI_NODE_READY, node.domain.flags);
  const auto splits = only(calls(), "pairsplit");
  ASSERT_EQ(1u, splits.size());
  EXPECT_EQ(m.mu, splits[0].mun);
  EXPECT_EQ(1, splits[0].option);
  EXPECT_EQ(3, splits[0].csize);
  EXPECT_EQ(RMSIM_PSUS, host.sim().pairStatus(m.serial, m.source, m.mu));
  EXPECT_EQ((Lines{"L3 nodename for make"}), host.traced("nodename for make"));

  names.clear();  // a repeated make splits nothing and names the same snapshot
  ASSERT_EQ(0, host.make("job", {&node}, &names));
  EXPECT_EQ((Lines{m.snapshot}), names);
  EXPECT_TRUE(calls().empty());
  EXPECT_TRUE(host.messages().empty());
}

void PrintTo(const Method& m, std::ostream* out) { *out << m.fim; }

INSTANTIATE_TEST_SUITE_P(Methods, WholeSession, ::testing::ValuesIn(kMethods),
                         [](const ::testing::TestParamInfo<Method>& info) {
                           return std::string(info.param.fim);
                         });

}  // namespace
