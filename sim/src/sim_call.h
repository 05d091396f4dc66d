#ifndef RMSIM_SIM_CALL_H
#define RMSIM_SIM_CALL_H

// The frame of every simulated RMLIB call: latency, the call counter, one
// transaction (a read where the call changes nothing), an injected fault,
// the call journal, and the record of a failure for getrmerrmsg and
// getfmtmsg.

#include <functional>
#include <map>
#include <string>

#include "sim_faults.h"
#include "sim_settings.h"
#include "svrrm.h"

namespace rmsim {

class CallLog;
class Db;

struct LastError {
  std::string function;
  int number = 0;
  std::string message;
};

// The last failure on each command device (by path), as this process saw
// it: a failure belongs to the caller that met it, not to every process.
class ErrorBook {
 public:
  void record(const std::string& path, const std::string& function, int number, const std::string& message);
  // Null when that command device has had no failure.
  const LastError* find(const std::string& path) const;

 private:
  std::map<std::string, LastError> m_errors;
};

// The command device path stored in an attach block ("" for a null block).
std::string pathOf(const cmddevinfo* info);

// What a call received besides its block, for the journal; -1 where the
// call has no such argument.
struct CallArgs {
  const targdev* targ = nullptr;
  int option = -1;  // sopt or ropt
  int csize = -1;
  int ope = -1;  // getrminfo's operation, LDEV and port
  int ldev = -1;
  int port = -1;
  bool attach = false;  // attachcmddev: the path and instance below are its arguments
  const char* cmddev = nullptr;
  int instance = -1;
};

// One call in progress, inside its transaction.
class Call {
 public:
  Call(Db& db, const Settings& settings, const char* function, cmddevinfo* info)
      : m_db(db), m_settings(settings), m_function(function), m_info(info) {}

  Db& db() { return m_db; }
  const Settings& settings() const { return m_settings; }
  const char* function() const { return m_function; }
  cmddevinfo* info() { return m_info; }

  // Notes the failure for this command device (kept once the call is done)
  // and returns `number`.
  int fail(int number, const std::string& message);
  // True when the block is attached to a command device that the model
  // still has; otherwise records RMSIM_E_NOCMD and returns false.
  bool attached();
  // The serial of the attached array (after attached() returned true).
  int serial() const { return m_info->serial; }
  // The array's mirror units per volume (0 when the array is gone).
  int maxMirrorUnits();
  // Hands the failure met, if any, to `errors`.
  void report(ErrorBook& errors) const;

 private:
  Db& m_db;
  const Settings& m_settings;
  const char* m_function;
  cmddevinfo* m_info;
  bool m_failed = false;
  LastError m_failure;
};

// Runs `body` as the RMLIB call `function` on `info` (which may be null):
// waits the configured latency, then in one transaction either fails it with
// an injected fault or runs the body, and counts and journals it with `args`. A call that may change the
// state (attach, detach, split, resync) waits for its turn among the writers. Any other call runs in a read
// transaction and runs again as a writer only when it finds it must change
// something: a fault to count down, a copy that advances with a status read.
// A failure of the state store gives RMSIM_E_STATE; nothing escapes as an
// exception. `text`, when given, tells getrmerrmsg what text a fault asks of
// it.
int runCall(Db& db, CallLog& log, ErrorBook& errors, const char* function, cmddevinfo* info,
            const CallArgs& args, const std::function<int(Call&)>& body, FaultText* text = nullptr);

}  // namespace rmsim

#endif
