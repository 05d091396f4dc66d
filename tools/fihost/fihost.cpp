// fihost: a framework host that loads a provider plugin and drives it
// through its exported entry points, as the snapshot framework would.
//
//   fihost PLUGIN.so [PREFIX]
//
// It initialises the plugin, prints the interface version, the provider and
// its snapshot methods, runs the plugin's delayed initialisation (which
// discovers the arrays' command devices), reports any message the plugin
// left, and shuts the plugin down.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "zfi.h"

// The framework's buffer and object-id functions, supplied by this host.
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
  std::memcpy(objid->name, text, length);
  objid->length = static_cast<uint32_t>(length);
  objid->flags = static_cast<uint32_t>(flags);
  return objid;
}

namespace {

class Plugin {
 public:
  Plugin(const char* path, const std::string& prefix) : m_prefix(prefix) {
    m_handle = ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
  }
  ~Plugin() {
    if (m_handle) ::dlclose(m_handle);
  }
  bool loaded() const { return m_handle != nullptr; }
  template <class Fn>
  Fn entry(const char* op) const {
    return reinterpret_cast<Fn>(::dlsym(m_handle, (m_prefix + "_fi_pgn_" + op).c_str()));
  }

 private:
  void* m_handle = nullptr;
  std::string m_prefix;
};

void freeText(char* text) {
  if (text) frim_free_buf(text, std::strlen(text) + 1);
}

void printProviders(zfi_provider_list* list) {
  for (zfi_provider_list* p = list; p; p = p->next) {
    std::printf("provider %s %u.%u.%u.%u, devices:", p->name, p->version[0], p->version[1], p->version[2],
                p->version[3]);
    for (int i = 0; i < p->prefix_count; ++i) std::printf(" %s", p->udid_prefixes[i]);
    std::printf("\n");
  }
  while (list) {
    zfi_provider_list* next = list->next;
    freeText(list->name);
    for (int i = 0; i < list->prefix_count; ++i) freeText(list->udid_prefixes[i]);
    frim_free_buf(list->udid_prefixes, (list->prefix_count + 1) * sizeof(char*));
    frim_free_buf(list, sizeof *list);
    list = next;
  }
}

void printFims(zfi_fim_list* list) {
  for (zfi_fim_list* f = list; f; f = f->next) {
    std::printf("  snapshot method %-20s %s, version %s\n", f->name,
                f->technology ? "full copy" : "copy-on-write", f->version);
  }
  while (list) {
    zfi_fim_list* next = list->next;
    freeText(list->name);
    freeText(list->display_name);
    freeText(list->version);
    freeText(list->text);
    frim_free_buf(list, sizeof *list);
    list = next;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: fihost PLUGIN.so [PREFIX]\n");
    return 2;
  }
  Plugin plugin(argv[1], argc > 2 ? argv[2] : "hitachifi");
  if (!plugin.loaded()) {
    std::fprintf(stderr, "fihost: cannot load %s: %s\n", argv[1], ::dlerror());
    return 1;
  }
  auto init = plugin.entry<int (*)(zfi_fw_info*, zfi_version*, const char*)>("init");
  auto fini = plugin.entry<void (*)()>("fini");
  auto providers = plugin.entry<int (*)(zfi_provider_list**)>("get_provider_info");
  auto fims = plugin.entry<int (*)(zfi_fim_list**)>("enumerate_fims");
  auto cacheDisable = plugin.entry<int (*)(zfi_domain*)>("cache_disable");
  auto lastError = plugin.entry<int (*)(zfi_msg_info**)>("get_last_error");
  auto delLastError = plugin.entry<int (*)(zfi_msg_info**)>("del_last_error");
  if (!init || !fini || !providers || !fims || !cacheDisable || !lastError || !delLastError) {
    std::fprintf(stderr, "fihost: %s lacks entry points\n", argv[1]);
    return 1;
  }

  char language[] = "en_US";
  char* languages[] = {language, nullptr};
  zfi_fw_info info{nullptr, nullptr, nullptr, languages};
  zfi_version version{};
  int rc = init(&info, &version, "hitachifi");
  std::printf("init: %d (interface version %u.%u.%u.%u)\n", rc, version.major, version.minor, version.update,
              version.patch);

  zfi_provider_list* providerList = nullptr;
  providers(&providerList);
  printProviders(providerList);
  zfi_fim_list* fimList = nullptr;
  fims(&fimList);
  printFims(fimList);

  rc = cacheDisable(nullptr);  // the first call that needs the arrays runs delayed initialisation
  std::printf("first array call: %d\n", rc);

  zfi_msg_info* message = nullptr;
  while (lastError(&message) == 0 && message != nullptr) {
    std::printf("message %d %s: %s\n", message->msg_index, message->msg_id, message->text);
    if (delLastError(&message) != 0) break;  // a message that cannot be dropped would come back forever
  }
  fini();
  std::printf("fini: done\n");
  return 0;
}
