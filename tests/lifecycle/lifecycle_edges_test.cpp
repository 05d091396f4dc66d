// The edges of select, isready, prepare and make through the C entry points:
// refusals, pair states, failure order, and the messages and trace lines.
#include <gtest/gtest.h>

#include <cstdlib>

#include "lifecycle_host.h"
#include "svrrm.h"

namespace {

using Lines = std::vector<std::string>;

const std::string kSi256 = LifecycleHost::marked("UDID##HITACHI##HDS##410001##256");
const std::string kSi257 = LifecycleHost::marked("UDID##HITACHI##HDS##410001##257");
const std::string kSi258 = LifecycleHost::marked("UDID##HITACHI##HDS##410001##258");
const std::string kCow259 = LifecycleHost::marked("UDID##HITACHI##HDS##410001##259");

size_t count(const std::vector<rmsim::CallRecord>& made, const char* function) {
  size_t n = 0;
  for (const auto& call : made) n += call.function == function;
  return n;
}

// The only message reported, as "id arg arg...".
std::string onlyMessage(LifecycleHost& host) {
  auto messages = host.messages();
  EXPECT_EQ(1u, messages.size());
  std::string text = messages.empty() ? "" : messages[0].id;
  for (size_t i = 0; !messages.empty() && i < messages[0].args.size(); ++i) text += " " + messages[0].args[i];
  return text;
}

// A host whose target configuration is `targets`, read by its first select.
struct ConfiguredHost : LifecycleHost {
  explicit ConfiguredHost(const char* targets) { ::setenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC", targets, 1); }
  ~ConfiguredHost() { ::unsetenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC"); }
};

class Lifecycle : public ::testing::Test {
 protected:
  // A node selected and prepared (its pair resynchronising).
  HostNode& prepared(const std::string& name, const char* fim = "Hitachi_ShadowImage") {
    HostNode& node = host.node(name, fim);
    EXPECT_EQ(0, host.select("job", {&node}));
    EXPECT_EQ(0, host.prepare("job", {}));
    host.calls();
    return node;
  }

  LifecycleHost host;
};

TEST_F(Lifecycle, SelectSkipsEmptyListsAndNodesWithoutTheMarker) {
  EXPECT_EQ(0, host.select("job", {}));
  HostNode& foreign = host.node("UDID##HITACHI##HDS##410001##256", "Hitachi_ShadowImage");
  EXPECT_EQ(0, host.select("job", {&foreign}));
  EXPECT_EQ((Lines{"L3 DBG: Marking selectdone as 1 in the node " + foreign.name}),
            host.traced("Marking selectdone"));
  Lines names;  // make leaves it alone: not split, named by itself
  EXPECT_EQ(0, host.make("job", {&foreign}, &names));
  EXPECT_EQ((Lines{foreign.name}), names);
  EXPECT_TRUE(host.calls().empty());
}

// A configured target whose method the source lacks, or on another array:
// refused without reading the target, the node left unselected, and
// prepare and make change nothing on the array.
TEST(LifecycleOwnHost, SelectRefusesAConfiguredTargetTheSourceCannotServe) {
  const char* si = "UDID##HITACHI##HDS##410001##258 = UDID##HITACHI##HDS##410001##514";
  const char* cow = "UDID##HITACHI##HDS##410001##259 = UDID##HITACHI##HDS##410001##770";
  const char* otherArray = "UDID##HITACHI##HDS##410001##256 = UDID##HP##XP##520002##600";
  const struct {
    const char *fim, *targets, *node, *match, *line;
  } rows[] = {
      {"Hitachi_CopyOnWrite", si, kSi258.c_str(), "not supported for",
       "L1 CHitachiPlugin::selectSnapshots : HITACHI_FIM_SNAPSHOT not supported for : 258"},
      {"Hitachi_ShadowImage", cow, kCow259.c_str(), "not supported for",
       "L1 CHitachiPlugin::selectSnapshots : HITACHI_FIM_SHADOW_IMAGE not supported for : 259"},
      {"HPXP_Snapshot", si, kSi258.c_str(), "not supported for",
       "L1 HPXP_FIM_SNAPSHOT not supported for : 258"},
      {"HPXP_BusinessCopy", cow, kCow259.c_str(), "not supported for",
       "L1 HPXP_FIM_BUSINESS_COPY not supported for : 259"},
      {"Hitachi_ShadowImage", otherArray, kSi256.c_str(), "don't match",
       "L1 CHitachiPlugin::selectSnapshots : vdisk.enclosureId : [410001] vdiskCopy.enclosureId : [520002] "
       "don't match"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.fim) + " " + row.targets);
    ConfiguredHost configured(row.targets);
    HostNode& node = configured.node(row.node, row.fim);
    EXPECT_EQ(3, configured.select("job", {&node}));
    EXPECT_EQ((Lines{row.line}), configured.traced(row.match));
    EXPECT_EQ(1u, LifecycleHost::infos(configured.calls()).size());  // the source only
    EXPECT_EQ(3, configured.select("job", {}));                      // still unselected: refused again
    EXPECT_TRUE(configured.messages().empty());
    configured.prepare("job", {});
    configured.make("job", {&node}, nullptr);
    const auto made = configured.calls();
    EXPECT_EQ(0u, count(made, "pairresync") + count(made, "pairsplit"));
  }
}

TEST(LifecycleOwnHost, SelectProbesTheOtherConfiguredTargetsOnce) {
  ConfiguredHost configured(
      "UDID##HITACHI##HDS##410001##256 = UDID##HITACHI##HDS##410001##512, UDID##HITACHI##HDS##410001##768");
  HostNode& node = configured.node(kSi256, "Hitachi_ShadowImage");
  EXPECT_EQ(0, configured.select("job", {&node}));
  EXPECT_EQ((Lines{"256", "512", "768"}), LifecycleHost::infos(configured.calls()));
  EXPECT_EQ((Lines{"L3 Validating target 768."}), configured.traced("Validating target"));
  EXPECT_TRUE(configured.traced("Performing auto discovery").empty());
}

TEST(LifecycleOwnHost, AMalformedTargetConfigurationIsReportedNotGuessedAround) {
  ConfiguredHost configured("UDID##HITACHI##HDS##410001##256 UDID##HITACHI##HDS##410001##512");
  HostNode& node = configured.node(kSi256, "Hitachi_ShadowImage");
  EXPECT_EQ(6, configured.select("job", {&node}));
  auto messages = configured.messages();
  ASSERT_EQ(1u, messages.size());
  EXPECT_EQ("MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", messages[0].id);
  ASSERT_EQ(4u, messages[0].args.size());
  EXPECT_EQ("S:std::runtime_error", messages[0].args[0]);
  EXPECT_NE(std::string::npos, messages[0].args[2].find("hitachi_plugin_select.cpp"));
  EXPECT_EQ(0, configured.sim().counter("pairvolstat"));  // no target discovered instead
}

// Nodes are taken in name order; the first failure ends the call and is
// the only one reported; nodes before it stay selected.
TEST_F(Lifecycle, SelectStopsAtTheFirstFailureAndKeepsEarlierNodesSelected) {
  HostNode& first = host.node(kSi256, "Hitachi_ShadowImage");
  HostNode& second = host.node(kSi257, "Hitachi_ShadowImage");
  HostNode& third = host.node(kSi258, "Hitachi_ShadowImage");
  ASSERT_EQ(0, host.select("warm", {&first}));  // command device attached, map cached
  host.sim().setFault("getdkclimit", 1, "no limits", -1);
  EXPECT_EQ(-1, host.select("job", {&third, &second}));
  EXPECT_EQ("MSG_ERROR_NO_SNAPSHOT_TARGET_SELECTED S:257", onlyMessage(host));
  host.sim().clearFaults();
  host.calls();
  EXPECT_EQ(0, host.select("job", {}));
  EXPECT_EQ((Lines{"257", "513", "258", "514"}), LifecycleHost::infos(host.calls()));
}

TEST_F(Lifecycle, FailuresReachTheFrameworkAsMessages) {
  HostNode& garbled = host.node("<hitachifi>UDID##HITACHI", "Hitachi_ShadowImage");
  EXPECT_EQ(6, host.select("a", {&garbled}));
  EXPECT_EQ("MSG_ERROR_UDID_PARSING_EXCEPTION S:<hitachifi>UDID##HITACHI I:3", onlyMessage(host));

  HostNode& elsewhere =
      host.node(LifecycleHost::marked("UDID##HITACHI##HDS##999999##1"), "Hitachi_ShadowImage");
  EXPECT_EQ(6, host.select("b", {&elsewhere}));
  auto messages = host.messages();
  ASSERT_EQ(1u, messages.size());
  EXPECT_EQ("MSG_ERROR_HITACHI_COMMAND_FAILED", messages[0].id);
  ASSERT_EQ(6u, messages[0].args.size());
  EXPECT_EQ((Lines{"S:attachcmddev", "S:999999"}),
            Lines(messages[0].args.begin(), messages[0].args.begin() + 2));
  EXPECT_TRUE(host.calls().empty());

  host.sim().setFault("getrminfo", 4004, "LDEV is not installed", 1);
  HostNode& node = host.node(kSi256, "Hitachi_ShadowImage");
  EXPECT_EQ(6, host.select("c", {&node}));
  messages = host.messages();
  ASSERT_EQ(1u, messages.size());
  EXPECT_EQ("MSG_ERROR_HITACHI_COMMAND_FAILED", messages[0].id);
  ASSERT_EQ(6u, messages[0].args.size());
  EXPECT_EQ("S:getrminfo", messages[0].args[0]);
  EXPECT_EQ("I:4004", messages[0].args[2]);

  // A node whose object is named otherwise has no private data under its name.
  HostNode& stray = host.node(kSi257, "Hitachi_ShadowImage");
  stray.objid.name = const_cast<char*>("elsewhere");
  EXPECT_EQ(5, host.select("d", {&stray}));
  EXPECT_EQ("MSG_ERROR_PRIVATE_DATA_MALLOC S:CHitachiPlugin::selectSnapshots S:" + kSi257, onlyMessage(host));
}

TEST(LifecycleOwnHost, PrepareResynchronisesOnlyASplitPair) {
  const struct {
    int status, result;
    size_t resyncs;
    bool prepared;
    Lines lines;
  } rows[] = {
      {RMSIM_PSUS, 0, 1, true, {}},
      {RMSIM_COPY, 0, 0, true, {}},
      {RMSIM_PAIR, 0, 0, true, {}},
      {RMSIM_RCPY, 0, 0, true, {}},
      {RMSIM_PSUE, 0, 0, true, {"L2 unknown status of pair"}},
      {RMSIM_PDUB, 0, 0, true, {"L2 unknown status of pair"}},
      {RMSIM_SMPL, 3, 0, false, {"L1 pair list is empty for device '256'."}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.status);
    LifecycleHost fresh;
    HostNode& node = fresh.node(kSi256, "Hitachi_ShadowImage");
    ASSERT_EQ(0, fresh.select("job", {&node}));
    fresh.sim().setPairStatus(410001, 256, 0, row.status);
    fresh.calls();
    EXPECT_EQ(row.result, fresh.prepare("job", {}));
    EXPECT_EQ(row.resyncs, count(fresh.calls(), "pairresync"));
    Lines lines = fresh.traced("unknown status of pair");
    for (const auto& line : fresh.traced("pair list is empty for device")) lines.push_back(line);
    EXPECT_EQ(row.lines, lines);
    EXPECT_EQ(row.prepared, !fresh.traced("Marking preparedone").empty());
    fresh.prepare("job", {});  // a prepared node is not looked at again
    EXPECT_EQ(row.prepared, fresh.calls().empty());
    EXPECT_TRUE(fresh.messages().empty());
  }
}

TEST_F(Lifecycle, IsreadyChecksTheListAndMarksOnlyPairsInSync) {
  auto isready = host.entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int)>("isready");
  EXPECT_EQ(0, isready(nullptr, nullptr, nullptr, 0));
  EXPECT_EQ(3, isready(nullptr, nullptr, nullptr, 2));
  zfi_splitnode empty{};
  zfi_splitnode* holes[] = {&empty};
  EXPECT_EQ(3, isready(nullptr, nullptr, holes, 1));
  EXPECT_EQ(2u, host.traced("CHitachiPlugin::isReady : nodeList is null or invalid").size());

