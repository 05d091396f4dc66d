// Plugin initialisation, command-device discovery, shutdown and enumeration.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "cfilist.h"
#include "cficontextsingleton.h"
#include "cfimessagecatalog.h"
#include "cfiprivatedatamgr.h"
#include "hitachi_instanceManager.h"
#include "hitachi_plugin.h"
#include "sim_control.h"
#include "test_helpers.h"
#include "sysfs_tree.h"

using namespace frim_pdk_4_4;

namespace {

class PluginInit : public ::testing::Test {
 protected:
  PluginInit() : sim(SIM_ROOT) {}
  void SetUp() override {
    ::setenv("HITACHIFI_SYSFS_ROOT", (sim.dir() + "/sys").c_str(), 1);
    ::setenv("HITACHIFI_CACHE_DIR", sim.dir().c_str(), 1);
    tree.reset(new SysfsTree(sim.dir() + "/sys"));
    log = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
    log->initialize("hitachifi", ACE_CString(sim.dir().c_str()), ACE_CString("trace.log"), 6, false);
    plugin = CFiSmartPtr<CHitachiPlugin>(new CHitachiPlugin());
    plugin->registerTraceLog(log);
  }
  void TearDown() override {
    plugin.release();
    log.release();
    CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
    CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(true);
    CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(true);
  }
  std::string trace() { return readText(sim.dir() + "/trace.log"); }

