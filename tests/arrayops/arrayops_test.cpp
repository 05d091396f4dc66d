// LUN information, pair operations and target discovery against the simulator.
#include <functional>
#include <string>

#include "rmlib_fixture.h"

namespace {

// LDEV 256 is seen through host groups "other-host", "DB1-backup" and "db" in
// buffer order; 258 only at LUN 9 of SCSI port 2, beyond the SCSI scan's 8
// LUNs; 256's mu 0 partner 303 has no LUN.
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
ldev 410001 303
lun 410001 0 2 1 256
lun 410001 1 0 7 256
lun 410001 1 1 5 256
lun 410001 0 0 2 300
lun 410001 0 0 3 301
lun 410001 0 0 4 257
lun 410001 2 3 9 258
lun 410001 0 0 6 302
pair 410001 256 0 303 si status=PAIR
pair 410001 256 2 300 si status=PAIR csize=0x20
pair 410001 257 0 301 si status=PAIR csize=7
)";

const int kSerial = 410001;

class ArrayOps : public RmlibTest {
 protected:
  void SetUp() override {
    RmlibTest::SetUp();
    sim.loadModel(kModel);
    ::setenv("HITACHIFI_HOSTNAME", "db1", 1);
    ASSERT_EQ(0, intf.init());
    cmd = commandDevice();
    ASSERT_TRUE(intf.attachCmd(cmd));
    sim.resetCounters();
  }
  // LDEV 257 with its pair at mu 0 (partner 301), as selection leaves it.
  SHitachiVirtualDisk disk257() { return intf.getLUNInfo(cmd, std::string("257"), std::string("301")); }
  // The parameters of the last pairsplit call traced.
  std::string lastSplit() {
    const std::string trace = readText(sim.dir() + "/trace.log"), call = "Calling pairsplit params : ";
    const size_t at = trace.rfind(call);
    return at == std::string::npos ? ""
                                   : trace.substr(at + call.size(), trace.find('\n', at) - at - call.size());
  }
  SCmdInfoPtr cmd;
};

TEST_F(ArrayOps, LdevInformationWithoutHostMapping) {
  SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, "302", false);
  EXPECT_TRUE(disk.m_supportSnapshot && !disk.m_supportShadowImage && disk.m_deviceNumber == 302);

  CHitachiException e = caughtHitachi([&] { intf.getLUNInfo(cmd, "999", false); });
  EXPECT_EQ(HITACHI_EXC_ARRAY, e.m_kind);
  EXPECT_EQ(-1, e.m_errorNumber);
  EXPECT_EQ("Invalid lun for snapshot. LUN=999", e.m_reason);
  EXPECT_EQ("getLUNInfo", e.m_apiName);
  EXPECT_EQ("410001", e.m_enclosureId);
}

TEST_F(ArrayOps, HostGroupMatchesOnTheShorterNameFirstInBufferOrder) {
  SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, "256", true);
  EXPECT_EQ(1, disk.m_hostInfo.m_portNo);
  EXPECT_EQ(0, disk.m_hostInfo.m_hostGroupNo);
  EXPECT_EQ("DB1-backup", disk.m_hostInfo.m_hostGroupName);
  EXPECT_EQ(7, disk.m_deviceNumber);
  EXPECT_TRUE(traced(2, "Host group name NOT matched"));
  EXPECT_TRUE(traced(3, "Host group name matched"));

  ::setenv("HITACHIFI_HOSTNAME", "zz-elsewhere", 1);
  CHitachiException e = caughtHitachi([&] { intf.getLUNInfo(cmd, "256", true); });
  EXPECT_EQ("hostGroup correspoding to this host is not found", e.m_reason);
  EXPECT_TRUE(traced(1, "getLunInfo : HostGroup correspoding to this host is not found"));
}

TEST_F(ArrayOps, LunFoundOnAFibrePortIsCachedForTheNextLookup) {
  SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, "257", true);
  EXPECT_EQ(4, disk.m_deviceNumber);  // LUN 4 on port 0
  EXPECT_TRUE(traced(6, "find_devmap: port type is fibre, seting targ_limit=1 and lun_limit=2048"));
  sim.resetCounters();
  int lun = -1;
  ASSERT_EQ(0, intf.find_devmap(cmd, 257, 0, lun));
  EXPECT_EQ(4, lun);
  EXPECT_EQ(0, sim.totalCalls());
}

