// The readable dump of the simulator's state that `rmsim show` prints.
#include <sstream>
#include <vector>

#include "rmsim.h"
#include "sim_calllog.h"
#include "sim_cmddevs.h"
#include "sim_data.h"
#include "sim_db.h"
#include "sim_pairs.h"
#include "sim_sha256.h"

namespace rmsim {

namespace {

using Row = std::vector<std::string>;

// Prints a titled table, one row a line, values separated by single blanks
// so that scripts can grep for a row ("410001 257 0 513 si PAIR").
void printTable(std::ostringstream& out, const std::string& title, const Row& header,
                const std::vector<Row>& rows) {
  out << title << " (" << rows.size() << ")\n";
  if (rows.empty()) return;
  auto print = [&](const Row& row) {
    out << " ";
    for (const std::string& cell : row) out << " " << cell;
    out << "\n";
  };
  print(header);
  for (const Row& row : rows) print(row);
}

std::vector<Row> query(Db& db, const std::string& sql, size_t columns) {
  std::vector<Row> rows;
  Statement q = db.prepare(sql);
  while (q.step()) {
    Row row;
    for (size_t c = 0; c < columns; ++c) row.push_back(q.text(static_cast<int>(c)));
    rows.push_back(row);
  }
  return rows;
}

std::string properties(int bits) {
  std::string out;
  const char* names[] = {"cmd", "tc", "si", "cow"};
  for (int bit = 0; bit < 4; ++bit) {
    if (bits & (1 << bit)) out += (out.empty() ? "" : ",") + std::string(names[bit]);
  }
  return out.empty() ? "none" : out;
}

}  // namespace

std::string Simulator::describe() {
  std::ostringstream out;
  Db& db = *m_db;
  out << "state file " << db.path() << "\n";
  printTable(out, "arrays", {"serial", "vendor", "product", "maxmmun", "unit"},
             query(db, "SELECT serial, vendor, product, maxmmun, unit_id FROM arrays ORDER BY serial", 5));
  printTable(
      out, "command devices", {"path", "serial", "ldev"},
      query(db, "SELECT path, serial, CASE WHEN ldev < 0 THEN '-' ELSE ldev END FROM cmddevs ORDER BY path",
            3));
  printTable(
      out, "ports", {"serial", "port", "kind"},
      query(db,
            "SELECT serial, port, CASE fibre WHEN 1 THEN 'fibre' ELSE 'scsi' END FROM ports ORDER BY 1, 2",
            3));
  printTable(out, "host groups", {"serial", "port", "number", "name"},
             query(db, "SELECT serial, port, number, name FROM hostgroups ORDER BY 1, 2, 3", 4));
  std::vector<Row> ldevs = query(
      db,
      "SELECT serial, ldev, emulation, size, property, ssid, device, inq_vendor, inq_product, inq_serial "
      "FROM ldevs ORDER BY 1, 2",
      10);
  for (Row& row : ldevs) {
    row[4] = properties(std::stoi(row[4]));
    if (row[6].empty()) row[6] = "-";
  }
  printTable(out, "ldevs",
             {"serial", "ldev", "emulation", "blocks", "props", "ssid", "device", "vendor", "product",
              "unit serial"},
             ldevs);
  printTable(out, "luns", {"serial", "port", "hostgroup", "lun", "ldev"},
             query(db, "SELECT serial, port, hostgroup, lun, ldev FROM luns ORDER BY 1, 2, 3, 4", 5));
  std::vector<Row> pairs = query(
      db,
      "SELECT serial, pvol, mu, svol, kind, status, copyrate, csize, ctgid, "
      "CASE WHEN suspend_at_end = 1 THEN 'PSUE at copy end' WHEN split_at_end = 1 THEN 'PSUS at copy end' "
      "ELSE '' END FROM pairs ORDER BY 1, 2, 3",
      10);
  for (Row& row : pairs) row[5] = statusName(std::stoi(row[5]));
  printTable(out, "pairs",
             {"serial", "pvol", "mu", "svol", "kind", "status", "copyrate", "csize", "ctg", "fault"}, pairs);
  std::vector<Row> attachments = query(db, "SELECT path, instance, pid FROM attachments ORDER BY 1, 2, 3", 3);
  for (Row& row : attachments) row.push_back(processAlive(std::stoi(row[2])) ? "running" : "gone");
  printTable(out, "attachments", {"path", "instance", "pid", "process"}, attachments);
  printTable(out, "faults",
             {"function", "errno", "remaining", "after", "volume", "cmddev", "pid", "mode", "message"},
             query(db,
                   "SELECT func, errno, CASE WHEN remaining < 0 THEN 'always' ELSE remaining END, after, "
                   "CASE WHEN serial < 0 THEN 'any' ELSE serial || ':' || ldev END, "
                   "CASE cmddev WHEN '' THEN 'any' ELSE cmddev END, CASE pid WHEN 0 THEN 'any' ELSE pid END, "
                   "CASE WHEN text = 1 THEN 'null-text' WHEN text = 2 THEN 'empty-text' "
                   "WHEN carried_out = 1 THEN 'carried-out' ELSE 'refused' END, message "
                   "FROM faults ORDER BY id",
                   9));
  std::vector<Row> data = query(db, "SELECT serial, ldev, bytes FROM ldev_data ORDER BY 1, 2", 3);
  for (Row& row : data) {
    const std::string bytes = rmsim::readData(db, std::stoi(row[0]), std::stoi(row[1]));
    row[2] = std::to_string(bytes.size());
    row.push_back(sha256Hex(bytes).substr(0, 16));
  }
  printTable(out, "ldev data", {"serial", "ldev", "bytes", "sha256-prefix"}, data);
  printTable(out, "settings", {"key", "value"}, query(db, "SELECT key, value FROM settings ORDER BY 1", 2));
  std::vector<Row> totals, byProcess;
  for (const auto& total : counters()) totals.push_back({total.first, std::to_string(total.second)});
  for (const auto& count : m_log->counts()) {
    byProcess.push_back(
        {count.first.first, std::to_string(count.first.second), std::to_string(count.second)});
  }
  printTable(out, "counters", {"function", "calls"}, totals);
  printTable(out, "counters by process", {"function", "pid", "calls"}, byProcess);
  out << "journal: " << m_log->journal().size() << " calls (rmsim journal)\n";
  return out.str();
}

}  // namespace rmsim
