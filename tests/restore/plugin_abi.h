#ifndef TESTS_RESTORE_PLUGIN_ABI_H
#define TESTS_RESTORE_PLUGIN_ABI_H

// The real plugin as the framework drives it: loaded with dlopen and reached
// only through its exported C symbols. Shared by the tests and by the peer
// process of the provider-state round trip.
#include <dlfcn.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

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

struct TestNode;

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
  // The snapshot steps for one node, in the session `id`.
  int select(const std::string& id, TestNode& node) const;
  int prepare(const std::string& id, TestNode& node) const;
  int isReady(const std::string& id, TestNode& node) const;
  // Make; the snapshot names returned are appended to `names`.
  int make(const std::string& id, TestNode& node, std::vector<std::string>& names) const;
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

using NodeOp = int (*)(zfi_splitnode*, char*, zfi_splitnode**, int);

inline int LoadedPlugin::select(const std::string& id, TestNode& node) const {
  std::string session = id;
  return entry<NodeOp>("select")(&node.split, &session[0], nullptr, 0);
}

inline int LoadedPlugin::prepare(const std::string& id, TestNode& node) const {
  std::string session = id;
  return entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, int)>("prepare")(&node.split, &session[0],
                                                                                     nullptr, 0, 0);
}

inline int LoadedPlugin::isReady(const std::string& id, TestNode& node) const {
  std::string session = id;
  return entry<NodeOp>("isready")(&node.split, &session[0], nullptr, 0);
}

inline int LoadedPlugin::make(const std::string& id, TestNode& node, std::vector<std::string>& names) const {
  std::string session = id;
  frim_objid** objids = nullptr;
  int count = 0;
  const int rc = entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, frim_objid***, int*)>("make")(
      &node.split, &session[0], nullptr, 0, &objids, &count);
  // The framework owns what make returns.
  for (int i = 0; objids != nullptr && i < count; ++i) {
    names.push_back(objids[i]->name);
    std::free(objids[i]->name);
    std::free(objids[i]);
  }
  std::free(objids);
  return rc;
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

#endif
