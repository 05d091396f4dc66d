// LUN information, pair operations and target discovery against the simulator.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "cficontextsingleton.h"
#include "cfitracelog.h"
#include "hitachi_exception.h"
#include "hitachi_rmlibintf.h"
#include "sim_control.h"
#include "test_helpers.h"

using namespace frim_pdk_4_4;

namespace {

// One HITACHI array. LDEV 256 is seen through three host groups, in buffer
// order: port 0 group 2 "other-host", port 1 group 0 "DB1-backup", port 1
// group 1 "db". The others through port 0 group 0 "db1"; LDEV 258 only
// through group 3 of SCSI port 2, at a LUN the scan does not reach.
const char kModel[] = R"(
array 410001 vendor=HITACHI maxmmun=3
cmddev 410001 /dev/sdb
port 410001 0 fibre
port 410001 1 fibre
port 410001 2 scsi
hostgroup 410001 0 0 db1
hostgroup 410001 0 2 other-host
hostgroup 410001 1 0 DB1-backup
hostgroup 410001 1 1 db
hostgroup 410001 2 3 db1
ldev 410001 256
ldev 410001 257
ldev 410001 258
ldev 410001 300
ldev 410001 301
ldev 410001 302 props=cow
lun 410001 0 2 1 256
lun 410001 1 0 7 256
lun 410001 1 1 5 256
lun 410001 0 0 2 300
lun 410001 0 0 3 301
lun 410001 0 0 4 257
lun 410001 2 3 9 258
lun 410001 0 0 6 302
pair 410001 256 2 300 si status=PAIR csize=0x20
pair 410001 257 0 301 si status=PAIR csize=7
)";

const int kSerial = 410001;

class ArrayOps : public ::testing::Test {
 protected:
  ArrayOps() : sim(SIM_ROOT) {}
  void SetUp() override {
    sim.loadModel(kModel);
    ::setenv("HITACHIFI_HOSTNAME", "db1", 1);
    CInstanceManager::setMinMaxInstanceNo(601, 699);
    CInstanceManager::setInstanceNoPath(sim.dir());
    log = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
    log->initialize("hitachifi", ACE_CString(sim.dir().c_str()), ACE_CString("trace.log"), 6, false);
    ASSERT_EQ(0, intf.init());
    cmd = SCmdInfoPtr(new SCmdInfo());
    cmd->cmddev = ::strdup("/dev/sdb");
    cmd->udid = "UDID##HITACHI##HDS##410001##4095";
    cmd->serial = "410001";
    ASSERT_TRUE(intf.attachCmd(cmd));
    sim.resetCounters();
  }
  void TearDown() override {
    intf.detachCmd(cmd);
    std::free(cmd->cmddev);
    ::operator delete(cmd->info);
    cmd.release();
    intf.fini();
    log.release();
    CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
  }
  std::string trace() { return readText(sim.dir() + "/trace.log"); }
  bool traced(const std::string& line) { return trace().find(line) != std::string::npos; }
  template <class Fn>
  CHitachiException caught(Fn fn) {
    return caughtHitachi(fn);
  }
  // LDEV 257 with its pair at mu 0 (partner 301), as selection leaves it.
  SHitachiVirtualDisk disk257() {
    SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, "257", true);
    EXPECT_EQ(0, intf.selectPair(cmd, disk, intf.getLUNInfo(cmd, "301", false)));
    return disk;
  }

  SimControl sim;
  CHitachiCommandIntf intf;
  SCmdInfoPtr cmd;
  CFiTraceLogPtr log;
};

TEST_F(ArrayOps, UndefinedLdevIsRefusedWithItsReason) {
  CHitachiException e = caught([&] { intf.getLUNInfo(cmd, "999", false); });
  EXPECT_EQ(HITACHI_EXC_ARRAY, e.m_kind);
  EXPECT_EQ(-1, e.m_errorNumber);
  EXPECT_EQ("Invalid lun for snapshot. LUN=999", e.m_reason);
  EXPECT_EQ("getLUNInfo", e.m_apiName);
  EXPECT_EQ("410001", e.m_enclosureId);
}

