// The edges of select, isready, prepare and make, through the C entry points
// against the simulator: refusals, pair states, failure order and the
// messages and trace lines an administrator sees.
#include <gtest/gtest.h>

#include <cstdlib>

#include "lifecycle_host.h"
#include "svrrm.h"

namespace {

const std::string kSi256 = LifecycleHost::marked("UDID##HITACHI##HDS##410001##256");
const std::string kSi257 = LifecycleHost::marked("UDID##HITACHI##HDS##410001##257");
const std::string kSi258 = LifecycleHost::marked("UDID##HITACHI##HDS##410001##258");
const std::string kCow259 = LifecycleHost::marked("UDID##HITACHI##HDS##410001##259");

class Lifecycle : public ::testing::Test {
 protected:
  // The calls since the last look.
  std::vector<rmsim::CallRecord> calls() {
    auto made = host.sim().journal();
    host.sim().clearJournal();
    return made;
  }
  size_t count(const char* function) {
    size_t n = 0;
    for (const auto& call : host.sim().journal()) n += call.function == function;
    return n;
  }
  HostMessage onlyMessage() {
    auto messages = host.messages();
    EXPECT_EQ(1u, messages.size());
    return messages.empty() ? HostMessage() : messages.front();
  }
  // A node selected and prepared (its pair resynchronising).
  HostNode& prepared(const std::string& name, const char* fim = "Hitachi_ShadowImage") {
    HostNode& node = host.node(name, fim);
    EXPECT_EQ(0, host.select("job", {&node}));
    EXPECT_EQ(0, host.prepare("job", {}));
    calls();
    return node;
  }

