#include "sim_faults.h"

#include <vector>

#include "rmsim.h"
#include "sim_db.h"

namespace rmsim {

const char* const kRmlibFunctions[kRmlibFunctionCount] = {
    "attachcmddev", "detachcmddev", "pairvolstat", "pairsplit",   "pairresync", "getldev",
    "getrminfo",    "getrmerrmsg",  "getrmver",    "getdkclimit", "getfmtmsg"};

namespace {

struct Armed {
  int64_t id = 0;
  Fault fault;
  int remaining = 0;
  int after = 0;
  int serial = -1;
  int ldev = -1;
  std::string cmddev;
  int pid = 0;
};

bool matches(const Armed& armed, const CallSite& site) {
  if (armed.serial != -1 && (armed.serial != site.serial || armed.ldev != site.ldev)) return false;
  if (!armed.cmddev.empty() && armed.cmddev != site.cmddev) return false;
  return armed.pid == 0 || armed.pid == site.pid;
}

void checkSpec(const FaultSpec& fault) {
  if (!isRmlibFunction(fault.function)) throw ModelError("no RMLIB function named '" + fault.function + "'");
  if (fault.function == "getrmerrmsg") {
    if (fault.nullText == fault.emptyText)
      throw ModelError("getrmerrmsg returns a text and cannot fail: say null text or empty text");
  } else {
    if (fault.nullText || fault.emptyText)
      throw ModelError("a null or empty text is a fault of getrmerrmsg only");
    if (fault.errorNumber == 0) throw ModelError("a fault needs a non-zero error number");
  }
  if (fault.count == 0 || fault.count < -1)
    throw ModelError("a fault's count is a number of calls, or -1 for every call");
  if (fault.after < 0) throw ModelError("a fault's calls to let succeed first cannot be negative");
  if ((fault.serial == -1) != (fault.ldev == -1))
    throw ModelError("a fault's volume needs both the serial and the LDEV");
  if (fault.serial != -1 && (fault.serial < 1 || fault.ldev < 0 || fault.ldev > 0xFEFF))
    throw ModelError("a fault's volume is a serial above 0 and an LDEV 0 to 65279");
  if (fault.pid < 0) throw ModelError("a fault's process id cannot be negative");
}

}  // namespace

int rmlibFunctionIndex(const std::string& function) {
  for (int i = 0; i < kRmlibFunctionCount; ++i) {
    if (function == kRmlibFunctions[i]) return i;
  }
  return -1;
}

bool takeFault(Db& db, const CallSite& site, Fault& fault) {
  std::vector<Armed> armed;
  Statement q = db.prepare(
      "SELECT id, errno, message, remaining, after, serial, ldev, cmddev, pid, carried_out, text FROM faults "
      "WHERE func = ? AND remaining <> 0 ORDER BY id");
  q.bind(site.function);
  while (q.step()) {
    Armed a;
    a.id = q.integer(0);
    a.fault.errorNumber = q.number(1);
    a.fault.message = q.text(2);
    a.remaining = q.number(3);
    a.after = q.number(4);
    a.serial = q.number(5);
    a.ldev = q.number(6);
    a.cmddev = q.text(7);
    a.pid = q.number(8);
    a.fault.carriedOut = q.integer(9) != 0;
    a.fault.text = static_cast<FaultText>(q.number(10));
    armed.push_back(a);
  }
  bool triggered = false;
  for (const Armed& a : armed) {
    if (!matches(a, site)) continue;
    if (a.after > 0) {
      db.prepare("UPDATE faults SET after = after - 1 WHERE id = ?").bind(a.id).run();
    } else if (!triggered) {
      triggered = true;
      fault = a.fault;
      if (a.remaining > 0)
        db.prepare("UPDATE faults SET remaining = remaining - 1 WHERE id = ?").bind(a.id).run();
    }
  }
  return triggered;
}

void addFault(Db& db, const FaultSpec& fault) {
  checkSpec(fault);
  const FaultText text = fault.nullText    ? FaultText::Null
                         : fault.emptyText ? FaultText::Empty
                                           : FaultText::Last;
  db.prepare(
        "INSERT INTO faults(func, errno, message, remaining, after, serial, ldev, cmddev, pid, carried_out, "
        "text) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(fault.function)
      .bind(fault.errorNumber)
      .bind(fault.message)
      .bind(fault.count)
      .bind(fault.after)
      .bind(fault.serial)
      .bind(fault.ldev)
      .bind(fault.cmddev)
      .bind(fault.pid)
      .bind(fault.carriedOut ? 1 : 0)
      .bind(static_cast<int>(text))
      .run();
}

void replaceFaults(Db& db, const FaultSpec& fault) {
  checkSpec(fault);
  Transaction tx(db);
  db.prepare("DELETE FROM faults WHERE func = ?").bind(fault.function).run();
  addFault(db, fault);
  tx.commit();
}

void clearFaults(Db& db) { db.exec("DELETE FROM faults"); }

}  // namespace rmsim
