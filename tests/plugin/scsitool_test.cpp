// Discovery of SCSI disks from a prepared sysfs tree.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "device_discovery_base.h"
#include "sysfs_tree.h"

namespace {

class Discovery : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/sysfs-test.XXXXXX";
    root = ::mkdtemp(pattern);
    tree.reset(new SysfsTree(root));
  }
  void TearDown() override {
    std::string command = "rm -rf '" + root + "'";
    (void)std::system(command.c_str());
  }
  std::vector<SScsiDevice> rescan() {
    CDeviceDiscoveryBase discovery(std::unique_ptr<CScsiTool>(new CScsiTool(root)),
                                   std::unique_ptr<CMpathDiscoveryManager>(new CMpathDiscoveryManager()));
    return discovery.rescan(false, false, false);
  }
  std::string root;
  std::unique_ptr<SysfsTree> tree;
};

TEST_F(Discovery, ListsDisksWithInquiryDataAndAddress) {
  tree->disk("sdb", "2:0:3:1", "HITACHI ", "OPEN-V-CM       ", "4100010FFF");
  tree->disk("sda", "0:0:0:0", "ATA     ", "QEMU HARDDISK   ", "QM0001");
  std::vector<SScsiDevice> disks = rescan();
  ASSERT_EQ(2u, disks.size());
  EXPECT_EQ("/dev/sda", disks[0].name);
  EXPECT_EQ("/dev/sdb", disks[1].name);
  EXPECT_EQ("HITACHI ", disks[1].vendor);  // as the device reports it
  EXPECT_EQ("OPEN-V-CM       ", disks[1].product);
  EXPECT_EQ(0, disks[1].bus);
  EXPECT_EQ(3, disks[1].target);
  EXPECT_EQ("4100010FFF", disks[1].unitSerial);
}

TEST_F(Discovery, StaleMultipathPathsAndDeadDevicesAreLeftOut) {
  tree->disk("sdc", "2:0:0:2", "HITACHI ", "OPEN-V", "4100010100", "transport-offline");
  tree->multipathHolder("sdc");
  tree->disk("sdd", "2:0:0:3", "HITACHI ", "OPEN-V", "4100010101", "offline");
  tree->disk("sde", "3:0:0:2", "HITACHI ", "OPEN-V", "4100010100");
  tree->multipathHolder("sde");
  std::vector<SScsiDevice> disks = rescan();
  ASSERT_EQ(1u, disks.size());
  EXPECT_EQ("/dev/sde", disks[0].name);
}

TEST_F(Discovery, DeviceMapGivesArrayUdids) {
  tree->disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM", "4100010FFF");
  tree->disk("sdc", "2:0:0:1", "HP      ", "OPEN-V", "520002012C");
  tree->disk("sdd", "2:0:0:2", "ATA     ", "DISK", "123456789");
  CUDIDFactory factory(root);
  std::map<std::string, SDeviceInfo> map = factory.enumerateDeviceMap(false, false, false);
  EXPECT_EQ("UDID##HITACHI##HDS##410001##4095", map["/dev/sdb"].udid);
  EXPECT_EQ("UDID##HP##XP##520002##300", map["/dev/sdc"].udid);
  EXPECT_EQ(0u, map.count("/dev/sdd"));
}

TEST(UdidRule, SerialIsArrayDecimalThenFourHexDigitsOfLdev) {
  EXPECT_EQ("UDID##HITACHI##HDS##410001##256", CUDIDFactory::udidFor("HITACHI ", " 4100010100 "));
  EXPECT_EQ("", CUDIDFactory::udidFor("HITACHIX", "4100010100"));
  EXPECT_EQ("", CUDIDFactory::udidFor("HITACHI", "0100"));
  EXPECT_EQ("", CUDIDFactory::udidFor("HITACHI", "41A0010100"));
  EXPECT_EQ("", CUDIDFactory::udidFor("HP", "410001010G"));
}

TEST(RealSysfs, ReadsTheHostWithoutFailing) {
  ::unsetenv("HITACHIFI_SYSFS_ROOT");
  CScsiTool tool;
  EXPECT_EQ("/sys", tool.root());
  for (const SScsiDevice& disk : tool.listDisks()) EXPECT_EQ(0u, disk.name.find("/dev/sd"));
}

}  // namespace
