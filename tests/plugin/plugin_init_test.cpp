// Plugin initialisation and shutdown.
#include <sys/stat.h>

#include <fstream>

#include "hitachi_instanceManager.h"
#include "plugin_fixture.h"

using namespace frim_pdk_4_4;

namespace {

class PluginInit : public PluginTest {};

TEST_F(PluginInit, RegistersTheFourFimsInRegistrationOrder) {
  ASSERT_EQ(0, plugin->init());
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
  EXPECT_NE(std::string::npos, trace().find("Initializing RMLIB"));
  EXPECT_NE(std::string::npos, trace().find("CHitachiPlugin::init : Library RMLIB version '"));
  plugin->fini();
}

TEST_F(PluginInit, TheResourceSpecParameterHasItsValuesAndTheKitsTrailingDefaults) {
  ASSERT_EQ(0, plugin->init());
  const CFiConfigParamInfo* param = plugin->getConfigParamList().find("snapshot_resource_spec");
  ASSERT_NE(nullptr, param);
  EXPECT_EQ(1u, plugin->getConfigParamList().getParams().size());
  EXPECT_EQ("", param->m_value);
  EXPECT_EQ(0, param->m_firstAttribute);
  EXPECT_EQ(0, param->m_secondAttribute);
  EXPECT_FALSE(param->m_flag);
  EXPECT_TRUE(param->m_allowedValues.empty());
  EXPECT_EQ("", param->m_description);
  EXPECT_EQ(-1, param->m_minimum);
  EXPECT_EQ(-1, param->m_maximum);
  std::vector<CFiConfigParamInfo> described =
      CFiConfigParamInfoList::parseXML(plugin->getConfigParamList().getXML());
  ASSERT_EQ(1u, described.size());
  EXPECT_TRUE(described[0] == *param);
  plugin->fini();
}

TEST_F(PluginInit, WithoutTheLibraryInitReturns30WithFimsAndParameterRegistered) {
  ::setenv("FRIM_DLOPEN_ROOT", (sim.dir() + "/nothing-here").c_str(), 1);
  CInstanceManager::setInstanceNoPath("/untouched/");
  EXPECT_EQ(30, plugin->init());
  EXPECT_EQ(4u, plugin->getFims().size());
  EXPECT_NE(nullptr, plugin->getConfigParamList().find("snapshot_resource_spec"));
  EXPECT_NE(std::string::npos, trace().find("CHitachiPlugin::init : Library RMLIB init failed"));
  EXPECT_EQ("/untouched/", CInstanceManager::getInstanceNoPath());  // settings only after a loaded library
  EXPECT_FALSE(plugin->cmdIntf().isInitialized());
  plugin->fini();
}

TEST_F(PluginInit, InstanceSettingsPointIntoTheCachesHitachiFolder) {
  ASSERT_EQ(0, plugin->init());
  const std::string dir = sim.dir() + "/hitachi/";
  EXPECT_EQ(dir, CInstanceManager::getInstanceNoPath());
  EXPECT_EQ(601, CInstanceManager::getMinInstanceNo());
  EXPECT_EQ(699, CInstanceManager::getMaxInstanceNo());
  EXPECT_NE(std::string::npos,
            trace().find("CHitachiPlugin::init : File location for instance number is " + dir));
  plugin->fini();
}

TEST_F(PluginInit, HitachiFolderIsCreatedOnFirstInitAndLeftAsItIsLater) {
  const mode_t mask = ::umask(022);
  const std::string dir = sim.dir() + "/hitachi/";
  struct stat info;
  ASSERT_NE(0, ::stat(dir.c_str(), &info));
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

TEST_F(PluginInit, FiniUnloadsTheLibraryAndTheDestructorCopesWithoutFini) {
  ASSERT_EQ(0, plugin->init());
  EXPECT_TRUE(plugin->cmdIntf().isInitialized());
  plugin->fini();
  EXPECT_FALSE(plugin->cmdIntf().isInitialized());

  CFiSmartPtr<CHitachiPlugin> unfinished(new CHitachiPlugin());
  tree->disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM", "4100010FFF");
  ASSERT_EQ(0, unfinished->init());
  ASSERT_EQ(0, unfinished->delayedInit());
  EXPECT_EQ(1u, unfinished->cmdDevices().size());
  EXPECT_EQ(0, unfinished.release());  // the sanitizer build shows nothing is left behind
}

}  // namespace
