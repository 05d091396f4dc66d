#ifndef TESTS_KIT_HOST_H
#define TESTS_KIT_HOST_H

// A minimal framework host for tests: loads the test plugin with dlopen and
// reaches it only through its exported C symbols.
#include <dlfcn.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "zfi.h"

class PluginLibrary {
 public:
  explicit PluginLibrary(const char* path) : m_handle(::dlopen(path, RTLD_NOW | RTLD_LOCAL)) {}
  ~PluginLibrary() {
    if (m_handle) ::dlclose(m_handle);
  }
  PluginLibrary(const PluginLibrary&) = delete;
  PluginLibrary& operator=(const PluginLibrary&) = delete;

  bool loaded() const { return m_handle != nullptr; }
  // testfi_fi_pgn_<op>, or testfi_test_<op> for the test controls.
  template <class Fn>
  Fn entry(const std::string& op) const {
    return reinterpret_cast<Fn>(::dlsym(m_handle, ("testfi_fi_pgn_" + op).c_str()));
  }
  template <class Fn>
  Fn control(const std::string& op) const {
    return reinterpret_cast<Fn>(::dlsym(m_handle, ("testfi_test_" + op).c_str()));
  }

 private:
  void* m_handle;
};

// A node the way the framework hands one over.
struct TestNode {
  explicit TestNode(const char* name, const char* fim = "f") : m_name(name), m_fim(fim) {
    m_domain.name = &m_name[0];
    m_split.fim_name = &m_fim[0];
    m_split.node = &m_domain;
  }
  TestNode(const TestNode&) = delete;
  std::string m_name, m_fim;
  zfi_domain m_domain{};
  zfi_splitnode m_split{};
};

// A fresh directory under /tmp, removed with everything in it.
struct TempDir {
  TempDir() : path("/tmp/hitachifi-test.XXXXXX") {
    if (::mkdtemp(&path[0]) == nullptr) path = "/nonexistent";
  }
  ~TempDir() { (void)std::system(("rm -rf '" + path + "'").c_str()); }
  std::string path;
};

// The texts of the lines of a trace file, of one level or all (0).
inline std::vector<std::string> traceTexts(const std::string& file, int level = 0) {
  std::ifstream in(file);
  std::vector<std::string> out;
  const std::string mark = level ? "] L" + std::to_string(level) + " " : "";
  for (std::string line; std::getline(in, line);) {
    if (line.find(mark) != std::string::npos) out.push_back(line.substr(line.find(": ") + 2));
  }
  return out;
}

// The host's frim_get_objid makes g_objidsBeforeFailure more ids, then fails
// (-1: never fails); g_liveBuffers counts the host's buffers and ids not freed.
extern int g_objidsBeforeFailure;
extern int g_liveBuffers;
void freeOutstandingObjids();

#endif
