#ifndef TESTS_RESTORE_PLUGIN_HOST_H
#define TESTS_RESTORE_PLUGIN_HOST_H

// The real plugin as the framework drives it: loaded with dlopen, reached
// only through its exported C symbols, over the simulator's default model
// (host "db1"), with a level 6 trace and its caches in the simulator's
// directory.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "rmsim.h"
#include "sim_control.h"
#include "test_helpers.h"
#include "zfi.h"

// The plugin's environment in `dir`: sysfs tree of the model's disks,
// caches, a level 6 trace in "trace.log", this host named "db1".
inline void pluginEnvironment(const std::string& dir) {
  for (const auto& var :
       {std::make_pair("HITACHIFI_SYSFS_ROOT", dir + "/sys"), std::make_pair("HITACHIFI_CACHE_DIR", dir),
        std::make_pair("HITACHIFI_TRACE_DIR", dir),
        std::make_pair("HITACHIFI_TRACE_FILE", std::string("trace.log")),
        std::make_pair("HITACHIFI_TRACE_LEVEL", std::string("6")),
        std::make_pair("HITACHIFI_HOSTNAME", std::string("db1"))})
    ::setenv(var.first, var.second.c_str(), 1);
}

// One load of the plugin: init on construction, fini and unload on
// destruction.
class LoadedPlugin {
 public:
  LoadedPlugin() : m_handle(::dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL)) {
    if (m_handle == nullptr) return;
    zfi_version version{};
    m_init = entry<int (*)(zfi_fw_info*, zfi_version*, const char*)>("init")(nullptr, &version, "fim");
  }
  ~LoadedPlugin() {
    if (m_handle == nullptr) return;
    entry<void (*)()>("fini")();
    ::dlclose(m_handle);
  }
  LoadedPlugin(const LoadedPlugin&) = delete;
  LoadedPlugin& operator=(const LoadedPlugin&) = delete;

  bool ready() const { return m_handle != nullptr && m_init == 0; }
  template <class Fn>
  Fn entry(const std::string& op) const {
    return reinterpret_cast<Fn>(::dlsym(m_handle, ("hitachifi_fi_pgn_" + op).c_str()));
  }

  // Restores each (source, snapshot) pair of UDIDs.
  int restore(const std::vector<std::pair<std::string, std::string>>& pairs, long flags = 0) const;
  int restore(frim_objid** sources, frim_objid** snapshots, long count, long flags = 0) const {
    char** names = nullptr;
    long outCount = 0, status = 0;
    return entry<int (*)(frim_objid**, frim_objid**, long, char*, char*, char***, long*, long, long*)>(
        "restore")(sources, snapshots, count, nullptr, nullptr, &names, &outCount, flags, &status);
  }
  int providerState(zfi_domain* node, zfi_blob* block, int op) const {
    return entry<int (*)(zfi_domain*, zfi_blob*, int)>("process_providerstate")(node, block, op);
  }
  // The reported messages as "ID: text", newest first; they are taken.
  std::vector<std::string> takeMessages() const;

 private:
  void* m_handle;
  int m_init = -1;
};

// A framework object named by `name`.
struct TestObject {
  explicit TestObject(const std::string& name) : text(name) {
    objid.name = &text[0];
    objid.length = static_cast<uint32_t>(text.size() + 1);
  }
  TestObject(const TestObject&) = delete;
  std::string text;
  frim_objid objid{};
};

// A framework node whose name and object are `name`.
struct TestNode {
  explicit TestNode(const std::string& name, const std::string& fim = "Hitachi_ShadowImage")
      : object(name), fimName(fim) {
    domain.name = &object.text[0];
    domain.objid = &object.objid;
    split.fim_name = &fimName[0];
    split.node = &domain;
  }
  TestNode(const TestNode&) = delete;
  TestObject object;
  std::string fimName;
  zfi_domain domain{};
  zfi_splitnode split{};
};

inline int LoadedPlugin::restore(const std::vector<std::pair<std::string, std::string>>& pairs,
                                 long flags) const {
  std::vector<std::unique_ptr<TestObject>> objects;
  std::vector<frim_objid*> sources, snapshots;
  for (const auto& pair : pairs) {
    objects.emplace_back(new TestObject(pair.first));
    sources.push_back(&objects.back()->objid);
    objects.emplace_back(new TestObject(pair.second));
    snapshots.push_back(&objects.back()->objid);
  }
  return restore(sources.data(), snapshots.data(), static_cast<long>(pairs.size()), flags);
}

inline std::vector<std::string> LoadedPlugin::takeMessages() const {
  std::vector<std::string> messages;
  for (;;) {
    zfi_msg_info* record = nullptr;
    if (entry<int (*)(zfi_msg_info**)>("get_last_error")(&record) != 0 || record == nullptr) break;
    messages.push_back(std::string(record->msg_id) + ": " + record->text);
    entry<int (*)(zfi_msg_info**)>("del_last_error")(&record);
  }
  return messages;
}

// The trace's texts at `level` (all levels for 0), without time and pid.
inline std::vector<std::string> traceTexts(const std::string& file, int level = 0) {
  std::ifstream in(file);
  std::vector<std::string> texts;
  const std::string mark = level ? "] L" + std::to_string(level) + " hitachifi: " : "";
  for (std::string line; std::getline(in, line);) {
    if (line.find(mark) == std::string::npos) continue;
    const size_t text = line.find("hitachifi: ");
    if (text != std::string::npos) texts.push_back(line.substr(text + 11));
  }
  return texts;
}

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
