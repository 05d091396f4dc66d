#ifndef RMSIM_SIM_PAIRS_H
#define RMSIM_SIM_PAIRS_H

// Pairs and the pair commands: status, split and resync, with the pair state
// machine of the arrays' published rules by kind of pair, and the progress
// of copies.

#include <string>

#include "svrrm.h"

namespace rmsim {

class Call;
class Db;
struct Settings;

struct Pair {
  int serial = 0;
  int pvol = 0;
  int mu = 0;
  int svol = 0;
  std::string kind;  // "si" (ShadowImage) or "cow" (Copy-on-Write)
  int status = RMSIM_SMPL;
  int ctgid = 0;
  int csize = 0;
  int smod = 0;
  int copyrate = 0;
  int readsLeft = 0;
  double copyStarted = 0.0;
  bool suspendAtEnd = false;
  bool splitAtEnd = false;   // a ShadowImage split accepted while copying
  bool asSecondary = false;  // found through its secondary volume
};

// "PAIR" for RMSIM_PAIR and so on; the number as text for other codes.
std::string statusName(int status);
// The code for a status name, or -1.
int statusCode(const std::string& name);

// The live pair of `ldev` at mirror unit `mu`: the pair it is the primary of
// there, or, at mirror unit 0, the pair it is the secondary of (a secondary
// volume answers on mirror unit 0 only). A pair set to SMPL is not live.
bool findPair(Db& db, int serial, int ldev, int mu, Pair& pair);

// Ends a running copy whose time has come (PAIR, or PSUE when a suspension
// was injected); `statusRead` counts one status read towards the end.
void advanceCopy(Db& db, const Settings& settings, Pair& pair, bool statusRead);

int pairVolStat(Call& call, targdev* targ, pairstatinfo* out);
int pairSplit(Call& call, targdev* targ, int sopt, int csize);
int pairResync(Call& call, targdev* targ, int ropt, int csize);

}  // namespace rmsim

#endif
