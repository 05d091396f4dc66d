#include "host_disks.h"

#include <memory>

#include "device_discovery_base.h"
#include "problem.h"

namespace fihost {

namespace {

std::string trimmed(const std::string& text) {
  size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return std::string();
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace

bool splitUdid(const std::string& text, std::string& vendor, std::string& serial, std::string& ldev) {
  size_t at = text.find("UDID##");
  if (at == std::string::npos) return false;
  std::string rest = text.substr(at + 6);
  std::string parts[4];
  for (int i = 0; i < 3; ++i) {
    size_t sep = rest.find("##");
    if (sep == std::string::npos) return false;
    parts[i] = rest.substr(0, sep);
    rest = rest.substr(sep + 2);
  }
  parts[3] = rest;
  if (parts[0].empty() || parts[2].empty() || parts[3].empty()) return false;
  if (parts[3].find_first_not_of("0123456789") != std::string::npos) return false;
  vendor = parts[0];
  serial = parts[2];
  ldev = parts[3];
  return true;
}

std::vector<HostDisk> hostDisks() {
  CDeviceDiscoveryBase discovery(std::make_unique<CScsiTool>(), std::make_unique<CMpathDiscoveryManager>());
  CUDIDFactory factory;
  std::map<std::string, SDeviceInfo> map = factory.enumerateDeviceMap(false, false, false);
  std::vector<HostDisk> disks;
  for (const SScsiDevice& device : discovery.rescan(false, false, false)) {
    HostDisk disk;
    disk.name = device.name;
    disk.vendor = trimmed(device.vendor);
    disk.product = trimmed(device.product);
    disk.address = std::to_string(device.host) + ":" + std::to_string(device.bus) + ":" +
                   std::to_string(device.target) + ":" + std::to_string(device.lun);
    auto found = map.find(device.name);
    if (found != map.end()) {
      disk.udid = found->second.udid;
      std::string vendor;
      splitUdid(disk.udid, vendor, disk.serial, disk.ldev);
    }
    // The plugin's rule: vendor exactly HITACHI or HP, "-CM" in the product.
    disk.commandDevice =
        (disk.vendor == "HITACHI" || disk.vendor == "HP") && disk.product.find("-CM") != std::string::npos;
    disks.push_back(disk);
  }
  return disks;
}

DeviceName resolveDevice(const std::string& given, const std::vector<HostDisk>& disks) {
  DeviceName device;
  device.given = given;
  if (given.find("UDID##") != std::string::npos) {
    device.udid = given.substr(given.find("UDID##"));
    for (const HostDisk& disk : disks)
      if (disk.udid == device.udid) device.disk = disk.name;
  } else {
    const std::string name = given.compare(0, 5, "/dev/") == 0 ? given : "/dev/" + given;
    const HostDisk* match = nullptr;
    for (const HostDisk& disk : disks)
      if (disk.name == name) match = &disk;
    if (!match) throw Problem(given + " is not a disk of this host (see fihost devices)");
    if (match->udid.empty())
      throw Problem(given + " (" + match->vendor + " " + match->product +
                    ") is no Hitachi or HP XP array device");
    device.disk = match->name;
    device.udid = match->udid;
  }
  if (!splitUdid(device.udid, device.vendor, device.serial, device.ldev))
    throw Problem(given + " is not a device UDID of the form UDID##VENDOR##PRODUCT##SERIAL##LDEV");
  return device;
}

}  // namespace fihost
