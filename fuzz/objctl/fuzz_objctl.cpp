// objctl argument texts through the exported entry point: whatever text
// comes in, the text that goes out reads back to itself.
// Run: fuzz_objctl corpus/
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz_plugin.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzzPluginOnce();
  static char command[] = "status";
  std::string input(reinterpret_cast<const char*>(data), size);  // the C door ends it at a zero byte
  char* output = nullptr;
  long result = 0;
  if (hitachifi_fi_pgn_objctl(command, &input[0], &output, &result) != 0 || output == nullptr)
    __builtin_trap();
  char* again = nullptr;
  if (hitachifi_fi_pgn_objctl(command, output, &again, &result) != 0 || again == nullptr) __builtin_trap();
  if (std::strcmp(output, again) != 0) __builtin_trap();
  std::free(output);
  std::free(again);
  return 0;
}
