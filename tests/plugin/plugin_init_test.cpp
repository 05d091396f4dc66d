// Plugin initialisation and shutdown.
#include <sys/stat.h>

#include <fstream>

#include "hitachi_instanceManager.h"
#include "plugin_fixture.h"

using namespace frim_pdk_4_4;

namespace {

class PluginInit : public PluginTest {
 protected:
  void expectRegistrations() {
    const struct {
      const char* prefix;
      const char* name;
    } expected[] = {{"UDID##HITACHI##HDS##", "Hitachi_CopyOnWrite"},
                    {"UDID##HITACHI##HDS##", "Hitachi_ShadowImage"},
                    {"UDID##HP##XP##", "HPXP_Snapshot"},
                    {"UDID##HP##XP##", "HPXP_BusinessCopy"}};
    ASSERT_EQ(4u, plugin->getFims().size());
    for (size_t i = 0; i < 4; ++i) {
      EXPECT_EQ(expected[i].prefix, plugin->getFims()[i].m_udidPrefix);
      EXPECT_EQ(expected[i].name, plugin->getFims()[i].m_name);
      EXPECT_EQ("FI_QUIESCE_NONE", plugin->getFims()[i].m_quiesceMode);
      EXPECT_EQ(3, plugin->getFims()[i].m_level);
    }
    const CFiConfigParamInfoList& params = plugin->getConfigParamList();
    ASSERT_EQ(1u, params.getParams().size());
    const CFiConfigParamInfo& param = params.getParams()[0];
    EXPECT_EQ("snapshot_resource_spec", param.m_name);
    EXPECT_EQ("", param.m_value);
    EXPECT_EQ(0, param.m_firstAttribute);
    EXPECT_EQ(0, param.m_secondAttribute);
    EXPECT_FALSE(param.m_flag);
    EXPECT_TRUE(param.m_allowedValues.empty());
    EXPECT_EQ(-1, param.m_minimum);
    EXPECT_EQ(-1, param.m_maximum);
    std::vector<CFiConfigParamInfo> described = CFiConfigParamInfoList::parseXML(params.getXML());
    ASSERT_EQ(1u, described.size());
    EXPECT_TRUE(described[0] == param);
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
  ASSERT_NE(std::string::npos, loading);
  ASSERT_NE(std::string::npos, version);
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
  EXPECT_NE(std::string::npos, trace().find("CHitachiPlugin::init : Library RMLIB init failed"));
  EXPECT_EQ("/untouched/", CInstanceManager::getInstanceNoPath());  // settings only after a loaded library
  EXPECT_NE(0, ::access((sim.dir() + "/hitachi").c_str(), F_OK));
  plugin->fini();
}

TEST_F(PluginInit, HitachiFolderIsCreatedOnFirstInitAndLeftAsItIsLater) {
  const mode_t mask = ::umask(022);
  const std::string dir = sim.dir() + "/hitachi/";
  struct stat info;
  ASSERT_EQ(0, plugin->init());
  ASSERT_EQ(0, ::stat(dir.c_str(), &info));
  EXPECT_TRUE(S_ISDIR(info.st_mode));
  EXPECT_EQ(0755u, info.st_mode & 07777);
  plugin->fini();

  ASSERT_EQ(0, ::chmod(dir.c_str(), 0700));
  std::ofstream(dir + "keep") << "x";
  CFiSmartPtr<CHitachiPlugin> again(new CHitachiPlugin());
  ASSERT_EQ(0, again->init());
  ASSERT_EQ(0, ::stat(dir.c_str(), &info));
  EXPECT_EQ(0700u, info.st_mode & 07777);
  EXPECT_EQ(0, ::access((dir + "keep").c_str(), F_OK));
  again->fini();
  ::umask(mask);
}

TEST_F(PluginInit, AFolderThatCannotBeCreatedIsNotAnInitFailure) {
  ::setenv("HITACHIFI_CACHE_DIR", (sim.dir() + "/no/such/cache").c_str(), 1);
  EXPECT_EQ(0, plugin->init());
  EXPECT_EQ(sim.dir() + "/no/such/cache/hitachi/", CInstanceManager::getInstanceNoPath());
  EXPECT_NE(0, ::access((sim.dir() + "/no").c_str(), F_OK));
  plugin->fini();
}

TEST_F(PluginInit, TheDestructorCopesWithoutFini) {
  tree->disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM", "4100010FFF");
  ASSERT_EQ(0, plugin->init());
  ASSERT_EQ(0, plugin->delayedInit());
  ASSERT_EQ(1u, plugin->cmdDevices().size());
  ASSERT_TRUE(plugin->cmdIntf().attachCmd(plugin->cmdDevices().begin()->second));
  EXPECT_EQ(0, plugin.release());  // the sanitizer build shows nothing is left behind
}

}  // namespace
