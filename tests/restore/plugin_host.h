#ifndef TESTS_RESTORE_PLUGIN_HOST_H
#define TESTS_RESTORE_PLUGIN_HOST_H

// The plugin loaded over the simulator's default model (host "db1"), with a
// level 6 trace and its caches in the simulator's directory.
#include <gtest/gtest.h>

#include "plugin_abi.h"
#include "rmsim.h"
#include "sim_control.h"

// A test over a fresh simulator with the default model and the plugin
// loaded on it.
class PluginOnSimulator : public ::testing::Test {
 protected:
  PluginOnSimulator() : sim(SIM_ROOT), rm(sim.dir() + "/rmsim.db") { pluginEnvironment(sim.dir()); }
  void SetUp() override { load(); }
  // (Re)writes the sysfs tree of the model and loads the plugin on it.
  void load() {
    plugin.reset();
    rm.writeSysfs(sim.dir() + "/sys");
    plugin.reset(new LoadedPlugin());
    ASSERT_TRUE(plugin->ready()) << ::dlerror();
  }
  void loadModel(const std::string& extra) {
    sim.loadModel(rmsim::Simulator::defaultModel() + extra);
    load();
  }
  std::string tracePath() const { return sim.dir() + "/trace.log"; }
  bool traced(int level, const std::string& text) const {
    for (const std::string& line : traceTexts(tracePath(), level))
      if (line == text) return true;
    return false;
  }

  SimControl sim;
  rmsim::Simulator rm;  // settings and suspensions SimControl does not offer
  std::unique_ptr<LoadedPlugin> plugin;
};

#endif