TEST_F(ArrayOps, CapabilitiesComeFromThePropertyWord) {
  SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, "302", false);
  EXPECT_FALSE(disk.m_isCmdDevice);
  EXPECT_FALSE(disk.m_supportShadowImage);
  EXPECT_TRUE(disk.m_supportSnapshot);
  EXPECT_FALSE(disk.m_supportTrueCopy);
  EXPECT_EQ(302, disk.m_deviceNumber);
  EXPECT_TRUE(traced("emulationType 'OPEN-V'"));
}

TEST_F(ArrayOps, FirstMatchingHostGroupInBufferOrderWins) {
  SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, "256", true);
  EXPECT_EQ(1, disk.m_hostInfo.m_portNo);
  EXPECT_EQ(0, disk.m_hostInfo.m_hostGroupNo);
  EXPECT_EQ("DB1-backup", disk.m_hostInfo.m_hostGroupName);
  EXPECT_EQ(7, disk.m_deviceNumber);
  EXPECT_TRUE(traced("Host group name NOT matched"));
  EXPECT_TRUE(traced("Host group name matched"));
  EXPECT_TRUE(traced("strcmplen [3]"));
}

TEST_F(ArrayOps, LunFoundByScanningTheFibrePort) {
  SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, "257", true);
  EXPECT_EQ("db1", disk.m_hostInfo.m_hostGroupName);
  EXPECT_EQ(4, disk.m_deviceNumber);  // LUN 4 on port 0
  EXPECT_TRUE(traced("find_devmap: port type is fibre, seting targ_limit=1 and lun_limit=2048"));
  EXPECT_TRUE(traced("find_devmap: adding to devache"));
}

TEST_F(ArrayOps, LdevNotFoundOnThePortKeepsItsLdevNumber) {
  // LDEV 258 is seen only through host group 3 of SCSI port 2, which the
  // scan (15 targets, 8 LUNs) reaches at target 3, LUN 9: beyond 8 LUNs.
  SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, "258", true);
  EXPECT_EQ(258, disk.m_deviceNumber);
  EXPECT_EQ(2, disk.m_hostInfo.m_portNo);
  EXPECT_TRUE(traced("getLunInfo : failed to get lun from devmap, seting luNumber to deviceId"));
  EXPECT_EQ(1 + 15 * 8, sim.calls("getldev"));
}

TEST_F(ArrayOps, NoHostGroupOfThisHostIsAnError) {
  ::setenv("HITACHIFI_HOSTNAME", "zz-elsewhere", 1);
  CHitachiException e = caught([&] { intf.getLUNInfo(cmd, "256", true); });
  EXPECT_EQ("hostGroup correspoding to this host is not found", e.m_reason);
  EXPECT_TRUE(traced("getLunInfo : HostGroup correspoding to this host is not found"));
}

TEST_F(ArrayOps, SecondLookupOfAnLdevIsAnsweredFromTheCache) {
  int lun = -1;
  ASSERT_EQ(0, intf.find_devmap(cmd, 257, 0, lun));
  EXPECT_EQ(4, lun);
  EXPECT_GT(sim.calls("getldev"), 0);
  sim.resetCounters();
  lun = -1;
  ASSERT_EQ(0, intf.find_devmap(cmd, 257, 0, lun));
  EXPECT_EQ(4, lun);
  EXPECT_EQ(0, sim.calls("getldev"));
  EXPECT_EQ(0, sim.calls("attachcmddev"));
  EXPECT_TRUE(traced("find_devmap: found luNumber in cache ldev:[257] lun:[4]"));
}

TEST_F(ArrayOps, ScanErrorEndsTheSearch) {
  sim.setFault("getldev", 206, "command device I/O error", 2);  // the probe, then the first scan call
  int lun = -1;
  EXPECT_EQ(-1, intf.find_devmap(cmd, 257, 0, lun));
  EXPECT_TRUE(traced("find_devmap: getldev failed on targid: [0], lun: [0] - ret: [206] with message"));
}

