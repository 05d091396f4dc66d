#ifndef SCSITOOL_DEVICE_DISCOVERY_BASE_H
#define SCSITOOL_DEVICE_DISCOVERY_BASE_H

#include <map>
#include <memory>
#include <string>
#include <vector>

// Discovery of the host's SCSI disks on Linux, from sysfs.
//
// sysfs is read below $HITACHIFI_SYSFS_ROOT when that is set (a prepared
// tree, as `rmsim sysfs` writes one), else below /sys. For each block device
// "sd*" the discovery reads
//   block/sdX/device             link to the SCSI device ".../H:C:T:L"
//   block/sdX/device/vendor      inquiry vendor (8 characters, blank-padded)
//   block/sdX/device/model       inquiry product (16 characters, blank-padded)
//   block/sdX/device/type        peripheral device type (0 = disk; absent: disk)
//   block/sdX/device/state       SCSI device state (absent: "running")
//   block/sdX/device/vpd_pg80    unit serial number page (4-byte header, text)
//   block/sdX/holders/*          devices stacked on the disk; a holder whose
//                                block/<holder>/dm/uuid begins "mpath-" is a
//                                dm-multipath map and the disk one of its paths
// A disk whose entry cannot be read (no device link, no vendor or model) is
// not listed. Nothing here writes to sysfs or opens a device node.

// One SCSI disk as the host sees it.
struct SScsiDevice {
  std::string name;     // "/dev/sdX"
  std::string vendor;   // as reported, blanks included
  std::string product;  // as reported, blanks included
  int host = -1;
  int bus = -1;  // the channel of "H:C:T:L"
  int target = -1;
  int lun = -1;
  int type = 0;                      // peripheral device type, 0 when sysfs does not say
  std::string state = "running";     // SCSI device state
  std::string unitSerial;            // unit serial number page text, trimmed; "" when absent
  std::vector<std::string> holders;  // names under holders/, in name order
};

// The sysfs root in use: $HITACHIFI_SYSFS_ROOT when set and not empty, else "/sys".
std::string sysfsRoot();

// Reads SCSI disks from sysfs.
class CScsiTool {
 public:
  explicit CScsiTool(const std::string& root = sysfsRoot()) : m_root(root) {}
  virtual ~CScsiTool() = default;
  // Every readable "sd*" block device, in name order. Empty when the root
  // has no block/ folder.
  virtual std::vector<SScsiDevice> listDisks() const;
  // A device is usable when it answered inquiry (vendor and product not
  // blank), is a disk (type 0) and is not in a dead state ("offline",
  // "transport-offline", "del", "cancel", "created"). Transient states such
  // as "blocked" or "quiesce" stay usable: the kernel retries the device.
  static bool validate(const SScsiDevice& device);
  const std::string& root() const { return m_root; }

 private:
  std::string m_root;
};

// dm-multipath awareness. A path of a multipath map that is not "running"
// (blocked, offline, being deleted) is stale: the map fails over to its
// other paths and the path itself must not be used. A disk that is no
// multipath path is never stale here; its state is CScsiTool::validate's.
class CMpathDiscoveryManager {
 public:
  explicit CMpathDiscoveryManager(const std::string& root = sysfsRoot()) : m_root(root) {}
  virtual ~CMpathDiscoveryManager() = default;
  // The name of the dm-multipath map ("dm-N") the disk is a path of, or ""
  // when it is none (no holder, or holders that are not multipath maps, such
  // as LVM volumes).
  std::string multipathMap(const SScsiDevice& device) const;
  virtual bool isStale(const SScsiDevice& device) const;

 private:
  std::string m_root;
};

// Rescans the host's disks: lists them, validates each, and leaves out stale
// multipath paths.
class CDeviceDiscoveryBase {
 public:
  CDeviceDiscoveryBase(std::unique_ptr<CScsiTool> scsi, std::unique_ptr<CMpathDiscoveryManager> mpath)
      : m_scsi(std::move(scsi)), m_mpath(std::move(mpath)) {}
  // The usable disks, in name order. The flags ask for a forced bus scan,
  // removed devices and all paths; the sysfs discovery reads what the kernel
  // already knows and ignores them. Without a SCSI tool the list is empty;
  // without a multipath manager no path is treated as stale.
  std::vector<SScsiDevice> rescan(bool forceScan, bool includeRemoved, bool allPaths);

 private:
  std::unique_ptr<CScsiTool> m_scsi;
  std::unique_ptr<CMpathDiscoveryManager> m_mpath;
};

// What the host knows of one device, by device name.
struct SDeviceInfo {
  std::string name;
  std::string vendor;   // trimmed
  std::string product;  // trimmed
  std::string udid;
};

// Builds UDIDs of array devices from their inquiry data:
//   vendor HITACHI: "UDID##HITACHI##HDS##<array serial>##<LDEV>"
//   vendor HP:      "UDID##HP##XP##<array serial>##<LDEV>"
// Those arrays report the unit serial number of an LDEV as the array serial
// in decimal followed by the LDEV number as four hexadecimal digits (CU:LDEV,
// the CU in the first two): "4100010100" is LDEV 0x0100 = 256 of array
// 410001. Both parts appear in the UDID in decimal, the serial without
// leading zeros. The vendor text is compared after trimming its blanks.
// Other vendors, and serials that do not fit (fewer than five characters,
// a serial part that is not decimal or above 2147483647, an LDEV part that is
// not hexadecimal), give no UDID.
class CUDIDFactory {
 public:
  explicit CUDIDFactory(const std::string& root = sysfsRoot()) : m_scsi(root) {}
  // Device name -> its information, for every disk of the host that has a
  // UDID (stale paths included: a name is looked up, not chosen, here). The
  // flags are those of CDeviceDiscoveryBase::rescan.
  std::map<std::string, SDeviceInfo> enumerateDeviceMap(bool forceScan, bool includeRemoved, bool allPaths);
  // The UDID for one device's inquiry data; "" when there is none.
  static std::string udidFor(const std::string& vendor, const std::string& unitSerial);

 private:
  CScsiTool m_scsi;
};

#endif
