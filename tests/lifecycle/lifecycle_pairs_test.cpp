// The plugin object itself over the simulator: the pair-state rules for one
// sync and one split (shared with restore), and group nodes, which only a
// framework's group prefixes produce.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "cficontextsingleton.h"
#include "cfierrormanager.h"
#include "cfimessagecatalog.h"
#include "cfiprivatedatamgr.h"
#include "cfisessionmgr.h"
#include "hitachi_exception.h"
#include "hitachi_plugin.h"
#include "hitachi_rmlib_records.h"
#include "host_node.h"
#include "sim_handle.h"

using namespace frim_pdk_4_4;

namespace {

const std::string kSi256 = "<hitachifi>UDID##HITACHI##HDS##410001##256";

class PluginPairs : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/hitachifi-pairs.XXXXXX";
    ASSERT_NE(nullptr, ::mkdtemp(pattern));
    dir = pattern;
    for (const auto& var :
         {std::make_pair("RMSIM_DB", dir + "/rmsim.db"),
          std::make_pair("FRIM_DLOPEN_ROOT", std::string(SIM_ROOT)),
          std::make_pair("HITACHIFI_HOSTNAME", std::string("db1")),
          std::make_pair("HITACHIFI_SYSFS_ROOT", dir + "/sys"), std::make_pair("HITACHIFI_CACHE_DIR", dir)})
      ::setenv(var.first, var.second.c_str(), 1);
    sim.reset(new SimHandle(dir + "/rmsim.db"));
    sim->writeSysfs(dir + "/sys");
    log = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
    log->initialize("hitachifi", ACE_CString(dir.c_str()), ACE_CString("trace.log"), 6, false);
    plugin = CFiSmartPtr<CHitachiPlugin>(new CHitachiPlugin());
    plugin->registerTraceLog(log);
    plugin->setProviderName("hitachifi");
    ASSERT_EQ(0, plugin->init());
    ASSERT_EQ(0, plugin->delayedInit());
    session = CFiSessionPtr(new CFiSession("job"));
  }
  void TearDown() override {
    session.release();
    plugin->fini();
    plugin.release();
    log.release();
    CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
    CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(true);
    CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(true);
    CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(true);
    sim.reset();
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
  }
  std::vector<std::string> traced(const std::string& text) { return tracedLines(dir + "/trace.log", text); }
  void add(HostNode& node) {
    zfi_splitnode* list[] = {&node.split};
    session->addNodes(list, 1);
  }
  // The node's records as select and prepare left them.
  CHitachiPrivateData* selectedAndPrepared(HostNode& node) {
    add(node);
    EXPECT_EQ(0, plugin->selectSnapshots(session));
    EXPECT_EQ(0, plugin->prepareSnapshots(session));
    CFiPrivateDataPtr data = CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false)
                                 ->getFactory()
                                 ->accessByName(node.name, false);
    held = data;
    return dynamic_cast<CHitachiPrivateData*>(data.get());
  }
  CFiSmartPtr<SCmdInfo> cmd() { return plugin->cmdDevices().at("410001"); }

  std::string dir;
  std::unique_ptr<SimHandle> sim;
  CFiTraceLogPtr log;
  CFiSmartPtr<CHitachiPlugin> plugin;
  CFiSessionPtr session;
  CFiPrivateDataPtr held;
};

TEST_F(PluginPairs, SyncPairFollowsThePairStateAndTheDirection) {
  HostNode node(kSi256, "Hitachi_ShadowImage");
  CHitachiPrivateData* data = selectedAndPrepared(node);
  ASSERT_NE(nullptr, data);
  ASSERT_EQ(1u, data->m_vdisk.m_pairList.size());
  const struct {
    int status;
    bool reverse;
    int result;
    size_t resyncs;
  } rows[] = {
      {PAIR_PAIR, false, 0, 0},  {PAIR_PAIR, true, 0, 0}, {PAIR_COPY, false, 0, 0}, {PAIR_COPY, true, -1, 0},
      {PAIR_RCPY, false, -1, 0}, {PAIR_RCPY, true, 0, 0}, {PAIR_PSUS, false, 0, 1}, {PAIR_PSUS, true, 0, 1},
      {PAIR_PSUE, false, 6, 0},  {PAIR_PDUB, true, 6, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.status) + (row.reverse ? " reverse" : " forward"));
    sim->setPairStatus(410001, 256, 0, row.status);
    sim->clearJournal();
    EXPECT_EQ(row.result, plugin->syncPair(cmd(), data->m_vdisk, data->m_vdiskCopy, row.reverse));
    EXPECT_EQ(row.resyncs, sim->calls("pairresync", row.reverse ? 1 : 0));
  }
  EXPECT_EQ((std::vector<std::string>{"L1 pair staus is bad. vdisk '256' vdisk Copy '512'. staus '5'.",
                                      "L1 pair staus is bad. vdisk '256' vdisk Copy '512'. staus '6'."}),
            traced("staus is bad"));
  // Kept: a simplex pair is reported with the reverse-copy word.
  sim->setPairStatus(410001, 256, 0, PAIR_SMPL);
  try {
    plugin->syncPair(cmd(), data->m_vdisk, data->m_vdiskCopy, true);
    ADD_FAILURE() << "a simplex pair was synchronised";
  } catch (const CHitachiException& e) {
    EXPECT_EQ(HITACHI_EXC_BAD_PAIR, e.m_kind);
    EXPECT_EQ(6, e.m_errorNumber);
    EXPECT_EQ("STAT_RCPY 256 512 410001",
              e.m_pairStatus + " " + e.m_vdisk + " " + e.m_vdiskCopy + " " + e.m_enclosureId);
  }
  EXPECT_EQ("L1 pair staus is bad. vdisk '256' vdisk Copy '512'. staus '1'.", traced("staus is bad").back());
}

