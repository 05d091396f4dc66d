// The ready default model and the host name its host groups carry.
#include <unistd.h>

#include <cstdlib>

#include "rmsim.h"

namespace rmsim {

std::string Simulator::hostName() {
  const char* override = ::secure_getenv("RMSIM_HOSTNAME");
  if (override && *override) return override;
  char host[256] = {0};
  if (::gethostname(host, sizeof(host) - 1) != 0 || host[0] == '\0') return "localhost";
  std::string name(host);
  return name.substr(0, name.find('.'));
}

// Tests of other parts rely on the LDEV numbers, LUNs and pair states below:
// add to this model, do not renumber it.
std::string Simulator::defaultModel() {
  return R"(# The default model: one HITACHI and one HP array. Each has a command device
# and source LDEVs with ShadowImage secondaries (mirror units 0 to 2) and
# Copy-on-Write secondaries (mirror units 3 and up), all seen by this host
# through host group 0 of Fibre Channel port 0, which is named after it.
setting copy_reads 2

array 410001 vendor=HITACHI product=VSP maxmmun=64 unit=1
cmddev 410001 /dev/sdb ldev=4095
port 410001 0 fibre
port 410001 1 scsi
hostgroup 410001 0 0 @HOST@
hostgroup 410001 1 0 backup-server
ldev 410001 4095 emulation=OPEN-V-CM props=cmd device=sdb
# 256: ShadowImage mu 0 (PSUS) and Copy-on-Write mu 3 (PSUS)
# 257: ShadowImage mu 0 (PAIR) and Copy-on-Write mu 3 (PAIR)
# 258: ShadowImage only, mu 1 and 2 (PSUS)
# 259: Copy-on-Write only, mu 3 and 4 (PSUS)
# Added later, so that a host can keep several points in time of one source:
# 256 also has ShadowImage mu 1 -> 516 and mu 2 -> 517, 259 Copy-on-Write
# mu 5 -> 772 (all PSUS).
ldev 410001 256 props=si,cow device=sdc
ldev 410001 257 props=si,cow device=sdd
ldev 410001 512 device=sde
ldev 410001 513 device=sdf
ldev 410001 768 device=sdg
ldev 410001 769 device=sdh
ldev 410001 258 props=tc,si device=sdn
ldev 410001 259 props=cow device=sdo
ldev 410001 514 device=sdp
ldev 410001 515 device=sdq
ldev 410001 770 device=sdr
ldev 410001 771 device=sds
ldev 410001 516 device=sdt
ldev 410001 517 device=sdu
ldev 410001 772 device=sdv
lun 410001 0 0 0 4095
lun 410001 0 0 1 256
lun 410001 0 0 2 257
lun 410001 0 0 3 512
lun 410001 0 0 4 513
lun 410001 0 0 5 768
lun 410001 0 0 6 769
lun 410001 0 0 7 258
lun 410001 0 0 8 259
lun 410001 0 0 9 514
lun 410001 0 0 10 515
lun 410001 0 0 11 770
lun 410001 0 0 12 771
lun 410001 0 0 13 516
lun 410001 0 0 14 517
lun 410001 0 0 15 772
lun 410001 1 0 0 256
pair 410001 256 0 512 si status=PSUS
pair 410001 257 0 513 si status=PAIR
pair 410001 256 3 768 cow status=PSUS
pair 410001 257 3 769 cow status=PAIR
pair 410001 258 1 514 si status=PSUS
pair 410001 258 2 515 si status=PSUS
pair 410001 259 3 770 cow status=PSUS
pair 410001 259 4 771 cow status=PSUS
pair 410001 256 1 516 si status=PSUS
pair 410001 256 2 517 si status=PSUS
pair 410001 259 5 772 cow status=PSUS

array 520002 vendor=HP product=XP maxmmun=64 unit=2
cmddev 520002 /dev/sdi ldev=4095
port 520002 0 fibre
hostgroup 520002 0 0 @HOST@
ldev 520002 4095 emulation=OPEN-V-CM props=cmd device=sdi
# 300: Business Copy (ShadowImage) mu 0; 301: Snapshot (Copy-on-Write) mu 3.
# Added later: 300 also has Business Copy mu 1 -> 602 and mu 2 -> 603 (PSUS).
ldev 520002 300 props=si,cow device=sdj
ldev 520002 301 props=si,cow device=sdk
ldev 520002 600 device=sdl
ldev 520002 601 device=sdm
ldev 520002 602 device=sdw
ldev 520002 603 device=sdx
lun 520002 0 0 0 4095
lun 520002 0 0 1 300
lun 520002 0 0 2 301
lun 520002 0 0 3 600
lun 520002 0 0 4 601
lun 520002 0 0 5 602
lun 520002 0 0 6 603
pair 520002 300 0 600 si status=PSUS
pair 520002 301 3 601 cow status=PSUS
pair 520002 300 1 602 si status=PSUS
pair 520002 300 2 603 si status=PSUS
)";
}

}  // namespace rmsim
