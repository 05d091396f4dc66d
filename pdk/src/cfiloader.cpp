#include "cfiloader.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "cficontextsingleton.h"
#include "cfitracelog.h"

using frim_pdk_4_4::CFiContextSingleton;

namespace {

// A plain buffer rather than a thread_local string: a thread_local with a
// destructor would pin the plugin in memory until the calling thread ends,
// so the framework could never unload it. The plugin is entered by one
// thread at a time.
char s_lastError[512] = "";

void trace(const char* format, const char* first, const char* second) {
  frim_pdk_4_4::CFiTraceLogPtr log =
      CFiContextSingleton<frim_pdk_4_4::CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
  log->trace(frim_pdk_4_4::FI_TRACE_WARNING, format, first, second);
}

// secure_getenv: a setuid or setgid process runs with its caller's
// environment, and must never take a library from a path that caller chose.
std::string mapped(const char* path) {
  if (path[0] != '/') return path;
  const char* root = ::secure_getenv("FRIM_DLOPEN_ROOT");
  if (root == nullptr || *root == '\0') {
    const char* ignored = std::getenv("FRIM_DLOPEN_ROOT");
    if (ignored != nullptr && *ignored != '\0')
      trace("frim_dlopen_lib: FRIM_DLOPEN_ROOT '%s' ignored in a setuid or setgid process; opening %s",
            ignored, path);
    return path;
  }
  const std::string below = std::string(root) + path;
  trace("frim_dlopen_lib: FRIM_DLOPEN_ROOT is set: opening %s for %s", below.c_str(), path);
  return below;
}

void setError(const char* text) { std::snprintf(s_lastError, sizeof s_lastError, "%s", text); }

// Keeps the loader's own text for the failure just seen.
void remember(const char* fallback) {
  const char* error = ::dlerror();
  setError(error ? error : fallback);
}

}  // namespace

void* frim_dlopen_lib(const char* path) {
  if (path == nullptr) {
    setError("no library path");
    return nullptr;
  }
  ::dlerror();
  void* handle = ::dlopen(mapped(path).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) remember("cannot open library");
  return handle;
}

void* frim_dlsym(void* handle, const char* symbol) {
  if (handle == nullptr || symbol == nullptr) {
    setError("no library or symbol");
    return nullptr;
  }
  ::dlerror();
  void* address = ::dlsym(handle, symbol);
  if (address == nullptr) remember("symbol not found");
  return address;
}

const char* frim_dlerror() { return s_lastError; }

int frim_dlclose(void* handle) {
  if (handle == nullptr) return -1;
  int rc = ::dlclose(handle);
  if (rc != 0) remember("cannot close library");
  return rc;
}
