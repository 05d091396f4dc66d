// Opens the library named by its first argument through the kit's loader
// and says what happened: "opened", or "refused: " and the loader's text.
// The second argument is the trace folder (level 2), given as an argument
// since a setuid process reads no trace settings from its environment.
// Exit status 0 when opened, 1 when not, 2 on usage.
#include <cstdio>

#include "cficontextsingleton.h"
#include "cfiloader.h"
#include "cfitracelog.h"

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
  void* handle = frim_dlopen_lib(argv[1]);
  if (handle == nullptr) {
    std::printf("refused: %s\n", frim_dlerror());
    std::fflush(stdout);
    return 1;
  }
  std::printf("opened\n");
  frim_dlclose(handle);
  return 0;
}
