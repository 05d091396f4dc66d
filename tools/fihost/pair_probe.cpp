#include "pair_probe.h"

#include <cstdlib>

#include "instance_files.h"
#include "problem.h"

namespace fihost {

const HostDisk* commandDeviceOf(const std::vector<HostDisk>& disks, const std::string& serial) {
  for (const HostDisk& disk : disks)
    if (disk.commandDevice && disk.serial == serial) return &disk;
  return nullptr;
}

PairProbe probePair(const RmLibrary& library, const std::vector<HostDisk>& disks, const DeviceRecord& source,
                    const std::string& targetLdev) {
  PairProbe probe;
  const HostDisk* command = commandDeviceOf(disks, source.enclosureId);
  if (!command) {
    probe.error = "no command device of array " + source.enclosureId;
    return probe;
  }
  try {
    HeldInstance instance(instanceDirectory(), command->udid);
    RmLibrary::Attached attached(library, command->name, instance.number());
    probe.lun = attached.firstLun(std::atoi(source.deviceId.c_str()));
    if (probe.lun < 0) {
      probe.error = "LDEV " + source.deviceId + " has no LU path";
      return probe;
    }
    probe.pair = attached.pairWith(source.port, source.hostGroup, probe.lun, std::atoi(targetLdev.c_str()));
  } catch (const Problem& problem) {
    probe.error = problem.what();
  }
  return probe;
}

std::string pairStateText(const PairProbe& probe) {
  if (!probe.error.empty()) return "unknown (" + probe.error + ")";
  if (!probe.pair.found) return "not paired";
  std::string text = pairStatusName(probe.pair.status);
  if (probe.pair.status == 2 || probe.pair.status == 7)
    text += " " + std::to_string(probe.pair.copyRate) + " %";
  return text;
}

}  // namespace fihost
