#ifndef TESTS_KIT_HOST_H
#define TESTS_KIT_HOST_H

// A minimal framework host for tests: loads a plugin library with dlopen and
// reaches it only through its exported C symbols.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "zfi.h"

class PluginLibrary {
 public:
  PluginLibrary(const std::string& path, const std::string& prefix) : m_prefix(prefix) {
    m_handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_handle == nullptr) m_error = ::dlerror();
  }
  ~PluginLibrary() {
    if (m_handle) ::dlclose(m_handle);
  }
  PluginLibrary(const PluginLibrary&) = delete;
  PluginLibrary& operator=(const PluginLibrary&) = delete;

  bool loaded() const { return m_handle != nullptr; }
  const std::string& error() const { return m_error; }

  // The entry point <prefix>_fi_pgn_<op>, or the exact symbol when `exact`.
  template <class Fn>
  Fn entry(const std::string& op) const {
    return reinterpret_cast<Fn>(::dlsym(m_handle, (m_prefix + "_fi_pgn_" + op).c_str()));
  }
  template <class Fn>
  Fn symbol(const std::string& name) const {
    return reinterpret_cast<Fn>(::dlsym(m_handle, name.c_str()));
  }

 private:
  void* m_handle = nullptr;
  std::string m_prefix;
  std::string m_error;
};

// A node the way the framework hands one over.
struct TestNode {
  explicit TestNode(const std::string& name, const std::string& fim = "Hitachi_ShadowImage")
      : m_name(name), m_fim(fim) {
    m_domain.name = &m_name[0];
    m_split.fim_name = &m_fim[0];
    m_split.node = &m_domain;
  }
  TestNode(const TestNode&) = delete;
  std::string m_name;
  std::string m_fim;
  zfi_domain m_domain{};
  zfi_splitnode m_split{};
};

// Framework functions the host supplies; the plugin's kit finds them through
// the dynamic symbol table. frim_get_objid fails from call number
// g_failObjidAt on (0: never).
extern int g_failObjidAt;
extern int g_objidCalls;
extern int g_liveBuffers;

#endif
