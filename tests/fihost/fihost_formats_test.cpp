// The formats fihost shares with the plugin: provider-state text, state
// file, and instance-number files read alike by the plugin's allocator.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <tuple>

#include "catalogue.h"
#include "hitachi_instanceManager.h"
#include "instance_files.h"
#include "problem.h"
#include "provider_state.h"
#include "state_file.h"

using namespace fihost;

namespace {

// The source with one pair, then its snapshot, as the plugin writes them.
const char kState[] =
    "<VdiskList><Vdisk><DeviceId>256</DeviceId><EnclosureId>410001</EnclosureId><IsCmdDevice>0</IsCmdDevice>"
    "<SupportTrueCopy>0</SupportTrueCopy><SupportShadowImage>1</SupportShadowImage>"
    "<SupportSnapshot>0</SupportSnapshot><IsSnap>0</IsSnap><HostInfo><PortNo>3</PortNo><HostGroupNo>7</"
    "HostGroupNo>"
    "<HostGroupName>db1</HostGroupName></HostInfo><PairList><SnapPair><MUN>0</MUN><LUN>4</LUN><Status>3</"
    "Status>"
    "<SerialNo>0</SerialNo></SnapPair></PairList></Vdisk><Vdisk><DeviceId>512</DeviceId>"
    "<EnclosureId>410001</EnclosureId><IsCmdDevice>0</IsCmdDevice><SupportTrueCopy>0</SupportTrueCopy>"
    "<SupportShadowImage>0</SupportShadowImage><SupportSnapshot>1</SupportSnapshot><IsSnap>1</IsSnap>"
    "<HostInfo><PortNo>0</PortNo><HostGroupNo>0</HostGroupNo><HostGroupName></HostGroupName></HostInfo>"
    "<PairList></PairList></Vdisk></VdiskList>";

class FihostFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/fihost-formats.XXXXXX";
    dir = ::mkdtemp(pattern);
  }
  void TearDown() override { std::filesystem::remove_all(dir); }
  std::string dir;
};

TEST(FihostProviderState, ReadsTheSourceAndTheSnapshotRecord) {
  const ProviderState state = parseProviderState(kState);
  const auto& s = state.source;
  EXPECT_EQ(std::make_tuple("256", "410001", true, false, 3, 7, "db1", "512", true, ""),
            std::make_tuple(s.deviceId, s.enclosureId, s.supportsShadowImage, s.supportsSnapshot, s.port,
                            s.hostGroup, s.hostGroupName, state.snapshot.deviceId, state.snapshot.isSnap,
                            state.snapshot.hostGroupName));
}

TEST(FihostProviderState, TextsThatAreNoProviderStateAreRefusedNotMisread) {
  std::string onlySource = kState;
  onlySource.erase(onlySource.find("<Vdisk><DeviceId>512"),
                   onlySource.find("</VdiskList>") - onlySource.find("<Vdisk><DeviceId>512"));
  std::string badTruth = kState;
  badTruth.replace(badTruth.find("<IsSnap>1"), 9, "<IsSnap>x");
  for (const std::string& text : {std::string(), std::string("<Vdisk></Vdisk>"), onlySource, badTruth,
                                  std::string(kState).substr(0, 200)})
    EXPECT_THROW(parseProviderState(text), Problem) << text;
}

TEST_F(FihostFiles, StateFileKeepsEveryFieldAndTheProviderStateVerbatim) {
  StateFile written{"2026-11-23T17:00:00Z", "fihost-1-2", {}};
  written.snapshots.push_back({"/dev/sdc", "<hitachifi>UDID##A##B##1##2", "UDID##A##B##1##2",
                               "UDID##A##B##1##9", "HPXP_Snapshot", std::string(kState) + "\"\\\n\t"});
  const std::string path = dir + "/state.json";
  writeStateFile(path, written);
  StateFile read = readStateFile(path);
  EXPECT_EQ(written.created + written.session, read.created + read.session);
  ASSERT_EQ(1u, read.snapshots.size());
  const SnapshotEntry &a = written.snapshots[0], &b = read.snapshots[0];
  EXPECT_EQ(std::tie(a.device, a.node, a.source, a.snapshot, a.method, a.providerState),
            std::tie(b.device, b.node, b.source, b.snapshot, b.method, b.providerState));
  EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(dir), std::filesystem::directory_iterator()))
      << "the temporary file was left behind";
  EXPECT_THROW(writeStateFile(dir + "/no/such/state.json", written), Problem);
}