  LifecycleHost host;
};

TEST_F(Lifecycle, SelectSkipsEmptyListsAndNodesWithoutTheMarker) {
  EXPECT_EQ(0, host.select("job", {}));
  HostNode& foreign = host.node("UDID##HITACHI##HDS##410001##256", "Hitachi_ShadowImage");
  EXPECT_EQ(0, host.select("job", {&foreign}));
  EXPECT_TRUE(calls().empty());
  EXPECT_EQ((std::vector<std::string>{"L3 DBG: Marking selectdone as 1 in the node " + foreign.name}),
            host.traced("Marking selectdone"));
  // make leaves it alone: not split, not marked, named by itself.
  std::vector<std::string> names;
  EXPECT_EQ(0, host.make("job", {&foreign}, &names));
  EXPECT_EQ((std::vector<std::string>{foreign.name}), names);
  EXPECT_TRUE(calls().empty());
}

// A configured target whose method the source lacks: refused before the
// target is read, the node left unselected.
TEST(LifecycleOwnHost, SelectRefusesAConfiguredTargetTheSourceCannotServe) {
  const struct {
    const char* fim;
    const std::string* node;
    const char* spec;
    const char* line;
  } rows[] = {
      {"Hitachi_CopyOnWrite", &kSi258, "UDID##HITACHI##HDS##410001##258 = UDID##HITACHI##HDS##410001##514",
       "L1 CHitachiPlugin::selectSnapshots : HITACHI_FIM_SNAPSHOT not supported for : 258"},
      {"Hitachi_ShadowImage", &kCow259, "UDID##HITACHI##HDS##410001##259 = UDID##HITACHI##HDS##410001##770",
       "L1 CHitachiPlugin::selectSnapshots : HITACHI_FIM_SHADOW_IMAGE not supported for : 259"},
      {"HPXP_Snapshot", &kSi258, "UDID##HITACHI##HDS##410001##258 = UDID##HITACHI##HDS##410001##514",
       "L1 HPXP_FIM_SNAPSHOT not supported for : 258"},
      {"HPXP_BusinessCopy", &kCow259, "UDID##HITACHI##HDS##410001##259 = UDID##HITACHI##HDS##410001##770",
       "L1 HPXP_FIM_BUSINESS_COPY not supported for : 259"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.fim);
    ::setenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC", row.spec, 1);
    LifecycleHost configured;
    HostNode& node = configured.node(*row.node, row.fim);
    EXPECT_EQ(3, configured.select("job", {&node}));
    EXPECT_EQ((std::vector<std::string>{row.line}), configured.traced("not supported for"));
    size_t infos = 0;
    for (const auto& call : configured.sim().journal()) infos += call.function == "getrminfo";
    EXPECT_EQ(1u, infos);                        // the source only
    EXPECT_EQ(3, configured.select("job", {}));  // still unselected: refused again
    EXPECT_TRUE(configured.messages().empty());
  }
  ::unsetenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC");
}

TEST(LifecycleOwnHost, SelectProbesTheOtherConfiguredTargetsOnce) {
  ::setenv(
      "HITACHIFI_SNAPSHOT_RESOURCE_SPEC",
      "UDID##HITACHI##HDS##410001##256 = UDID##HITACHI##HDS##410001##512, UDID##HITACHI##HDS##410001##768",
      1);
  LifecycleHost configured;
  HostNode& node = configured.node(kSi256, "Hitachi_ShadowImage");
  EXPECT_EQ(0, configured.select("job", {&node}));  // the configuration is read here
  ::unsetenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC");
  std::vector<std::string> infos;
  for (const auto& call : configured.sim().journal())
    if (call.function == "getrminfo") infos.push_back(std::to_string(call.ldevArg));
  EXPECT_EQ((std::vector<std::string>{"256", "512", "768"}), infos);
  EXPECT_EQ((std::vector<std::string>{"L3 Validating target 768."}), configured.traced("Validating target"));
  EXPECT_TRUE(configured.traced("Performing auto discovery").empty());
}

// Nodes are taken in name order; the first failure ends the call and is
// the only one reported; nodes before it stay selected.
TEST_F(Lifecycle, SelectStopsAtTheFirstFailureAndKeepsEarlierNodesSelected) {
  HostNode& first = host.node(kSi256, "Hitachi_ShadowImage");
  HostNode& second = host.node(kSi257, "Hitachi_ShadowImage");
  HostNode& third = host.node(kSi258, "Hitachi_ShadowImage");
  ASSERT_EQ(0, host.select("warm", {&first}));  // command device attached, map cached
  host.sim().setFault("getdkclimit", 1, "no limits", -1);
  calls();
  EXPECT_EQ(-1, host.select("job", {&third, &second}));
  const HostMessage message = onlyMessage();
  EXPECT_EQ("MSG_ERROR_NO_SNAPSHOT_TARGET_SELECTED", message.id);
  EXPECT_EQ((std::vector<std::string>{"S:257"}), message.args);
  host.sim().clearFaults();
  calls();
  EXPECT_EQ(0, host.select("job", {}));
  std::vector<std::string> infos;
  for (const auto& call : calls())
    if (call.function == "getrminfo") infos.push_back(std::to_string(call.ldevArg));
  EXPECT_EQ((std::vector<std::string>{"257", "513", "258", "514"}), infos);
}

TEST_F(Lifecycle, FailuresReachTheFrameworkAsMessages) {
  HostNode& garbled = host.node("<hitachifi>UDID##HITACHI", "Hitachi_ShadowImage");
  EXPECT_EQ(6, host.select("a", {&garbled}));
  HostMessage message = onlyMessage();
  EXPECT_EQ("MSG_ERROR_UDID_PARSING_EXCEPTION", message.id);
  EXPECT_EQ((std::vector<std::string>{"S:<hitachifi>UDID##HITACHI", "I:3"}), message.args);

  HostNode& elsewhere =
      host.node(LifecycleHost::marked("UDID##HITACHI##HDS##999999##1"), "Hitachi_ShadowImage");
  EXPECT_EQ(6, host.select("b", {&elsewhere}));
  message = onlyMessage();
  EXPECT_EQ("MSG_ERROR_HITACHI_COMMAND_FAILED", message.id);
  ASSERT_EQ(6u, message.args.size());
  EXPECT_EQ("S:attachcmddev", message.args[0]);
  EXPECT_EQ("S:999999", message.args[1]);
  EXPECT_TRUE(calls().empty());

  host.sim().setFault("getrminfo", 4004, "LDEV is not installed", 1);
  HostNode& node = host.node(kSi256, "Hitachi_ShadowImage");
  EXPECT_EQ(6, host.select("c", {&node}));
  message = onlyMessage();
  EXPECT_EQ("MSG_ERROR_HITACHI_COMMAND_FAILED", message.id);
  ASSERT_EQ(6u, message.args.size());
  EXPECT_EQ("S:getrminfo", message.args[0]);
  EXPECT_EQ("I:4004", message.args[2]);

  // A node whose object is named otherwise has no private data under its name.
  HostNode& stray = host.node(kSi257, "Hitachi_ShadowImage");
  stray.objid.name = const_cast<char*>("elsewhere");
  EXPECT_EQ(5, host.select("d", {&stray}));
  message = onlyMessage();
  EXPECT_EQ("MSG_ERROR_PRIVATE_DATA_MALLOC", message.id);
  EXPECT_EQ((std::vector<std::string>{"S:CHitachiPlugin::selectSnapshots", "S:" + kSi257}), message.args);
}

TEST(LifecycleOwnHost, AMalformedTargetConfigurationIsReportedNotGuessedAround) {
  ::setenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC",
           "UDID##HITACHI##HDS##410001##256 UDID##HITACHI##HDS##410001##512", 1);
  LifecycleHost configured;
  HostNode& node = configured.node(kSi256, "Hitachi_ShadowImage");
  EXPECT_EQ(6, configured.select("job", {&node}));
  ::unsetenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC");
  auto messages = configured.messages();
  ASSERT_EQ(1u, messages.size());
  EXPECT_EQ("MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", messages[0].id);
  ASSERT_EQ(4u, messages[0].args.size());
  EXPECT_EQ("S:std::runtime_error", messages[0].args[0]);
  EXPECT_NE(std::string::npos, messages[0].args[2].find("hitachi_plugin_select.cpp"));
  EXPECT_EQ(0, configured.sim().counter("pairvolstat"));  // no target discovered instead
}

