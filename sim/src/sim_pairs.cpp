#include "sim_pairs.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "sim_call.h"
#include "sim_data.h"
#include "sim_db.h"
#include "sim_luns.h"
#include "sim_settings.h"

namespace rmsim {

namespace {

const char kPairColumns[] =
    "SELECT serial, pvol, mu, svol, kind, status, ctgid, csize, smod, copyrate, reads_left, copy_started, "
    "suspend_at_end, split_at_end FROM pairs ";

Pair readPair(Statement& q, bool asSecondary) {
  Pair pair;
  pair.serial = q.number(0);
  pair.pvol = q.number(1);
  pair.mu = q.number(2);
  pair.svol = q.number(3);
  pair.kind = q.text(4);
  pair.status = q.number(5);
  pair.ctgid = q.number(6);
  pair.csize = q.number(7);
  pair.smod = q.number(8);
  pair.copyrate = q.number(9);
  pair.readsLeft = q.number(10);
  pair.copyStarted = q.real(11);
  pair.suspendAtEnd = q.integer(12) != 0;
  pair.splitAtEnd = q.integer(13) != 0;
  pair.asSecondary = asSecondary;
  return pair;
}

void savePair(Db& db, const Pair& pair) {
  db.prepare(
        "UPDATE pairs SET status = ?, csize = ?, smod = ?, copyrate = ?, reads_left = ?, copy_started = ?, "
        "suspend_at_end = ?, split_at_end = ? WHERE serial = ? AND pvol = ? AND mu = ?")
      .bind(pair.status)
      .bind(pair.csize)
      .bind(pair.smod)
      .bind(pair.copyrate)
      .bind(pair.readsLeft)
      .bind(pair.copyStarted)
      .bind(pair.suspendAtEnd ? 1 : 0)
      .bind(pair.splitAtEnd ? 1 : 0)
      .bind(pair.serial)
      .bind(pair.pvol)
      .bind(pair.mu)
      .run();
}

bool copying(int status) { return status == RMSIM_COPY || status == RMSIM_RCPY; }

// The end of a copy is when the data moves: a forward copy makes the
// secondary equal the primary as it is now, a reverse one the primary equal
// the secondary. A copy suspended by error moves nothing.
void finishCopy(Db& db, Pair& pair) {
  if (pair.suspendAtEnd) {
    pair.status = RMSIM_PSUE;  // copy rate left where it stopped
  } else {
    if (pair.status == RMSIM_RCPY) {
      copyData(db, pair.serial, pair.svol, pair.pvol);
    } else {
      copyData(db, pair.serial, pair.pvol, pair.svol);
    }
    pair.status = pair.splitAtEnd ? RMSIM_PSUS : RMSIM_PAIR;
    pair.copyrate = 100;
  }
  pair.suspendAtEnd = false;
  pair.splitAtEnd = false;
  pair.readsLeft = 0;
}

bool copyOnWrite(const Pair& pair) { return pair.kind == "cow"; }

// Starts a copy (COPY forward, RCPY reverse) at copy pace `csize`.
void startCopy(Db& db, const Settings& settings, Pair& pair, int status, int csize) {
  pair.status = status;
  pair.csize = csize;
  pair.smod = 0;
  pair.copyrate = 0;
  pair.readsLeft = settings.copyReads;
  pair.copyStarted = wallClock();
  pair.splitAtEnd = false;
  if (settings.copySeconds <= 0.0 && settings.copyReads == 0) finishCopy(db, pair);
  savePair(db, pair);
}

// Resolves the addressed volume; 0 with `ldev` set, or the recorded error.
int resolveVolume(Call& call, const targdev* targ, int& ldev) {
  if (!call.attached()) return RMSIM_E_NOCMD;
  if (targ == nullptr) return call.fail(RMSIM_E_INVAL, "no target volume record");
  ldev = ldevAt(call.db(), call.serial(), targ->port, targ->targid, targ->lun);
  if (ldev < 0) {
    return call.fail(RMSIM_E_NODEV, "no device at port " + std::to_string(targ->port) + " target " +
                                        std::to_string(targ->targid) + " LUN " + std::to_string(targ->lun));
  }
  int maxmmun = call.maxMirrorUnits();
  if (targ->mun < 0 || targ->mun >= maxmmun) {
    return call.fail(RMSIM_E_INVMUN, "mirror unit " + std::to_string(targ->mun) +
                                         " is out of range (the array has " + std::to_string(maxmmun) + ")");
  }
  return 0;
}

int checkPace(Call& call, int csize) {
  if (csize < 1 || csize > 15)
    return call.fail(RMSIM_E_INVAL, "copy pace " + std::to_string(csize) + " is not 1 to 15");
  return 0;
}

// The addressed volume's live pair; 0, or the recorded error.
int addressedPair(Call& call, targdev* targ, Pair& pair) {
  int ldev = -1;
  if (int rc = resolveVolume(call, targ, ldev)) return rc;
  if (!findPair(call.db(), call.serial(), ldev, targ->mun, pair)) {
    // Kept: the plugin's suites compare this exact text.
    return call.fail(RMSIM_E_NOPAIR, "volume is SMPL at this mirror unit");
  }
  advanceCopy(call.db(), call.settings(), pair, false);
  return 0;
}

int refuse(Call& call, const Pair& pair, const std::string& why) {
  return call.fail(RMSIM_E_INVSTAT, "pair of LDEV " + std::to_string(pair.pvol) + " at mirror unit " +
                                        std::to_string(pair.mu) + " is " + statusName(pair.status) + ": " +
                                        why);
}

// A restore overwrites the primary: no other pair of it may be copying or in sync.
bool otherPairsBusy(Call& call, const Pair& pair) {
  Statement q = call.db().prepare(std::string(kPairColumns) + "WHERE serial = ? AND pvol = ? AND mu <> ?");
  q.bind(pair.serial).bind(pair.pvol).bind(pair.mu);
  std::vector<Pair> others;
  while (q.step()) others.push_back(readPair(q, false));
  for (Pair& other : others) {
    advanceCopy(call.db(), call.settings(), other, false);
    if (copying(other.status) || other.status == RMSIM_PAIR) return true;
  }
  return false;
}

}  // namespace

std::string statusName(int status) {
  switch (status) {
    case RMSIM_SMPL:
      return "SMPL";
    case RMSIM_COPY:
      return "COPY";
    case RMSIM_PAIR:
      return "PAIR";
    case RMSIM_PSUS:
      return "PSUS";
    case RMSIM_PSUE:
      return "PSUE";
    case RMSIM_PDUB:
      return "PDUB";
    case RMSIM_RCPY:
      return "RCPY";
    case RMSIM_UNKN:
      return "UNKN";
    default:
      return std::to_string(status);
  }
}

int statusCode(const std::string& name) {
  for (int code :
       {RMSIM_SMPL, RMSIM_COPY, RMSIM_PAIR, RMSIM_PSUS, RMSIM_PSUE, RMSIM_PDUB, RMSIM_RCPY, RMSIM_UNKN}) {
    if (statusName(code) == name) return code;
  }
  return -1;
}

bool findPair(Db& db, int serial, int ldev, int mu, Pair& pair) {
  Statement primary =
      db.prepare(std::string(kPairColumns) + "WHERE serial = ? AND pvol = ? AND mu = ? AND status <> ?");
  primary.bind(serial).bind(ldev).bind(mu).bind(RMSIM_SMPL);
  if (primary.step()) {
    pair = readPair(primary, false);
    return true;
  }
  if (mu != 0) return false;
  Statement secondary =
      db.prepare(std::string(kPairColumns) + "WHERE serial = ? AND svol = ? AND status <> ?");
  secondary.bind(serial).bind(ldev).bind(RMSIM_SMPL);
  if (!secondary.step()) return false;
  pair = readPair(secondary, true);
  return true;
}

void advanceCopy(Db& db, const Settings& settings, Pair& pair, bool statusRead) {
  if (!copying(pair.status)) return;
  if (settings.copySeconds > 0.0) {
    double elapsed = wallClock() - pair.copyStarted;
    if (elapsed >= settings.copySeconds) {
      finishCopy(db, pair);
    } else {
      pair.copyrate = std::min(99, std::max(0, static_cast<int>(elapsed * 100.0 / settings.copySeconds)));
    }
  } else {
    if (!statusRead) return;
    pair.readsLeft -= 1;
    if (pair.readsLeft <= 0) {
      finishCopy(db, pair);
    } else {
      int total = std::max(settings.copyReads, pair.readsLeft + 1);
      pair.copyrate = std::min(99, 100 * (total - pair.readsLeft) / total);
    }
  }
  savePair(db, pair);
}

int pairVolStat(Call& call, targdev* targ, pairstatinfo* out) {
  int ldev = -1;
  if (int rc = resolveVolume(call, targ, ldev)) return rc;
  if (out == nullptr) return call.fail(RMSIM_E_INVAL, "no pair status record");
  Db& db = call.db();
  std::memset(out, 0, sizeof(*out));
  Statement volume = db.prepare("SELECT emulation FROM ldevs WHERE serial = ? AND ldev = ?");
  volume.bind(call.serial()).bind(ldev);
  std::string emulation = volume.step() ? volume.text(0) : std::string();
  // NUL-padded, so that a reader treating the 20 characters as a C string stops inside them.
  std::memcpy(out->voltype, emulation.data(), std::min(emulation.size(), sizeof(out->voltype) - 1));

  Pair pair;
  if (!findPair(db, call.serial(), ldev, targ->mun, pair)) {
    out->volstat = RMSIM_VOL_SMPL;
    out->pairstat = RMSIM_SMPL;
    out->csize = 3;  // the arrays' default copy pace
    return 0;
  }
  advanceCopy(db, call.settings(), pair, true);
  const int partner = pair.asSecondary ? pair.pvol : pair.svol;
  out->volstat = pair.asSecondary ? RMSIM_VOL_SVOL : RMSIM_VOL_PVOL;
  out->pairstat = static_cast<uint8_t>(pair.status);
  out->ctgid = static_cast<uint8_t>(pair.ctgid);
  out->csize = static_cast<uint8_t>(pair.csize);
  out->copyrate = pair.copyrate;
  out->smod = static_cast<uint8_t>(pair.smod);
  out->pserial = call.serial();
  out->pldev = static_cast<uint16_t>(partner);
  Statement ssid = db.prepare("SELECT ssid FROM ldevs WHERE serial = ? AND ldev = ?");
  ssid.bind(call.serial()).bind(partner);
  if (ssid.step()) out->pssid = ssid.number(0);
  LuPath path;
  if (firstPath(db, call.serial(), partner, path)) {
    out->pport = path.port;
    out->ptargid = path.hostgroup;
    out->plun = path.lun;
  }
  return 0;
}

// The pair commands follow the published command tables of ShadowImage and
// Copy-on-Write pairs (sim/README.md): carried out, accepted with no effect,
// or refused, by the pair's state and kind.
int pairSplit(Call& call, targdev* targ, int sopt, int csize) {
  Pair pair;
  if (int rc = addressedPair(call, targ, pair)) return rc;
  if (int rc = checkPace(call, csize)) return rc;
  switch (pair.status) {
    case RMSIM_PAIR:
      // The secondary is frozen as the primary is at the split.
      copyData(call.db(), pair.serial, pair.pvol, pair.svol);
      pair.status = RMSIM_PSUS;
      pair.csize = csize;
      pair.smod = sopt & 0xFF;
      savePair(call.db(), pair);
      return 0;
    case RMSIM_PSUS:
      return 0;  // already split: accepted, nothing changes
    case RMSIM_PSUE:
      // A snapshot suspended by error has lost its point in time; a full copy has not.
      if (copyOnWrite(pair))
        return refuse(call, pair, "a Copy-on-Write pair suspended by error takes no split");
      return 0;
    case RMSIM_COPY:
      if (copyOnWrite(pair))
        return refuse(call, pair, "a Copy-on-Write split waits until the copy has ended");
      // ShadowImage takes the split now and carries it out when the copy ends.
      pair.splitAtEnd = true;
      pair.csize = csize;
      pair.smod = sopt & 0xFF;
      savePair(call.db(), pair);
      return 0;
    case RMSIM_RCPY:
      return refuse(call, pair, "a split waits until the reverse copy has ended");
    default:
      return refuse(call, pair, "this state takes no split");
  }
}

int pairResync(Call& call, targdev* targ, int ropt, int csize) {
  Pair pair;
  if (int rc = addressedPair(call, targ, pair)) return rc;
  if (ropt != 0 && ropt != 1)
    return call.fail(RMSIM_E_INVAL, "resync option " + std::to_string(ropt) + " is not 0 or 1");
  if (int rc = checkPace(call, csize)) return rc;
  const bool reverse = ropt == 1;
  switch (pair.status) {
    case RMSIM_PAIR:
      if (reverse) return refuse(call, pair, "a reverse resync needs a split pair");
      return 0;  // already in sync: accepted, nothing changes
    case RMSIM_PSUS:
      if (reverse && otherPairsBusy(call, pair)) {
        return refuse(call, pair, "another pair of the primary is copying or in PAIR");
      }
      startCopy(call.db(), call.settings(), pair, reverse ? RMSIM_RCPY : RMSIM_COPY, csize);
      return 0;
    case RMSIM_PSUE:
      if (reverse) return refuse(call, pair, "a pair suspended by error takes only a forward resync");
      startCopy(call.db(), call.settings(), pair, RMSIM_COPY, csize);  // a full copy
      return 0;
    case RMSIM_COPY:
    case RMSIM_RCPY:
      // A copy is already running: two processes preparing one device both succeed.
      return 0;
    default:
      return refuse(call, pair, "this state takes no resync");
  }
}

}  // namespace rmsim
