// Listing and validation of SCSI disks from sysfs.
#include <cstdio>
#include <cstdlib>

#include "device_discovery_base.h"
#include "sysfs_text.h"

using namespace scsitool;

namespace {

// "H:C:T:L", nothing before or after.
bool parseAddress(const std::string& text, SScsiDevice& device) {
  int used = 0;
  if (std::sscanf(text.c_str(), "%d:%d:%d:%d%n", &device.host, &device.bus, &device.target, &device.lun,
                  &used) != 4)
    return false;
  return static_cast<size_t>(used) == text.size();
}

// The text of a unit serial number page: byte 1 is the page code (0x80),
// bytes 2-3 the length of the text that follows the 4-byte header.
std::string unitSerialText(const std::string& page) {
  if (page.size() < 4 || static_cast<unsigned char>(page[1]) != 0x80) return std::string();
  size_t length =
      (static_cast<size_t>(static_cast<unsigned char>(page[2])) << 8) | static_cast<unsigned char>(page[3]);
  return trim(page.substr(4, length));
}

int peripheralType(const std::string& path) {
  std::string text;
  if (!readAttribute(path, text)) return 0;
  text = trim(text);
  char* end = nullptr;
  long type = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || type < 0 || type > 0x1f) return -1;
  return static_cast<int>(type);
}

}  // namespace

std::string sysfsRoot() {
  const char* root = ::secure_getenv("HITACHIFI_SYSFS_ROOT");
  return (root != nullptr && *root != '\0') ? root : "/sys";
}

std::vector<SScsiDevice> CScsiTool::listDisks() const {
  std::vector<SScsiDevice> disks;
  const std::string block = m_root + "/block";
  for (const std::string& name : directoryEntries(block)) {
    if (name.compare(0, 2, "sd") != 0) continue;
    const std::string base = block + "/" + name;
    const std::string scsi = base + "/device";
    SScsiDevice device;
    device.name = "/dev/" + name;
    if (!parseAddress(linkTargetName(scsi), device)) continue;
    std::string text;
    if (!readAttribute(scsi + "/vendor", text)) continue;
    device.vendor = withoutNewline(text);
    if (!readAttribute(scsi + "/model", text)) continue;
    device.product = withoutNewline(text);
    device.type = peripheralType(scsi + "/type");
    if (readAttribute(scsi + "/state", text)) device.state = trim(text);
    if (readAttribute(scsi + "/vpd_pg80", text)) device.unitSerial = unitSerialText(text);
    device.holders = directoryEntries(base + "/holders");
    disks.push_back(device);
  }
  return disks;
}

bool CScsiTool::validate(const SScsiDevice& device) {
  static const char* const dead[] = {"offline", "transport-offline", "del", "cancel", "created"};
  if (trim(device.vendor).empty() || trim(device.product).empty()) return false;
  if (device.type != 0) return false;
  for (const char* state : dead) {
    if (device.state == state) return false;
  }
  return true;
}
