#include "sim_journal.h"

#include "sim_db.h"

namespace rmsim {

namespace {

// Enough for any test or dry run; a long-lived state file does not grow without end.
const int64_t kJournalLimit = 200000;
const int64_t kTrimEvery = 1000;

}  // namespace

void appendJournal(Db& db, const CallRecord& r) {
  db.prepare(
        "INSERT INTO journal(func, pid, cmddev, instance, porttype, port, targid, lun, mun, ldevno, option, "
        "csize, ope, ldev_arg, port_arg, result) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(r.function)
      .bind(r.pid)
      .bind(r.cmddev)
      .bind(r.instance)
      .bind(r.porttype)
      .bind(r.port)
      .bind(r.targid)
      .bind(r.lun)
      .bind(r.mun)
      .bind(r.ldevno)
      .bind(r.option)
      .bind(r.csize)
      .bind(r.ope)
      .bind(r.ldevArg)
      .bind(r.portArg)
      .bind(r.result)
      .run();
  const int64_t seq = db.lastInsertId();
  if (seq % kTrimEvery == 0 && seq > kJournalLimit) {
    db.prepare("DELETE FROM journal WHERE seq <= ?").bind(seq - kJournalLimit).run();
  }
}

std::vector<CallRecord> readJournal(Db& db) {
  std::vector<CallRecord> out;
  Statement q = db.prepare(
      "SELECT seq, func, pid, cmddev, instance, porttype, port, targid, lun, mun, ldevno, option, csize, "
      "ope, "
      "ldev_arg, port_arg, result FROM journal ORDER BY seq");
  while (q.step()) {
    CallRecord r;
    r.seq = q.integer(0);
    r.function = q.text(1);
    r.pid = q.number(2);
    r.cmddev = q.text(3);
    r.instance = q.number(4);
    r.porttype = q.number(5);
    r.port = q.number(6);
    r.targid = q.number(7);
    r.lun = q.number(8);
    r.mun = q.number(9);
    r.ldevno = q.number(10);
    r.option = q.number(11);
    r.csize = q.number(12);
    r.ope = q.number(13);
    r.ldevArg = q.number(14);
    r.portArg = q.number(15);
    r.result = q.number(16);
    out.push_back(r);
  }
  return out;
}

void clearJournal(Db& db) { db.exec("DELETE FROM journal"); }

}  // namespace rmsim
