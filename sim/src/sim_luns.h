#ifndef RMSIM_SIM_LUNS_H
#define RMSIM_SIM_LUNS_H

// Volumes as the host addresses them (port / target id / LUN), LU
// information with host groups, and the controller's limits.

#include "svrrm.h"

namespace rmsim {

class Call;
class Db;

// The LDEV at `port` / `hostgroup` / `lun` of the array, or -1. On every
// port the target id of an address is the host group number (on SCSI
// ports, host groups stand for SCSI target ids).
int ldevAt(Db& db, int serial, int port, int hostgroup, int lun);

struct LuPath {
  int port = 0;
  int hostgroup = 0;
  int lun = 0;
};

// The LDEV's first LU path (lowest port, host group, LUN); false when the
// LDEV is not mapped anywhere.
bool firstPath(Db& db, int serial, int ldev, LuPath& path);

int getLdev(Call& call, targdev* targ);
int getRmInfo(Call& call, int ope, int ldev, int port, void* out);
int getDkcLimit(Call& call, dkc_limit* out);

}  // namespace rmsim

#endif
