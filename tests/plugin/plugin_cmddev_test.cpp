// The command-device tables that delayed initialisation builds from the
// host's disks, and their shutdown.
#include <list>

#include "model_sysfs.h"
#include "plugin_fixture.h"

namespace {

using Names = std::list<std::string>;
using NameMap = std::map<std::string, Names>;

class CommandDevices : public PluginTest {
 protected:
  void SetUp() override {
    PluginTest::SetUp();
    ASSERT_EQ(0, plugin->init());
  }
  static std::string line(const char* name, const char* udid, int bus = 0, int target = 0) {
    char text[200];
    std::snprintf(text, sizeof text, "\t<Device name=\"%-15s\" udid=\"%s\" bus=\"%d\" target=\"%d\" />", name,
                  udid, bus, target);
    return text;
  }
};

TEST_F(CommandDevices, NoCommandDeviceLeavesBothMapsEmptyAndFiniOnlyUnloads) {
  tree.disk("sda", "0:0:0:0", "ATA     ", "QEMU HARDDISK", "QM0001");
  tree.disk("sdc", "2:0:0:1", "HITACHI ", "OPEN-V          ", "4100010100");
  EXPECT_EQ(0, plugin->delayedInit());
  EXPECT_TRUE(plugin->enclosureCmdDevNames().empty());
  EXPECT_TRUE(plugin->cmdDevices().empty());
  EXPECT_FALSE(traced("<Device name="));
  plugin->fini();
  EXPECT_EQ(0, sim.calls("detachcmddev"));
  EXPECT_FALSE(traced("RMLIB detach cmddev is being called"));
  EXPECT_FALSE(plugin->cmdIntf().isInitialized());
}

// Kept: a command device without a UDID is left out, but traced with the
// UDID taken last.
TEST_F(CommandDevices, TrimmedVendorAndACmProductMakeACommandDevice) {
  tree.disk("sda", "2:0:0:4", "HITACHI ", "OPEN-V-CM", "");
  tree.disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM       ", "4100010FFF");
  tree.disk("sdc", "2:0:0:1", "HITACHIX", "OPEN-V-CM", "4100020FFF");
  tree.disk("sdd", "2:0:0:2", "HPX     ", "OPEN-V-CM", "4100030FFF");
  tree.disk("sde", "2:0:0:3", "HITACHI ", "OPEN-V          ", "4100010100");
  tree.disk("sdf", "2:1:4:0", "HP      ", "CM-OPEN-V", "5200020FFF");
  tree.disk("sdg", "2:1:5:0", "HP      ", "X-CMD", "6200020FFF");
  tree.disk("sdh", "2:1:6:0", "HP      ", "OPEN-V-CM", "");
  ASSERT_EQ(0, plugin->delayedInit());
  EXPECT_EQ((NameMap{{"410001", {"/dev/sdb"}}, {"620002", {"/dev/sdg"}}}), plugin->enclosureCmdDevNames());
  EXPECT_TRUE(traced(line("/dev/sdb", "UDID##HITACHI##HDS##410001##4095")));
  EXPECT_TRUE(traced(line("/dev/sdg", "UDID##HP##XP##620002##4095", 1, 5)));
  EXPECT_TRUE(traced(line("/dev/sda", "")));
  EXPECT_TRUE(traced(line("/dev/sdh", "UDID##HP##XP##620002##4095", 1, 6)));
  for (const char* other : {"sdc", "sdd", "sde", "sdf"})
    EXPECT_FALSE(traced(std::string("/dev/") + other)) << other;
  EXPECT_EQ("620002", plugin->cmdDevices().at("620002")->serial);
  EXPECT_EQ(0, sim.calls("attachcmddev"));  // nothing is attached before work needs it
}

TEST_F(CommandDevices, BothDevicesOfAnEnclosureAreListedAndTheFirstBecomesItsRecord) {
  tree.disk("sdk", "3:0:0:0", "HITACHI ", "OPEN-V-CM", "4100010FFE");
  tree.disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM", "4100010FFF");
  ASSERT_EQ(0, plugin->delayedInit());
  EXPECT_EQ((Names{"/dev/sdb", "/dev/sdk"}), plugin->enclosureCmdDevNames().at("410001"));
  ASSERT_EQ(1u, plugin->cmdDevices().size());
  const SCmdInfoPtr& cmd = plugin->cmdDevices().at("410001");
  EXPECT_STREQ("/dev/sdb", cmd->cmddev);
  EXPECT_EQ("UDID##HITACHI##HDS##410001##4095", cmd->udid);
  const std::string log = trace();
  const size_t second = log.find(line("/dev/sdk", "UDID##HITACHI##HDS##410001##4094"));
  ASSERT_NE(std::string::npos, second);
  EXPECT_LT(log.find(line("/dev/sdb", "UDID##HITACHI##HDS##410001##4095")), second);
}

TEST_F(CommandDevices, TheSimulatorsTreeGivesRecordsThatAttachAndFiniDetachesThemAllPastAFailure) {
  ASSERT_GT(writeModelSysfs(tree.root()), 2);
  ASSERT_EQ(0, plugin->delayedInit());
  ASSERT_EQ(2u, plugin->cmdDevices().size());
  const SCmdInfoPtr& hitachi = plugin->cmdDevices().at("410001");
  const SCmdInfoPtr& hp = plugin->cmdDevices().at("520002");
  EXPECT_EQ("/dev/sdb UDID##HITACHI##HDS##410001##4095", std::string(hitachi->cmddev) + " " + hitachi->udid);
  EXPECT_EQ("/dev/sdi UDID##HP##XP##520002##4095", std::string(hp->cmddev) + " " + hp->udid);
  ASSERT_TRUE(plugin->cmdIntf().attachCmd(hitachi) && plugin->cmdIntf().attachCmd(hp));
  EXPECT_EQ(2, sim.calls("attachcmddev"));

  sim.setFault("detachcmddev", 206, "command device I/O error", 1);
  plugin->fini();
  EXPECT_EQ(2, sim.calls("detachcmddev"));
  EXPECT_TRUE(plugin->cmdDevices().empty());
  const std::string log = trace();
  EXPECT_NE(std::string::npos,
            log.find("CHitachiPlugin::fini() : RMLIB detach cmddev failed for device '410001'"));
  EXPECT_EQ(std::string::npos, log.find("RMLIB detach cmddev failed for device '520002'"));
  const size_t second = log.find("RMLIB detach cmddev is being called for device '520002'");
  ASSERT_NE(std::string::npos, second);
  EXPECT_LT(log.find("RMLIB detach cmddev is being called for device '410001'"), second);  // key order
  EXPECT_EQ(1u, plugin->enclosureCmdDevNames().count("410001"));  // fini leaves the names
  EXPECT_FALSE(plugin->cmdIntf().isInitialized());
}

}  // namespace
