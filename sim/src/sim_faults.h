#ifndef RMSIM_SIM_FAULTS_H
#define RMSIM_SIM_FAULTS_H

// Fault injection and call counters, both kept in the state file so that the
// process that sets a fault and the process that meets it need not be one.

#include <string>

namespace rmsim {

class Db;

// True for the eleven RMLIB function names.
bool isRmlibFunction(const std::string& function);

// Adds one to the call counter of `function` for process `pid`.
void countCall(Db& db, const char* function, int pid);

struct Fault {
  int errorNumber = 0;
  std::string message;
};

// When a fault is armed for `function`, uses one of its remaining calls,
// fills `fault` and returns true.
bool takeFault(Db& db, const char* function, Fault& fault);

// Checked arming (ModelError for a bad request) and disarming.
void armFault(Db& db, const std::string& function, int errorNumber, const std::string& message, int count);
void clearFaults(Db& db);

}  // namespace rmsim

#endif
