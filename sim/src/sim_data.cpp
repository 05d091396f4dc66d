#include "sim_data.h"

#include <cstdio>
#include <utility>
#include <vector>

#include "rmsim.h"
#include "sim_db.h"
#include "sim_pairs.h"

namespace rmsim {

namespace {

void store(Db& db, int serial, int ldev, const std::string& bytes) {
  db.prepare("INSERT OR REPLACE INTO ldev_data(serial, ldev, bytes) VALUES(?, ?, ?)")
      .bind(serial)
      .bind(ldev)
      .bindBlob(bytes)
      .run();
}

std::string volumeName(int serial, int ldev) {
  return "LDEV " + std::to_string(ldev) + " of array " + std::to_string(serial);
}

}  // namespace

std::string initialData(int serial, int ldev) {
  char text[64];
  std::snprintf(text, sizeof text, "rmsim %d LDEV %d (0x%04X)\n", serial, ldev, ldev);
  return text;
}

void seedData(Db& db) {
  std::vector<std::pair<int, int>> ldevs;
  Statement q = db.prepare("SELECT serial, ldev FROM ldevs");
  while (q.step()) ldevs.emplace_back(q.number(0), q.number(1));
  db.exec("DELETE FROM ldev_data");
  for (const auto& l : ldevs) store(db, l.first, l.second, initialData(l.first, l.second));
  std::vector<std::pair<int, std::pair<int, int>>> mirrored;
  Statement pairs = db.prepare("SELECT serial, pvol, svol FROM pairs WHERE status = ?");
  pairs.bind(RMSIM_PAIR);
  while (pairs.step()) mirrored.push_back({pairs.number(0), {pairs.number(1), pairs.number(2)}});
  for (const auto& p : mirrored) copyData(db, p.first, p.second.first, p.second.second);
}

void copyData(Db& db, int serial, int from, int to) {
  db.prepare(
        "INSERT OR REPLACE INTO ldev_data(serial, ldev, bytes) SELECT serial, ?, bytes FROM ldev_data WHERE "
        "serial = ? AND ldev = ?")
      .bind(to)
      .bind(serial)
      .bind(from)
      .run();
}

std::string readData(Db& db, int serial, int ldev) {
  Statement q = db.prepare("SELECT bytes FROM ldev_data WHERE serial = ? AND ldev = ?");
  q.bind(serial).bind(ldev);
  if (!q.step()) throw ModelError("no " + volumeName(serial, ldev));
  return q.blob(0);
}

void writeData(Db& db, int serial, int ldev, const std::string& bytes) {
  if (bytes.size() > kMaxLdevData) {
    throw ModelError(std::to_string(bytes.size()) + " bytes do not fit: an LDEV holds at most " +
                     std::to_string(kMaxLdevData) + " in the simulator");
  }
  Transaction tx(db);
  readData(db, serial, ldev);  // the LDEV exists
  std::vector<int> mirrors;
  Statement q =
      db.prepare("SELECT pvol, svol, status FROM pairs WHERE serial = ? AND (pvol = ? OR svol = ?)");
  q.bind(serial).bind(ldev).bind(ldev);
  while (q.step()) {
    const int pvol = q.number(0), svol = q.number(1), status = q.number(2);
    if (svol == ldev && (status == RMSIM_COPY || status == RMSIM_PAIR || status == RMSIM_RCPY)) {
      throw ModelError(volumeName(serial, ldev) + " is the secondary of a pair in " + statusName(status) +
                       ": the array keeps it read-only until the pair is split");
    }
    if (pvol == ldev && status == RMSIM_RCPY) {
      throw ModelError(volumeName(serial, ldev) + " is being restored from LDEV " + std::to_string(svol) +
                       " (RCPY): the array keeps it read-only until the copy ends");
    }
    if (pvol == ldev && status == RMSIM_PAIR) mirrors.push_back(svol);
  }
  store(db, serial, ldev, bytes);
  for (int svol : mirrors) copyData(db, serial, ldev, svol);
  tx.commit();
}

}  // namespace rmsim
