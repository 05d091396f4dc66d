#ifndef HITACHI_RMLIB_RECORDS_H
#define HITACHI_RMLIB_RECORDS_H

#include <cstddef>
#include <cstdint>

// The RAID Manager library's records, as far as the plugin reads or writes
// them. The library defines the full layouts; only the sizes and the fields
// below are relied on.

// One attached command device. Filled by attachcmddev; every other call
// receives the same block.
struct cmddevinfo {
  unsigned char reserved0[1048];
  int32_t serial;  // the array's serial number
  unsigned char reserved1[76];
};

// The target volume of a call.
struct targdev {
  uint8_t porttype;
  uint8_t pad0[3];
  int32_t port;
  int32_t targid;
  int32_t lun;
  int32_t mun;
  int32_t serial;  // written by getldev
  uint8_t pad1[2];
  uint16_t ldevno;  // 0xFFFF before getldev and pairvolstat
  uint8_t fibre;    // written by getldev: non-zero on a Fibre Channel port
  uint8_t pad2;
  uint16_t numldev;  // written by getldev: 0 means no device
  uint8_t reserved[304];
};

// The status of one pair, written by pairvolstat.
struct pairstatinfo {
  uint8_t ctgid;
  uint8_t csize;  // low four bits: the copy pace
  char voltype[20];
  uint8_t volstat;   // 1 SMPL, 2 PVOL, 3 SVOL
  uint8_t pairstat;  // 1 SMPL .. 7 RCPY, 255 UNKN
  uint8_t pad0[4];
  int32_t copyrate;
  uint8_t smod;
  uint8_t pad1[3];
  int32_t pserial;
  int32_t pssid;
  uint16_t pldev;
  uint8_t pad2[2];
  int32_t pport;
  int32_t ptargid;
  int32_t plun;
};

// The array controller's limits.
struct dkc_limit {
  int32_t reserved0[2];
  int32_t maxmmun;  // mirror units per volume
  int32_t reserved1[12];
};

// The answer block of getrminfo.
struct rminfo {
  unsigned char bytes[512];
};

static_assert(sizeof(cmddevinfo) == 1128 && offsetof(cmddevinfo, serial) == 1048, "cmddevinfo layout");
static_assert(sizeof(targdev) == 336 && offsetof(targdev, port) == 4 && offsetof(targdev, targid) == 8 &&
                  offsetof(targdev, lun) == 12 && offsetof(targdev, mun) == 16 &&
                  offsetof(targdev, serial) == 20 && offsetof(targdev, ldevno) == 26 &&
                  offsetof(targdev, fibre) == 28 && offsetof(targdev, numldev) == 30,
              "targdev layout");
static_assert(sizeof(pairstatinfo) == 60 && offsetof(pairstatinfo, voltype) == 2 &&
                  offsetof(pairstatinfo, volstat) == 22 && offsetof(pairstatinfo, pairstat) == 23 &&
                  offsetof(pairstatinfo, copyrate) == 28 && offsetof(pairstatinfo, smod) == 32 &&
                  offsetof(pairstatinfo, pserial) == 36 && offsetof(pairstatinfo, pssid) == 40 &&
                  offsetof(pairstatinfo, pldev) == 44 && offsetof(pairstatinfo, pport) == 48 &&
                  offsetof(pairstatinfo, ptargid) == 52 && offsetof(pairstatinfo, plun) == 56,
              "pairstatinfo layout");
static_assert(sizeof(dkc_limit) == 60 && offsetof(dkc_limit, maxmmun) == 8, "dkc_limit layout");

// Pair and volume status codes.
enum : int {
  PAIR_SMPL = 1,
  PAIR_COPY = 2,
  PAIR_PAIR = 3,
  PAIR_PSUS = 4,
  PAIR_PSUE = 5,
  PAIR_PDUB = 6,
  PAIR_RCPY = 7,
  PAIR_UNKN = 255
};
enum : int { VOL_SMPL = 1, VOL_PVOL = 2, VOL_SVOL = 3 };

// The plugin's host-order copy of the 0x21 getrminfo answer's header.
struct SrmInfo {
  uint16_t LUN;
  uint8_t pad0[4];
  int8_t unitID;
  uint8_t pad1;
  uint32_t serialNumber;
  uint8_t pad2[2];
  char emulationType[18];
  uint32_t LUNSize;
  uint16_t LUProperty;
  uint8_t reserved[346];
};
static_assert(sizeof(SrmInfo) == 384 && offsetof(SrmInfo, unitID) == 6 &&
                  offsetof(SrmInfo, serialNumber) == 8 && offsetof(SrmInfo, emulationType) == 14 &&
                  offsetof(SrmInfo, LUNSize) == 32 && offsetof(SrmInfo, LUProperty) == 36,
              "SrmInfo layout");

// One host group as the library reports it.
struct SHostGroupInfoEx {
  int8_t portNum;
  int8_t portType;
  int8_t hostGroupNum;
  int8_t numLUNInHostGroup;
  char hostGroupName[28];
};
static_assert(sizeof(SHostGroupInfoEx) == 32, "host group entry");

#endif
