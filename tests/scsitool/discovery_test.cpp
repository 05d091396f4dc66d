// Listing, validation and multipath filtering of SCSI disks on prepared
// sysfs trees.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "device_discovery_base.h"
#include "scratch_dir.h"
#include "sysfs_tree.h"

namespace {

std::vector<std::string> namesOf(const std::vector<SScsiDevice>& disks) {
  std::vector<std::string> names;
  for (const SScsiDevice& disk : disks) names.push_back(disk.name);
  return names;
}

class Discovery : public ::testing::Test {
 protected:
  Discovery() : tree(dir.path() + "/sys") {}
  std::vector<SScsiDevice> rescan() {
    CDeviceDiscoveryBase discovery(
        std::unique_ptr<CScsiTool>(new CScsiTool(tree.root())),
        std::unique_ptr<CMpathDiscoveryManager>(new CMpathDiscoveryManager(tree.root())));
    return discovery.rescan(false, false, false);
  }
  std::vector<SScsiDevice> listed() { return CScsiTool(tree.root()).listDisks(); }

  ScratchDir dir;
  SysfsTree tree;
};

TEST_F(Discovery, ListsDisksInNameOrderWithInquiryTextsAsReported) {
  tree.disk("sdb", "2:0:3:1", "HITACHI ", "OPEN-V-CM       ", "4100010FFF");
  tree.disk("sda", "0:1:0:0", "ATA     ", "QEMU HARDDISK   ", "QM0001");
  std::vector<SScsiDevice> disks = rescan();
  ASSERT_EQ((std::vector<std::string>{"/dev/sda", "/dev/sdb"}), namesOf(disks));
  EXPECT_EQ("HITACHI ", disks[1].vendor);
  EXPECT_EQ("OPEN-V-CM       ", disks[1].product);
  EXPECT_EQ(2, disks[1].host);
  EXPECT_EQ(0, disks[1].bus);
  EXPECT_EQ(3, disks[1].target);
  EXPECT_EQ(1, disks[1].lun);
  EXPECT_EQ(1, disks[0].bus);
  EXPECT_EQ("4100010FFF", disks[1].unitSerial);
}

TEST_F(Discovery, OnlySdBlockDevicesWithAnAddressAndInquiryAreListed) {
  tree.disk("sda", "0:0:0:0", "HITACHI ", "OPEN-V", "4100010100");
  tree.removeAttribute("sda", "state");  // missing state and type: a running disk
  tree.disk("sdb", "0:0:0:1", "HITACHI ", "OPEN-V", "4100010101");
  tree.disk("sdc", "0:0:0:2", "HITACHI ", "OPEN-V", "4100010102");
  tree.disk("sr0", "1:0:0:0", "HITACHI ", "OPEN-V", "4100010103");
  tree.disk("sdd", "not-an-address", "HITACHI ", "OPEN-V", "4100010104");
  tree.removeAttribute("sdb", "vendor");
  tree.removeAttribute("sdc", "model");
  std::vector<SScsiDevice> disks = rescan();
  ASSERT_EQ((std::vector<std::string>{"/dev/sda"}), namesOf(disks));
  EXPECT_EQ("running", disks[0].state);
  EXPECT_EQ(0, disks[0].type);
}

TEST_F(Discovery, DeadDevicesNonDisksAndBlankInquiryAreInvalid) {
  tree.disk("sda", "0:0:0:0", "HITACHI ", "OPEN-V", "4100010100", "offline");
  tree.disk("sdb", "0:0:0:1", "HITACHI ", "OPEN-V", "4100010101", "transport-offline");
  tree.disk("sdc", "0:0:0:2", "HITACHI ", "OPEN-V", "4100010102", "del");
  tree.disk("sdd", "0:0:0:3", "HITACHI ", "OPEN-V", "4100010103");
  tree.attribute("sdd", "type", "5\n");  // a CD-ROM
  tree.disk("sde", "0:0:0:4", "        ", "OPEN-V", "4100010104");
  tree.disk("sdf", "0:0:0:5", "HITACHI ", "                ", "4100010105");
  tree.disk("sdg", "0:0:0:6", "HITACHI ", "OPEN-V", "4100010106");
  tree.attribute("sdg", "type", "disk\n");
  tree.disk("sdh", "0:0:0:7", "HITACHI ", "OPEN-V", "4100010107", "blocked");  // transient: kept
  EXPECT_EQ(8u, listed().size());
  EXPECT_EQ((std::vector<std::string>{"/dev/sdh"}), namesOf(rescan()));
}

TEST_F(Discovery, OnlyAMultipathPathThatIsNotRunningIsStale) {
  tree.disk("sda", "0:0:0:0", "HITACHI ", "OPEN-V", "4100010100", "blocked");
  tree.holder("sda", "dm-3", "LVM-Xa8TqkWm2m");  // a volume group is no multipath map
  tree.disk("sdc", "2:0:0:2", "HITACHI ", "OPEN-V", "4100010100", "blocked");
  tree.multipathHolder("sdc");
  tree.disk("sde", "3:0:0:2", "HITACHI ", "OPEN-V", "4100010100");
  tree.multipathHolder("sde");
  std::vector<SScsiDevice> disks = rescan();
  ASSERT_EQ((std::vector<std::string>{"/dev/sda", "/dev/sde"}), namesOf(disks));
  CMpathDiscoveryManager mpath(tree.root());
  EXPECT_EQ("", mpath.multipathMap(disks[0]));
  EXPECT_EQ("dm-0", mpath.multipathMap(disks[1]));
  disks[0].holders.push_back("dm-9");  // named, but nothing in block/dm-9
  EXPECT_FALSE(mpath.isStale(disks[0]));
}

TEST_F(Discovery, UnitSerialIsTheTextOfPage80WithinItsLength) {
  tree.disk("sda", "0:0:0:0", "HITACHI ", "OPEN-V", "4100010100");
  tree.disk("sdb", "0:0:0:1", "HITACHI ", "OPEN-V", "");
  tree.attribute("sdb", "vpd_pg80", std::string("\0\x80\0\x0a", 4) + "  4100010101  TRAILING");
  tree.disk("sdc", "0:0:0:2", "HITACHI ", "OPEN-V", "");
  tree.attribute("sdc", "vpd_pg80", std::string("\0\x83\0\x0a", 4) + "4100010102");  // not page 0x80
  tree.disk("sdd", "0:0:0:3", "HITACHI ", "OPEN-V", "");
  tree.attribute("sdd", "vpd_pg80", std::string("\0\x80", 2));  // truncated header
  tree.disk("sde", "0:0:0:4", "HITACHI ", "OPEN-V", "");
  tree.removeAttribute("sde", "vpd_pg80");
  std::vector<SScsiDevice> disks = listed();
  ASSERT_EQ(5u, disks.size());
  EXPECT_EQ("4100010100", disks[0].unitSerial);
  EXPECT_EQ("41000101", disks[1].unitSerial);
  EXPECT_EQ("", disks[2].unitSerial);
  EXPECT_EQ("", disks[3].unitSerial);
  EXPECT_EQ("", disks[4].unitSerial);
}

TEST(SysfsRoot, EnvironmentMovesTheRootAndEmptyMeansDefault) {
  ::setenv("HITACHIFI_SYSFS_ROOT", "/tmp/prepared", 1);
  EXPECT_EQ("/tmp/prepared", sysfsRoot());
  EXPECT_EQ("/tmp/prepared", CScsiTool().root());
  ::setenv("HITACHIFI_SYSFS_ROOT", "", 1);
  EXPECT_EQ("/sys", sysfsRoot());
  ::unsetenv("HITACHIFI_SYSFS_ROOT");
  EXPECT_EQ("/sys", sysfsRoot());
  ScratchDir empty;  // a root without a block/ folder
  EXPECT_TRUE(CScsiTool(empty.path()).listDisks().empty());
  EXPECT_TRUE(CUDIDFactory(empty.path()).enumerateDeviceMap(false, false, false).empty());
}

TEST(SysfsRoot, TheRealSysfsIsReadWithoutFailing) {
  ::unsetenv("HITACHIFI_SYSFS_ROOT");
  CDeviceDiscoveryBase discovery(std::unique_ptr<CScsiTool>(new CScsiTool()),
                                 std::unique_ptr<CMpathDiscoveryManager>(new CMpathDiscoveryManager()));
  for (const SScsiDevice& disk : discovery.rescan(false, false, false)) {
    EXPECT_EQ(0u, disk.name.find("/dev/sd"));
    EXPECT_GE(disk.bus, 0);
    EXPECT_TRUE(CScsiTool::validate(disk));
  }
  for (const auto& entry : CUDIDFactory().enumerateDeviceMap(false, false, false)) {
    EXPECT_EQ(0u, entry.second.udid.find("UDID##"));
  }
}

}  // namespace
