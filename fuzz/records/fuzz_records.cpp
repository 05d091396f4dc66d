// Arbitrary text as device records, device id, target configuration and
// objctl arguments: no crash, no out-of-bounds read. Run as
//   fuzz_records -dict=records.dict corpus/
#include <cstdint>
#include <string>

#include "cfiobjctlargs.h"
#include "cfitargetconfig.h"
#include "cfiudid.h"
#include "hitachi_pdparser.h"
#include "hitachi_vdisk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    SHitachiVirtualDisk disk;
    disk.deserialize(text.c_str());
    // Read, written and read again alike, unless a field holds "<" or ">".
    const ACE_CString written = disk.serialize();
    const std::string texts = disk.m_deviceId + disk.m_enclosureId + disk.m_hostInfo.m_hostGroupName;
    if (texts.find_first_of("<>") == std::string::npos) {
      SHitachiVirtualDisk again;
      again.deserialize(written.c_str());
      if (again.serialize() != written) __builtin_trap();
    }
  } catch (const invalidData&) {
  }
  SHitachiSnapPair pair;
  pair.deserialize(text.c_str());
  SHitachiVirtualDisk::SHostInfo host;
  host.deserialize(text.c_str());

  try {
    frim_pdk_4_4::CFiUdid udid;
    udid.parse(text);
  } catch (const frim_pdk_4_4::CFiUdidException& e) {
    if (e.getReason() < 1 || e.getReason() > 4) __builtin_trap();
  }

  try {
    frim_pdk_4_4::CFiTargetConfig config;
    config.parse(text);
    config.targetsFor(text);
  } catch (const frim_pdk_4_4::CFiTargetConfigError&) {
  }

  frim_pdk_4_4::CFiObjctlArgs args;
  if (args.importArgs(text.c_str()) == 0) {
    frim_pdk_4_4::CFiObjctlArgs back;
    if (back.importArgs(args.exportArgs().c_str()) != 0 || back.getArgs() != args.getArgs()) __builtin_trap();
  }
  return 0;
}
