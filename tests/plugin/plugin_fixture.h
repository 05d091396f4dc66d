#ifndef TESTS_PLUGIN_PLUGIN_FIXTURE_H
#define TESTS_PLUGIN_PLUGIN_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "cficontextsingleton.h"
#include "cfimessagecatalog.h"
#include "cfiprivatedatamgr.h"
#include "hitachi_plugin.h"
#include "sim_control.h"
#include "sysfs_tree.h"
#include "test_helpers.h"

// A plugin object over the simulator, with a private cache directory, a
// prepared sysfs tree (empty until a test adds disks) and a trace log at
// level 6 in the simulator's directory.
class PluginTest : public ::testing::Test {
 protected:
  PluginTest() : sim(SIM_ROOT) {}
  void SetUp() override {
    ::setenv("HITACHIFI_SYSFS_ROOT", (sim.dir() + "/sys").c_str(), 1);
    ::setenv("HITACHIFI_CACHE_DIR", sim.dir().c_str(), 1);
    tree.reset(new SysfsTree(sim.dir() + "/sys"));
    log = frim_pdk_4_4::CFiContextSingleton<frim_pdk_4_4::CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
    log->initialize("hitachifi", ACE_CString(sim.dir().c_str()), ACE_CString("trace.log"), 6, false);
    plugin = frim_pdk_4_4::CFiSmartPtr<CHitachiPlugin>(new CHitachiPlugin());
    plugin->registerTraceLog(log);
  }
  void TearDown() override {
    plugin.release();
    log.release();
    frim_pdk_4_4::CFiContextSingleton<frim_pdk_4_4::CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
    frim_pdk_4_4::CFiContextSingleton<frim_pdk_4_4::CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(true);
    frim_pdk_4_4::CFiContextSingleton<frim_pdk_4_4::CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(true);
  }
  std::string trace() { return readText(sim.dir() + "/trace.log"); }

  SimControl sim;
  std::unique_ptr<SysfsTree> tree;
  frim_pdk_4_4::CFiTraceLogPtr log;
  frim_pdk_4_4::CFiSmartPtr<CHitachiPlugin> plugin;
};

#endif