// A partner holds one point in time: the entry started on it last replaces
// every earlier one the moment it is begun, made or not.
TEST_F(FihostFiles, CatalogueKnowsWhichSnapshotEachPartnerHolds) {
  Catalogue catalogue(dir + "/folder/catalogue.db");
  auto entry = [](const char* session, const char* ldev) {
    CatalogueEntry e;
    std::tie(e.session, e.device, e.source, e.method, e.targetArray, e.targetLdev) = std::make_tuple(
        session, "/dev/sdc", "UDID##HITACHI##HDS##410001##256", "Hitachi_ShadowImage", "410001", ldev);
    return e;
  };
  std::vector<CatalogueEntry> monday = {entry("mon", "512"), entry("mon", "768")};
  catalogue.begin(monday);
  std::tie(monday[0].target, monday[0].providerState, monday[0].stateFile, monday[0].mirrorUnit) =
      std::make_tuple("UDID##HITACHI##HDS##410001##512", kState, "/var/mon.json", 0);
  catalogue.complete({monday[0]});
  EXPECT_EQ(kState, catalogue.findSnapshot("mon", "UDID##HITACHI##HDS##410001##512")->providerState);
  EXPECT_FALSE(catalogue.findSnapshot("mon", "UDID##HITACHI##HDS##410001##768")) << "never made";

  std::vector<CatalogueEntry> tuesday = {entry("tue", "512")};
  Catalogue(dir + "/folder/catalogue.db").begin(tuesday);  // another process, in effect
  const CatalogueEntry replaced = *catalogue.find(monday[0].id);
  EXPECT_EQ(tuesday[0].id, replaced.replacedBy);
  EXPECT_FALSE(replaced.intact());
  EXPECT_EQ("/var/mon.json", replaced.stateFile);
  EXPECT_EQ(tuesday[0].id, catalogue.latestOn("410001", "512")->id);
  EXPECT_FALSE(catalogue.latestOn("410001", "512")->made());
  EXPECT_EQ(0, catalogue.find(monday[1].id)->replacedBy) << "another partner is not touched";
  EXPECT_FALSE(catalogue.latestOn("410001", "999"));
  ASSERT_EQ(1u, catalogue.list().size()) << "only made entries are listed";
  EXPECT_TRUE(catalogue.list("UDID##OTHER").empty());
  EXPECT_THROW(catalogue.complete({entry("x", "1")}), Problem) << "an entry never begun";
  EXPECT_THROW(Catalogue(dir + "/no/such/folder/catalogue.db"), Problem);
}

TEST_F(FihostFiles, InstanceNumbersAreSharedWithThePluginsAllocator) {
  CInstanceManager::setMinMaxInstanceNo(601, 699);
  CInstanceManager::setInstanceNoPath(dir);
  int pluginNumber = -1;
  CInstanceManager::getInstanceNo("UDID##HITACHI##HDS##410001##4095", pluginNumber);
  ASSERT_EQ(601, pluginNumber);
  {
    HeldInstance fihostNumber(dir, "UDID##HITACHI##HDS##410001##4095");
    EXPECT_EQ(602, fihostNumber.number());
    std::vector<InstanceFile> files = readInstanceFiles(dir);
    ASSERT_EQ(1u, files.size());
    ASSERT_EQ(99u, files[0].records.size());
    EXPECT_EQ(601, files[0].records.front().number);
    EXPECT_EQ(699, files[0].records.back().number);
    EXPECT_EQ(97, files[0].freeCount());
    EXPECT_EQ(::getpid(), files[0].records[1].holder);
    int next = -1;
    CInstanceManager::getInstanceNo("UDID##HITACHI##HDS##410001##4095", next);
    EXPECT_EQ(603, next);
    CInstanceManager::releaseInstanceNo("UDID##HITACHI##HDS##410001##4095", next);
  }
  EXPECT_EQ(98, readInstanceFiles(dir)[0].freeCount()) << "fihost's number was not given back";

  // A file fihost creates first is one the plugin's allocator uses.
  HeldInstance first(dir, "UDID##HP##XP##520002##4095");
  EXPECT_EQ(601, first.number());
  int plugin = -1;
  CInstanceManager::getInstanceNo("UDID##HP##XP##520002##4095", plugin);
  EXPECT_EQ(602, plugin);
  struct stat info {};
  ASSERT_EQ(0, ::stat((dir + "/UDID##HP##XP##520002##4095").c_str(), &info));
  EXPECT_EQ(99 * 8, info.st_size);
}

}  // namespace
