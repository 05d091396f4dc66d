// Plugin initialisation and shutdown, and the provider and FIM lists the
// plugin hands to the framework.
#include <fstream>

#include "cfilist.h"
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
  std::ofstream(dir + "keep") << "x";
  ASSERT_EQ(0, CFiSmartPtr<CHitachiPlugin>(new CHitachiPlugin())->init());
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

class Enumeration : public PluginTest {
 protected:
  void expectLists() {
    zfi_provider_list* provider = nullptr;
    ASSERT_EQ(0, plugin->getProviderInfo(&provider));
    ASSERT_TRUE(provider && provider->prefix_count == 2);
    char line[200];
    std::snprintf(line, sizeof line, "%s %d.%d.%d.%d %d %d %s %s %p %p", provider->name, provider->version[0],
                  provider->version[1], provider->version[2], provider->version[3], provider->first_attribute,
                  provider->second_attribute, provider->udid_prefixes[0], provider->udid_prefixes[1],
                  static_cast<void*>(provider->udid_prefixes[2]), static_cast<void*>(provider->next));
    EXPECT_STREQ("hitachifi 7.0.0.0 1 2 UDID##HITACHI##HDS## UDID##HP##XP## (nil) (nil)", line);
    CFiProviderListFactory::freeList(provider);
    zfi_fim_list* fims = nullptr;
    ASSERT_EQ(0, plugin->enumerateFims(&fims));
    std::string described;
    for (zfi_fim_list* fim = fims; fim != nullptr; fim = fim->next) {
      std::snprintf(line, sizeof line, "%s %d %d %d %d %d %d %s %s %s\n", fim->name, fim->consistency_class,
                    fim->fim_type, fim->sync_type, fim->technology, fim->first_number, fim->second_number,
                    fim->display_name, fim->version, fim->text);
      described += line;
    }
    EXPECT_EQ(
        "Hitachi_ShadowImage 0 0 1 1 0 5 Hitachi_ShadowImage 1.0 none\n"
        "Hitachi_CopyOnWrite 0 0 1 0 0 5 Hitachi_CopyOnWrite 1.0 none\n"
        "HPXP_BusinessCopy 0 0 1 1 0 5 HPXP_BusinessCopy 1.0 none\n"
        "HPXP_Snapshot 0 0 1 0 0 5 HPXP_Snapshot 1.0 none\n",
        described);
    CFiFimListFactory::freeList(fims);
  }
};

TEST_F(Enumeration, ListsHoldTheTablesBeforeAndAfterInitAndANullOutPointerIsAccepted) {
  expectLists();
  EXPECT_EQ(0, plugin->getProviderInfo(nullptr));
  EXPECT_EQ(0, plugin->enumerateFims(nullptr));
  ASSERT_EQ(0, plugin->init());
  expectLists();
  plugin->fini();
}

}  // namespace
