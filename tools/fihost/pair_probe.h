#ifndef FIHOST_PAIR_PROBE_H
#define FIHOST_PAIR_PROBE_H

#include <string>
#include <vector>

#include "host_disks.h"
#include "provider_state.h"
#include "rmlib_probe.h"

namespace fihost {

// The command device the plugin would use for an array: the first one in
// discovery order. Null when the host sees none.
const HostDisk* commandDeviceOf(const std::vector<HostDisk>& disks, const std::string& serial);

// The state of the pair between a source (as the plugin recorded it) and a
// target LDEV, read through the array's command device under an instance
// number of this process. A failure is reported in `error`.
struct PairProbe {
  std::string error;
  int lun = -1;
  PairState pair;
};
PairProbe probePair(const RmLibrary& library, const std::vector<HostDisk>& disks, const DeviceRecord& source,
                    const std::string& targetLdev);

// A pair that a snapshot or a restore changes, for reading its state while
// the plugin works on it.
struct WatchedPair {
  std::string device;  // as the administrator named it
  DeviceRecord source;
  std::string targetLdev;
};

// "PSUS", "RCPY 40 %", "not paired" or "unknown (why)".
std::string pairStateText(const PairProbe& probe);

}  // namespace fihost

#endif