TEST_F(ArrayOps, ScanLimitsAndTheLdevFallback) {
  // SCSI port: 15 targets of 8 LUNs after the probe; LUN 9 is out of reach.
  SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, "258", true);
  EXPECT_EQ(2, disk.m_hostInfo.m_portNo);
  EXPECT_EQ(258, disk.m_deviceNumber);
  EXPECT_TRUE(traced(2, "getLunInfo : failed to get lun from devmap, seting luNumber to deviceId"));
  EXPECT_EQ(1 + 15 * 8, sim.calls("getldev"));
  sim.resetCounters();
  int lun = -1;
  EXPECT_EQ(-1, intf.find_devmap(cmd, 258, 0, lun));
  EXPECT_EQ(1 + 2048, sim.calls("getldev"));
}

TEST_F(ArrayOps, SplitPaceIsTheLowFourBitsOr15WhenTheStatusReadFails) {
  SHitachiVirtualDisk disk = disk257();  // csize 7
  EXPECT_EQ(0, intf.splitPair(cmd, disk, SHitachiVirtualDisk()));
  EXPECT_EQ("sopt [1] csize [7]", lastSplit());

  SHitachiVirtualDisk disk256 = intf.getLUNInfo(cmd, std::string("256"), std::string("300"));  // csize 0x20
  ASSERT_EQ(1u, disk256.m_pairList.size());
  EXPECT_EQ(2, disk256.m_pairList[0].m_muNumber);
  EXPECT_EQ(0, intf.splitPair(cmd, disk256, SHitachiVirtualDisk()));
  EXPECT_TRUE(traced(6, "statp.csize : '0x20'"));
  EXPECT_EQ("sopt [1] csize [15]", lastSplit());
  EXPECT_EQ(4, sim.pairStatus(kSerial, 256, 2));

  sim.setPairStatus(kSerial, 257, 0, 3);
  sim.setFault("pairvolstat", 206, "command device I/O error", 1);
  EXPECT_EQ(0, intf.splitPair(cmd, disk, SHitachiVirtualDisk()));
  EXPECT_TRUE(traced(6, "pairvolstat failed error number '206' message 'command device I/O error'"));
  EXPECT_TRUE(traced(6, "Using defult valude for csize"));
  EXPECT_FALSE(traced(1, "pairvolstat failed."));
  EXPECT_EQ("sopt [1] csize [15]", lastSplit());
  EXPECT_EQ(4, sim.pairStatus(kSerial, 257, 0));
}

TEST_F(ArrayOps, StatusWithoutRefreshMakesNoLibraryCallAndResyncKeepsItsDirection) {
  SHitachiVirtualDisk disk = disk257();
  disk.m_pairList[0].m_status = 42;
  sim.resetCounters();
  EXPECT_EQ(42, intf.getPairStatus(cmd, disk, SHitachiVirtualDisk(), false));
  EXPECT_EQ(0, sim.totalCalls());
  EXPECT_EQ(3, intf.getPairStatus(cmd, disk, SHitachiVirtualDisk(), true));
  EXPECT_EQ(3, disk.m_pairList[0].m_status);
  EXPECT_EQ(1, sim.calls("pairvolstat"));
  EXPECT_TRUE(traced(3, "Volume status:PVOL"));
  EXPECT_TRUE(traced(3, "Pair status  :PAIR"));

  for (bool reverse : {false, true}) {
    sim.setPairStatus(kSerial, 257, 0, 4);
    EXPECT_EQ(0, intf.synchronize(cmd, disk, SHitachiVirtualDisk(), reverse));
    EXPECT_EQ(reverse ? 7 : 2, sim.pairStatus(kSerial, 257, 0));  // RCPY or COPY
  }
}