TEST_F(ArrayOps, CopyPaceComesFromTheLowFourBits) {
  SHitachiVirtualDisk disk = disk257();  // csize 7
  EXPECT_EQ(0, intf.splitPair(cmd, disk, SHitachiVirtualDisk()));
  EXPECT_TRUE(traced("Calling pairsplit params : sopt [1] csize [7]"));

  SHitachiVirtualDisk disk256 = intf.getLUNInfo(cmd, std::string("256"), std::string("300"));  // csize 0x20
  ASSERT_EQ(1u, disk256.m_pairList.size());
  EXPECT_EQ(2, disk256.m_pairList[0].m_muNumber);
  EXPECT_EQ(0, intf.splitPair(cmd, disk256, SHitachiVirtualDisk()));
  EXPECT_TRUE(traced("statp.csize : '0x20'"));
  EXPECT_TRUE(traced("Calling pairsplit params : sopt [1] csize [15]"));
  EXPECT_EQ(4, sim.pairStatus(kSerial, 256, 2));
}

TEST_F(ArrayOps, FailedStatusReadStillSplitsWithPace15) {
  SHitachiVirtualDisk disk = disk257();
  sim.setFault("pairvolstat", 206, "command device I/O error", 1);
  EXPECT_EQ(0, intf.splitPair(cmd, disk, SHitachiVirtualDisk()));
  EXPECT_TRUE(traced("pairvolstat failed error number '206' message 'command device I/O error'"));
  EXPECT_TRUE(traced("Using defult valude for csize"));
  EXPECT_TRUE(traced("Calling pairsplit params : sopt [1] csize [15]"));
  EXPECT_EQ(4, sim.pairStatus(kSerial, 257, 0));
}

TEST_F(ArrayOps, ResyncForwardAndReverse) {
  SHitachiVirtualDisk disk = disk257();
  intf.splitPair(cmd, disk, SHitachiVirtualDisk());
  EXPECT_EQ(0, intf.synchronize(cmd, disk, SHitachiVirtualDisk(), false));
  EXPECT_EQ(2, sim.pairStatus(kSerial, 257, 0));  // COPY
  sim.setPairStatus(kSerial, 257, 0, 4);
  EXPECT_EQ(0, intf.synchronize(cmd, disk, SHitachiVirtualDisk(), true));
  EXPECT_EQ(7, sim.pairStatus(kSerial, 257, 0));  // RCPY
  EXPECT_TRUE(traced("Calling pairresync params : ropt [1]"));
}

TEST_F(ArrayOps, StatusWithoutRefreshMakesNoLibraryCall) {
  SHitachiVirtualDisk disk = disk257();
  disk.m_pairList[0].m_status = 42;
  sim.resetCounters();
  EXPECT_EQ(42, intf.getPairStatus(cmd, disk, SHitachiVirtualDisk(), false));
  EXPECT_EQ(0, sim.calls("pairvolstat"));
  EXPECT_EQ(3, intf.getPairStatus(cmd, disk, SHitachiVirtualDisk(), true));
  EXPECT_EQ(3, disk.m_pairList[0].m_status);
  EXPECT_EQ(1, sim.calls("pairvolstat"));
}

TEST_F(ArrayOps, EmptyPairListIsPairMissingForEachOperation) {
  SHitachiVirtualDisk disk;
  disk.m_enclosureId = "410001";
  for (const char* api : {"pairresync", "pairsplit", "pairvolstat"}) {
    CHitachiException e = caught([&] {
      if (std::string(api) == "pairresync") intf.synchronize(cmd, disk, disk, false);
      if (std::string(api) == "pairsplit") intf.splitPair(cmd, disk, disk);
      if (std::string(api) == "pairvolstat") intf.getPairStatus(cmd, disk, disk, true);
    });
    EXPECT_EQ(api, e.m_apiName);
    EXPECT_EQ("pair missing", e.m_reason);
    EXPECT_EQ(-1, e.m_errorNumber);
    EXPECT_EQ("410001", e.m_enclosureId);
  }
}