  HostNode& inSync = prepared(kSi257);  // 257 is in PAIR from the start
  HostNode& copying = prepared(kSi256);
  EXPECT_EQ(0, host.isready({&inSync, &copying}));
  EXPECT_EQ(ZFI_NODE_READY, inSync.domain.flags);
  EXPECT_EQ(0u, copying.domain.flags);
  EXPECT_EQ(ZFI_NODE_READY, copying.alt.flags);  // the snapshot side regardless
  inSync.domain.flags = 0;  // a list that ends before its count: the nodes before are examined
  EXPECT_EQ(3, host.isready({&inSync, nullptr}));
  EXPECT_EQ(ZFI_NODE_READY, inSync.domain.flags);

  HostNode& other = host.node(kSi258, "Other");  // a method not checked is passed over unmarked
  host.calls();
  EXPECT_EQ(0, host.isready({&other}));
  EXPECT_EQ(0u, other.domain.flags);
  EXPECT_TRUE(host.calls().empty());
}

TEST_F(Lifecycle, MakeAcceptsASplitPairAndRefusesOneStillCopying) {
  HostNode& split = prepared(LifecycleHost::marked("UDID##hitachi##hds##410001##256"));
  host.sim().setPairStatus(410001, 256, 0, RMSIM_PSUS);
  Lines names;
  EXPECT_EQ(0, host.make("job", {&split}, &names));
  EXPECT_EQ((Lines{"UDID##HITACHI##HDS##410001##512"}), names);  // upper-cased
  EXPECT_EQ((Lines{"L2 pair might be already splitted. vdisk '256' vdisk Copy '512'"}),
            host.traced("already splitted"));
  EXPECT_EQ(0u, count(host.calls(), "pairsplit"));

  HostNode& copying = prepared(kSi258);
  host.sim().setPairStatus(410001, 258, 1, RMSIM_COPY);
  EXPECT_EQ(6, host.make("job", {&copying}, nullptr));
  const auto messages = host.messages();
  ASSERT_EQ(1u, messages.size());
  EXPECT_EQ("MSG_ERROR_HITACHI_BAD_PAIR_STATUS", messages[0].id);
  ASSERT_EQ(6u, messages[0].args.size());
  EXPECT_EQ((Lines{"S:258", "S:514", "S:410001", "S:STAT_COPY"}),
            Lines(messages[0].args.begin(), messages[0].args.begin() + 4));
  EXPECT_EQ((Lines{"L1 pair staus is bad. vdisk '258' vdisk Copy '514'. staus '2'."}),
            host.traced("staus is bad"));
  EXPECT_EQ(0u, count(host.calls(), "pairsplit"));
  EXPECT_EQ(0, host.make("job", {&copying}, nullptr));  // marked made before the refusal: not split again
  EXPECT_TRUE(host.calls().empty());
}

TEST_F(Lifecycle, MakeRefusesAMethodItDoesNotKnowAfterNamingTheSnapshot) {
  HostNode& node = prepared(kSi256, "Other");
  EXPECT_EQ(6, host.make("job", {&node}, nullptr));
  EXPECT_EQ("MSG_ERROR_INVALID_SPLIT_TYPE S:Other", onlyMessage(host));
  EXPECT_EQ(0u, count(host.calls(), "pairsplit"));
  Lines names;
  EXPECT_EQ(0, host.make("job", {&node}, &names));  // already marked made
  EXPECT_EQ((Lines{"UDID##HITACHI##HDS##410001##512"}), names);
}

TEST_F(Lifecycle, PrivateDataLivesFromNodeInitialisationOrSelectToDeinitialisation) {
  using InitNode = int (*)(zfi_domain*, zfi_domain**, int, frim_objid*);
  using InitAltNode = int (*)(zfi_domain*, zfi_domain*, zfi_domain*);
  auto deinit = host.entry<void (*)(zfi_domain*)>("deinit_node");
  HostNode& node = host.node(kSi256, "Hitachi_ShadowImage");
  EXPECT_EQ(5, host.isready({&node}));  // isready creates none
  EXPECT_EQ(nullptr, node.domain.private_data);
  EXPECT_EQ("MSG_ERROR_PRIVATE_DATA_MALLOC S:CHitachiPlugin::isReady S:" + kSi256, onlyMessage(host));
  EXPECT_EQ(0, host.entry<InitNode>("init_node")(&node.domain, nullptr, 0, &node.objid));
  EXPECT_NE(nullptr, node.domain.private_data);
  EXPECT_EQ(0, host.entry<InitAltNode>("init_altnode")(&node.domain, &node.alt, nullptr));
  EXPECT_NE(nullptr, node.alt.private_data);
  EXPECT_EQ(0, host.entry<InitAltNode>("init_remnode")(&node.domain, &node.alt, nullptr));
  EXPECT_EQ(3, host.entry<InitNode>("init_node")(nullptr, nullptr, 0, nullptr));
  deinit(&node.alt);
  EXPECT_EQ(nullptr, node.alt.private_data);
  EXPECT_NE(nullptr, node.domain.private_data);
  EXPECT_EQ(0, host.select("job", {&node}));
  deinit(&node.domain);
  EXPECT_EQ(nullptr, node.domain.private_data);
  EXPECT_EQ(5, host.isready({&node}));  // the records went with the node
  EXPECT_EQ("MSG_ERROR_PRIVATE_DATA_MALLOC S:CHitachiPlugin::isReady S:" + kSi256, onlyMessage(host));
}

// A job's session outlives hundreds of others between select and make; an
// id never selected has nothing to prepare or make.
TEST(LifecycleOwnHost, ASessionOutlivesThreeHundredOthersBetweenSelectAndMake) {
  LifecycleHost host(std::string(), 1);
  HostNode& node = host.node(kSi256, "Hitachi_ShadowImage");
  ASSERT_EQ(0, host.select("A", {&node}));
  HostNode& other = host.node("UDID##OTHER##HOST##1##1", "");
  for (int i = 0; i < 300; ++i) {
    const std::string id = "other-" + std::to_string(i);
    ASSERT_EQ(0, host.select(id, {&other}));
    ASSERT_EQ(0, host.prepare(id, {}));
  }
  ASSERT_EQ(0, host.prepare("A", {}));
  for (int polls = 0; (node.domain.flags & ZFI_NODE_READY) == 0 && polls < 10; ++polls)
    ASSERT_EQ(0, host.isready({&node}));
  host.calls();
  Lines names;
  ASSERT_EQ(0, host.make("A", {&node}, &names)) << host.describeMessages();
  EXPECT_EQ((Lines{"UDID##HITACHI##HDS##410001##512"}), names);
  EXPECT_EQ(1u, count(host.calls(), "pairsplit"));
  EXPECT_EQ(RMSIM_PSUS, host.sim().pairStatus(410001, 256, 0));

  names.clear();
  EXPECT_EQ(0, host.prepare("never-selected", {}));
  EXPECT_EQ(0, host.make("never-selected", {&node}, &names));
  EXPECT_EQ((Lines{""}), names);
  EXPECT_TRUE(host.calls().empty());
}

}  // namespace
