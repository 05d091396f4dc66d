#ifndef TESTS_RESTORE_PLUGIN_ABI_H
#define TESTS_RESTORE_PLUGIN_ABI_H

// The plugin loaded with dlopen and reached only through its exported C
// symbols; shared by the tests and the peer process.
#include <dlfcn.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "zfi.h"

// Sysfs tree and caches in `dir`, a level 6 trace in "trace.log", host "db1".
inline void pluginEnvironment(const std::string& dir) {
  for (const auto& var :
       {std::make_pair("HITACHIFI_SYSFS_ROOT", dir + "/sys"), std::make_pair("HITACHIFI_CACHE_DIR", dir),
        std::make_pair("HITACHIFI_TRACE_DIR", dir),
        std::make_pair("HITACHIFI_TRACE_FILE", std::string("trace.log")),
        std::make_pair("HITACHIFI_TRACE_LEVEL", std::string("6")),
        std::make_pair("HITACHIFI_HOSTNAME", std::string("db1"))})
    ::setenv(var.first, var.second.c_str(), 1);
}

struct TestObject {
  explicit TestObject(const std::string& name) : text(name) {
    objid.name = &text[0];
    objid.length = static_cast<uint32_t>(text.size() + 1);
  }
  TestObject(const TestObject&) = delete;
  std::string text;
  frim_objid objid{};
};

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

// init on construction, fini and unload on destruction.
class LoadedPlugin {
 public:
  LoadedPlugin() : m_handle(::dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL)) {
    zfi_version version{};
    if (m_handle)
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

  int restore(frim_objid** sources, frim_objid** snapshots, long count, long flags = 0) const {
    char** names = nullptr;
    long outCount = 0, status = 0;
    return entry<int (*)(frim_objid**, frim_objid**, long, char*, char*, char***, long*, long, long*)>(
        "restore")(sources, snapshots, count, nullptr, nullptr, &names, &outCount, flags, &status);
  }
  // Restores each (source, snapshot) pair of UDIDs.
  int restore(const std::vector<std::pair<std::string, std::string>>& pairs, long flags = 0) const {
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
  // "select", "prepare" or "isready" of `node` in the session `id`.
  int step(const std::string& op, const std::string& id, TestNode& node) const {
    std::string session = id;
    if (op == "prepare")
      return entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, int)>(op)(&node.split, &session[0],
                                                                                  nullptr, 0, 0);
    return entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int)>(op)(&node.split, &session[0], nullptr,
                                                                           0);
  }
  // The snapshot names make returns are appended to `names`.
  int make(const std::string& id, TestNode& node, std::vector<std::string>& names) const {
    std::string session = id;
    frim_objid** objids = nullptr;
    int count = 0;
    const int rc = entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, frim_objid***, int*)>("make")(
        &node.split, &session[0], nullptr, 0, &objids, &count);
    for (int i = 0; objids != nullptr && i < count; ++i) {
      names.push_back(objids[i]->name);
      std::free(objids[i]->name);
      std::free(objids[i]);
    }
    std::free(objids);
    return rc;
  }
  int providerState(zfi_domain* node, zfi_blob* block, int op) const {
    return entry<int (*)(zfi_domain*, zfi_blob*, int)>("process_providerstate")(node, block, op);
  }
  // The reported messages as "ID: text", newest first; they are taken.
  std::vector<std::string> takeMessages() const {
    std::vector<std::string> messages;
    zfi_msg_info* record = nullptr;
    while (entry<int (*)(zfi_msg_info**)>("get_last_error")(&record) == 0 && record != nullptr) {
      messages.push_back(std::string(record->msg_id) + ": " + record->text);
      entry<int (*)(zfi_msg_info**)>("del_last_error")(&record);
      record = nullptr;
    }
    return messages;
  }

 private:
  void* m_handle;
  int m_init = -1;
};

// The trace's texts at `level` (all levels for 0), without time and pid.
inline std::vector<std::string> traceTexts(const std::string& file, int level = 0) {
  std::ifstream in(file);
  std::vector<std::string> texts;
  const std::string mark = level ? "] L" + std::to_string(level) + " hitachifi: " : "";
  for (std::string line; std::getline(in, line);) {
    const size_t text = line.find("hitachifi: ");
    if (line.find(mark) != std::string::npos && text != std::string::npos)
      texts.push_back(line.substr(text + 11));
  }
  return texts;
}

#endif
