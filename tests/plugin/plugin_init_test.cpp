// Plugin initialisation and shutdown.
#include <sys/stat.h>

#include <fstream>

#include "hitachi_instanceManager.h"
#include "plugin_fixture.h"

namespace {

class PluginInit : public PluginTest {
 protected:
  void expectRegistrations() {
    std::string fims;
    for (const auto& fim : plugin->getFims())
      fims +=
          fim.m_udidPrefix + fim.m_name + " " + fim.m_quiesceMode + " " + std::to_string(fim.m_level) + "\n";
    EXPECT_EQ(
        "UDID##HITACHI##HDS##Hitachi_CopyOnWrite FI_QUIESCE_NONE 3\n"
        "UDID##HITACHI##HDS##Hitachi_ShadowImage FI_QUIESCE_NONE 3\n"
        "UDID##HP##XP##HPXP_Snapshot FI_QUIESCE_NONE 3\nUDID##HP##XP##HPXP_BusinessCopy FI_QUIESCE_NONE 3\n",
        fims);
    CFiConfigParamInfo expected;
    expected.m_name = "snapshot_resource_spec";
    expected.m_firstAttribute = expected.m_secondAttribute = 0;
    const CFiConfigParamInfoList& params = plugin->getConfigParamList();
    ASSERT_EQ(1u, params.getParams().size());
    EXPECT_TRUE(params.getParams()[0] == expected);
    EXPECT_EQ(CFiConfigParamInfoList::parseXML(params.getXML()), params.getParams());  // the XML is current
  }
};

TEST_F(PluginInit, RegistersFimsAndParameterAndPointsInstanceNumbersIntoTheCache) {
  ASSERT_EQ(0, plugin->init());
  expectRegistrations();
  const std::string dir = sim.dir() + "/hitachi/";
  EXPECT_EQ(dir, CInstanceManager::getInstanceNoPath());
  EXPECT_EQ(601, CInstanceManager::getMinInstanceNo());
  EXPECT_EQ(699, CInstanceManager::getMaxInstanceNo());
  const std::string log = trace();
  const size_t loading = log.find("Initializing RMLIB");
  const size_t version = log.find("CHitachiPlugin::init : Library RMLIB version '");
  const size_t location = log.find("CHitachiPlugin::init : File location for instance number is " + dir);
  ASSERT_NE(std::string::npos, location);
  EXPECT_LT(loading, version);
  EXPECT_LT(version, location);
  plugin->fini();
  EXPECT_FALSE(plugin->cmdIntf().isInitialized());
}

TEST_F(PluginInit, WithoutTheLibraryInitReturns30WithFimsAndParameterRegistered) {
  ::setenv("FRIM_DLOPEN_ROOT", (sim.dir() + "/nothing-here").c_str(), 1);
  CInstanceManager::setInstanceNoPath("/untouched/");
  EXPECT_EQ(30, plugin->init());
  expectRegistrations();
  EXPECT_TRUE(traced("CHitachiPlugin::init : Library RMLIB init failed"));
  EXPECT_EQ("/untouched/", CInstanceManager::getInstanceNoPath());  // settings only after a loaded library
  EXPECT_NE(0, ::access((sim.dir() + "/hitachi").c_str(), F_OK));
  plugin->fini();
}

TEST_F(PluginInit, HitachiFolderIsCreatedOnceAndAMissingCacheIsNoFailure) {
  const std::string dir = sim.dir() + "/hitachi/";
  ASSERT_EQ(0, plugin->init());
  plugin->fini();
  ASSERT_EQ(0, ::chmod(dir.c_str(), 0700));
  std::ofstream(dir + "keep") << "x";
  ASSERT_EQ(0, CFiSmartPtr<CHitachiPlugin>(new CHitachiPlugin())->init());
  struct stat info;
  ASSERT_EQ(0, ::stat(dir.c_str(), &info));
  EXPECT_EQ(0700u, info.st_mode & 07777);
  EXPECT_EQ(0, ::access((dir + "keep").c_str(), F_OK));

  ::setenv("HITACHIFI_CACHE_DIR", (sim.dir() + "/no/such/cache").c_str(), 1);
  EXPECT_EQ(0, CFiSmartPtr<CHitachiPlugin>(new CHitachiPlugin())->init());
  EXPECT_EQ(sim.dir() + "/no/such/cache/hitachi/", CInstanceManager::getInstanceNoPath());
  EXPECT_NE(0, ::access((sim.dir() + "/no").c_str(), F_OK));
}

TEST_F(PluginInit, TheDestructorCopesWithoutFini) {
  tree.disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM", "4100010FFF");
  ASSERT_EQ(0, plugin->init());
  ASSERT_EQ(0, plugin->delayedInit());
  ASSERT_EQ(1u, plugin->cmdDevices().size());
  ASSERT_TRUE(plugin->cmdIntf().attachCmd(plugin->cmdDevices().begin()->second));
  EXPECT_EQ(0, plugin.release());  // the sanitizer build shows nothing is left behind
}

}  // namespace
