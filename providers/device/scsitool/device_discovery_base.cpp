#include "device_discovery_base.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

std::string readFile(const std::string& path, bool* ok = nullptr) {
  std::ifstream in(path, std::ios::binary);
  if (ok) *ok = static_cast<bool>(in);
  if (!in) return std::string();
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string trimmed(const std::string& text) {
  size_t first = 0, last = text.size();
  while (first < last && (std::isspace(static_cast<unsigned char>(text[first])) || text[first] == '\0')) ++first;
  while (last > first && (std::isspace(static_cast<unsigned char>(text[last - 1])) || text[last - 1] == '\0')) --last;
  return text.substr(first, last - first);
}

std::string withoutNewline(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\0')) text.pop_back();
  return text;
}

std::vector<std::string> entries(const std::string& dir) {
  std::vector<std::string> names;
  DIR* handle = ::opendir(dir.c_str());
  if (handle == nullptr) return names;
  while (struct dirent* entry = ::readdir(handle)) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  ::closedir(handle);
  std::sort(names.begin(), names.end());
  return names;
}

// "H:C:T:L" from the name the device link points at.
bool scsiAddress(const std::string& deviceLink, SScsiDevice& device) {
  char target[4096];
  ssize_t length = ::readlink(deviceLink.c_str(), target, sizeof target - 1);
  if (length <= 0) return false;
  target[length] = '\0';
  std::string path(target);
  std::string last = path.substr(path.find_last_of('/') + 1);
  return std::sscanf(last.c_str(), "%d:%d:%d:%d", &device.host, &device.bus, &device.target, &device.lun) == 4;
}

}  // namespace

std::string sysfsRoot() {
  const char* root = std::getenv("HITACHIFI_SYSFS_ROOT");
  return (root != nullptr && *root != '\0') ? root : "/sys";
}

std::vector<SScsiDevice> CScsiTool::listDisks() const {
  std::vector<SScsiDevice> disks;
  const std::string block = m_root + "/block";
  for (const std::string& name : entries(block)) {
    if (name.compare(0, 2, "sd") != 0) continue;
    const std::string base = block + "/" + name;
    SScsiDevice device;
    device.name = "/dev/" + name;
    if (!scsiAddress(base + "/device", device)) continue;
    bool ok = false;
    device.vendor = withoutNewline(readFile(base + "/device/vendor", &ok));
    if (!ok) continue;
    device.product = withoutNewline(readFile(base + "/device/model", &ok));
    if (!ok) continue;
    bool hasState = false;
    device.state = trimmed(readFile(base + "/device/state", &hasState));
    if (!hasState) device.state = "running";
    std::string page = readFile(base + "/device/vpd_pg80");
    if (page.size() > 4) device.unitSerial = trimmed(page.substr(4));
    for (const std::string& holder : entries(base + "/holders")) {
      if (holder.compare(0, 3, "dm-") == 0) device.multipathPath = true;
    }
    disks.push_back(device);
  }
  return disks;
}

bool CScsiTool::validate(const SScsiDevice& device) {
  return !trimmed(device.vendor).empty() && !trimmed(device.product).empty() && device.state == "running";
}

std::vector<SScsiDevice> CDeviceDiscoveryBase::rescan(bool, bool, bool) {
  std::vector<SScsiDevice> usable;
  for (const SScsiDevice& device : m_scsi->listDisks()) {
    if (m_mpath && m_mpath->isStale(device)) continue;
    if (!CScsiTool::validate(device)) continue;
    usable.push_back(device);
  }
  return usable;
}

std::string CUDIDFactory::udidFor(const std::string& vendor, const std::string& unitSerial) {
  std::string trimmedVendor = trimmed(vendor);
  std::string prefix;
  if (trimmedVendor == "HITACHI") prefix = "UDID##HITACHI##HDS##";
  else if (trimmedVendor == "HP") prefix = "UDID##HP##XP##";
  else return std::string();
  std::string serial = trimmed(unitSerial);
  if (serial.size() < 5) return std::string();
  std::string array = serial.substr(0, serial.size() - 4);
  std::string ldev = serial.substr(serial.size() - 4);
  if (!std::all_of(array.begin(), array.end(), ::isdigit) || !std::all_of(ldev.begin(), ldev.end(), ::isxdigit)) {
    return std::string();
  }
  return prefix + std::to_string(std::stol(array)) + "##" + std::to_string(std::stol(ldev, nullptr, 16));
}

std::map<std::string, SDeviceInfo> CUDIDFactory::enumerateDeviceMap(bool, bool, bool) {
  std::map<std::string, SDeviceInfo> map;
  for (const SScsiDevice& device : m_scsi.listDisks()) {
    std::string udid = udidFor(device.vendor, device.unitSerial);
    if (!udid.empty()) map[device.name] = SDeviceInfo{device.name, udid};
  }
  return map;
}
