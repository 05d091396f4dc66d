// The framework's buffer and object-id functions, for plugins loaded by a
// host that does not supply them. A host that does (exports them from its
// executable or a library loaded before the plugin) is used instead: our own
// definitions are hidden inside the plugin, so the dynamic lookup below only
// ever finds the host's.
#include <dlfcn.h>

#include <cstdlib>
#include <cstring>

#include "zfi.h"

namespace {

template <class Fn>
Fn hostFunction(const char* name, Fn self) {
  Fn found = reinterpret_cast<Fn>(::dlsym(RTLD_DEFAULT, name));
  return found == self ? nullptr : found;
}

}  // namespace

extern "C" {

void* frim_alloc_buf(size_t size) {
  static auto host = hostFunction("frim_alloc_buf", &frim_alloc_buf);
  if (host) return host(size);
  return std::calloc(1, size ? size : 1);
}

void frim_free_buf(void* buffer, size_t size) {
  static auto host = hostFunction("frim_free_buf", &frim_free_buf);
  if (host) {
    host(buffer, size);
    return;
  }
  std::free(buffer);
}

frim_objid* frim_get_objid(const char* text, size_t length, int flags) {
  static auto host = hostFunction("frim_get_objid", &frim_get_objid);
  if (host) return host(text, length, flags);
  if (text == nullptr || length == 0) return nullptr;
  frim_objid* objid = static_cast<frim_objid*>(std::calloc(1, sizeof(frim_objid)));
  if (objid == nullptr) return nullptr;
  objid->name = static_cast<char*>(std::calloc(1, length + 1));
  if (objid->name == nullptr) {
    std::free(objid);
    return nullptr;
  }
  std::memcpy(objid->name, text, length);
  objid->length = static_cast<uint32_t>(length);
  objid->flags = static_cast<uint32_t>(flags);
  return objid;
}

}  // extern "C"
