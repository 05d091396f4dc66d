#include "sim_faults.h"

#include <cstring>

#include "rmsim.h"
#include "sim_db.h"

namespace rmsim {

namespace {

const char* const kFunctions[] = {"attachcmddev", "detachcmddev", "pairvolstat", "pairsplit",
                                  "pairresync",   "getldev",      "getrminfo",   "getrmerrmsg",
                                  "getrmver",     "getdkclimit",  "getfmtmsg"};

}  // namespace

bool isRmlibFunction(const std::string& function) {
  for (const char* name : kFunctions) {
    if (function == name) return true;
  }
  return false;
}

void countCall(Db& db, const char* function, int pid) {
  db.prepare(
        "INSERT INTO counters(func, pid, count) VALUES(?, ?, 1) ON CONFLICT(func, pid) DO UPDATE SET count = "
        "count + 1")
      .bind(std::string(function))
      .bind(pid)
      .run();
}

bool takeFault(Db& db, const char* function, Fault& fault) {
  Statement q = db.prepare("SELECT errno, message, remaining FROM faults WHERE func = ? AND remaining <> 0");
  q.bind(std::string(function));
  if (!q.step()) return false;
  fault.errorNumber = q.number(0);
  fault.message = q.text(1);
  if (q.integer(2) > 0) {
    db.prepare("UPDATE faults SET remaining = remaining - 1 WHERE func = ?")
        .bind(std::string(function))
        .run();
  }
  return true;
}

void armFault(Db& db, const std::string& function, int errorNumber, const std::string& message, int count) {
  if (!isRmlibFunction(function)) throw ModelError("no RMLIB function named '" + function + "'");
  if (function == "getrmerrmsg") throw ModelError("getrmerrmsg returns a text and cannot fail");
  if (errorNumber == 0) throw ModelError("a fault needs a non-zero error number");
  if (count == 0 || count < -1)
    throw ModelError("a fault's count is a number of calls, or -1 for every call");
  db.prepare("INSERT OR REPLACE INTO faults(func, errno, message, remaining) VALUES(?, ?, ?, ?)")
      .bind(function)
      .bind(errorNumber)
      .bind(message)
      .bind(count)
      .run();
}

void clearFaults(Db& db) { db.exec("DELETE FROM faults"); }

}  // namespace rmsim
