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
  // Blanks around the serial and leading zeros of the array part are dropped.
  EXPECT_EQ("UDID##HITACHI##HDS##410001##1", CUDIDFactory::udidFor("HITACHI", "  004100010001 "));
  EXPECT_EQ("UDID##HITACHI##HDS##0##0", CUDIDFactory::udidFor("HITACHI", "00000000"));
  EXPECT_EQ("UDID##HITACHI##HDS##2147483647##256", CUDIDFactory::udidFor("HITACHI", "21474836470100"));
}

TEST(UdidRule, OtherVendorsAndSerialsThatDoNotFitGetNoUdid) {
  for (const char* vendor : {"HITACHIX", "HPX", "hitachi", "ATA", ""}) {
    EXPECT_EQ("", CUDIDFactory::udidFor(vendor, "4100010100")) << vendor;
  }
  const std::string unfit[] = {"",
                               "0100",
                               "41A0010100",
                               "410001010G",
                               "-41000100",
                               "410001 0100",     // no inner blanks
                               "21474836480100",  // array serial beyond 2147483647
                               std::string(400, '9') + "0100"};
  for (const std::string& serial : unfit) EXPECT_EQ("", CUDIDFactory::udidFor("HITACHI", serial)) << serial;
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
