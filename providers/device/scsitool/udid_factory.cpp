// UDIDs of Hitachi and HP XP LDEVs from their unit serial numbers.
#include <algorithm>
#include <cctype>
#include <climits>

#include "device_discovery_base.h"
#include "sysfs_text.h"

using namespace scsitool;

namespace {

bool allOf(const std::string& text, int (*test)(int)) {
  return std::all_of(text.begin(), text.end(),
                     [test](char c) { return test(static_cast<unsigned char>(c)) != 0; });
}

}  // namespace

std::string CUDIDFactory::udidFor(const std::string& vendor, const std::string& unitSerial) {
  const std::string trimmedVendor = trim(vendor);
  std::string prefix;
  if (trimmedVendor == "HITACHI") {
    prefix = "UDID##HITACHI##HDS##";
  } else if (trimmedVendor == "HP") {
    prefix = "UDID##HP##XP##";
  } else {
    return std::string();
  }
  const std::string serial = trim(unitSerial);
  if (serial.size() < 5) return std::string();
  std::string array = serial.substr(0, serial.size() - 4);
  const std::string ldev = serial.substr(serial.size() - 4);
  if (!allOf(array, ::isdigit) || !allOf(ldev, ::isxdigit)) return std::string();
  array.erase(0, std::min(array.find_first_not_of('0'), array.size() - 1));
  if (array.size() > 10 || std::stoull(array) > static_cast<unsigned long long>(INT_MAX))
    return std::string();
  return prefix + array + "##" + std::to_string(std::stoul(ldev, nullptr, 16));
}

std::map<std::string, SDeviceInfo> CUDIDFactory::enumerateDeviceMap(bool, bool, bool) {
  std::map<std::string, SDeviceInfo> map;
  for (const SScsiDevice& device : m_scsi.listDisks()) {
    std::string udid = udidFor(device.vendor, device.unitSerial);
    if (udid.empty()) continue;
    map[device.name] = SDeviceInfo{device.name, trim(device.vendor), trim(device.product), udid};
  }
  return map;
}
