#ifndef FUZZ_SUPPORT_FUZZ_PLUGIN_H
#define FUZZ_SUPPORT_FUZZ_PLUGIN_H

// The plugin as a framework drives it, for fuzz targets whose input reaches
// the plugin through its exported entry points. The plugin is initialised
// once per process the way a host does, with no array library (the loader's
// root is an empty folder, so even a host with the real library installed
// never loads it), no disks, and tracing off.
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "zfi.h"

extern "C" {
int hitachifi_fi_pgn_init(zfi_fw_info* info, zfi_version* version, char const* fimName);
int hitachifi_fi_pgn_process_providerstate(zfi_domain* node, zfi_blob* block, zfi_op_providerstate op);
int hitachifi_fi_pgn_objctl(char* command, char* input, char** output, long* result);
int hitachifi_fi_pgn_config(zfi_domain* node, int mode, char* text, zfi_confspec* fault);
int hitachifi_fi_pgn_isready(zfi_splitnode* node, char* id, zfi_splitnode** nodes, int count);
int hitachifi_fi_pgn_select(zfi_splitnode* node, char* id, zfi_splitnode** nodes, int count);
void hitachifi_fi_pgn_deinit_node(zfi_domain* node);
}

// A scratch folder of this process, in memory where the host offers it.
inline std::string fuzzScratchDir() {
  static const std::string dir = [] {
    std::string pattern =
        (::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + std::string("/hitachifi-fuzz.XXXXXX");
    return std::string(::mkdtemp(&pattern[0]) ? pattern.c_str() : "/tmp");
  }();
  return dir;
}

// Points the plugin's files at the scratch folder; `sysfs` is the tree that
// discovery reads (an empty folder unless the target fills it).
inline void fuzzEnvironment(const std::string& sysfs) {
  const std::string dir = fuzzScratchDir();
  ::setenv("FRIM_DLOPEN_ROOT", (dir + "/no-libraries").c_str(), 1);
  ::setenv("HITACHIFI_SYSFS_ROOT", sysfs.c_str(), 1);
  ::setenv("HITACHIFI_CACHE_DIR", dir.c_str(), 1);
  ::setenv("HITACHIFI_TRACE_DIR", dir.c_str(), 1);
  ::setenv("HITACHIFI_TRACE_LEVEL", "0", 1);
  ::setenv("HITACHIFI_HOSTS_FILE", "/dev/null", 1);
  ::unsetenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC");
}

// init as the framework calls it; 30 (no array library) is expected here.
inline void fuzzPluginOnce() {
  static const bool ready = [] {
    fuzzEnvironment(fuzzScratchDir() + "/no-sys");
    zfi_version version{};
    hitachifi_fi_pgn_init(nullptr, &version, "fuzz");
    return true;
  }();
  (void)ready;
}

#endif
