#ifndef RMSIM_RMSIM_H
#define RMSIM_RMSIM_H

// Control of the RAID Manager simulator: the model of the simulated arrays,
// faults, counters and timing, over the state file that every process
// loading libsvrrm.so shares. Used by the rmsim tool and by tests (link
// rmsim_core); the plugin never sees it, it only loads libsvrrm.so.

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "rmsim_records.h"
#include "svrrm.h"

namespace rmsim {

class CallLog;
class Db;
class ErrorBook;

// A model that cannot be loaded (what() starts with "model line N: " when a
// line is at fault), or a control request that names something the model
// does not have.
class ModelError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// When an injected suspension takes effect on a pair.
enum class Suspend {
  Now,        // the pair is PSUE at once
  AtCopyEnd,  // the pair's next copy (resync) ends in PSUE instead of PAIR
};

// One simulated set of arrays, kept in the SQLite file at `dbPath` (created
// when missing). Throws std::runtime_error when the file cannot be opened.
// One object per thread; several objects and processes may share a file.
class Simulator {
 public:
  explicit Simulator(const std::string& dbPath);
  ~Simulator();
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;

  // Replaces the arrays, pairs, LDEV data, attachments, faults and settings
  // with the model described by `text` (format in sim/README.md); counters
  // and the call journal are kept. "@HOST@" in the
  // text becomes `hostName` (cut to 27 characters, the longest host-group
  // name). A bad model throws ModelError naming the line and changes nothing.
  void loadModel(const std::string& text, const std::string& hostName);
  void loadModelFile(const std::string& path, const std::string& hostName);
  // The ready default model: a HITACHI and an HP array (sim/README.md).
  static std::string defaultModel();
  // This host's name as host groups should name it: $RMSIM_HOSTNAME, else
  // gethostname up to the first dot.
  static std::string hostName();

  // Makes the next `count` calls of the RMLIB function `function` (-1: every
  // call) fail with `errorNumber`; `message` is then what getrmerrmsg returns.
  // Throws ModelError for a name that is not one of the eleven functions
  // (getrmerrmsg cannot fail), a zero error number or a count of 0 or below -1.
  // Replaces every fault armed for that function.
  void setFault(const std::string& function, int errorNumber, const std::string& message, int count);
  // Arms one more fault (FaultSpec); several may be armed at once, for one
  // function too: a call meets the earliest armed one that triggers, and
  // every armed fault it matches counts it. Throws ModelError for a request
  // that cannot be a fault (sim/README.md).
  void addFault(const FaultSpec& fault);
  void clearFaults();
  void clearFaults(const std::string& function);  // only that function's
  // Suspends by error the pair of `ldev` at mirror unit `mu`: the pair it is
  // the primary of there, or the pair it is the secondary of (any `mu`).
  void suspendPair(int serial, int ldev, int mu, Suspend when);
  // Puts the pair of primary `pvol` at mirror unit `mu` into `status` (any
  // pair status code; SMPL dissolves the pair until another status is set).
  void setPairStatus(int serial, int pvol, int mu, int status);
  // The stored status of that pair, RMSIM_SMPL when there is none. Unlike a
  // pairvolstat call, this is no status read: a copy does not advance.
  int pairStatus(int serial, int pvol, int mu);

  // Calls of each RMLIB function since the last reset, failed calls included.
  std::map<std::string, int64_t> counters();
  int64_t counter(const std::string& function);
  // The same, only the calls made by process `pid`.
  std::map<std::string, int64_t> counters(int pid);
  void resetCounters();

  // Every RMLIB call since the journal was last cleared, by every process,
  // in the order the calls ended (calls that change the state in the order
  // of their changes). The journal keeps the latest 200000 calls.
  std::vector<CallRecord> journal();
  void clearJournal();

  // Attachments made and not detached, by every process, the ones of ended
  // processes included (alive false): they no longer hold their numbers.
  using Attachment = AttachmentRecord;
  std::vector<Attachment> attachments();

  // The data an LDEV holds (at most 65536 bytes; sim/README.md). Writing is
  // what the host does: refused (ModelError) for a secondary its pair keeps
  // read-only and for a primary being restored; a primary's write reaches
  // the secondaries of its pairs in PAIR. Throws ModelError for an LDEV the
  // model lacks.
  void writeData(int serial, int ldev, const std::string& bytes);
  std::string readData(int serial, int ldev);
  // SHA-256 of the LDEV's data as 64 hex digits (what sha256sum prints).
  std::string checksum(int serial, int ldev);

  // Settings (sim/README.md): "copy_reads", "copy_seconds", "latency_ms",
  // "version". Throws ModelError for an unknown key or a bad value.
  void setSetting(const std::string& key, const std::string& value);
  std::string setting(const std::string& key, const std::string& fallback);
  void setMaxMirrorUnits(int serial, int maxmmun);

  // Writes below `root` a sysfs tree in which every LDEV that the model
  // gives a host device name appears as that SCSI disk, with the vendor,
  // product (the emulation, "-CM" for command devices) and unit serial
  // number (array serial in decimal, then the LDEV as four hex digits) that
  // the arrays report. Returns the number of disks written.
  int writeSysfs(const std::string& root);

  // A readable dump of arrays, command devices, ports, host groups, LDEVs,
  // LUNs, pairs, attachments, faults, settings and counters.
  std::string describe();

  // The simulated RMLIB calls (what libsvrrm.so exports; sim/README.md).
  int attachcmddev(cmddevinfo* info, const char* cmddev, int instance);
  int detachcmddev(cmddevinfo* info);
  int pairvolstat(cmddevinfo* info, targdev* targ, pairstatinfo* out);
  int pairsplit(cmddevinfo* info, targdev* targ, int sopt, int csize);
  int pairresync(cmddevinfo* info, targdev* targ, int ropt, int csize);
  int getldev(cmddevinfo* info, targdev* targ);
  int getrminfo(cmddevinfo* info, int ope, int ldev, int port, void* rminfo);
  // The text stays valid until the next failure on that command device in
  // this Simulator object. Null or "" while a fault asks for it.
  char* getrmerrmsg(cmddevinfo* info);
  int getrmver(int* version);
  int getdkclimit(cmddevinfo* info, dkc_limit* out);
  int getfmtmsg(cmddevinfo* info, char* buffer);

 private:
  std::unique_ptr<Db> m_db;
  std::unique_ptr<CallLog> m_log;
  std::unique_ptr<ErrorBook> m_errors;
};

}  // namespace rmsim

#endif
