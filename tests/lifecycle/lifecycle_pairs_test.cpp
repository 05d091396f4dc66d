// Group nodes, which only a framework's group prefixes produce (the plugin
// registers none, so no C entry point reaches them): selection passes over
// one and goes on, preparation stops at one, the readiness check marks it
// and ends.
#include <gtest/gtest.h>

#include <cstdlib>

#include "cficontextsingleton.h"
#include "cfierrormanager.h"
#include "cfimessagecatalog.h"
#include "cfiprivatedatamgr.h"
#include "cfisessionmgr.h"
#include "hitachi_plugin.h"
#include "plugin_host.h"
#include "sim_control.h"

using namespace frim_pdk_4_4;

namespace {

TEST(GroupNodes, AreSkippedBySelectAndEndPrepareAndIsready) {
  SimControl sim(SIM_ROOT);
  sim.writeSysfs(sim.dir() + "/sys");
  ::setenv("HITACHIFI_SYSFS_ROOT", (sim.dir() + "/sys").c_str(), 1);
  ::setenv("HITACHIFI_CACHE_DIR", sim.dir().c_str(), 1);
  ::setenv("HITACHIFI_HOSTNAME", "db1", 1);
  CFiTraceLogPtr log = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
  log->initialize("hitachifi", ACE_CString(sim.dir().c_str()), ACE_CString("trace.log"), 6, false);
  CFiSmartPtr<CHitachiPlugin> plugin(new CHitachiPlugin());
  plugin->registerTraceLog(log);
  plugin->setProviderName("hitachifi");
  ASSERT_EQ(0, plugin->init());
  ASSERT_EQ(0, plugin->delayedInit());
  plugin->addGroupNodePrefix("<hitachifi>UDID##GROUP");
  HostNode group("<hitachifi>UDID##GROUP##G##410001##1", "Hitachi_ShadowImage");
  HostNode node("<hitachifi>UDID##HITACHI##HDS##410001##256", "Hitachi_ShadowImage");
  CFiSessionPtr session(new CFiSession("job"));
  zfi_splitnode* list[] = {&group.split, &node.split};
  session->addNodes(list, 2);
  ASSERT_EQ(0, plugin->selectSnapshots(session));
  EXPECT_EQ(0, (*session)[group.name].selectDone);
  EXPECT_EQ(1, (*session)[node.name].selectDone);
  sim.clearJournal();
  EXPECT_EQ(0, plugin->prepareSnapshots(session));  // the group node sorts first
  EXPECT_EQ(0, (*session)[node.name].prepareDone);
  EXPECT_TRUE(sim.journal().empty());
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

  session.release();
  other.release();
  plugin->fini();
  plugin.release();
  log.release();
  CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(true);
}

}  // namespace
