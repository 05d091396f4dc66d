// The simulated RMLIB calls. Each runs in one transaction of the shared
// state, after its call counter, its injected fault and the configured
// latency.
#include <sys/time.h>
#include <unistd.h>

#include <cstring>
#include <functional>

#include "rmsim.h"
#include "sim_db.h"

namespace rmsim {

namespace {

double now() {
  struct timeval tv;
  ::gettimeofday(&tv, nullptr);
  return tv.tv_sec + tv.tv_usec / 1e6;
}

void putBe16(unsigned char* at, unsigned value) {
  at[0] = static_cast<unsigned char>(value >> 8);
  at[1] = static_cast<unsigned char>(value);
}

void putBe32(unsigned char* at, uint32_t value) {
  at[0] = static_cast<unsigned char>(value >> 24);
  at[1] = static_cast<unsigned char>(value >> 16);
  at[2] = static_cast<unsigned char>(value >> 8);
  at[3] = static_cast<unsigned char>(value);
}

std::string pathOf(const cmddevinfo* info) {
  if (info == nullptr) return "";
  return std::string(info->path, strnlen(info->path, sizeof(info->path)));
}

struct Pair {
  bool found = false;
  int pvol = 0, mu = 0, svol = 0, status = 0, ctgid = 0, csize = 0, copyrate = 0;
  bool asSvol = false;
};

}  // namespace

// Runs one call: counts it, applies an injected fault, then the body, all in
// one transaction. A failure of the state store itself is RMSIM_E_STATE.
static int guarded(Db& db, Simulator& sim, const char* function, const cmddevinfo* info,
                   const std::function<int()>& body,
                   const std::function<int(const cmddevinfo*, const char*, int, const std::string&)>& fail) {
  int latency = std::atoi(sim.setting("latency_ms", "0").c_str());
  if (latency > 0) ::usleep(static_cast<useconds_t>(latency) * 1000);
  try {
    Transaction tx(db);
    db.prepare("INSERT INTO counters(func, count) VALUES(?, 1) ON CONFLICT(func) DO UPDATE SET count = count + 1")
        .bind(std::string(function))
        .run();
    Statement fault = db.prepare("SELECT errno, message, remaining FROM faults WHERE func = ?");
    fault.bind(std::string(function));
    if (fault.step() && fault.integer(2) != 0) {
      int errorNumber = static_cast<int>(fault.integer(0));
      std::string message = fault.text(1);
      if (fault.integer(2) > 0) {
        db.prepare("UPDATE faults SET remaining = remaining - 1 WHERE func = ?").bind(std::string(function)).run();
      }
      int rc = fail(info, function, errorNumber, message);
      tx.commit();
      return rc;
    }
    int rc = body();
    tx.commit();
    return rc;
  } catch (const DbError&) {
    return RMSIM_E_STATE;
  }
}

int Simulator::fail(const cmddevinfo* info, const char* function, int errorNumber, const std::string& message) {
  m_db->prepare("INSERT OR REPLACE INTO lasterr(path, func, errno, message) VALUES(?, ?, ?, ?)")
      .bind(pathOf(info))
      .bind(std::string(function))
      .bind(errorNumber)
      .bind(message)
      .run();
  return errorNumber;
}

void Simulator::clearError(const cmddevinfo* info) {
  m_db->prepare("DELETE FROM lasterr WHERE path = ?").bind(pathOf(info)).run();
}

#define RMSIM_GUARD(function, info, body) \
  guarded(*m_db, *this, function, info, body, \
          [this](const cmddevinfo* i, const char* f, int e, const std::string& m) { return fail(i, f, e, m); })

int Simulator::serialOf(cmddevinfo* info, const char* function) {
  if (info == nullptr || info->attached != RMSIM_ATTACHED) {
    return -fail(info, function, RMSIM_E_NOCMD, "command device is not attached");
  }
  return info->serial;
}

int Simulator::ldevAt(int serial, int port, int hostgroup, int lun) {
  Statement q = m_db->prepare("SELECT ldev FROM luns WHERE serial = ? AND port = ? AND hostgroup = ? AND lun = ?");
  q.bind(serial).bind(port).bind(hostgroup).bind(lun);
  return q.step() ? static_cast<int>(q.integer(0)) : -1;
}

static Pair readPair(Statement& q, bool asSvol) {
  Pair pair;
  pair.found = true;
  pair.asSvol = asSvol;
  pair.pvol = static_cast<int>(q.integer(0));
  pair.mu = static_cast<int>(q.integer(1));
  pair.svol = static_cast<int>(q.integer(2));
  pair.status = static_cast<int>(q.integer(3));
  pair.ctgid = static_cast<int>(q.integer(4));
  pair.csize = static_cast<int>(q.integer(5));
  pair.copyrate = static_cast<int>(q.integer(6));
  return pair;
}

// The pair `ldev` is the primary of at `mu`, or (at mirror unit 0) the pair
// it is the secondary of.
static Pair findPair(Db& db, int serial, int ldev, int mu) {
  Statement primary = db.prepare(
      "SELECT pvol, mu, svol, status, ctgid, csize, copyrate FROM pairs WHERE serial = ? AND pvol = ? AND mu = ?");
  primary.bind(serial).bind(ldev).bind(mu);
  if (primary.step()) return readPair(primary, false);
  if (mu != 0) return Pair();
  Statement secondary = db.prepare(
      "SELECT pvol, mu, svol, status, ctgid, csize, copyrate FROM pairs WHERE serial = ? AND svol = ?");
  secondary.bind(serial).bind(ldev);
  if (secondary.step()) return readPair(secondary, true);
  return Pair();
}

void Simulator::advanceCopy(int serial, int pvol, int mu) {
  Statement q = m_db->prepare("SELECT status, reads_left, copy_started FROM pairs WHERE serial = ? AND pvol = ? AND mu = ?");
  q.bind(serial).bind(pvol).bind(mu);
  if (!q.step()) return;
  int status = static_cast<int>(q.integer(0));
  if (status != RMSIM_COPY && status != RMSIM_RCPY) return;
  int readsLeft = static_cast<int>(q.integer(1)) - 1;
  double seconds = std::atof(setting("copy_seconds", "0").c_str());
  bool done = seconds > 0 ? (now() - std::atof(q.text(2).c_str()) >= seconds) : readsLeft <= 0;
  if (done) {
    m_db->prepare("UPDATE pairs SET status = ?, reads_left = 0, copyrate = 100 WHERE serial = ? AND pvol = ? AND mu = ?")
        .bind(RMSIM_PAIR).bind(serial).bind(pvol).bind(mu).run();
  } else {
    int copyRate = readsLeft > 0 ? 100 / (readsLeft + 1) : 50;
    m_db->prepare("UPDATE pairs SET reads_left = ?, copyrate = ? WHERE serial = ? AND pvol = ? AND mu = ?")
        .bind(readsLeft).bind(copyRate).bind(serial).bind(pvol).bind(mu).run();
  }
}

int Simulator::attachcmddev(cmddevinfo* info, const char* cmddev, int instance) {
  if (info == nullptr) return RMSIM_E_NOCMD;
  std::memset(info, 0, sizeof(*info));
  if (cmddev) std::strncpy(info->path, cmddev, sizeof(info->path) - 1);
  return RMSIM_GUARD("attachcmddev", info, [&]() -> int {
    Statement q = m_db->prepare("SELECT serial FROM cmddevs WHERE path = ?");
    q.bind(pathOf(info));
    if (!q.step()) return fail(info, "attachcmddev", RMSIM_E_NOCMD, "not a command device of a known array");
    info->instance = instance;
    info->attached = RMSIM_ATTACHED;
    info->serial = static_cast<int32_t>(q.integer(0));
    clearError(info);
    return 0;
  });
}

int Simulator::detachcmddev(cmddevinfo* info) {
  return RMSIM_GUARD("detachcmddev", info, [&]() -> int {
    if (info == nullptr || info->attached != RMSIM_ATTACHED) {
      return fail(info, "detachcmddev", RMSIM_E_NOCMD, "command device is not attached");
    }
    info->attached = 0;
    return 0;
  });
}

int Simulator::getldev(cmddevinfo* info, targdev* targ) {
  return RMSIM_GUARD("getldev", info, [&]() -> int {
    int serial = serialOf(info, "getldev");
    if (serial < 0) return -serial;
    Statement port = m_db->prepare("SELECT fibre FROM ports WHERE serial = ? AND port = ?");
    port.bind(serial).bind(targ->port);
    if (!port.step()) return fail(info, "getldev", RMSIM_E_NODEV, "no such port");
    targ->serial = serial;
    targ->fibre = static_cast<uint8_t>(port.integer(0));
    int ldev = ldevAt(serial, targ->port, targ->targid, targ->lun);
    if (ldev >= 0) {
      targ->ldevno = static_cast<uint16_t>(ldev);
      targ->numldev = 1;
    } else {
      targ->numldev = 0;
    }
    return 0;
  });
}

int Simulator::getrminfo(cmddevinfo* info, int ope, int ldev, int /*port: every port is reported*/, void* out) {
  return RMSIM_GUARD("getrminfo", info, [&]() -> int {
    int serial = serialOf(info, "getrminfo");
    if (serial < 0) return -serial;
    if (ope != RMSIM_OPE_LUINFO) return fail(info, "getrminfo", RMSIM_E_INVOPE, "unsupported operation code");
    unsigned char* buffer = static_cast<unsigned char*>(out);
    std::memset(buffer, 0, RMSIM_RMINFO_SIZE);
    Statement array = m_db->prepare("SELECT unit_id FROM arrays WHERE serial = ?");
    array.bind(serial);
    buffer[7] = array.step() ? static_cast<unsigned char>(array.integer(0)) : 0;
    putBe32(buffer + 8, static_cast<uint32_t>(serial));
    Statement q = m_db->prepare("SELECT emulation, size, property FROM ldevs WHERE serial = ? AND ldev = ?");
    q.bind(serial).bind(ldev);
    if (!q.step()) {
      std::memcpy(buffer + 14, "NOT DEFINE", 10);
      return 0;
    }
    std::string emulation = q.text(0).substr(0, 17);
    std::memcpy(buffer + 14, emulation.data(), emulation.size());
    putBe32(buffer + 32, static_cast<uint32_t>(q.integer(1)));
    int property = static_cast<int>(q.integer(2));
    buffer[36] = static_cast<unsigned char>(property & 1);
    buffer[37] = static_cast<unsigned char>(property & 0x0E);
    Statement lun = m_db->prepare("SELECT lun FROM luns WHERE serial = ? AND ldev = ? ORDER BY port, hostgroup, lun");
    lun.bind(serial).bind(ldev);
    if (lun.step()) putBe16(buffer, static_cast<unsigned>(lun.integer(0)));
    Statement groups = m_db->prepare(
        "SELECT l.port, p.fibre, l.hostgroup, h.name, "
        "(SELECT COUNT(*) FROM luns c WHERE c.serial = l.serial AND c.port = l.port AND c.hostgroup = l.hostgroup) "
        "FROM luns l JOIN ports p ON p.serial = l.serial AND p.port = l.port "
        "JOIN hostgroups h ON h.serial = l.serial AND h.port = l.port AND h.number = l.hostgroup "
        "WHERE l.serial = ? AND l.ldev = ? GROUP BY l.port, l.hostgroup ORDER BY l.port, l.hostgroup");
    groups.bind(serial).bind(ldev);
    unsigned count = 0;
    while (groups.step() && count < RMSIM_RMINFO_HG_MAX) {
      unsigned char* entry = buffer + RMSIM_RMINFO_HG_OFFSET + count * RMSIM_RMINFO_HG_SIZE;
      entry[0] = static_cast<unsigned char>(groups.integer(0));
      entry[1] = static_cast<unsigned char>(groups.integer(1) ? 1 : 0);
      entry[2] = static_cast<unsigned char>(groups.integer(2));
      entry[3] = static_cast<unsigned char>(groups.integer(4));
      std::string name = groups.text(3).substr(0, RMSIM_RMINFO_HG_SIZE - 5);
      std::memcpy(entry + 4, name.data(), name.size());
      ++count;
    }
    putBe16(buffer + RMSIM_RMINFO_HG_COUNT_OFFSET, count);
    return 0;
  });
}

int Simulator::pairvolstat(cmddevinfo* info, targdev* targ, pairstatinfo* out) {
  return RMSIM_GUARD("pairvolstat", info, [&]() -> int {
    int serial = serialOf(info, "pairvolstat");
    if (serial < 0) return -serial;
    int ldev = ldevAt(serial, targ->port, targ->targid, targ->lun);
    if (ldev < 0) return fail(info, "pairvolstat", RMSIM_E_NODEV, "no device at that address");
    Statement array = m_db->prepare("SELECT maxmmun FROM arrays WHERE serial = ?");
    array.bind(serial);
    int maxmmun = array.step() ? static_cast<int>(array.integer(0)) : 0;
    if (targ->mun < 0 || targ->mun >= maxmmun) return fail(info, "pairvolstat", RMSIM_E_INVMUN, "invalid mirror unit");
    std::memset(out, 0, sizeof(*out));
    std::memset(out->voltype, ' ', sizeof(out->voltype));
    std::memcpy(out->voltype, "OPEN-V", 6);
    Pair pair = findPair(*m_db, serial, ldev, targ->mun);
    if (pair.found) {
      advanceCopy(serial, pair.pvol, pair.mu);
      pair = findPair(*m_db, serial, pair.asSvol ? pair.svol : pair.pvol, pair.asSvol ? 0 : pair.mu);
    }
    if (!pair.found) {
      out->volstat = RMSIM_VOL_SMPL;
      out->pairstat = RMSIM_SMPL;
      out->csize = 3;
      return 0;
    }
    int partner = pair.asSvol ? pair.pvol : pair.svol;
    out->volstat = pair.asSvol ? RMSIM_VOL_SVOL : RMSIM_VOL_PVOL;
    out->pairstat = static_cast<uint8_t>(pair.status);
    out->ctgid = static_cast<uint8_t>(pair.ctgid);
    out->csize = static_cast<uint8_t>(pair.csize);
    out->copyrate = pair.copyrate;
    out->pserial = serial;
    out->pssid = 0x0004;
    out->pldev = static_cast<uint16_t>(partner);
    Statement where = m_db->prepare("SELECT port, hostgroup, lun FROM luns WHERE serial = ? AND ldev = ? ORDER BY port, hostgroup, lun");
    where.bind(serial).bind(partner);
    if (where.step()) {
      out->pport = static_cast<int32_t>(where.integer(0));
      out->ptargid = static_cast<int32_t>(where.integer(1));
      out->plun = static_cast<int32_t>(where.integer(2));
    }
    return 0;
  });
}

int Simulator::pairsplit(cmddevinfo* info, targdev* targ, int /*sopt*/, int csize) {
  return RMSIM_GUARD("pairsplit", info, [&]() -> int {
    int serial = serialOf(info, "pairsplit");
    if (serial < 0) return -serial;
    int ldev = ldevAt(serial, targ->port, targ->targid, targ->lun);
    if (ldev < 0) return fail(info, "pairsplit", RMSIM_E_NODEV, "no device at that address");
    Pair pair = findPair(*m_db, serial, ldev, targ->mun);
    if (!pair.found) return fail(info, "pairsplit", RMSIM_E_NOPAIR, "volume is SMPL at this mirror unit");
    switch (pair.status) {
      case RMSIM_PAIR:
        m_db->prepare("UPDATE pairs SET status = ?, csize = ? WHERE serial = ? AND pvol = ? AND mu = ?")
            .bind(RMSIM_PSUS).bind(csize & 0x0F).bind(serial).bind(pair.pvol).bind(pair.mu).run();
        return 0;
      case RMSIM_PSUS:
      case RMSIM_PSUE:
        return 0;  // already split: accepted, nothing changes
      default:
        return fail(info, "pairsplit", RMSIM_E_INVSTAT, "pair state does not allow a split");
    }
  });
}

int Simulator::pairresync(cmddevinfo* info, targdev* targ, int ropt, int csize) {
  return RMSIM_GUARD("pairresync", info, [&]() -> int {
    int serial = serialOf(info, "pairresync");
    if (serial < 0) return -serial;
    int ldev = ldevAt(serial, targ->port, targ->targid, targ->lun);
    if (ldev < 0) return fail(info, "pairresync", RMSIM_E_NODEV, "no device at that address");
    Pair pair = findPair(*m_db, serial, ldev, targ->mun);
    if (!pair.found) return fail(info, "pairresync", RMSIM_E_NOPAIR, "volume is SMPL at this mirror unit");
    bool reverse = ropt == 1;
    if (pair.status == RMSIM_PAIR && !reverse) return 0;  // already in sync: accepted
    bool allowed = reverse ? pair.status == RMSIM_PSUS : (pair.status == RMSIM_PSUS || pair.status == RMSIM_PSUE);
    if (!allowed) return fail(info, "pairresync", RMSIM_E_INVSTAT, "pair state does not allow this resync");
    if (reverse) {
      Statement busy = m_db->prepare(
          "SELECT COUNT(*) FROM pairs WHERE serial = ? AND pvol = ? AND mu <> ? AND status IN (?, ?, ?)");
      busy.bind(serial).bind(pair.pvol).bind(pair.mu).bind(RMSIM_COPY).bind(RMSIM_PAIR).bind(RMSIM_RCPY);
      if (busy.step() && busy.integer(0) > 0) {
        return fail(info, "pairresync", RMSIM_E_INVSTAT, "another pair of this primary is copying or in PAIR");
      }
    }
    int reads = std::atoi(setting("copy_reads", "2").c_str());
    m_db->prepare(
            "UPDATE pairs SET status = ?, csize = ?, copyrate = 0, reads_left = ?, copy_started = ? "
            "WHERE serial = ? AND pvol = ? AND mu = ?")
        .bind(reverse ? RMSIM_RCPY : RMSIM_COPY)
        .bind(csize & 0x0F)
        .bind(reads)
        .bind(std::to_string(now()))
        .bind(serial)
        .bind(pair.pvol)
        .bind(pair.mu)
        .run();
    return 0;
  });
}

int Simulator::getdkclimit(cmddevinfo* info, dkc_limit* out) {
  return RMSIM_GUARD("getdkclimit", info, [&]() -> int {
    int serial = serialOf(info, "getdkclimit");
    if (serial < 0) return -serial;
    Statement q = m_db->prepare("SELECT maxmmun FROM arrays WHERE serial = ?");
    q.bind(serial);
    std::memset(out, 0, sizeof(*out));
    out->maxldev = 65280;
    out->maxport = 256;
    out->maxmmun = q.step() ? static_cast<int32_t>(q.integer(0)) : 0;
    return 0;
  });
}

int Simulator::getrmver(int* version) {
  return RMSIM_GUARD("getrmver", nullptr, [&]() -> int {
    if (version) *version = std::atoi(setting("version", "10630").c_str());
    return 0;
  });
}

std::string Simulator::getrmerrmsg(cmddevinfo* info) {
  std::string message = "no error";
  RMSIM_GUARD("getrmerrmsg", info, [&]() -> int {
    Statement q = m_db->prepare("SELECT message FROM lasterr WHERE path = ?");
    q.bind(pathOf(info));
    if (q.step()) message = q.text(0);
    return 0;
  });
  return message;
}

int Simulator::getfmtmsg(cmddevinfo* info, char* buffer) {
  return RMSIM_GUARD("getfmtmsg", info, [&]() -> int {
    if (buffer == nullptr) return 0;
    std::memset(buffer, 0, RMSIM_FMTMSG_SIZE);
    Statement q = m_db->prepare("SELECT func, errno, message FROM lasterr WHERE path = ?");
    q.bind(pathOf(info));
    if (q.step()) {
      std::snprintf(buffer, RMSIM_FMTMSG_SIZE, "[RMSIM] %s(%s) failed: EX%03d %s", q.text(0).c_str(),
                    pathOf(info).c_str(), static_cast<int>(q.integer(1)), q.text(2).c_str());
    }
    return 0;
  });
}

}  // namespace rmsim
