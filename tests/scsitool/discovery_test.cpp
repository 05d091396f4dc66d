// Listing, validation and multipath filtering of SCSI disks, and UDIDs from
// unit serial numbers, on prepared sysfs trees and the real /sys.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "device_discovery_base.h"
#include "sysfs_tree.h"

namespace {

using Names = std::vector<std::string>;

class Discovery : public ::testing::Test {
 protected:
  std::vector<SScsiDevice> rescan() {
    CDeviceDiscoveryBase discovery(
        std::unique_ptr<CScsiTool>(new CScsiTool(tree.root())),
        std::unique_ptr<CMpathDiscoveryManager>(new CMpathDiscoveryManager(tree.root())));
    return discovery.rescan(false, false, false);
  }
  Names names(const std::vector<SScsiDevice>& disks) {
    Names names;
    for (const SScsiDevice& disk : disks) names.push_back(disk.name);
    return names;
  }
  SysfsTree tree;
};

TEST_F(Discovery, ListsSdDisksWithAnAddressAndInquiryInNameOrderAsReported) {
  tree.disk("sdb", "2:0:3:1", "HITACHI ", "OPEN-V-CM       ", "4100010FFF");
  tree.disk("sda", "0:1:0:0", "ATA     ", "QEMU HARDDISK   ", "QM0001");
  tree.removeAttribute("sda", "state");  // missing state and type: a running disk
  tree.disk("sdc", "0:0:0:1", "HITACHI ", "OPEN-V", "4100010101");
  tree.removeAttribute("sdc", "vendor");
  tree.disk("sr0", "1:0:0:0", "HITACHI ", "OPEN-V", "4100010103");
  tree.disk("sde", "not-an-address", "HITACHI ", "OPEN-V", "4100010104");
  std::vector<SScsiDevice> disks = rescan();
  ASSERT_EQ((Names{"/dev/sda", "/dev/sdb"}), names(disks));
  EXPECT_EQ(1, disks[0].bus);
  const SScsiDevice& b = disks[1];
  EXPECT_EQ("HITACHI |OPEN-V-CM       |4100010FFF", b.vendor + "|" + b.product + "|" + b.unitSerial);
  EXPECT_EQ((std::vector<int>{2, 0, 3, 1}), (std::vector<int>{b.host, b.bus, b.target, b.lun}));
}

TEST_F(Discovery, DeadDevicesNonDisksBlankInquiryAndStaleMultipathPathsAreLeftOut) {
  tree.disk("sda", "0:0:0:0", "HITACHI ", "OPEN-V", "4100010100", "offline");
  tree.disk("sdc", "0:0:0:2", "        ", "OPEN-V", "4100010102");
  tree.disk("sdd", "0:0:0:3", "HITACHI ", "                ", "4100010103");
  tree.disk("sde", "0:0:0:4", "HITACHI ", "OPEN-V", "4100010104");
  tree.attribute("sde", "type", "5\n");                                        // a CD-ROM
  tree.disk("sdf", "0:0:0:5", "HITACHI ", "OPEN-V", "4100010105", "blocked");  // transient: kept
  tree.holder("sdf", "dm-3", "LVM-Xa8TqkWm2m");  // a volume group is no multipath map
  tree.disk("sdg", "2:0:0:2", "HITACHI ", "OPEN-V", "4100010100", "blocked");
  tree.holder("sdg");
  tree.disk("sdh", "3:0:0:2", "HITACHI ", "OPEN-V", "4100010100");
  tree.holder("sdh");
  EXPECT_EQ(7u, CScsiTool(tree.root()).listDisks().size());
  std::vector<SScsiDevice> disks = rescan();
  ASSERT_EQ((Names{"/dev/sdf", "/dev/sdh"}), names(disks));
  CMpathDiscoveryManager mpath(tree.root());
  EXPECT_EQ("dm-0", mpath.multipathMap(disks[1]));
  disks[0].holders.push_back("dm-9");  // named, but nothing in block/dm-9
  EXPECT_EQ("", mpath.multipathMap(disks[0]));
  EXPECT_FALSE(mpath.isStale(disks[0]));
}

TEST_F(Discovery, UnitSerialIsTheTextOfPage80WithinItsLengthAndABrokenPageGivesNone) {
  tree.disk("sda", "0:0:0:0", "HP", "X", "");
  tree.attribute("sda", "vpd_pg80", std::string("\0\x80\0\x0a", 4) + "  4100010101  TRAILING");
  tree.disk("sdb", "0:0:0:1", "HP", "X", "");
  tree.attribute("sdb", "vpd_pg80", std::string("\0\x83\0\x0a", 4) + "4100010102");  // not page 0x80
  tree.disk("sdc", "0:0:0:2", "HP", "X", "");
  tree.attribute("sdc", "vpd_pg80", std::string("\0\x80", 2));  // truncated header
  std::vector<SScsiDevice> disks = CScsiTool(tree.root()).listDisks();
  ASSERT_EQ(3u, disks.size());
  EXPECT_EQ("41000101||", disks[0].unitSerial + "|" + disks[1].unitSerial + "|" + disks[2].unitSerial);
}

// The plugin tests move the root with HITACHIFI_SYSFS_ROOT.
TEST(SysfsRoot, WithoutTheVariableTheRealSysfsIsReadWithoutFailing) {
  ::setenv("HITACHIFI_SYSFS_ROOT", "", 1);
  EXPECT_EQ("/sys", sysfsRoot());
  EXPECT_TRUE(CUDIDFactory("/tmp/no-such-sysfs").enumerateDeviceMap(false, false, false).empty());
  for (const auto& entry : CUDIDFactory().enumerateDeviceMap(false, false, false)) {
    EXPECT_EQ(0u, entry.first.find("/dev/sd"));
    EXPECT_EQ(0u, entry.second.udid.find("UDID##"));
  }
}

// The serial is the array number in decimal followed by the LDEV in four
// hex digits; blanks around it and leading zeros of the array are dropped.
TEST(UdidRule, ArrayVendorsGetTheirUdidAndEverythingElseNone) {
  // clang-format off
  const std::string rows[][3] = {
      {"HITACHI ", "4100010100", "UDID##HITACHI##HDS##410001##256"}, {"HP      ", "520002012c", "UDID##HP##XP##520002##300"},
      {"HP", "7FFFF", "UDID##HP##XP##7##65535"}, {"HITACHI", "  004100010001 ", "UDID##HITACHI##HDS##410001##1"},
      {"HITACHI", "21474836470100", "UDID##HITACHI##HDS##2147483647##256"}, {"HITACHI", "21474836480100", ""},
      {"HITACHIX", "4100010100", ""}, {"HPX", "4100010100", ""}, {"hitachi", "4100010100", ""},
      {"HITACHI", "0100", ""}, {"HITACHI", "41A001010G", ""}, {"HITACHI", "-41000100", ""},
      {"HITACHI", "410001 0100", ""}, {"HITACHI", std::string(400, '9') + "0100", ""}};
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(row[2], CUDIDFactory::udidFor(row[0], row[1])) << row[0] << row[1];
}

TEST_F(Discovery, DeviceMapGivesArrayDisksTheirUdidsStalePathsIncluded) {
  tree.disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM       ", "4100010FFF");
  tree.disk("sdc", "2:0:0:1", "HP      ", "OPEN-V          ", "520002012C", "blocked");
  tree.holder("sdc");
  tree.disk("sdd", "2:0:0:2", "ATA     ", "DISK", "123456789");
  tree.disk("sde", "2:0:0:3", "HITACHI ", "OPEN-V", "");
  std::map<std::string, SDeviceInfo> devices =
      CUDIDFactory(tree.root()).enumerateDeviceMap(false, false, false);
  ASSERT_EQ(2u, devices.size());
  const SDeviceInfo& cmd = devices.at("/dev/sdb");
  EXPECT_EQ("/dev/sdb|HITACHI|OPEN-V-CM|UDID##HITACHI##HDS##410001##4095",
            cmd.name + "|" + cmd.vendor + "|" + cmd.product + "|" + cmd.udid);
  EXPECT_EQ("UDID##HP##XP##520002##300", devices.at("/dev/sdc").udid);
}

}  // namespace
