// Plugin initialisation, the command-device tables of delayed initialisation,
// shutdown, and the provider and FIM lists the plugin hands to the framework.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <list>
#include <string>

#include "cficontextsingleton.h"
#include "cfilist.h"
#include "cfimessagecatalog.h"
#include "cfiprivatedatamgr.h"
#include "hitachi_instanceManager.h"
#include "hitachi_plugin.h"
#include "process_run.h"
#include "sim_control.h"
#include "sysfs_tree.h"

using namespace frim_pdk_4_4;

namespace {

// Every block of a list freed with frim_free_buf, as zfi.h lays them out: the
// sanitizer build shows that nothing is left over or freed twice.
void freeText(char* text) {
  if (text) frim_free_buf(text, std::strlen(text) + 1);
}
void freeAsTheFrameworkDoes(zfi_provider_list* list) {
  for (zfi_provider_list* next; list; list = next) {
    next = list->next;
    freeText(list->name);
    for (int i = 0; i < list->prefix_count; ++i) freeText(list->udid_prefixes[i]);
    frim_free_buf(list->udid_prefixes, (list->prefix_count + 1) * sizeof(char*));
    frim_free_buf(list, sizeof *list);
  }
}
void freeAsTheFrameworkDoes(zfi_fim_list* list) {
  for (zfi_fim_list* next; list; list = next) {
    next = list->next;
    for (char* text : {list->name, list->display_name, list->version, list->text}) freeText(text);
    frim_free_buf(list, sizeof *list);
  }
}

using Names = std::list<std::string>;
using NameMap = std::map<std::string, Names>;

// A plugin over the simulator with its own cache directory, an empty sysfs
// tree and a level 6 trace, all in the simulator's directory.
class Plugin : public ::testing::Test {
 protected:
  Plugin() : sim(SIM_ROOT), tree(sim.dir() + "/sys") {}
  void SetUp() override {
    ::setenv("HITACHIFI_SYSFS_ROOT", tree.root().c_str(), 1);
    ::setenv("HITACHIFI_CACHE_DIR", sim.dir().c_str(), 1);
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
  std::string trace() { return slurp(sim.dir() + "/trace.log"); }
  bool traced(const std::string& line) { return trace().find(line) != std::string::npos; }
  static std::string line(const char* name, const char* udid, int bus = 0, int target = 0) {
    char text[200];
    std::snprintf(text, sizeof text, "\t<Device name=\"%-15s\" udid=\"%s\" bus=\"%d\" target=\"%d\" />", name,
                  udid, bus, target);
    return text;
  }
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
    EXPECT_TRUE(params.getParams() == std::vector<CFiConfigParamInfo>{expected});
    EXPECT_EQ(CFiConfigParamInfoList::parseXML(params.getXML()), params.getParams());  // the XML is current
  }
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
    freeAsTheFrameworkDoes(provider);
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
    freeAsTheFrameworkDoes(fims);
  }

  // A device RMLIB never let go of keeps its block: still readable, still
  // holding RMLIB's attachment (the simulator marks it at offset 1028). The
  // process would keep it to the end; the test frees it so that the leak
  // checker sees only real leaks.
  static void expectStillAttached(const SCmdInfoPtr& cmd, const char* path) {
    ASSERT_NE(nullptr, cmd->info);
    ASSERT_NE(nullptr, cmd->cmddev);
    EXPECT_STREQ(path, cmd->cmddev);
    EXPECT_STREQ(path, reinterpret_cast<const char*>(cmd->info));
    uint32_t mark = 0;
    std::memcpy(&mark, reinterpret_cast<const char*>(cmd->info) + 1028, sizeof mark);
    EXPECT_EQ(0x52534d31u, mark);
    std::free(cmd->cmddev);
    cmd->cmddev = nullptr;
    ::operator delete(cmd->info);
    cmd->info = nullptr;
  }

  SimControl sim;
  SysfsTree tree;
  CFiTraceLogPtr log;
  CFiSmartPtr<CHitachiPlugin> plugin;
};

TEST_F(Plugin, RegistersFimsAndParameterAndPointsInstanceNumbersIntoTheCache) {
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
}

TEST_F(Plugin, WithoutTheLibraryInitReturns30WithFimsAndParameterRegistered) {
  ::setenv("FRIM_DLOPEN_ROOT", (sim.dir() + "/nothing-here").c_str(), 1);
  CInstanceManager::setInstanceNoPath("/untouched/");
  EXPECT_EQ(30, plugin->init());
  expectRegistrations();
  EXPECT_TRUE(traced("CHitachiPlugin::init : Library RMLIB init failed"));
  EXPECT_EQ("/untouched/", CInstanceManager::getInstanceNoPath());  // settings only after a loaded library
  EXPECT_NE(0, ::access((sim.dir() + "/hitachi").c_str(), F_OK));
}

