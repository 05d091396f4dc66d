// The framework's buffer and object-id functions, as this test host
// supplies them (exported from the test executable).
#include <cstdlib>
#include <cstring>
#include <vector>

#include "host.h"

int g_objidsBeforeFailure = -1;
int g_liveBuffers = 0;
static std::vector<frim_objid*> g_outstanding;

extern "C" __attribute__((visibility("default"))) void* frim_alloc_buf(size_t size) {
  ++g_liveBuffers;
  return std::calloc(1, size);
}

extern "C" __attribute__((visibility("default"))) void frim_free_buf(void* buffer, size_t) {
  if (buffer) --g_liveBuffers;
  std::free(buffer);
}

extern "C" __attribute__((visibility("default"))) frim_objid* frim_get_objid(const char* text, size_t length,
                                                                             int flags) {
  if (g_objidsBeforeFailure >= 0 && g_objidsBeforeFailure-- == 0) return nullptr;
  auto* objid = static_cast<frim_objid*>(std::calloc(1, sizeof(frim_objid)));
  objid->name = static_cast<char*>(std::calloc(1, length + 1));
  std::memcpy(objid->name, text, length);
  objid->length = static_cast<uint32_t>(length);
  objid->flags = static_cast<uint32_t>(flags);
  ++g_liveBuffers;
  g_outstanding.push_back(objid);
  return objid;
}

void freeOutstandingObjids() {
  for (frim_objid* objid : g_outstanding) {
    --g_liveBuffers;
    std::free(objid->name);
    std::free(objid);
  }
  g_outstanding.clear();
}

// The host loads and unloads the plugin for every test. After an unload,
// LeakSanitizer's walk of dynamic TLS can meet the stale slot the library
// left and crash the scan itself, so it is told not to use TLS as roots;
// heap leaks are still reported.
extern "C" __attribute__((visibility("default"), used)) const char* __lsan_default_options() {
  return "use_tls=0";
}
