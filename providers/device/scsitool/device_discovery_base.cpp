// The rescan of the host's disks and the multipath view of them.
#include "device_discovery_base.h"

#include "sysfs_text.h"

using namespace scsitool;

std::string CMpathDiscoveryManager::multipathMap(const SScsiDevice& device) const {
  for (const std::string& holder : device.holders) {
    std::string uuid;
    if (!readAttribute(m_root + "/block/" + holder + "/dm/uuid", uuid)) continue;
    if (trim(uuid).compare(0, 6, "mpath-") == 0) return holder;
  }
  return std::string();
}

bool CMpathDiscoveryManager::isStale(const SScsiDevice& device) const {
  return device.state != "running" && !multipathMap(device).empty();
}

std::vector<SScsiDevice> CDeviceDiscoveryBase::rescan(bool, bool, bool) {
  std::vector<SScsiDevice> usable;
  if (!m_scsi) return usable;
  for (const SScsiDevice& device : m_scsi->listDisks()) {
    if (!CScsiTool::validate(device)) continue;
    if (m_mpath && m_mpath->isStale(device)) continue;
    usable.push_back(device);
  }
  return usable;
}
