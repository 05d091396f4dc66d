#ifndef SCSITOOL_DEVICE_DISCOVERY_BASE_H
#define SCSITOOL_DEVICE_DISCOVERY_BASE_H

#include <map>
#include <memory>
#include <string>
#include <vector>

// Discovery of the host's SCSI disks on Linux, from sysfs.
//
// sysfs is read below $HITACHIFI_SYSFS_ROOT when that is set (a prepared
// tree, as `rmsim sysfs` writes one), else below /sys. For each block
// device "sdX" the discovery reads
//   block/sdX/device           -> link to the SCSI device ".../H:C:T:L"
//   block/sdX/device/vendor    inquiry vendor (8 characters, blank-padded)
//   block/sdX/device/model     inquiry product (16 characters, blank-padded)
//   block/sdX/device/state     "running" for a usable path (absent: usable)
//   block/sdX/device/vpd_pg80  unit serial number page (4-byte header, text)
//   block/sdX/holders/         a "dm-*" entry marks a multipath path

// One SCSI disk as the host sees it.
struct SScsiDevice {
  std::string name;     // "/dev/sdX"
  std::string vendor;   // as reported, blanks included
  std::string product;  // as reported, blanks included
  int host = -1;
  int bus = -1;
  int target = -1;
  int lun = -1;
  std::string state;         // "running" unless sysfs says otherwise
  std::string unitSerial;    // text of the unit serial number page, trimmed
  bool multipathPath = false;
};

// The sysfs root in use ($HITACHIFI_SYSFS_ROOT or "/sys").
std::string sysfsRoot();

// Reads SCSI disks from sysfs.
class CScsiTool {
 public:
  explicit CScsiTool(const std::string& root = sysfsRoot()) : m_root(root) {}
  // Every "sd*" block device, in name order; unreadable entries are skipped.
  std::vector<SScsiDevice> listDisks() const;
  // Whether the device answered inquiry (vendor and product known) and its
  // path is running.
  static bool validate(const SScsiDevice& device);
  const std::string& root() const { return m_root; }

 private:
  std::string m_root;
};

// Multipath awareness: a path of a multipath device that is no longer
// running is stale and must not be used.
class CMpathDiscoveryManager {
 public:
  static bool isStale(const SScsiDevice& device) { return device.multipathPath && device.state != "running"; }
};

// Rescans the host's disks: lists them, validates each, and leaves out stale
// multipath paths.
class CDeviceDiscoveryBase {
 public:
  CDeviceDiscoveryBase(std::unique_ptr<CScsiTool> scsi, std::unique_ptr<CMpathDiscoveryManager> mpath)
      : m_scsi(std::move(scsi)), m_mpath(std::move(mpath)) {}
  // The flags ask for a forced bus scan, removed devices and all paths; the
  // sysfs discovery reads what the kernel already knows and ignores them.
  std::vector<SScsiDevice> rescan(bool forceScan, bool includeRemoved, bool allPaths);

 private:
  std::unique_ptr<CScsiTool> m_scsi;
  std::unique_ptr<CMpathDiscoveryManager> m_mpath;
};

// What the host knows of one device, by device name.
struct SDeviceInfo {
  std::string name;
  std::string udid;  // "" when the device has no UDID (not an array LDEV)
};

// Builds UDIDs of array devices from their inquiry data:
//   vendor HITACHI: "UDID##HITACHI##HDS##<array serial>##<LDEV>"
//   vendor HP:      "UDID##HP##XP##<array serial>##<LDEV>"
// The arrays report the unit serial number as the array serial in decimal
// followed by the LDEV number as four hexadecimal digits (CU:LDEV), e.g.
// "4100010100" is LDEV 0x0100 = 256 of array 410001. Other vendors and
// serials that do not fit get no UDID.
class CUDIDFactory {
 public:
  explicit CUDIDFactory(const std::string& root = sysfsRoot()) : m_scsi(root) {}
  // Device name -> its information, for every disk of the host.
  std::map<std::string, SDeviceInfo> enumerateDeviceMap(bool forceScan, bool includeRemoved, bool allPaths);
  // The UDID for one device's inquiry data; "" when there is none.
  static std::string udidFor(const std::string& vendor, const std::string& unitSerial);

 private:
  CScsiTool m_scsi;
};

#endif
