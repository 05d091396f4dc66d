#ifndef RMSIM_SIM_FAULTS_H
#define RMSIM_SIM_FAULTS_H

// Fault injection, kept in the state file so that the process that sets a
// fault and the process that meets it need not be one.

#include <string>

#include "rmsim_records.h"

namespace rmsim {

class Db;

// The eleven RMLIB functions, in a fixed order.
const int kRmlibFunctionCount = 11;
extern const char* const kRmlibFunctions[kRmlibFunctionCount];

// Its place in kRmlibFunctions, -1 for another name.
int rmlibFunctionIndex(const std::string& function);
inline bool isRmlibFunction(const std::string& function) { return rmlibFunctionIndex(function) >= 0; }

// What a call is, as far as a fault's narrowing can tell: serial and ldev
// are -1 when the call addresses no volume (or an unknown one).
struct CallSite {
  std::string function;
  int pid = 0;
  std::string cmddev;
  int serial = -1;
  int ldev = -1;
};

enum class FaultText { Last, Null, Empty };

struct Fault {
  int errorNumber = 0;
  std::string message;
  bool carriedOut = false;
  FaultText text = FaultText::Last;
};

// Counts the call against every armed fault it matches. When one of them
// triggers (the earliest armed one wins; the others keep their calls), uses
// one of its failing calls, fills `fault` and returns true.
bool takeFault(Db& db, const CallSite& site, Fault& fault);

// Checked arming (ModelError for a bad request) and disarming. replaceFaults
// removes the function's faults first: one simple fault per function.
void addFault(Db& db, const FaultSpec& fault);
void replaceFaults(Db& db, const FaultSpec& fault);
void clearFaults(Db& db);

}  // namespace rmsim

#endif