TEST_F(PluginPairs, SplitPairSplitsOnlyAPairInSync) {
  HostNode node(kSi256, "Hitachi_ShadowImage");
  CHitachiPrivateData* data = selectedAndPrepared(node);
  ASSERT_NE(nullptr, data);
  const struct {
    int status;
    const char* word;  // of the exception; null: no exception
    size_t splits, badLines;
  } rows[] = {
      {PAIR_PAIR, nullptr, 1, 0},     {PAIR_PSUS, nullptr, 0, 0},     {PAIR_SMPL, "STAT_SMPL", 0, 0},
      {PAIR_COPY, "STAT_COPY", 0, 1}, {PAIR_RCPY, "STAT_RCPY", 0, 1}, {PAIR_PSUE, "STAT_RCPY", 0, 1},
      {PAIR_UNKN, "STAT_RCPY", 0, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.status);
    sim->setPairStatus(410001, 256, 0, row.status);
    sim->clearJournal();
    const size_t before = traced("staus is bad").size();
    std::string word;
    try {
      EXPECT_EQ(0, plugin->splitPair(cmd(), data->m_vdisk, data->m_vdiskCopy));
    } catch (const CHitachiException& e) {
      word = e.m_pairStatus;
    }
    EXPECT_EQ(row.word ? row.word : "", word);
    EXPECT_EQ(row.splits, sim->calls("pairsplit", 1));
    EXPECT_EQ(row.badLines, traced("staus is bad").size() - before);
  }
  EXPECT_EQ((std::vector<std::string>{"L2 pair might be already splitted. vdisk '256' vdisk Copy '512'"}),
            traced("already splitted"));
}

// Selection passes over a group node and goes on; preparation stops at one;
// the readiness check marks it and ends.
TEST_F(PluginPairs, GroupNodesAreSkippedBySelectAndEndPrepareAndIsready) {
  plugin->addGroupNodePrefix("<hitachifi>UDID##GROUP");
  HostNode group("<hitachifi>UDID##GROUP##G##410001##1", "Hitachi_ShadowImage");
  HostNode node(kSi256, "Hitachi_ShadowImage");
  add(group);
  add(node);
  ASSERT_EQ(0, plugin->selectSnapshots(session));
  EXPECT_EQ(0, (*session)[group.name].selectDone);
  EXPECT_EQ(1, (*session)[node.name].selectDone);
  sim->clearJournal();
  EXPECT_EQ(0, plugin->prepareSnapshots(session));  // the group node sorts first
  EXPECT_EQ(0, (*session)[node.name].prepareDone);
  EXPECT_EQ(0u, sim->calls());
  zfi_splitnode* list[] = {&group.split, &node.split};
  EXPECT_EQ(0, plugin->isReady(nullptr, list, 2));
  EXPECT_EQ(ZFI_NODE_READY, group.domain.flags);
  EXPECT_EQ(0u, node.domain.flags);
  EXPECT_EQ(0u, node.alt.flags);

  // Prepare parses the name before it asks whether it is a group node.
  plugin->addGroupNodePrefix("<hitachifi>NOUDID");
  HostNode odd("<hitachifi>NOUDID", "Hitachi_ShadowImage");
  CFiSessionPtr other(new CFiSession("other"));
  zfi_splitnode* oddList[] = {&odd.split};
  other->addNodes(oddList, 1);
  EXPECT_EQ(0, plugin->selectSnapshots(other));
  EXPECT_EQ(6, plugin->prepareSnapshots(other));
  zfi_msg_info* info = nullptr;
  CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false)->getLastError(&info);
  ASSERT_NE(nullptr, info);
  EXPECT_STREQ("MSG_ERROR_UDID_PARSING_EXCEPTION", info->msg_id);
  CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false)->delLastError(&info);
}

}  // namespace
