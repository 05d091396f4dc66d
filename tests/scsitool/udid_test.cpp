// UDIDs of Hitachi and HP XP LDEVs from the unit serial numbers that sysfs
// exposes, and the device map built from them.
#include <gtest/gtest.h>

#include <string>

#include "device_discovery_base.h"
#include "scratch_dir.h"
#include "sysfs_tree.h"

namespace {

TEST(UdidRule, SerialIsArrayInDecimalThenLdevInFourHexDigits) {
  EXPECT_EQ("UDID##HITACHI##HDS##410001##256", CUDIDFactory::udidFor("HITACHI ", "4100010100"));
  EXPECT_EQ("UDID##HITACHI##HDS##410001##4095", CUDIDFactory::udidFor("HITACHI", "4100010FFF"));
  EXPECT_EQ("UDID##HP##XP##520002##300", CUDIDFactory::udidFor("HP      ", "520002012c"));
  EXPECT_EQ("UDID##HP##XP##7##65535", CUDIDFactory::udidFor("HP", "7FFFF"));
}

TEST(UdidRule, SerialBlanksAndLeadingZerosOfTheArrayAreDropped) {
  EXPECT_EQ("UDID##HITACHI##HDS##410001##1", CUDIDFactory::udidFor("HITACHI", "  004100010001 "));
  EXPECT_EQ("UDID##HITACHI##HDS##0##0", CUDIDFactory::udidFor("HITACHI", "00000000"));
}

TEST(UdidRule, OtherVendorsGetNoUdid) {
  EXPECT_EQ("", CUDIDFactory::udidFor("HITACHIX", "4100010100"));
  EXPECT_EQ("", CUDIDFactory::udidFor("HPX", "4100010100"));
  EXPECT_EQ("", CUDIDFactory::udidFor("hitachi", "4100010100"));
  EXPECT_EQ("", CUDIDFactory::udidFor("ATA", "4100010100"));
  EXPECT_EQ("", CUDIDFactory::udidFor("", "4100010100"));
}

TEST(UdidRule, SerialsThatDoNotFitGetNoUdid) {
  EXPECT_EQ("", CUDIDFactory::udidFor("HITACHI", ""));
  EXPECT_EQ("", CUDIDFactory::udidFor("HITACHI", "0100"));
  EXPECT_EQ("", CUDIDFactory::udidFor("HITACHI", "41A0010100"));
  EXPECT_EQ("", CUDIDFactory::udidFor("HP", "410001010G"));
  EXPECT_EQ("", CUDIDFactory::udidFor("HP", "-41000100"));
  EXPECT_EQ("", CUDIDFactory::udidFor("HP", "410001 0100"));          // no inner blanks
  EXPECT_EQ("", CUDIDFactory::udidFor("HITACHI", "21474836480100"));  // array serial beyond 2147483647
  EXPECT_EQ("", CUDIDFactory::udidFor("HITACHI", std::string(400, '9') + "0100"));
  EXPECT_EQ("UDID##HITACHI##HDS##2147483647##256", CUDIDFactory::udidFor("HITACHI", "21474836470100"));
}

class DeviceMap : public ::testing::Test {
 protected:
  DeviceMap() : tree(dir.path() + "/sys") {}
  std::map<std::string, SDeviceInfo> map() {
    return CUDIDFactory(tree.root()).enumerateDeviceMap(false, false, false);
  }
  ScratchDir dir;
  SysfsTree tree;
};

TEST_F(DeviceMap, ArrayDisksMapToTheirUdidsAndOthersAreAbsent) {
  tree.disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM       ", "4100010FFF");
  tree.disk("sdc", "2:0:0:1", "HP      ", "OPEN-V          ", "520002012C");
  tree.disk("sdd", "2:0:0:2", "ATA     ", "DISK", "123456789");
  tree.disk("sde", "2:0:0:3", "HITACHI ", "OPEN-V", "");
  tree.removeAttribute("sde", "vpd_pg80");
  std::map<std::string, SDeviceInfo> devices = map();
  ASSERT_EQ(2u, devices.size());
  EXPECT_EQ("UDID##HITACHI##HDS##410001##4095", devices.at("/dev/sdb").udid);
  EXPECT_EQ("/dev/sdb", devices.at("/dev/sdb").name);
  EXPECT_EQ("HITACHI", devices.at("/dev/sdb").vendor);
  EXPECT_EQ("OPEN-V-CM", devices.at("/dev/sdb").product);
  EXPECT_EQ("UDID##HP##XP##520002##300", devices.at("/dev/sdc").udid);
}

TEST_F(DeviceMap, StalePathsStillHaveTheirNamesMapped) {
  tree.disk("sdc", "2:0:0:2", "HITACHI ", "OPEN-V", "4100010100", "blocked");
  tree.multipathHolder("sdc");
  tree.disk("sdf", "3:0:0:2", "HITACHI ", "OPEN-V", "4100010100");
  tree.multipathHolder("sdf");
  std::map<std::string, SDeviceInfo> devices = map();
  EXPECT_EQ(devices.at("/dev/sdc").udid, devices.at("/dev/sdf").udid);
}

}  // namespace
