// UDIDs of Hitachi and HP XP LDEVs from the unit serial numbers that sysfs
// exposes, and the device map built from them.
#include <gtest/gtest.h>

#include <string>

#include "device_discovery_base.h"
#include "sysfs_tree.h"

namespace {

// The serial is the array number in decimal followed by the LDEV in four
// hex digits; blanks around it and leading zeros of the array are dropped.
TEST(UdidRule, ArrayVendorsGetTheirUdidAndEverythingElseNone) {
  const std::string rows[][3] = {{"HITACHI ", "4100010100", "UDID##HITACHI##HDS##410001##256"},
                                 {"HP      ", "520002012c", "UDID##HP##XP##520002##300"},
                                 {"HP", "7FFFF", "UDID##HP##XP##7##65535"},
                                 {"HITACHI", "  004100010001 ", "UDID##HITACHI##HDS##410001##1"},
                                 {"HITACHI", "21474836470100", "UDID##HITACHI##HDS##2147483647##256"},
                                 {"HITACHIX", "4100010100", ""},
                                 {"HPX", "4100010100", ""},
                                 {"hitachi", "4100010100", ""},
                                 {"HITACHI", "0100", ""},
                                 {"HITACHI", "41A001010G", ""},
                                 {"HITACHI", "-41000100", ""},
                                 {"HITACHI", "410001 0100", ""},
                                 {"HITACHI", "21474836480100", ""},  // array serial beyond 2147483647
                                 {"HITACHI", std::string(400, '9') + "0100", ""}};
  for (const auto& row : rows) EXPECT_EQ(row[2], CUDIDFactory::udidFor(row[0], row[1])) << row[0] << row[1];
}

TEST(DeviceMap, ArrayDisksMapToTheirUdidsStalePathsIncluded) {
  SysfsTree tree;
  tree.disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM       ", "4100010FFF");
  tree.disk("sdc", "2:0:0:1", "HP      ", "OPEN-V          ", "520002012C", "blocked");
  tree.holder("sdc");
  tree.disk("sdd", "2:0:0:2", "ATA     ", "DISK", "123456789");
  tree.disk("sde", "2:0:0:3", "HITACHI ", "OPEN-V", "");
  tree.disk("sdf", "3:0:0:1", "HP      ", "OPEN-V          ", "520002012C");
  tree.holder("sdf");
  std::map<std::string, SDeviceInfo> devices =
      CUDIDFactory(tree.root()).enumerateDeviceMap(false, false, false);
  ASSERT_EQ(3u, devices.size());
  const SDeviceInfo& cmd = devices.at("/dev/sdb");
  EXPECT_EQ("/dev/sdb|HITACHI|OPEN-V-CM|UDID##HITACHI##HDS##410001##4095",
            cmd.name + "|" + cmd.vendor + "|" + cmd.product + "|" + cmd.udid);
  EXPECT_EQ("UDID##HP##XP##520002##300", devices.at("/dev/sdc").udid);
  EXPECT_EQ("UDID##HP##XP##520002##300", devices.at("/dev/sdf").udid);
}

}  // namespace
