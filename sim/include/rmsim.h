#ifndef RMSIM_RMSIM_H
#define RMSIM_RMSIM_H

// Control of the RAID Manager simulator: the model of the simulated arrays,
// faults, counters and timing. Used by the rmsim tool and by tests; the
// plugin never sees it (it only loads libsvrrm.so).

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "svrrm.h"

namespace rmsim {

class Db;

// A model file that cannot be loaded; what() names the line.
class ModelError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One simulated set of arrays, kept in the SQLite file at `dbPath`.
class Simulator {
 public:
  explicit Simulator(const std::string& dbPath);
  ~Simulator();
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;

  // Replaces the whole model with the one described by `text` (format in
  // sim/README.md). `hostName` replaces "@HOST@" in it.
  void loadModel(const std::string& text, const std::string& hostName);
  void loadModelFile(const std::string& path, const std::string& hostName);
  // The ready default model: a HITACHI and an HP array (sim/README.md).
  static std::string defaultModel();
  // This host's name as host groups should name it (RMSIM_HOSTNAME or gethostname).
  static std::string hostName();

  // Faults: the next `count` calls of `function` (-1: every call) fail with
  // `errorNumber` and `message`.
  void setFault(const std::string& function, int errorNumber, const std::string& message, int count);
  void clearFaults();
  // Puts the pair of `pvol` at mirror unit `mu` into `status` (e.g. PSUE).
  void setPairStatus(int serial, int pvol, int mu, int status);
  int pairStatus(int serial, int pvol, int mu);

  std::map<std::string, int64_t> counters();
  int64_t counter(const std::string& function);
  void resetCounters();

  // Settings: "copy_reads" (status reads until a copy completes, default
  // 2), "copy_seconds" (or time until it completes, default 0 = unused),
  // "latency_ms" (per call, default 0), "version" (getrmver, default 10630),
  // "maxmmun.<serial>" is kept in the array itself (setMaxMirrorUnits).
  void setSetting(const std::string& key, const std::string& value);
  std::string setting(const std::string& key, const std::string& fallback);
  void setMaxMirrorUnits(int serial, int maxmmun);

  // Writes below `root` a sysfs tree in which every LDEV that the model
  // gives a host device name appears as that SCSI disk, with the vendor,
  // product (the emulation, "-CM" for command devices) and unit serial
  // number (array serial in decimal, then the LDEV as four hex digits) that
  // the arrays report. Returns the number of disks written.
  int writeSysfs(const std::string& root);

  // A readable dump of arrays, command devices, LDEVs, host groups, LUNs,
  // pairs and counters.
  std::string describe();

  // The simulated RMLIB calls (what libsvrrm.so exports).
  int attachcmddev(cmddevinfo* info, const char* cmddev, int instance);
  int detachcmddev(cmddevinfo* info);
  int pairvolstat(cmddevinfo* info, targdev* targ, pairstatinfo* out);
  int pairsplit(cmddevinfo* info, targdev* targ, int sopt, int csize);
  int pairresync(cmddevinfo* info, targdev* targ, int ropt, int csize);
  int getldev(cmddevinfo* info, targdev* targ);
  int getrminfo(cmddevinfo* info, int ope, int ldev, int port, void* rminfo);
  std::string getrmerrmsg(cmddevinfo* info);
  int getrmver(int* version);
  int getdkclimit(cmddevinfo* info, dkc_limit* out);
  int getfmtmsg(cmddevinfo* info, char* buffer);

 private:
  struct Call;
  int serialOf(cmddevinfo* info, const char* function);
  int fail(const cmddevinfo* info, const char* function, int errorNumber, const std::string& message);
  void clearError(const cmddevinfo* info);
  int ldevAt(int serial, int port, int hostgroup, int lun);
  void advanceCopy(int serial, int pvol, int mu);

  std::unique_ptr<Db> m_db;
};

}  // namespace rmsim

#endif
