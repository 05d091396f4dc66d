#ifndef TESTS_RESTORE_PLUGIN_HOST_H
#define TESTS_RESTORE_PLUGIN_HOST_H

#include <gtest/gtest.h>

#include "plugin_abi.h"
#include "rmsim.h"
#include "sim_control.h"

// The plugin loaded over a fresh simulator with the default model.
class PluginOnSimulator : public ::testing::Test {
 protected:
  PluginOnSimulator() : sim(SIM_ROOT), rm(sim.dir() + "/rmsim.db") { pluginEnvironment(sim.dir()); }
  void SetUp() override { load(); }
  // (Re)writes the sysfs tree of the model and loads the plugin afresh on it.
  void load() {
    plugin.reset();
    rm.writeSysfs(sim.dir() + "/sys");
    plugin.reset(new LoadedPlugin());
    ASSERT_TRUE(plugin->ready()) << ::dlerror();
  }
  std::string tracePath() const { return sim.dir() + "/trace.log"; }
  bool traced(int level, const std::string& text) const {
    for (const std::string& line : traceTexts(tracePath(), level))
      if (line == text) return true;
    return false;
  }

  SimControl sim;
  rmsim::Simulator rm;
  std::unique_ptr<LoadedPlugin> plugin;
};

#endif
