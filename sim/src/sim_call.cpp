#include "sim_call.h"

#include <unistd.h>

#include <cstring>

#include "sim_calllog.h"
#include "sim_db.h"
#include "sim_faults.h"
#include "sim_luns.h"

namespace rmsim {

void ErrorBook::record(const std::string& path, const std::string& function, int number,
                       const std::string& message) {
  LastError& entry = m_errors[path];
  entry.function = function;
  entry.number = number;
  entry.message = message;
}

const LastError* ErrorBook::find(const std::string& path) const {
  auto found = m_errors.find(path);
  return found == m_errors.end() ? nullptr : &found->second;
}

std::string pathOf(const cmddevinfo* info) {
  if (info == nullptr) return "";
  return std::string(info->path, strnlen(info->path, sizeof(info->path)));
}

int Call::fail(int number, const std::string& message) {
  m_failed = true;
  m_failure.function = m_function;
  m_failure.number = number;
  m_failure.message = message;
  return number;
}

void Call::report(ErrorBook& errors) const {
  if (m_failed) errors.record(pathOf(m_info), m_failure.function, m_failure.number, m_failure.message);
}

bool Call::attached() {
  if (m_info == nullptr) {
    fail(RMSIM_E_NOCMD, "no command device block");
    return false;
  }
  if (m_info->attached != RMSIM_ATTACHED) {
    fail(RMSIM_E_NOCMD, "command device is not attached");
    return false;
  }
  Statement q = m_db.prepare("SELECT 1 FROM cmddevs WHERE path = ? AND serial = ?");
  q.bind(pathOf(m_info)).bind(m_info->serial);
  if (!q.step()) {
    fail(RMSIM_E_NOCMD, "command device is no longer part of the simulated arrays");
    return false;
  }
  return true;
}

int Call::maxMirrorUnits() {
  Statement q = m_db.prepare("SELECT maxmmun FROM arrays WHERE serial = ?");
  q.bind(m_info->serial);
  return q.step() ? q.number(0) : 0;
}

namespace {

// Taken before the body runs: a call's answer (getldev's ldevno, a detach)
// must not show in what it was sent.
CallRecord journalEntry(const char* function, const cmddevinfo* info, const CallArgs& args) {
  CallRecord r{};
  r.function = function;
  r.pid = static_cast<int>(::getpid());
  if (args.attach) {
    r.cmddev = args.cmddev ? args.cmddev : "";
    r.instance = args.instance;
  } else {
    r.cmddev = pathOf(info);
    r.instance = info != nullptr && info->attached == RMSIM_ATTACHED ? info->instance : -1;
  }
  const targdev* t = args.targ;
  r.porttype = t ? t->porttype : -1;
  r.port = t ? t->port : -1;
  r.targid = t ? t->targid : -1;
  r.lun = t ? t->lun : -1;
  r.mun = t ? t->mun : -1;
  r.ldevno = t ? t->ldevno : -1;
  r.option = args.option;
  r.csize = args.csize;
  r.ope = args.ope;
  r.ldevArg = args.ldev;
  r.portArg = args.port;
  r.result = 0;
  return r;
}

// The call as a fault's narrowing sees it. The volume is the one the call
// addresses on the attached array: the targdev's, or getrminfo's LDEV.
CallSite callSite(Db& db, const CallRecord& entry, const cmddevinfo* info, const CallArgs& args) {
  CallSite site;
  site.function = entry.function;
  site.pid = entry.pid;
  site.cmddev = entry.cmddev;
  if (info == nullptr || info->attached != RMSIM_ATTACHED) return site;
  if (args.targ != nullptr) {
    site.ldev = ldevAt(db, info->serial, args.targ->port, args.targ->targid, args.targ->lun);
  } else if (args.ope != -1) {
    site.ldev = args.ldev;
  }
  if (site.ldev >= 0) site.serial = info->serial;
  return site;
}

// The calls that change pairs, data or attachments whatever they find.
bool changesState(const std::string& function) {
  return function == "attachcmddev" || function == "detachcmddev" || function == "pairsplit" ||
         function == "pairresync";
}

// One try of the call in `Tx`, a Transaction or a ReadTransaction (which
// throws WriteNeeded before anything is written or reported).
template <class Tx>
int attempt(Db& db, CallLog& log, ErrorBook& errors, const Settings& settings, CallRecord& entry,
            cmddevinfo* info, const CallArgs& args, const std::function<int(Call&)>& body, FaultText& text) {
  Tx tx(db);
  Call call(db, settings, entry.function.c_str(), info);
  text = FaultText::Last;
  Fault fault;
  int rc = 0;
  if (!takeFault(db, callSite(db, entry, info, args), fault)) {
    rc = body(call);
  } else if (fault.text != FaultText::Last) {
    text = fault.text;
    rc = body(call);
  } else if (fault.carriedOut) {
    // The array did the work and the answer was lost: the caller must not
    // assume that a failure changed nothing. A body that failed by itself
    // keeps its own error.
    rc = body(call);
    if (rc == 0) rc = call.fail(fault.errorNumber, fault.message);
  } else {
    rc = call.fail(fault.errorNumber, fault.message);
  }
  entry.seq = log.nextSeq();
  // Committed whether or not the call failed: a used-up fault stands; a
  // failing body changes nothing else, a request carried out under a fault
  // keeps what it did.
  tx.commit();
  call.report(errors);
  return rc;
}

}  // namespace

int runCall(Db& db, CallLog& log, ErrorBook& errors, const char* function, cmddevinfo* info,
            const CallArgs& args, const std::function<int(Call&)>& body, FaultText* text) {
  CallRecord entry = journalEntry(function, info, args);
  entry.seq = 0;
  FaultText asked = FaultText::Last;
  int rc = 0;
  try {
    Settings settings = readSettings(db);
    // A command device answers one command at a time; the delay models an
    // in-band command device and is taken outside the state's write lock.
    if (settings.latencyMs > 0) ::usleep(static_cast<useconds_t>(settings.latencyMs) * 1000);
    bool writer = changesState(function);
    if (!writer) {
      try {
        rc = attempt<ReadTransaction>(db, log, errors, settings, entry, info, args, body, asked);
      } catch (const WriteNeeded&) {
        writer = true;
      }
    }
    if (writer) rc = attempt<Transaction>(db, log, errors, settings, entry, info, args, body, asked);
  } catch (const std::exception& e) {
    errors.record(pathOf(info), function, RMSIM_E_STATE, e.what());
    rc = RMSIM_E_STATE;
  }
  if (text != nullptr) *text = asked;
  entry.result = rc;
  try {
    // Counted and journaled together, at the end: a process killed in a call leaves neither.
    if (entry.seq == 0) entry.seq = log.nextSeq();
    log.count(function);
    log.append(entry);
  } catch (const std::exception&) {
    // The call log is unusable; the call itself stands.
  }
  return rc;
}

}  // namespace rmsim
