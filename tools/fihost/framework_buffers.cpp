// The framework's buffer and object-id functions. The kit uses a host's own
// when the process exports them, so the plugin allocates what it hands to
// fihost with these, exactly as under a framework.
#include <cstdlib>
#include <cstring>

#include "zfi.h"

extern "C" __attribute__((visibility("default"))) void* frim_alloc_buf(size_t size) {
  return std::calloc(1, size);
}

extern "C" __attribute__((visibility("default"))) void frim_free_buf(void* buffer, size_t) {
  std::free(buffer);
}

extern "C" __attribute__((visibility("default"))) frim_objid* frim_get_objid(const char* text, size_t length,
                                                                             int flags) {
  frim_objid* objid = static_cast<frim_objid*>(std::calloc(1, sizeof(frim_objid)));
  if (!objid) return nullptr;
  objid->name = static_cast<char*>(std::calloc(1, length + 1));
  if (!objid->name) {
    std::free(objid);
    return nullptr;
  }
  if (text) std::memcpy(objid->name, text, length);
  objid->length = static_cast<uint32_t>(length);
  objid->flags = static_cast<uint32_t>(flags);
  return objid;
}
