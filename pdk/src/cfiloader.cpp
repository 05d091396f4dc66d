#include "cfiloader.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

thread_local std::string t_lastError;

std::string mapped(const char* path) {
  const char* root = std::getenv("FRIM_DLOPEN_ROOT");
  if (path == nullptr) return std::string();
  if (root == nullptr || *root == '\0' || path[0] != '/') return path;
  return std::string(root) + path;
}

void remember(const char* fallback) {
  const char* error = ::dlerror();
  t_lastError = error ? error : fallback;
}

}  // namespace

void* frim_dlopen_lib(const char* path) {
  if (path == nullptr) {
    t_lastError = "no library path";
    return nullptr;
  }
  std::string file = mapped(path);
  void* handle = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) remember("cannot open library");
  return handle;
}

void* frim_dlsym(void* handle, const char* symbol) {
  if (handle == nullptr || symbol == nullptr) {
    t_lastError = "no library or symbol";
    return nullptr;
  }
  ::dlerror();
  void* address = ::dlsym(handle, symbol);
  if (address == nullptr) remember("symbol not found");
  return address;
}

const char* frim_dlerror() { return t_lastError.c_str(); }

int frim_dlclose(void* handle) {
  if (handle == nullptr) return -1;
  int rc = ::dlclose(handle);
  if (rc != 0) remember("cannot close library");
  return rc;
}

const char* frim_dlmapped_path(const char* path, char* buffer, unsigned long size) {
  if (buffer == nullptr || size == 0) return nullptr;
  std::snprintf(buffer, size, "%s", mapped(path).c_str());
  return buffer;
}
