#ifndef FIHOST_HOST_DISKS_H
#define FIHOST_HOST_DISKS_H

#include <string>
#include <vector>

namespace fihost {

// One disk of the host as the plugin's discovery sees it (the same SCSI
// tool library, reading sysfs below HITACHIFI_SYSFS_ROOT or /sys).
struct HostDisk {
  std::string name;     // "/dev/sdc"
  std::string vendor;   // trimmed
  std::string product;  // trimmed
  std::string address;  // "H:C:T:L"
  std::string udid;     // "" for a disk of no Hitachi or HP XP array
  std::string serial;   // array serial, "" without a UDID
  std::string ldev;     // LDEV number, "" without a UDID
  bool commandDevice = false;
};

// The usable disks, in name order.
std::vector<HostDisk> hostDisks();

// A device named on the command line: a host disk ("/dev/sdc" or "sdc") or
// a UDID. Throws Problem for a disk the host does not have, a disk of no
// supported array, or a UDID without array serial and LDEV.
struct DeviceName {
  std::string given;
  std::string udid;
  std::string disk;  // the host disk, "" when none carries the UDID
  std::string serial;
  std::string ldev;
  std::string vendor;  // "HITACHI" or "HP", from the UDID
};
DeviceName resolveDevice(const std::string& given, const std::vector<HostDisk>& disks);

// Splits "UDID##vendor##product##serial##ldev" (anything before "UDID##" is
// ignored); false when a part is missing.
bool splitUdid(const std::string& text, std::string& vendor, std::string& serial, std::string& ldev);

}  // namespace fihost

#endif
