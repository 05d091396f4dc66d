// Opens the library named by its first argument through the kit's loader
// and says what happened: "opened", or "refused: " and the loader's text.
// The second argument is the trace folder (level 2), given as an argument
// since a setuid process reads no trace settings from its environment.
// A second line shows the cache folder, host name, sysfs root and targets taken
// from the environment. Exit status 0 when opened, 1 when not, 2 on usage.
#include <cstdio>
#include <string>

#include "cficonfigparam.h"
#include "cficontextsingleton.h"
#include "cfiloader.h"
#include "cfiprivatedatamgr.h"
#include "cfitracelog.h"
#include "cmnnetwork.h"
#include "device_discovery_base.h"

// The leak checker stops the world with ptrace, which a setuid process does
// not allow; nor can such a process read its own environment from /proc,
// where the sanitizer looks for its options. So they are built in.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "detect_leaks=0";
}

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  frim_pdk_4_4::CFiContextSingleton<frim_pdk_4_4::CFiTraceLog, FI_PLUGIN_NAME>::instance(false)->initialize(
      "hitachifi", argv[2], "", 2, false);
  std::string targets;
  try {
    frim_pdk_4_4::CFiPrivateDataManager().getTargetConfig();
  } catch (const frim_pdk_4_4::CFiTargetConfigError& e) {
    targets = e.what();
  }
  const std::string settings = "cache " + frim_pdk_4_4::CFiConfigurationPathTool::getCacheLocationInfo() +
                               ", host " + CCmnNetwork::getComputerName() + ", sysfs " + sysfsRoot() +
                               ", targets " + targets + "\n";
  void* handle = frim_dlopen_lib(argv[1]);
  if (handle == nullptr) {
    std::printf("refused: %s\n%s", frim_dlerror(), settings.c_str());
    std::fflush(stdout);
    return 1;
  }
  std::printf("opened\n%s", settings.c_str());
  frim_dlclose(handle);
  return 0;
}