// Library failures carry the library's number and text; an empty pair list
// is "pair missing" (-1) before any call. Each names its library function.
TEST_F(ArrayOps, FailuresBecomeExceptionsNamingTheirFunction) {
  SHitachiVirtualDisk disk = disk257(), empty;
  empty.m_enclosureId = "410001";
  SHitachiVirtualDisk source = intf.getLUNInfo(cmd, "256", true);
  std::string target, reserved;
  struct Case {
    const char* fault;  // null: the empty pair list
    const char* api;
    std::function<void()> act;
  };
  const Case cases[] = {
      {"getrminfo", "getrminfo", [&] { intf.getLUNInfo(cmd, "256", false); }},
      {"pairvolstat", "pairvolstat", [&] { intf.getPairStatus(cmd, disk, disk, true); }},
      {"pairsplit", "pairsplit", [&] { intf.splitPair(cmd, disk, disk); }},
      {"pairresync", "pairresync", [&] { intf.synchronize(cmd, disk, disk, false); }},
      {"pairvolstat", "pairvolstat", [&] { intf.autoDiscoverTarget(cmd, source, reserved, target); }},
      {"pairvolstat", "pairvolstat", [&] { intf.selectPair(cmd, source, disk); }},
      {nullptr, "pairresync", [&] { intf.synchronize(cmd, empty, empty, false); }},
      {nullptr, "pairsplit", [&] { intf.splitPair(cmd, empty, empty); }},
      {nullptr, "pairvolstat", [&] { intf.getPairStatus(cmd, empty, empty, false); }}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.api);
    if (c.fault) sim.setFault(c.fault, 206, "command device I/O error", 1);
    CHitachiException e = caughtHitachi(c.act);
    EXPECT_EQ(HITACHI_EXC_ARRAY, e.m_kind);
    EXPECT_EQ(c.fault ? 206 : -1, e.m_errorNumber);
    EXPECT_EQ(c.fault ? "command device I/O error" : "pair missing", e.m_reason);
    EXPECT_EQ(c.api, e.m_apiName);
    EXPECT_EQ("410001", e.m_enclosureId);
    if (c.fault) {
      EXPECT_TRUE(traced(1, std::string(c.api) + " failed."));
    }
  }
}

TEST_F(ArrayOps, AutoDiscoveryTakesTheFirstPartnerWithALun) {
  // mu 0's partner 303 has no LUN, mu 1 is simplex, mu 2's partner is 300.
  SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, "256", true);
  sim.resetCounters();
  std::string target, reserved;
  EXPECT_EQ(0, intf.autoDiscoverTarget(cmd, disk, reserved, target));
  EXPECT_EQ("300", target);
  EXPECT_EQ(3, sim.calls("pairvolstat"));

  sim.setMaxMirrorUnits(kSerial, 2);
  target.clear();
  EXPECT_EQ(-1, intf.autoDiscoverTarget(cmd, disk, reserved, target));
  EXPECT_EQ("", target);
  EXPECT_TRUE(traced(1, "No pair found for '256'."));
}

TEST_F(ArrayOps, ASecondaryIsNeverASourceItsPrimaryNeverATarget) {
  // 300 is the secondary of 256's mu 2 pair: its own mu 2 answer names 256.
  SHitachiVirtualDisk secondary = intf.getLUNInfo(cmd, "300", true);
  std::string target, reserved;
  EXPECT_EQ(3, intf.autoDiscoverTarget(cmd, secondary, reserved, target));
  EXPECT_EQ("", target);
  EXPECT_TRUE(traced(1, "Device '300' is the secondary volume of a pair whose primary is device '256'; a "
                        "secondary is not a snapshot source."));
  EXPECT_EQ(-1, intf.selectPair(cmd, secondary, intf.getLUNInfo(cmd, "256", false)));
  EXPECT_TRUE(secondary.m_pairList.empty());
  EXPECT_EQ(0u, sim.calls("pairresync") + sim.calls("pairsplit"));
}

TEST_F(ArrayOps, SelectPairMatchesThePartnerLdevOnly) {
  SHitachiVirtualDisk source = intf.getLUNInfo(cmd, "256", true);
  source.m_pairList.push_back(SHitachiSnapPair());
  EXPECT_EQ(-1, intf.selectPair(cmd, source, intf.getLUNInfo(cmd, "301", false)));
  ASSERT_EQ(1u, source.m_pairList.size());

  source.m_pairList.clear();
  EXPECT_EQ(0, intf.selectPair(cmd, source, intf.getLUNInfo(cmd, "303", false)));  // partner without a LUN
  ASSERT_EQ(1u, source.m_pairList.size());
  EXPECT_EQ(0, source.m_pairList[0].m_muNumber);
  EXPECT_EQ(3, source.m_pairList[0].m_status);
  EXPECT_EQ(0, source.m_pairList[0].m_lun);
  EXPECT_EQ(0, source.m_pairList[0].m_serialNo);
}

}  // namespace
