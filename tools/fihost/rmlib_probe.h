#ifndef FIHOST_RMLIB_PROBE_H
#define FIHOST_RMLIB_PROBE_H

#include <memory>
#include <string>
#include <vector>

namespace fihost {

// fihost's own read-only look at the arrays through the RAID Manager
// library, for what no plugin entry point reports without changing the
// array: the library's version, whether a command device answers, and the
// state of a pair. Nothing here splits or resynchronises.

// The library the plugin opens: /usr/lib/libsvrrm.so under FRIM_DLOPEN_ROOT.
std::string rmlibPath();

const char* pairStatusName(int status);

// Whether a pair state can still reach the split a snapshot or a restore
// waits for. PSUE, PDUB, SMPL and UNKN cannot without an administrator.
bool pairCanComplete(int status);

struct PairState {
  bool found = false;  // the target is the source's partner at some mirror unit
  int mirrorUnit = -1;
  int status = 0;  // RMLIB's pair status code
  int copyRate = 0;
};

// One mirror unit of a volume as pairvolstat reports it.
struct PairSide {
  int mirrorUnit = -1;
  int volumeStatus = 1;  // 1 SMPL, 2 P-VOL, 3 S-VOL
  int status = 1;
  int copyRate = 0;
  int partnerLdev = -1;
};

// Where the host reaches an LDEV: its first LU path.
struct LuPath {
  int lun = -1;  // -1: the LDEV has no LU path
  int port = 0;
  int hostGroup = 0;
};

class RmLibrary {
 public:
  // Throws Problem when the library cannot be loaded or lacks a function.
  RmLibrary();
  ~RmLibrary();
  RmLibrary(const RmLibrary&) = delete;
  RmLibrary& operator=(const RmLibrary&) = delete;
  int version() const { return m_version; }

  // One command device attached under `instance` until destruction.
  class Attached {
   public:
    Attached(const RmLibrary& library, const std::string& path, int instance);  // throws Problem
    ~Attached();
    Attached(const Attached&) = delete;
    Attached& operator=(const Attached&) = delete;
    // The LUN of the LDEV's first LU path, -1 when it has none.
    int firstLun(int ldev) const;
    // The LDEV's first LU path with its port and host group.
    LuPath firstPath(int ldev) const;
    // The pair of the source (addressed by port, host group and LUN) whose
    // secondary is `targetLdev`. Throws Problem on an array error.
    PairState pairWith(int port, int hostGroup, int lun, int targetLdev) const;
    // Every mirror unit at which the volume is in a pair, in mirror-unit
    // order. Throws Problem on an array error.
    std::vector<PairSide> pairsOf(int port, int hostGroup, int lun) const;
    // The array's own text for the last failure on this command device, ""
    // when it has none.
    std::string lastFailure() const;

   private:
    std::string failure(const std::string& call, int rc) const;
    const RmLibrary& m_library;
    std::unique_ptr<unsigned char[]> m_info;
  };

 private:
  friend class Attached;
  void* m_handle = nullptr;
  int m_version = 0;
};

}  // namespace fihost

#endif