// What prepare does with each pair state it finds.
TEST(LifecycleOwnHost, PrepareResynchronisesOnlyASplitPair) {
  const struct {
    int status;
    int result, resyncs;
    bool prepared;
    std::vector<std::string> lines;
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
    fresh.sim().clearJournal();
    EXPECT_EQ(row.result, fresh.prepare("job", {}));
    size_t resyncs = 0;
    for (const auto& call : fresh.sim().journal()) resyncs += call.function == "pairresync";
    EXPECT_EQ(static_cast<size_t>(row.resyncs), resyncs);
    auto lines = fresh.traced("unknown status of pair");
    for (const auto& line : fresh.traced("pair list is empty for device")) lines.push_back(line);
    EXPECT_EQ(row.lines, lines);
    EXPECT_EQ(row.prepared, !fresh.traced("Marking preparedone").empty());
    fresh.sim().clearJournal();
    fresh.prepare("job", {});  // a prepared node is not looked at again
    EXPECT_EQ(row.prepared, fresh.sim().journal().empty());
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
  calls();
  EXPECT_EQ(0, host.isready({&inSync, &copying}));
  EXPECT_EQ(ZFI_NODE_READY, inSync.domain.flags);
  EXPECT_EQ(0u, copying.domain.flags);
  EXPECT_EQ(ZFI_NODE_READY, copying.alt.flags);  // the snapshot side regardless
  // A list that ends before its count: the nodes before the hole are examined.
  inSync.domain.flags = 0;
  EXPECT_EQ(3, host.isready({&inSync, nullptr}));
  EXPECT_EQ(ZFI_NODE_READY, inSync.domain.flags);

  // A method the plugin does not check is passed over without a mark.
  HostNode& other = host.node(kSi258, "Other");
  calls();
  EXPECT_EQ(0, host.isready({&other}));
  EXPECT_EQ(0u, other.domain.flags);
  EXPECT_TRUE(calls().empty());
}

TEST_F(Lifecycle, MakeAcceptsASplitPairAndRefusesOneStillCopying) {
  HostNode& split = prepared(LifecycleHost::marked("UDID##hitachi##hds##410001##256"));
  host.sim().setPairStatus(410001, 256, 0, RMSIM_PSUS);
  std::vector<std::string> names;
  EXPECT_EQ(0, host.make("job", {&split}, &names));
  EXPECT_EQ((std::vector<std::string>{"UDID##HITACHI##HDS##410001##512"}), names);  // upper-cased
  EXPECT_EQ((std::vector<std::string>{"L2 pair might be already splitted. vdisk '256' vdisk Copy '512'"}),
            host.traced("already splitted"));
  EXPECT_EQ(0u, count("pairsplit"));

  HostNode& copying = prepared(kSi258);
  host.sim().setPairStatus(410001, 258, 1, RMSIM_COPY);
  EXPECT_EQ(6, host.make("job", {&copying}, nullptr));
  const HostMessage message = onlyMessage();
  EXPECT_EQ("MSG_ERROR_HITACHI_BAD_PAIR_STATUS", message.id);
  ASSERT_EQ(6u, message.args.size());
  EXPECT_EQ((std::vector<std::string>{"S:258", "S:514", "S:410001", "S:STAT_COPY"}),
            std::vector<std::string>(message.args.begin(), message.args.begin() + 4));
  EXPECT_EQ((std::vector<std::string>{"L1 pair staus is bad. vdisk '258' vdisk Copy '514'. staus '2'."}),
            host.traced("staus is bad"));
  EXPECT_EQ(0u, count("pairsplit"));
  // Marked made before the split was refused: not split again.
  calls();
  EXPECT_EQ(0, host.make("job", {&copying}, nullptr));
  EXPECT_TRUE(calls().empty());
}

TEST_F(Lifecycle, MakeRefusesAMethodItDoesNotKnowAfterNamingTheSnapshot) {
  HostNode& node = prepared(kSi256, "Other");
  EXPECT_EQ(6, host.make("job", {&node}, nullptr));
  const HostMessage message = onlyMessage();
  EXPECT_EQ("MSG_ERROR_INVALID_SPLIT_TYPE", message.id);
  EXPECT_EQ((std::vector<std::string>{"S:Other"}), message.args);
  EXPECT_EQ(0u, count("pairsplit"));
  std::vector<std::string> names;
  EXPECT_EQ(0, host.make("job", {&node}, &names));  // already marked made
  EXPECT_EQ((std::vector<std::string>{"UDID##HITACHI##HDS##410001##512"}), names);
}

TEST_F(Lifecycle, NodeInitialisationGivesNodesTheirPrivateData) {
  HostNode& node = host.node(kSi256, "Hitachi_ShadowImage");
  EXPECT_EQ(0, host.initNode(node));
  EXPECT_NE(nullptr, node.domain.private_data);
  EXPECT_EQ(0, host.initAltNode(node, false));
  EXPECT_NE(nullptr, node.alt.private_data);
  HostNode& remote = host.node(kSi257, "Hitachi_ShadowImage");
  EXPECT_EQ(0, host.initAltNode(remote, true));
  EXPECT_NE(nullptr, remote.alt.private_data);
  EXPECT_EQ(nullptr, remote.domain.private_data);
  EXPECT_EQ(3, host.entry<int (*)(zfi_domain*, zfi_domain**, int, frim_objid*)>("init_node")(nullptr, nullptr,
                                                                                             0, nullptr));
  EXPECT_EQ(0, host.select("job", {&node}));
}

TEST_F(Lifecycle, AForgottenSessionIsTracedAsAWarning) {
  for (int i = 0; i <= 128; ++i) ASSERT_EQ(0, host.select("job-" + std::to_string(i), {}));
  const auto lines = host.traced("forgetting session");
  ASSERT_FALSE(lines.empty());
  for (const auto& line : lines)
    EXPECT_EQ(0u, line.find("L2 CFiSessionManager::getSession : session table full, forgetting session '"));
  // Sessions of earlier jobs go first; the oldest of these is the last to go.
  EXPECT_EQ("L2 CFiSessionManager::getSession : session table full, forgetting session 'job-0'",
            lines.back());
}

}  // namespace
