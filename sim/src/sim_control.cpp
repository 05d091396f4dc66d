// The controls of Simulator that tests and the rmsim tool use: faults, pair
// states, counters, the call journal and settings.
#include <algorithm>

#include "rmsim.h"
#include "sim_calllog.h"
#include "sim_cmddevs.h"
#include "sim_data.h"
#include "sim_db.h"
#include "sim_faults.h"
#include "sim_pairs.h"
#include "sim_settings.h"
#include "sim_sha256.h"

namespace rmsim {

void Simulator::setFault(const std::string& function, int errorNumber, const std::string& message,
                         int count) {
  FaultSpec fault;
  fault.function = function;
  fault.errorNumber = errorNumber;
  fault.message = message;
  fault.count = count;
  replaceFaults(*m_db, fault);
}

void Simulator::addFault(const FaultSpec& fault) { rmsim::addFault(*m_db, fault); }

void Simulator::clearFaults() { rmsim::clearFaults(*m_db); }

void Simulator::clearFaults(const std::string& function) {
  m_db->prepare("DELETE FROM faults WHERE func = ?").bind(function).run();
}

void Simulator::suspendPair(int serial, int ldev, int mu, Suspend when) {
  Transaction tx(*m_db);
  Statement q = m_db->prepare(
      "SELECT pvol, mu FROM pairs WHERE serial = ? AND status <> ? AND ((pvol = ? AND mu = ?) OR svol = ?) "
      "ORDER BY svol = ?");
  q.bind(serial).bind(RMSIM_SMPL).bind(ldev).bind(mu).bind(ldev).bind(ldev);
  if (!q.step()) {
    throw ModelError("LDEV " + std::to_string(ldev) + " of array " + std::to_string(serial) +
                     " has no pair at mirror unit " + std::to_string(mu));
  }
  const int pvol = q.number(0);
  const int pairMu = q.number(1);
  if (when == Suspend::Now) {
    m_db->prepare(
            "UPDATE pairs SET status = ?, reads_left = 0, suspend_at_end = 0, split_at_end = 0 WHERE serial "
            "= ? "
            "AND pvol = ? "
            "AND mu = ?")
        .bind(RMSIM_PSUE)
        .bind(serial)
        .bind(pvol)
        .bind(pairMu)
        .run();
  } else {
    m_db->prepare("UPDATE pairs SET suspend_at_end = 1 WHERE serial = ? AND pvol = ? AND mu = ?")
        .bind(serial)
        .bind(pvol)
        .bind(pairMu)
        .run();
  }
  tx.commit();
}

void Simulator::setPairStatus(int serial, int pvol, int mu, int status) {
  if (statusCode(statusName(status)) != status) throw ModelError("no pair status " + std::to_string(status));
  Transaction tx(*m_db);
  const Settings settings = readSettings(*m_db);
  const bool copying = status == RMSIM_COPY || status == RMSIM_RCPY;
  // A pair put into COPY or RCPY copies from now on, as after a resync.
  m_db->prepare(
          "UPDATE pairs SET status = ?, reads_left = ?, copy_started = ?, copyrate = ?, suspend_at_end = 0, "
          "split_at_end = 0 "
          "WHERE serial = ? AND pvol = ? AND mu = ?")
      .bind(status)
      .bind(copying ? std::max(settings.copyReads, 1) : 0)
      .bind(wallClock())
      .bind(copying ? 0 : 100)
      .bind(serial)
      .bind(pvol)
      .bind(mu)
      .run();
  if (m_db->changes() == 0) {
    throw ModelError("no pair of LDEV " + std::to_string(pvol) + " of array " + std::to_string(serial) +
                     " at mirror unit " + std::to_string(mu));
  }
  tx.commit();
}

int Simulator::pairStatus(int serial, int pvol, int mu) {
  Statement q = m_db->prepare("SELECT status FROM pairs WHERE serial = ? AND pvol = ? AND mu = ?");
  q.bind(serial).bind(pvol).bind(mu);
  return q.step() ? q.number(0) : RMSIM_SMPL;
}

std::map<std::string, int64_t> Simulator::counters() {
  std::map<std::string, int64_t> out;
  for (const auto& count : m_log->counts()) out[count.first.first] += count.second;
  return out;
}

std::map<std::string, int64_t> Simulator::counters(int pid) {
  std::map<std::string, int64_t> out;
  for (const auto& count : m_log->counts()) {
    if (count.first.second == pid) out[count.first.first] += count.second;
  }
  return out;
}

int64_t Simulator::counter(const std::string& function) {
  const std::map<std::string, int64_t> all = counters();
  auto found = all.find(function);
  return found == all.end() ? 0 : found->second;
}

void Simulator::resetCounters() { m_log->resetCounters(); }

void Simulator::writeData(int serial, int ldev, const std::string& bytes) {
  rmsim::writeData(*m_db, serial, ldev, bytes);
}

std::string Simulator::readData(int serial, int ldev) { return rmsim::readData(*m_db, serial, ldev); }

std::string Simulator::checksum(int serial, int ldev) { return sha256Hex(readData(serial, ldev)); }

std::vector<Simulator::Attachment> Simulator::attachments() {
  std::vector<Attachment> out;
  Statement q = m_db->prepare("SELECT path, instance, pid FROM attachments ORDER BY path, instance, pid");
  while (q.step()) out.push_back(Attachment{q.text(0), q.number(1), q.number(2), processAlive(q.number(2))});
  return out;
}

std::vector<CallRecord> Simulator::journal() { return m_log->journal(); }

void Simulator::clearJournal() { m_log->clearJournal(); }

void Simulator::setSetting(const std::string& key, const std::string& value) {
  checkSetting(key, value, "");
  m_db->prepare("INSERT OR REPLACE INTO settings(key, value) VALUES(?, ?)").bind(key).bind(value).run();
}

std::string Simulator::setting(const std::string& key, const std::string& fallback) {
  Statement q = m_db->prepare("SELECT value FROM settings WHERE key = ?");
  q.bind(key);
  return q.step() ? q.text(0) : fallback;
}

void Simulator::setMaxMirrorUnits(int serial, int maxmmun) {
  if (maxmmun < 0 || maxmmun > 1024) throw ModelError("maxmmun must be 0 to 1024");
  m_db->prepare("UPDATE arrays SET maxmmun = ? WHERE serial = ?").bind(maxmmun).bind(serial).run();
  if (m_db->changes() == 0) throw ModelError("no array " + std::to_string(serial));
}

}  // namespace rmsim
