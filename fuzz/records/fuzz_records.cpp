// Reading arbitrary text as a vdisk record, a device id and objctl arguments
// must never crash or read out of bounds.
#include <cstddef>
#include <cstdint>
#include <string>

#include "cfiobjctlargs.h"
#include "cfiudid.h"
#include "hitachi_pdparser.h"
#include "hitachi_vdisk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  try {
    SHitachiVirtualDisk disk;
    disk.deserialize(text.c_str());
  } catch (const invalidData&) {
  }
  try {
    frim_pdk_4_4::CFiUdid udid;
    udid.parse(text);
  } catch (const frim_pdk_4_4::CFiUdidException&) {
  }
  frim_pdk_4_4::CFiObjctlArgs args;
  if (args.importArgs(text.c_str()) == 0) {
    frim_pdk_4_4::CFiObjctlArgs back;
    if (back.importArgs(args.exportArgs().c_str()) != 0 || back.getArgs() != args.getArgs()) __builtin_trap();
  }
  return 0;
}