  SimControl sim;
  std::unique_ptr<SysfsTree> tree;
  CFiTraceLogPtr log;
  CFiSmartPtr<CHitachiPlugin> plugin;
};

TEST_F(PluginInit, NoCommandDeviceLeavesBothMapsEmptyAndFiniOnlyUnloads) {
  tree->disk("sda", "0:0:0:0", "ATA     ", "QEMU HARDDISK", "QM0001");
  ASSERT_EQ(0, plugin->init());
  EXPECT_EQ(0, plugin->delayedInit());
  EXPECT_TRUE(plugin->enclosureCmdDevNames().empty());
  EXPECT_TRUE(plugin->cmdDevices().empty());
  plugin->fini();
  EXPECT_EQ(0, sim.calls("detachcmddev"));
  EXPECT_FALSE(plugin->cmdIntf().isInitialized());
}

TEST_F(PluginInit, CommandDevicesByTrimmedVendorAndCmProduct) {
  tree->disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM       ", "4100010FFF");
  tree->disk("sdc", "2:0:0:1", "HITACHIX", "OPEN-V-CM", "4100020FFF");
  tree->disk("sdd", "2:0:0:2", "HPX     ", "OPEN-V-CM", "4100030FFF");
  tree->disk("sde", "2:0:0:3", "HITACHI ", "OPEN-V          ", "4100010100");
  tree->disk("sdf", "2:0:1:0", "HP      ", "OPEN-V-CM", "5200020FFF");
  ASSERT_EQ(0, plugin->init());
  ASSERT_EQ(0, plugin->delayedInit());
  const auto& names = plugin->enclosureCmdDevNames();
  ASSERT_EQ(2u, names.size());
  EXPECT_EQ((std::list<std::string>{"/dev/sdb"}), names.at("410001"));
  EXPECT_EQ((std::list<std::string>{"/dev/sdf"}), names.at("520002"));
  EXPECT_NE(std::string::npos,
            trace().find("\t<Device name=\"/dev/sdb       \" udid=\"UDID##HITACHI##HDS##410001##4095\" bus=\"0\" target=\"0\" />"));
  const SCmdInfoPtr& hp = plugin->cmdDevices().at("520002");
  EXPECT_STREQ("/dev/sdf", hp->cmddev);
  EXPECT_EQ("UDID##HP##XP##520002##4095", hp->udid);
  EXPECT_EQ("520002", hp->serial);
  EXPECT_FALSE(hp->attached);
  EXPECT_EQ(-1, hp->instance.getNumber());
  plugin->fini();
}

TEST_F(PluginInit, FirstCommandDeviceOfAnEnclosureBecomesItsRecord) {
  tree->disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM", "4100010FFF");
  tree->disk("sdk", "3:0:0:0", "HITACHI ", "OPEN-V-CM", "4100010FFE");
  ASSERT_EQ(0, plugin->init());
  ASSERT_EQ(0, plugin->delayedInit());
  EXPECT_EQ((std::list<std::string>{"/dev/sdb", "/dev/sdk"}), plugin->enclosureCmdDevNames().at("410001"));
  ASSERT_EQ(1u, plugin->cmdDevices().size());
  EXPECT_STREQ("/dev/sdb", plugin->cmdDevices().at("410001")->cmddev);
  EXPECT_NE(std::string::npos, trace().find("udid=\"UDID##HITACHI##HDS##410001##4094\""));
}

TEST_F(PluginInit, FiniDetachesEveryAttachedDeviceAndToleratesFailures) {
  tree->disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM", "4100010FFF");
  tree->disk("sdi", "2:0:1:0", "HP      ", "OPEN-V-CM", "5200020FFF");
  ASSERT_EQ(0, plugin->init());
  ASSERT_EQ(0, plugin->delayedInit());
  for (const auto& entry : plugin->cmdDevices()) ASSERT_TRUE(plugin->cmdIntf().attachCmd(entry.second));
  sim.setFault("detachcmddev", 206, "command device I/O error", 1);
  plugin->fini();
  EXPECT_EQ(2, sim.calls("detachcmddev"));
  EXPECT_TRUE(plugin->cmdDevices().empty());
  EXPECT_NE(std::string::npos, trace().find("CHitachiPlugin::fini() : RMLIB detach cmddev failed for device '410001'"));
  EXPECT_NE(std::string::npos, trace().find("RMLIB detach cmddev is being called for device '520002'"));
  EXPECT_EQ(1u, plugin->enclosureCmdDevNames().count("410001"));  // not emptied by fini
}

TEST_F(PluginInit, WithoutTheLibraryInitReturns30WithFimsAndParameterRegistered) {
  ::setenv("FRIM_DLOPEN_ROOT", (sim.dir() + "/nothing-here").c_str(), 1);
  EXPECT_EQ(30, plugin->init());
  ASSERT_EQ(4u, plugin->getFims().size());
  EXPECT_EQ("Hitachi_CopyOnWrite", plugin->getFims()[0].m_name);
  EXPECT_EQ("UDID##HITACHI##HDS##", plugin->getFims()[1].m_udidPrefix);
  EXPECT_EQ("HPXP_BusinessCopy", plugin->getFims()[3].m_name);
  EXPECT_EQ("FI_QUIESCE_NONE", plugin->getFims()[3].m_quiesceMode);
  EXPECT_EQ(3, plugin->getFims()[3].m_level);
  const CFiConfigParamInfo* param = plugin->getConfigParamList().find("snapshot_resource_spec");
  ASSERT_NE(nullptr, param);
  EXPECT_EQ(0, param->m_firstAttribute);
  EXPECT_EQ(0, param->m_secondAttribute);
  EXPECT_EQ(-1, param->m_minimum);
  EXPECT_NE(std::string::npos, plugin->getConfigParamList().getXML().find("name=\"snapshot_resource_spec\""));
  EXPECT_NE(std::string::npos, trace().find("CHitachiPlugin::init : Library RMLIB init failed"));
}

TEST_F(PluginInit, InstanceDirectoryIsCreatedOnceUnderTheCache) {
  ASSERT_EQ(0, plugin->init());
  std::string dir = sim.dir() + "/hitachi/";
  struct stat info;
  ASSERT_EQ(0, ::stat(dir.c_str(), &info));
  EXPECT_TRUE(S_ISDIR(info.st_mode));
  EXPECT_EQ(dir, CInstanceManager::getInstanceNoPath());
  EXPECT_EQ(601, CInstanceManager::getMinInstanceNo());
  EXPECT_EQ(699, CInstanceManager::getMaxInstanceNo());
  std::ofstream(dir + "keep") << "x";
  plugin->fini();
  CFiSmartPtr<CHitachiPlugin> again(new CHitachiPlugin());
  ASSERT_EQ(0, again->init());
  EXPECT_EQ(0, ::stat((dir + "keep").c_str(), &info));
  again->fini();
  EXPECT_NE(std::string::npos, trace().find("CHitachiPlugin::init : File location for instance number is " + dir));
}

void expectProviderList(zfi_provider_list* list) {
  ASSERT_NE(nullptr, list);
  EXPECT_EQ(nullptr, list->next);
  EXPECT_STREQ("hitachifi", list->name);
  EXPECT_EQ(7, list->version[0]);
  EXPECT_EQ(0, list->version[1] + list->version[2] + list->version[3]);
  EXPECT_EQ(1, list->first_attribute);
  EXPECT_EQ(2, list->second_attribute);
  ASSERT_EQ(2, list->prefix_count);
  EXPECT_STREQ("UDID##HITACHI##HDS##", list->udid_prefixes[0]);
  EXPECT_STREQ("UDID##HP##XP##", list->udid_prefixes[1]);
  EXPECT_EQ(nullptr, list->udid_prefixes[2]);
}

void expectFimList(zfi_fim_list* list) {
  const char* names[] = {"Hitachi_ShadowImage", "Hitachi_CopyOnWrite", "HPXP_BusinessCopy", "HPXP_Snapshot"};
  const int technology[] = {1, 0, 1, 0};
  int i = 0;
  for (zfi_fim_list* fim = list; fim != nullptr; fim = fim->next, ++i) {
    ASSERT_LT(i, 4);
    EXPECT_STREQ(names[i], fim->name);
    EXPECT_STREQ(names[i], fim->display_name);
    EXPECT_EQ(technology[i], fim->technology);
    EXPECT_EQ(0, fim->consistency_class);
    EXPECT_EQ(0, fim->fim_type);
    EXPECT_EQ(1, fim->sync_type);
    EXPECT_EQ(0, fim->first_number);
    EXPECT_EQ(5, fim->second_number);
    EXPECT_STREQ("1.0", fim->version);
    EXPECT_STREQ("none", fim->text);
  }
  EXPECT_EQ(4, i);
}

TEST_F(PluginInit, ProviderAndFimListsBeforeAndAfterInit) {
  for (int round = 0; round < 2; ++round) {
    zfi_provider_list* providers = nullptr;
    ASSERT_EQ(0, plugin->getProviderInfo(&providers));
    expectProviderList(providers);
    CFiProviderListFactory::freeList(providers);
    zfi_fim_list* fims = nullptr;
    ASSERT_EQ(0, plugin->enumerateFims(&fims));
    expectFimList(fims);
    CFiFimListFactory::freeList(fims);
    EXPECT_EQ(0, plugin->getProviderInfo(nullptr));
    EXPECT_EQ(0, plugin->enumerateFims(nullptr));
    if (round == 0) {
      ASSERT_EQ(0, plugin->init());
    }
  }
  plugin->fini();
}

TEST(ConfigParams, XmlRoundTripsEscapedTexts) {
  CFiConfigParamInfoList list;
  CFiConfigParamInfo param;
  param.m_name = "snapshot_resource_spec";
  param.m_value = "UDID##A##B##1##2 = UDID##A##B##1##3 <&> \"quoted\"";
  param.m_allowedValues = {"a<b", "c&d"};
  param.m_maximum = 9;
  list.addParamInfo(param);
  std::vector<CFiConfigParamInfo> back = CFiConfigParamInfoList::parseXML(list.getXML());
  ASSERT_EQ(1u, back.size());
  EXPECT_TRUE(back[0] == param);
  param.m_value = "changed";
  list.addParamInfo(param);
  EXPECT_EQ(1u, list.getParams().size());
  EXPECT_THROW(CFiConfigParamInfoList::parseXML("<parameters><oops/></parameters>"), CFiConfigXmlError);
  EXPECT_THROW(CFiConfigParamInfoList::parseXML("<parameters><parameter"), CFiConfigXmlError);
}

}  // namespace
