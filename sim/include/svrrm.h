#ifndef RMSIM_SVRRM_H
#define RMSIM_SVRRM_H

/*
 * The RAID Manager library interface as the simulator implements it: the
 * eleven functions and the records they exchange, with the sizes and byte
 * offsets a caller relies on. Every layout choice beyond those is documented
 * in sim/README.md.
 */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One attached command device (1128 bytes). */
typedef struct cmddevinfo {
  char path[1024];    /* 0: the command device path given to attachcmddev */
  int32_t instance;   /* 1024: the RAID Manager instance number */
  int32_t attached;   /* 1028: RMSIM_ATTACHED while attached */
  char reserved1[16]; /* 1032 */
  int32_t serial;     /* 1048: the array's serial number */
  char reserved2[76]; /* 1052 */
} cmddevinfo;

/* The target volume of a call (336 bytes). */
typedef struct targdev {
  uint8_t porttype; /* 0 */
  uint8_t pad0[3];
  int32_t port;   /* 4 */
  int32_t targid; /* 8 */
  int32_t lun;    /* 12 */
  int32_t mun;    /* 16 */
  int32_t serial; /* 20: written by getldev */
  uint8_t pad1[2];
  uint16_t ldevno; /* 26: written by getldev */
  uint8_t fibre;   /* 28: written by getldev */
  uint8_t pad2;
  uint16_t numldev; /* 30: written by getldev */
  uint8_t reserved[304];
} targdev;

/* The status of one pair (60 bytes). */
typedef struct pairstatinfo {
  uint8_t ctgid;    /* 0 */
  uint8_t csize;    /* 1 */
  char voltype[20]; /* 2 */
  uint8_t volstat;  /* 22: 1 SMPL, 2 PVOL, 3 SVOL */
  uint8_t pairstat; /* 23: 1 SMPL .. 7 RCPY, 255 UNKN */
  uint8_t pad0[4];
  int32_t copyrate; /* 28 */
  uint8_t smod;     /* 32 */
  uint8_t pad1[3];
  int32_t pserial; /* 36 */
  int32_t pssid;   /* 40 */
  uint16_t pldev;  /* 44 */
  uint8_t pad2[2];
  int32_t pport;   /* 48 */
  int32_t ptargid; /* 52 */
  int32_t plun;    /* 56 */
} pairstatinfo;

/* The array controller's limits (60 bytes). */
typedef struct dkc_limit {
  int32_t maxldev; /* 0 */
  int32_t maxport; /* 4 */
  int32_t maxmmun; /* 8: mirror units per volume */
  int32_t reserved[12];
} dkc_limit;

#define RMSIM_ATTACHED 0x52534d31

/* getrminfo: the answer buffer and, for operation 0x21 (LU information of
 * one LDEV), the big-endian fields of the answer. */
#define RMSIM_RMINFO_SIZE 512
#define RMSIM_OPE_LUINFO 0x21
#define RMSIM_RMINFO_LUN_OFFSET 0        /* 16-bit: the LDEV's first LUN */
#define RMSIM_RMINFO_UNIT_OFFSET 7       /* 8-bit: the array's unit id */
#define RMSIM_RMINFO_SERIAL_OFFSET 8     /* 32-bit: the array serial */
#define RMSIM_RMINFO_EMULATION_OFFSET 14 /* 18 characters, NUL-padded */
#define RMSIM_RMINFO_EMULATION_SIZE 18
#define RMSIM_RMINFO_SIZE_OFFSET 32     /* 32-bit: LU size in 512-byte blocks */
#define RMSIM_RMINFO_PROPERTY_OFFSET 36 /* 16-bit LU property word */
#define RMSIM_RMINFO_HG_COUNT_OFFSET 40 /* 16-bit: host-group entries that follow */
#define RMSIM_RMINFO_HG_OFFSET 384      /* the first host-group entry */
#define RMSIM_RMINFO_HG_SIZE 32
#define RMSIM_RMINFO_HG_MAX 4
#define RMSIM_RMINFO_HG_NAME_MAX 27 /* characters of a host-group name */
/* LU property word, as its two bytes lie in the buffer. */
#define RMSIM_PROP0_CMDDEV 0x01      /* byte 36 */
#define RMSIM_PROP1_TRUECOPY 0x02    /* byte 37 */
#define RMSIM_PROP1_SHADOWIMAGE 0x04 /* byte 37 */
#define RMSIM_PROP1_SNAPSHOT 0x08    /* byte 37 */

/* getfmtmsg writes at most this many bytes, the NUL included. */
#define RMSIM_FMTMSG_SIZE 2048

/* Pair and volume status codes. */
enum {
  RMSIM_SMPL = 1,
  RMSIM_COPY = 2,
  RMSIM_PAIR = 3,
  RMSIM_PSUS = 4,
  RMSIM_PSUE = 5,
  RMSIM_PDUB = 6,
  RMSIM_RCPY = 7,
  RMSIM_UNKN = 255
};
enum { RMSIM_VOL_SMPL = 1, RMSIM_VOL_PVOL = 2, RMSIM_VOL_SVOL = 3 };

/* Error numbers the simulator reports (see sim/README.md). */
enum {
  RMSIM_E_NODEV = 201,    /* no device at that address */
  RMSIM_E_NOCMD = 202,    /* not a command device of a known array / not attached */
  RMSIM_E_INVMUN = 203,   /* mirror unit out of range */
  RMSIM_E_INVSTAT = 204,  /* the pair's state refuses the request */
  RMSIM_E_NOPAIR = 205,   /* the volume has no pair at that mirror unit */
  RMSIM_E_IO = 206,       /* injected command device failure (default) */
  RMSIM_E_INVOPE = 207,   /* unsupported getrminfo operation */
  RMSIM_E_STATE = 208,    /* the simulator's state store failed */
  RMSIM_E_INVAL = 209,    /* null record, or an option or copy pace out of range */
  RMSIM_E_INSTUSED = 210, /* another live process holds that instance number on that command device */
  RMSIM_E_INVINST = 211   /* negative instance number */
};

int attachcmddev(cmddevinfo* info, char* cmddev, int instance);
int detachcmddev(cmddevinfo* info);
int pairvolstat(cmddevinfo* info, targdev* targ, pairstatinfo* out);
int pairsplit(cmddevinfo* info, targdev* targ, int sopt, int csize);
int pairresync(cmddevinfo* info, targdev* targ, int ropt, int csize);
int getldev(cmddevinfo* info, targdev* targ);
int getrminfo(cmddevinfo* info, int ope, int ldev, int port, void* rminfo);
char* getrmerrmsg(cmddevinfo* info);
int getrmver(int* version);
int getdkclimit(cmddevinfo* info, dkc_limit* out);
int getfmtmsg(cmddevinfo* info, char* buffer);

#ifdef __cplusplus
}
#endif

#endif
