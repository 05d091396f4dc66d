#include "hints.h"

#include <cstdlib>

#include "instance_files.h"
#include "pair_probe.h"
#include "problem.h"
#include "svrrm.h"
#include "zfi.h"

namespace fihost {

std::string resultText(int rc) {
  const char* name = nullptr;
  switch (rc) {
    case ZFI_E_DELAYED_INIT:
      name = "ZFI_E_DELAYED_INIT: the plugin's discovery of the arrays failed";
      break;
    case ZFI_E_FAILED:
      name = "ZFI_E_FAILED: generic failure";
      break;
    case ZFI_E_INVALID:
      name = "ZFI_E_INVALID: refused request or invalid argument";
      break;
    case ZFI_E_USE_SESSION:
      name = "ZFI_E_USE_SESSION: use the session form";
      break;
    case ZFI_E_NO_PRIVDATA:
      name = "ZFI_E_NO_PRIVDATA: private data cannot be allocated";
      break;
    case ZFI_E_REPORTED:
      name = "ZFI_E_REPORTED: failure reported in the plugin's messages";
      break;
    case ZFI_E_VERSION:
      name = "ZFI_E_VERSION: null version record";
      break;
    case ZFI_E_NOT_SUPPORTED:
      name = "ZFI_E_NOT_SUPPORTED: not offered by this plugin";
      break;
    case ZFI_E_RMLIB:
      name = "ZFI_E_RMLIB: the RAID Manager library cannot be loaded";
      break;
  }
  return std::to_string(rc) + (name ? std::string(" (") + name + ")" : "");
}

std::string selectHint(const std::vector<PluginMessage>& messages, int rc) {
  std::string all;
  for (const PluginMessage& m : messages) {
    all += m.id + " " + m.text;
    for (const std::string& d : m.details) all += " " + d;
  }
  auto has = [&all](const char* text) { return all.find(text) != std::string::npos; };
  if (has("hostGroup correspoding to this host"))  // the plugin's own spelling
    return "no host group of the array is named after this host: name one after it (or set "
           "HITACHIFI_HOSTNAME to the name a host group carries)";
  if (has("Invalid lun for snapshot")) return "the LDEV is not defined on the array";
  if (has("snapshot_resource_spec"))
    return "the configured targets cannot be read: fix snapshot_resource_spec";
  if (has("could not find target Id")) return "the configured target is malformed: it must end in ##<LDEV>";
  if (has("NO_SNAPSHOT_TARGET")) return "the device has no pair (SMPL): create a pair for it on the array";
  if (rc == ZFI_E_INVALID)
    return "the target is in another array than the source, or the device does not support the method; "
           "check snapshot_resource_spec and --method";
  if (rc == ZFI_E_NOT_SUPPORTED) return "this plugin build does not offer snapshots";
  return "see the plugin's messages and its trace file";
}

std::string pairStateHint(int status) {
  switch (status) {
    case RMSIM_SMPL:
      return "the pair has been dissolved (SMPL): create the pair on the array again";
    case RMSIM_PSUE:
      return "the pair is suspended by an error (PSUE): resynchronise it on the array";
    case RMSIM_RCPY:
      return "a restore is copying back to the source (RCPY): wait until it is done";
    case RMSIM_COPY:
    case RMSIM_PAIR:
    case RMSIM_PSUS:
      return "";
    default:
      return "the pair is in a state a split cannot use (" + std::string(pairStatusName(status)) +
             "): repair it on the array";
  }
}

std::string secondaryVolumeHint(const RmLibrary& library, const std::vector<HostDisk>& disks,
                                const DeviceName& device) {
  const HostDisk* command = commandDeviceOf(disks, device.serial);
  if (!command) return "";
  try {
    HeldInstance instance(instanceDirectory(), command->udid);
    RmLibrary::Attached attached(library, command->name, instance.number());
    const LuPath path = attached.firstPath(std::atoi(device.ldev.c_str()));
    if (path.lun < 0) return "";
    for (const PairSide& side : attached.pairsOf(path.port, path.hostGroup, path.lun)) {
      if (side.volumeStatus != RMSIM_VOL_SVOL) continue;
      const std::string primary = std::to_string(side.partnerLdev);
      std::string disk;
      for (const HostDisk& d : disks)
        if (d.serial == device.serial && d.ldev == primary) disk = d.name;
      const std::string name = device.disk.empty() ? device.given : device.disk;
      return name + " (LDEV " + device.ldev + ") is the secondary volume of a pair whose primary is LDEV " +
             primary + (disk.empty() ? "" : " (" + disk + ")") +
             ": a secondary is not a snapshot source; snapshot the primary " +
             (disk.empty() ? "LDEV " + primary : disk) + " instead";
    }
  } catch (const Problem&) {
    // The array cannot be read: the plugin's own answer stands.
  }
  return "";
}

std::string methodMismatch(const std::string& method, const DeviceName& device) {
  const bool hpMethod = method.compare(0, 5, "HPXP_") == 0;
  const bool hpDevice = device.vendor == "HP";
  if (hpMethod == hpDevice) return "";
  return "--method " + method + " is a method of " + (hpMethod ? "HP XP" : "Hitachi") + " arrays, and " +
         (device.disk.empty() ? device.given : device.disk) + " is a disk of a " + device.vendor +
         " array: use " +
         (hpDevice ? "HPXP_BusinessCopy or HPXP_Snapshot"
                   : "Hitachi_ShadowImage or "
                     "Hitachi_CopyOnWrite");
}

}  // namespace fihost
