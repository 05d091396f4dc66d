// Opens the library named by its argument through the kit's loader and says
// what happened: "opened", or "refused: " and the loader's text. Exit status
// 0 when opened, 1 when not, 2 on usage.
#include <cstdio>

#include "cfiloader.h"

// The leak checker stops the world with ptrace, which a setuid process does
// not allow; nor can such a process read its own environment from /proc,
// where the sanitizer looks for its options. So they are built in.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "detect_leaks=0";
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
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
