#ifndef FIHOST_HINTS_H
#define FIHOST_HINTS_H

#include <string>
#include <vector>

#include "host_disks.h"
#include "plugin.h"
#include "rmlib_probe.h"

namespace fihost {

// What check and snapshot tell an administrator, in the same words, so that
// a snapshot refused says what check would have said.

// "6 (ZFI_E_REPORTED: failure reported in the plugin's messages)".
std::string resultText(int rc);

// The hint for a select that failed, from the plugin's messages and result.
std::string selectHint(const std::vector<PluginMessage>& messages, int rc);

// The hint for a pair in a state from which no snapshot can be taken now;
// "" for COPY, PAIR and PSUS.
std::string pairStateHint(int status);

// When the device is the secondary volume of a pair (read from the array,
// changing nothing): the refusal naming its primary and the primary's host
// disk. "" when it is not, or when the array cannot be read.
std::string secondaryVolumeHint(const RmLibrary& library, const std::vector<HostDisk>& disks,
                                const DeviceName& device);

// A method of the other vendor's family on this device: the refusal, or ""
// when the method fits the device's array.
std::string methodMismatch(const std::string& method, const DeviceName& device);

}  // namespace fihost

#endif