TEST_F(Plugin, HitachiFolderIsCreatedOnceAndAMissingCacheIsNoFailure) {
  const std::string dir = sim.dir() + "/hitachi/";
  ASSERT_EQ(0, plugin->init());
  plugin->fini();
  std::ofstream(dir + "keep") << "x";
  ASSERT_EQ(0, CFiSmartPtr<CHitachiPlugin>(new CHitachiPlugin())->init());
  EXPECT_EQ(0, ::access((dir + "keep").c_str(), F_OK));

  // A folder others may write is no place for root's files: init says so at level 1.
  ASSERT_EQ(0, ::chmod(dir.c_str(), 0777));
  CFiSmartPtr<CHitachiPlugin> refusing(new CHitachiPlugin());
  refusing->registerTraceLog(log);
  ASSERT_EQ(0, refusing->init());
  EXPECT_TRUE(traced("L1 hitachifi: CHitachiPlugin::init : no instance number is taken from " + dir +
                     ": the folder " + dir + " is writable by group or others"))
      << trace();

  ::setenv("HITACHIFI_CACHE_DIR", (sim.dir() + "/no/such/cache").c_str(), 1);
  EXPECT_EQ(0, CFiSmartPtr<CHitachiPlugin>(new CHitachiPlugin())->init());
  EXPECT_EQ(sim.dir() + "/no/such/cache/hitachi/", CInstanceManager::getInstanceNoPath());
  EXPECT_NE(0, ::access((sim.dir() + "/no").c_str(), F_OK));
}

TEST_F(Plugin, ListsHoldTheTablesBeforeAndAfterInit) {
  expectLists();
  ASSERT_EQ(0, plugin->init());
  expectLists();
  plugin->fini();
}

TEST_F(Plugin, NoCommandDeviceLeavesBothMapsEmptyAndFiniOnlyUnloads) {
  ASSERT_EQ(0, plugin->init());
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

// Kept: a command device without a UDID is left out but traced with the UDID taken last.
TEST_F(Plugin, TrimmedVendorAndACmProductMakeACommandDevice) {
  ASSERT_EQ(0, plugin->init());
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
  plugin->fini();
}

TEST_F(Plugin, BothDevicesOfAnEnclosureAreListedTheFirstBecomesItsRecordWhoseBlockOutlivesTheDestructor) {
  ASSERT_EQ(0, plugin->init());
  tree.disk("sdk", "3:0:0:0", "HITACHI ", "OPEN-V-CM", "4100010FFE");
  tree.disk("sdb", "2:0:0:0", "HITACHI ", "OPEN-V-CM", "4100010FFF");
  ASSERT_EQ(0, plugin->delayedInit());
  EXPECT_EQ((Names{"/dev/sdb", "/dev/sdk"}), plugin->enclosureCmdDevNames().at("410001"));
  ASSERT_EQ(1u, plugin->cmdDevices().size());
  SCmdInfoPtr cmd = plugin->cmdDevices().at("410001");
  EXPECT_EQ("/dev/sdb UDID##HITACHI##HDS##410001##4095", std::string(cmd->cmddev) + " " + cmd->udid);
  EXPECT_TRUE(traced(line("/dev/sdk", "UDID##HITACHI##HDS##410001##4094")));
  ASSERT_TRUE(plugin->cmdIntf().attachCmd(cmd));
  plugin.release();  // no fini: the device is still attached
  expectStillAttached(cmd, "/dev/sdb");
}

TEST_F(Plugin, TheSimulatorsTreeGivesRecordsThatAttachAndFiniDetachesThemAllKeepingTheBlockOfAFailedDetach) {
  ASSERT_EQ(0, plugin->init());
  sim.writeSysfs(tree.root());
  ASSERT_EQ(0, plugin->delayedInit());
  ASSERT_EQ(2u, plugin->cmdDevices().size());
  const SCmdInfoPtr& hitachi = plugin->cmdDevices().at("410001");
  const SCmdInfoPtr& hp = plugin->cmdDevices().at("520002");
  EXPECT_EQ("/dev/sdb UDID##HITACHI##HDS##410001##4095", std::string(hitachi->cmddev) + " " + hitachi->udid);
  EXPECT_EQ("/dev/sdi UDID##HP##XP##520002##4095", std::string(hp->cmddev) + " " + hp->udid);
  ASSERT_TRUE(plugin->cmdIntf().attachCmd(hitachi) && plugin->cmdIntf().attachCmd(hp));

  const SCmdInfoPtr kept = hitachi, detached = hp;

  sim.setFault("detachcmddev", 206, "command device I/O error", 1);
  plugin->fini();
  EXPECT_EQ(2, sim.calls("detachcmddev"));
  EXPECT_TRUE(plugin->cmdDevices().empty());
  EXPECT_EQ(nullptr, detached->info);  // freed once RMLIB let go
  EXPECT_EQ(nullptr, detached->cmddev);
  expectStillAttached(kept, "/dev/sdb");
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
