#include "sim_call.h"

#include <unistd.h>

#include <cstring>

#include "sim_db.h"
#include "sim_faults.h"

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
  m_errors.record(pathOf(m_info), m_function, number, message);
  return number;
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

int runCall(Db& db, ErrorBook& errors, const char* function, cmddevinfo* info,
            const std::function<int(Call&)>& body) {
  try {
    Settings settings = readSettings(db);
    // A command device answers one command at a time; the delay models an
    // in-band command device and is taken outside the state's write lock.
    if (settings.latencyMs > 0) ::usleep(static_cast<useconds_t>(settings.latencyMs) * 1000);
    Transaction tx(db);
    countCall(db, function);
    Call call(db, errors, settings, function, info);
    Fault fault;
    int rc = takeFault(db, function, fault) ? call.fail(fault.errorNumber, fault.message) : body(call);
    // Committed whether or not the call failed: the count and a used-up
    // fault stand; a failing body changes nothing else.
    tx.commit();
    return rc;
  } catch (const std::exception& e) {
    errors.record(pathOf(info), function, RMSIM_E_STATE, e.what());
    return RMSIM_E_STATE;
  }
}

}  // namespace rmsim