TEST_F(ArrayOps, LibraryRefusalsBecomeExceptions) {
  SHitachiVirtualDisk disk = disk257();
  disk.m_pairList[0].m_muNumber = 1;  // no pair there: SMPL
  CHitachiException split = caught([&] { intf.splitPair(cmd, disk, disk); });
  EXPECT_EQ(HITACHI_EXC_ARRAY, split.m_kind);
  EXPECT_EQ("pairsplit", split.m_apiName);
  EXPECT_EQ(205, split.m_errorNumber);
  EXPECT_EQ("410001", split.m_enclosureId);
  EXPECT_EQ("volume is SMPL at this mirror unit", split.m_reason);
  EXPECT_TRUE(traced("pairsplit failed."));
  CHitachiException resync = caught([&] { intf.synchronize(cmd, disk, disk, false); });
  EXPECT_EQ("pairresync", resync.m_apiName);
  sim.setFault("getrminfo", 206, "command device I/O error", 1);
  CHitachiException info = caught([&] { intf.getLUNInfo(cmd, "256", false); });
  EXPECT_EQ("getrminfo", info.m_apiName);
  EXPECT_EQ(206, info.m_errorNumber);
  disk.m_deviceNumber = 99;  // no device at that LUN
  CHitachiException status = caught([&] { intf.getPairStatus(cmd, disk, disk, true); });
  EXPECT_EQ("pairvolstat", status.m_apiName);
  EXPECT_EQ(201, status.m_errorNumber);
}

TEST_F(ArrayOps, ConfiguredTargetIsWhatFollowsTheLastMarker) {
  EXPECT_EQ("1234", intf.findConfiguredTarget("abc##1234"));
  EXPECT_EQ("77", intf.findConfiguredTarget("a##b##77"));
  EXPECT_EQ("", intf.findConfiguredTarget("abc##"));
  CHitachiException e = caught([&] { intf.findConfiguredTarget("abc"); });
  EXPECT_EQ(HITACHI_EXC_INVALID_INPUT, e.m_kind);
  EXPECT_EQ(6, e.m_errorNumber);
  EXPECT_EQ("could not find target Id", e.m_reason);
  EXPECT_EQ("[findConfiguredTarget]", e.m_apiName);
  EXPECT_EQ("", e.m_enclosureId);
}

TEST_F(ArrayOps, AutoDiscoveryTakesThePartnerOfTheFirstMirrorUnitWithOne) {
  SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, "256", true);
  sim.resetCounters();
  std::string target;
  std::string reserved;
  EXPECT_EQ(0, intf.autoDiscoverTarget(cmd, disk, reserved, target));
  EXPECT_EQ("300", target);
  EXPECT_EQ(3, sim.calls("pairvolstat"));
  EXPECT_TRUE(traced("Limits: maxmmun  '3'."));
  EXPECT_TRUE(traced("Target Device Id =[300]"));
}

TEST_F(ArrayOps, AutoDiscoveryWithoutPartnerReturnsMinusOne) {
  SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, "302", false);
  disk.m_hostInfo.m_portNo = 0;
  disk.m_deviceNumber = 6;
  std::string target, reserved;
  EXPECT_EQ(-1, intf.autoDiscoverTarget(cmd, disk, reserved, target));
  EXPECT_TRUE(traced("No pair found for '302'."));
  sim.setMaxMirrorUnits(kSerial, 0);
  EXPECT_EQ(-1, intf.autoDiscoverTarget(cmd, disk, reserved, target));
}

TEST_F(ArrayOps, SelectPairRecordsTheMatchingMirrorUnitOrNothing) {
  SHitachiVirtualDisk source = intf.getLUNInfo(cmd, "256", true);
  SHitachiVirtualDisk wrong = intf.getLUNInfo(cmd, "301", false);
  EXPECT_EQ(-1, intf.selectPair(cmd, source, wrong));
  EXPECT_TRUE(source.m_pairList.empty());
  SHitachiVirtualDisk right = intf.getLUNInfo(cmd, "300", false);
  EXPECT_EQ(0, intf.selectPair(cmd, source, right));
  ASSERT_EQ(1u, source.m_pairList.size());
  EXPECT_EQ(2, source.m_pairList[0].m_muNumber);
  EXPECT_EQ(3, source.m_pairList[0].m_status);
  EXPECT_EQ(2, source.m_pairList[0].m_lun);
  EXPECT_EQ(0, source.m_pairList[0].m_serialNo);
}

}  // namespace
