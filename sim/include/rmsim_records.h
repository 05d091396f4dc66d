#ifndef RMSIM_RMSIM_RECORDS_H
#define RMSIM_RMSIM_RECORDS_H

// The simulator's control records that carry no RMLIB record, so that code
// which has its own names for the RMLIB records (the plugin's tests) can use
// them without svrrm.h. rmsim.h includes this file.

#include <cstdint>
#include <string>

namespace rmsim {

// One RMLIB call as the library received it, read from the call journal.
// Arguments are recorded before the call acts (getldev's answer does not
// overwrite the ldevno the caller put in), and raw: porttype and ldevno are
// what the caller set even though the simulator's addressing ignores them.
struct CallRecord {
  int64_t seq;           // order of the call in the journal, from 1
  std::string function;  // "pairsplit", ...
  int pid;               // calling process
  std::string cmddev;    // command device path of the block ("" when none / null block)
  int instance;          // instance number of the block (attach: the argument), -1 when unknown
  int porttype, port, targid, lun, mun, ldevno;  // from targdev as the caller set it; -1 without targdev
  int option;                                    // sopt (pairsplit) or ropt (pairresync); -1 otherwise
  int csize;                                     // copy pace (pairsplit/pairresync); -1 otherwise
  int ope, ldevArg, portArg;                     // getrminfo's arguments; -1 otherwise
  int result;  // what the call returned (0 or the error number; getrmerrmsg: 0)
};

// Who has which command device attached under which instance number.
struct AttachmentRecord {
  std::string cmddev;
  int instance;
  int pid;
  bool alive;  // the process still runs
};

// A fault to inject (Simulator::addFault). A call matches when it is a call
// of `function` and meets every narrowing below; the first `after` matching
// calls succeed, the next `count` fail.
struct FaultSpec {
  std::string function;  // one of the eleven functions (getrmerrmsg only with nullText/emptyText)
  int errorNumber = 0;
  std::string message;  // what getrmerrmsg returns after the failure
  int count = 1;        // calls that fail once the fault triggers; -1 = every matching call from then on
  int after = 0;        // matching calls that succeed first (so after=k-1 fails the k-th call)
  int serial = -1, ldev = -1;  // only calls addressing this volume (both set), -1 = any
  std::string cmddev;          // only calls on this command device path, "" = any
  bool carriedOut = false;     // do the request, then report failure
  bool nullText = false;       // getrmerrmsg returns null (function == "getrmerrmsg")
  bool emptyText = false;      // getrmerrmsg returns "" (function == "getrmerrmsg")
  int pid = 0;                 // only calls from this process, 0 = any
};

}  // namespace rmsim

#endif
