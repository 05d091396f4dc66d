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

#include "hitachifi.h"

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
