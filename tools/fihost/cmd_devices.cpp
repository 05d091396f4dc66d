// fihost devices: the host's disks as the plugin's discovery sees them.
#include <cstdio>

#include "context.h"
#include "device_discovery_base.h"
#include "host_disks.h"

namespace fihost {

int runDevices(Context& context) {
  std::vector<HostDisk> disks = hostDisks();
  json list = json::array();
  std::vector<std::vector<std::string>> rows = {
      {"NAME", "VENDOR", "PRODUCT", "ADDRESS", "UDID", "SERIAL", "LDEV", "CMDDEV"}};
  for (const HostDisk& disk : disks) {
    list.push_back({{"name", disk.name},
                    {"vendor", disk.vendor},
                    {"product", disk.product},
                    {"address", disk.address},
                    {"udid", disk.udid},
                    {"serial", disk.serial},
                    {"ldev", disk.ldev},
                    {"command_device", disk.commandDevice}});
    rows.push_back({disk.name, disk.vendor, disk.product, disk.address, disk.udid.empty() ? "-" : disk.udid,
                    disk.serial.empty() ? "-" : disk.serial, disk.ldev.empty() ? "-" : disk.ldev,
                    disk.commandDevice ? "yes" : "no"});
  }
  if (context.asJson) {
    emit(context, {{"command", "devices"}, {"ok", true}, {"sysfs_root", sysfsRoot()}, {"devices", list}});
  } else if (disks.empty()) {
    std::printf("no disks under %s/block\n", sysfsRoot().c_str());
  } else {
    printTable(rows);
  }
  return 0;
}

}  // namespace fihost
