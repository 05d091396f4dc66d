#ifndef TESTS_PLUGIN_PLUGIN_FIXTURE_H
#define TESTS_PLUGIN_PLUGIN_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "cficontextsingleton.h"
#include "cfimessagecatalog.h"
#include "cfiprivatedatamgr.h"
#include "hitachi_plugin.h"
#include "sim_control.h"
#include "sysfs_tree.h"
#include "test_helpers.h"

using namespace frim_pdk_4_4;

// A plugin over the simulator with its own cache directory, an empty sysfs
// tree and a level 6 trace, all in the simulator's directory.
class PluginTest : public ::testing::Test {
 protected:
  PluginTest() : sim(SIM_ROOT), tree(sim.dir() + "/sys") {}
  void SetUp() override {
    ::setenv("HITACHIFI_SYSFS_ROOT", tree.root().c_str(), 1);
    ::setenv("HITACHIFI_CACHE_DIR", sim.dir().c_str(), 1);
    log = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
    log->initialize("hitachifi", ACE_CString(sim.dir().c_str()), ACE_CString("trace.log"), 6, false);
    plugin = CFiSmartPtr<CHitachiPlugin>(new CHitachiPlugin());
    plugin->registerTraceLog(log);
  }
  void TearDown() override {
    plugin.release();
    log.release();
    CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
    CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(true);
    CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(true);
  }
  std::string trace() { return readText(sim.dir() + "/trace.log"); }
  bool traced(const std::string& line) { return trace().find(line) != std::string::npos; }

  SimControl sim;
  SysfsTree tree;
  CFiTraceLogPtr log;
  CFiSmartPtr<CHitachiPlugin> plugin;
};

#endif
