// The command-device tables that delayed initialisation builds from the
// host's disks, and their shutdown.
#include <list>

#include "model_sysfs.h"
#include "plugin_fixture.h"

using namespace frim_pdk_4_4;

namespace {

using Names = std::list<std::string>;

class CommandDevices : public PluginTest {
 protected:
  void SetUp() override {
    PluginTest::SetUp();
    ASSERT_EQ(0, plugin->init());
  }
};

TEST_F(CommandDevices, NoCommandDeviceLeavesBothMapsEmptyAndFiniOnlyUnloads) {
  tree->disk("sda", "0:0:0:0", "ATA     ", "QEMU HARDDISK", "QM0001");
  tree->disk("sdc", "2:0:0:1", "HITACHI ", "OPEN-V          ", "4100010100");
  EXPECT_EQ(0, plugin->delayedInit());
  EXPECT_TRUE(plugin->enclosureCmdDevNames().empty());
  EXPECT_TRUE(plugin->cmdDevices().empty());
  EXPECT_EQ(std::string::npos, trace().find("<Device name="));
  plugin->fini();
  EXPECT_EQ(0, sim.calls("detachcmddev"));
  EXPECT_EQ(std::string::npos, trace().find("RMLIB detach cmddev is being called"));
  EXPECT_FALSE(plugin->cmdIntf().isInitialized());
}

TEST_F(CommandDevices, TrimmedVendorAndACmProductMakeACommandDevice) {
  tree->disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM       ", "4100010FFF");
  tree->disk("sdc", "2:0:0:1", "HITACHIX", "OPEN-V-CM", "4100020FFF");
  tree->disk("sdd", "2:0:0:2", "HPX     ", "OPEN-V-CM", "4100030FFF");
  tree->disk("sde", "2:0:0:3", "HITACHI ", "OPEN-V          ", "4100010100");
  tree->disk("sdf", "2:1:4:0", "HP      ", "CM-OPEN-V", "5200020FFF");
  tree->disk("sdg", "2:1:5:0", "HP      ", "X-CMD", "6200020FFF");
  ASSERT_EQ(0, plugin->delayedInit());
  EXPECT_EQ((std::map<std::string, Names>{{"410001", {"/dev/sdb"}}, {"620002", {"/dev/sdg"}}}),
            plugin->enclosureCmdDevNames());
  const std::string log = trace();
  EXPECT_NE(std::string::npos,
            log.find("\t<Device name=\"/dev/sdb       \" udid=\"UDID##HITACHI##HDS##410001##4095\" bus=\"0\" "
                     "target=\"0\" />"));
  EXPECT_NE(std::string::npos, log.find("\t<Device name=\"/dev/sdg       \" "
                                        "udid=\"UDID##HP##XP##620002##4095\" bus=\"1\" target=\"5\" />"));
  for (const char* other : {"/dev/sdc", "/dev/sdd", "/dev/sde", "/dev/sdf"}) {
    EXPECT_EQ(std::string::npos, log.find(std::string("<Device name=\"") + other)) << other;
  }
  const SCmdInfoPtr& hp = plugin->cmdDevices().at("620002");
  EXPECT_STREQ("/dev/sdg", hp->cmddev);
  EXPECT_EQ("UDID##HP##XP##620002##4095", hp->udid);
  EXPECT_EQ("620002", hp->serial);
  EXPECT_FALSE(hp->attached);
  EXPECT_EQ(0, sim.calls("attachcmddev"));  // nothing is attached before work needs it
  plugin->fini();
}

TEST_F(CommandDevices, BothDevicesOfAnEnclosureAreListedAndTheFirstBecomesItsRecord) {
  tree->disk("sdk", "3:0:0:0", "HITACHI ", "OPEN-V-CM", "4100010FFE");
  tree->disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM", "4100010FFF");
  ASSERT_EQ(0, plugin->delayedInit());
  EXPECT_EQ((Names{"/dev/sdb", "/dev/sdk"}), plugin->enclosureCmdDevNames().at("410001"));
  ASSERT_EQ(1u, plugin->cmdDevices().size());
  const SCmdInfoPtr& cmd = plugin->cmdDevices().at("410001");
  EXPECT_STREQ("/dev/sdb", cmd->cmddev);
  EXPECT_EQ("UDID##HITACHI##HDS##410001##4095", cmd->udid);
  const std::string log = trace();
  const size_t first = log.find("<Device name=\"/dev/sdb");
  const size_t second =
      log.find("\t<Device name=\"/dev/sdk       \" udid=\"UDID##HITACHI##HDS##410001##4094\"");
  ASSERT_NE(std::string::npos, first);
  ASSERT_NE(std::string::npos, second);
  EXPECT_LT(first, second);
  plugin->fini();
}

TEST_F(CommandDevices, ACommandDeviceWithoutUdidIsTracedWithTheUdidTakenLast) {
  tree->disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM", "");
  tree->removeAttribute("sdb", "vpd_pg80");
  tree->disk("sdc", "2:0:0:1", "HITACHI ", "OPEN-V-CM", "4100010FFF");
  tree->disk("sdd", "2:0:0:2", "HP      ", "OPEN-V-CM", "");
  tree->removeAttribute("sdd", "vpd_pg80");
  ASSERT_EQ(0, plugin->delayedInit());
  const std::string log = trace();
  EXPECT_NE(std::string::npos,
            log.find("\t<Device name=\"/dev/sdb       \" udid=\"\" bus=\"0\" target=\"0\" />"));
  EXPECT_NE(std::string::npos,
            log.find("\t<Device name=\"/dev/sdd       \" udid=\"UDID##HITACHI##HDS##410001##4095\" bus=\"0\" "
                     "target=\"0\" />"));
  EXPECT_EQ((std::map<std::string, Names>{{"410001", {"/dev/sdc"}}}), plugin->enclosureCmdDevNames());
  EXPECT_EQ(1u, plugin->cmdDevices().size());
  plugin->fini();
}

TEST_F(CommandDevices, TheSimulatorsTreeGivesRecordsThatAttachAndFiniDetachesThemAllPastAFailure) {
  ASSERT_GT(writeModelSysfs(sim.dir() + "/sys"), 2);
  ASSERT_EQ(0, plugin->delayedInit());
  ASSERT_EQ(2u, plugin->cmdDevices().size());
  EXPECT_STREQ("/dev/sdb", plugin->cmdDevices().at("410001")->cmddev);
  EXPECT_EQ("UDID##HITACHI##HDS##410001##4095", plugin->cmdDevices().at("410001")->udid);
  EXPECT_STREQ("/dev/sdi", plugin->cmdDevices().at("520002")->cmddev);
  EXPECT_EQ("UDID##HP##XP##520002##4095", plugin->cmdDevices().at("520002")->udid);
  for (const auto& entry : plugin->cmdDevices()) ASSERT_TRUE(plugin->cmdIntf().attachCmd(entry.second));
  EXPECT_EQ(2, sim.calls("attachcmddev"));

  sim.setFault("detachcmddev", 206, "command device I/O error", 1);
  plugin->fini();
  EXPECT_EQ(2, sim.calls("detachcmddev"));
  EXPECT_TRUE(plugin->cmdDevices().empty());
  const std::string log = trace();
  EXPECT_NE(std::string::npos, log.find("RMLIB detach cmddev is being called for device '410001'"));
  EXPECT_NE(std::string::npos,
            log.find("CHitachiPlugin::fini() : RMLIB detach cmddev failed for device '410001'"));
  EXPECT_NE(std::string::npos, log.find("RMLIB detach cmddev is being called for device '520002'"));
  EXPECT_EQ(std::string::npos, log.find("RMLIB detach cmddev failed for device '520002'"));
  EXPECT_LT(log.find("device '410001'"), log.find("device '520002'"));  // key order
  EXPECT_EQ(1u, plugin->enclosureCmdDevNames().count("410001"));        // fini leaves the names
  EXPECT_FALSE(plugin->cmdIntf().isInitialized());
}

}  // namespace
