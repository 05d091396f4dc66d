// LUN information, the device map, pair operations and target discovery
// against the simulator: one row per case, each pinning the result (or the
// exception), the RMLIB calls with their arguments and the trace lines with
// their levels.
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "rmlib_fixture.h"

namespace {

// LDEV 256 is seen through host groups "other-host", "DB1-backup" and "db" in
// buffer order; 258 only at LUN 9 of SCSI port 2, beyond the SCSI scan's 8
// LUNs; 256's mu 0 partner 303 has no LUN.
const char kModel[] = R"(
array 410001 vendor=HITACHI maxmmun=3 unit=1
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
const char kIoError[] = "command device I/O error";

const std::vector<std::string> kAny = {"*"};  // calls not checked

class ArrayOps;
struct Row {
  const char* name;
  std::function<std::string(ArrayOps&)> act;  // arranges what it needs, then acts
  std::string outcome;
  std::vector<std::string> journal;  // every RMLIB call of the act, in order
  std::vector<std::string> traced;   // "L<level> <text>" lines, "..." ending a prefix
  std::vector<std::string> absent = {};
};

class ArrayOps : public RmlibTest, public ::testing::WithParamInterface<Row> {
 protected:
  void SetUp() override {
    RmlibTest::SetUp();
    sim.loadModel(kModel);
    ::setenv("HITACHIFI_HOSTNAME", "db1", 1);
    ASSERT_EQ(0, intf.init());
    cmd = commandDevice();
    ASSERT_TRUE(intf.attachCmd(cmd));
    clearObservations();
  }

 public:
  // The source as selection leaves it: its record and the pair with `target`.
  // What it took to build is not part of the row.
  SHitachiVirtualDisk paired(const char* source, const char* target) {
    SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, std::string(source), std::string(target));
    clearObservations();
    return disk;
  }
  SHitachiVirtualDisk mapped(const char* ldev) {
    SHitachiVirtualDisk disk = intf.getLUNInfo(cmd, ldev, true);
    clearObservations();
    return disk;
  }
  void fault(const char* function, int after = 0) {
    rmsim::FaultSpec f;
    f.function = function;
    f.errorNumber = 206;
    f.message = kIoError;
    f.after = after;
    sim.addFault(f);
  }
  static std::string describe(const SHitachiVirtualDisk& d) {
    std::string out = "dev " + std::to_string(d.m_deviceNumber) + " port " +
                      std::to_string(d.m_hostInfo.m_portNo) + " hg " +
                      std::to_string(d.m_hostInfo.m_hostGroupNo) + " '" + d.m_hostInfo.m_hostGroupName + "'";
    for (const auto& [on, name] :
         {std::make_pair(d.m_isCmdDevice, " cmd"), std::make_pair(d.m_supportTrueCopy, " tc"),
          std::make_pair(d.m_supportShadowImage, " si"), std::make_pair(d.m_supportSnapshot, " cow")})
      if (on) out += name;
    for (const SHitachiSnapPair& p : d.m_pairList)
      out += " [mu " + std::to_string(p.m_muNumber) + " status " + std::to_string(p.m_status) + " lun " +
             std::to_string(p.m_lun) + " serial " + std::to_string(p.m_serialNo) + "]";
    return out;
  }
  static std::string result(int rc, const std::string& more = "") { return std::to_string(rc) + more; }
  std::string info(const char* ldev, bool hostMapping) {
    return describe(intf.getLUNInfo(cmd, ldev, hostMapping));
  }
  std::string devmap(int ldev, int port) {
    int lun = -1;
    const int rc = intf.find_devmap(cmd, ldev, port, lun);
    return result(rc, " lun " + std::to_string(lun) + " getldev " + std::to_string(sim.calls("getldev")));
  }
  // One pair operation on the pair of `source` and `target`, `failing` the
  // named RMLIB function: its result, then the pair's state on the array.
  std::string pairOp(const char* op, const char* source, const char* target, const char* failing = nullptr) {
    SHitachiVirtualDisk disk = paired(source, target);
    if (failing) fault(failing);
    const std::string name = op;
    const int rc = name == "split"     ? intf.splitPair(cmd, disk, disk)
                   : name == "status"  ? intf.getPairStatus(cmd, disk, disk, true)
                   : name == "restore" ? intf.synchronize(cmd, disk, disk, true)
                                       : intf.synchronize(cmd, disk, disk, false);
    return result(
        rc, " " + std::to_string(sim.pairStatus(kSerial, std::atoi(source), disk.m_pairList[0].m_muNumber)));
  }
  std::string resyncFrom(int state, bool reverse) {
    SHitachiVirtualDisk disk = paired("257", "301");
    sim.setPairStatus(kSerial, 257, 0, state);
    const int rc = intf.synchronize(cmd, disk, disk, reverse);
    return result(rc, " " + std::to_string(sim.pairStatus(kSerial, 257, 0)));
  }
  // The three operations on a disk without a pair.
  std::string unpaired(const char* op) {
    SHitachiVirtualDisk empty;
    empty.m_enclosureId = "410009";
    const std::string name = op;
    return result(name == "split"    ? intf.splitPair(cmd, empty, empty)
                  : name == "status" ? intf.getPairStatus(cmd, empty, empty, false)
                                     : intf.synchronize(cmd, empty, empty, false));
  }
  std::string discover(const char* source, const char* failing = nullptr, int after = 0) {
    SHitachiVirtualDisk disk = mapped(source);
    if (failing) fault(failing, after);
    const int rc = intf.autoDiscoverTarget(cmd, disk, reserved, target);
    return result(rc, " '" + target + "'");
  }
  std::string select(const char* source, const char* secondary, const char* failing = nullptr) {
    SHitachiVirtualDisk disk = mapped(source);
    SHitachiVirtualDisk copy = intf.getLUNInfo(cmd, secondary, false);
    if (failing) fault(failing);
    const int rc = intf.selectPair(cmd, disk, copy);
    return result(rc, describe(disk));
  }

  SCmdInfoPtr cmd;
  std::string target, reserved;
};

TEST_P(ArrayOps, PinsResultCallsAndTraces) {
  const Row& row = GetParam();
  EXPECT_EQ(row.outcome, outcome([&] { return row.act(*this); }));
  if (row.journal != kAny) {
    EXPECT_EQ(row.journal, journal());
  }
  for (const std::string& line : row.traced) EXPECT_TRUE(traced(line)) << line;
  for (const std::string& line : row.absent) EXPECT_FALSE(traced(line)) << line;
}

const char kAddress[] = "L6 Port     :0x0\t TargetID :0x0\t Lun      :0x4\t Mun      :0x0";
const char kStat257[] = "pairvolstat 1 0 0 4 0 65535";
const char kFailed206[] =
    "L1 operation failed with error number '206' with message 'command device I/O error'.";
const std::vector<std::string> kReport = {"getrmerrmsg", "getfmtmsg", "getrmerrmsg"};

std::string thrown(int kind, const char* api) {
  return "threw " + std::to_string(kind) + " 206 'command device I/O error' " + api + " '410001'";
}
std::vector<std::string> plus(std::vector<std::string> calls, const std::vector<std::string>& more) {
  calls.insert(calls.end(), more.begin(), more.end());
  return calls;
}

const Row kLunInformation[] = {
    {"WithoutHostMappingTheLdevIsTheDeviceNumber",
     [](ArrayOps& t) { return t.info("302", false); },
     "dev 302 port 0 hg 0 '' cow",
     {"getrminfo ope 33 ldev 302 port 0"},
     {"L6  getrminfo is called for '302'.", "L6 Calling getrminfo with params ope = 33, ldev = 302, port = 0",
      "L3 LUN           '6'", "L3 unitID        '1'", "L3 serialNumber  '410001'",
      "L3 emulationType 'OPEN-V'", "L3 LUNSize       '2097152'", "L3 LUProperty    ' 8'"}},
    {"AnUndefinedLdevIsRefused",
     [](ArrayOps& t) { return t.info("999", false); },
     "threw 2 -1 'Invalid lun for snapshot. LUN=999' getLUNInfo '410001'",
     {"getrminfo ope 33 ldev 999 port 0"},
     {"L3 emulationType 'NOT DEFINE'"}},
    {"HostGroupsMatchOnTheShorterNameFirstInBufferOrder",
     [](ArrayOps& t) { return t.info("256", true); },
     "dev 7 port 1 hg 0 'DB1-backup' si cow",
     kAny,
     {"L3 Host name db1.", "L3 hostGroupName     'other-host'",
      "L6 CCmnNetwork::getFQDN returned empty hostName : using hostGroupInfo.hostGroupName [other-host]",
      "L6 tmpHostname [other-host]", "L2 Host group name NOT matched", "L6 strcmplen [3]",
      "L3 Host group name matched"}},
    {"NoHostGroupOfThisHost",
     [](ArrayOps& t) {
       ::setenv("HITACHIFI_HOSTNAME", "zz-elsewhere", 1);
       return t.info("256", true);
     },
     "threw 2 -1 'hostGroup correspoding to this host is not found' getLUNInfo ''",
     {"getrminfo ope 33 ldev 256 port 0"},
     {"L1 getLunInfo : HostGroup correspoding to this host is not found"}},
    {"RmlibRefusesTheInformation",
     [](ArrayOps& t) {
       t.fault("getrminfo");
       return t.info("256", false);
     },
     thrown(2, "getrminfo"),
     plus({"getrminfo ope 33 ldev 256 port 0 -> 206"}, kReport),
     {"L1 getrminfo failed.", kFailed206,
      "L6 format msg : '[RMSIM] getrminfo(/dev/sdb) failed: EX206 command device I/O error'",
      "L2 getfmtmsg returned with error : [0]"}},
};

// The device map: a Fibre Channel port scans one target id of 2048 LUNs, a
// SCSI port 15 of 8, and a LUN found is cached per command device.
const Row kDeviceMap[] = {
    {"FoundOnAFibrePortAndThenAnsweredFromTheCache",
     [](ArrayOps& t) {
       const std::string first = t.info("257", true);
       return first + " / " + t.devmap(257, 0);
     },
     "dev 4 port 0 hg 0 'db1' si cow / 0 lun 4 getldev 6",
     {"getrminfo ope 33 ldev 257 port 0", "getldev 1 0 0 0 0 65535", "getldev 1 0 0 0 0 65535",
      "getldev 1 0 0 1 0 65535", "getldev 1 0 0 2 0 65535", "getldev 1 0 0 3 0 65535",
      "getldev 1 0 0 4 0 65535"},
     {"L6 find_devmap: port type is fibre, seting targ_limit=1 and lun_limit=2048",
      "L6 find_devmap: tid 0 lun 4 targ.ldevno = 257 targ.serial = 410001 targ.numldev = 1",
      "L6 find_devmap: adding to devache", "L6 find_devmap: targ.lun = 4",
      "L6 find_devmap: found luNumber in cache ldev:[257] lun:[4]"}},
    {"BeyondTheScsiScanTheLdevIsTheDeviceNumber",
     [](ArrayOps& t) {
       const std::string first = t.info("258", true);
       return first + " / " + t.devmap(258, 2);
     },
     "dev 258 port 2 hg 3 'db1' si cow / -1 lun -1 getldev 242",
     kAny,
     {"L2 getLunInfo : failed to get lun from devmap, seting luNumber to deviceId"},
     {"L6 find_devmap: port type is fibre, seting targ_limit=1 and lun_limit=2048"}},
    {"AFibreScanEndsAfter2048Luns",
     [](ArrayOps& t) { return t.devmap(258, 0); },
     "-1 lun -1 getldev 2049",
     kAny,
     {}},
    // The record's serial is compared with the one each answer names; the
    // LU information's unit id is traced only.
    {"AnAnswerOfAnotherSerialIsNoMatch",
     [](ArrayOps& t) {
       t.cmd->serial = "410002";
       return t.info("257", true);
     },
     "dev 257 port 0 hg 0 'db1' si cow",
     kAny,
     {"L6 find_devmap: tid 0 lun 4 targ.ldevno = 257 targ.serial = 410001 targ.numldev = 1",
      "L2 getLunInfo : failed to get lun from devmap, seting luNumber to deviceId", "L3 unitID        '1'"},
     {"L6 find_devmap: adding to devache"}},
    {"AGetldevFailureEndsTheScan",
     [](ArrayOps& t) {
       t.fault("getldev", 1);  // the probe passes
       return t.devmap(257, 0);
     },
     "-1 lun -1 getldev 2",
     {"getldev 1 0 0 0 0 65535", "getldev 1 0 0 0 0 65535 -> 206", "getfmtmsg"},
     {"L2 find_devmap: getldev failed on targid: [0], lun: [0] - ret: [206] with message '[RMSIM] "
      "getldev(/dev/sdb) failed: EX206 command device I/O error'"}},
};

// Split and resync take the copy pace from the pair's status: its low four
// bits, 15 when they are 0 or the status cannot be read.
const Row kPairOperations[] = {
    {"SplitWithThePaceOfTheStatus",
     [](ArrayOps& t) { return t.pairOp("split", "257", "301"); },
     "0 4",
     {kStat257, "pairsplit 1 0 0 4 0 65535 opt 1 csize 7"},
     {"L6 statp.csize : '0x7'", "L6 csize : '7'", "L6 Calling pairsplit params : sopt [1] csize [7]",
      kAddress}},
    {"SplitWithPace15WhenTheLowBitsAre0",
     [](ArrayOps& t) { return t.pairOp("split", "256", "300"); },
     "0 4",
     {"pairvolstat 1 1 0 7 2 65535", "pairsplit 1 1 0 7 2 65535 opt 1 csize 15"},
     {"L6 statp.csize : '0x20'", "L6 csize : '15'"}},
    {"SplitWithPace15WhenTheStatusCannotBeRead",
     [](ArrayOps& t) { return t.pairOp("split", "257", "301", "pairvolstat"); },
     "0 4",
     {"pairvolstat 1 0 0 4 0 65535 -> 206", "getrmerrmsg", "getfmtmsg",
      "pairsplit 1 0 0 4 0 65535 opt 1 csize 15"},
     {"L6 pairvolstat failed error number '206' message 'command device I/O error'",
      "L6 format msg : '[RMSIM] pairvolstat(/dev/sdb) failed: EX206 command device I/O error'",
      "L6 Using defult valude for csize"},
     {"L1 pairvolstat failed."}},
    {"ARefusedSplit",
     [](ArrayOps& t) { return t.pairOp("split", "257", "301", "pairsplit"); },
     thrown(2, "pairsplit"),
     plus({kStat257, "pairsplit 1 0 0 4 0 65535 opt 1 csize 7 -> 206"}, kReport),
     {"L1 pairsplit failed.", kFailed206}},
    {"ForwardResyncCopiesToTheSecondary",
     [](ArrayOps& t) { return t.resyncFrom(4, false); },
     "0 2",
     {kStat257, "pairresync 1 0 0 4 0 65535 opt 0 csize 7"},
     {"L6 Calling pairresync params : ropt [0] csize [7]", kAddress}},
    {"ReverseResyncCopiesToThePrimary",
     [](ArrayOps& t) { return t.resyncFrom(4, true); },
     "0 7",
     {kStat257, "pairresync 1 0 0 4 0 65535 opt 1 csize 7"},
     {"L6 Calling pairresync params : ropt [1] csize [7]"}},
    {"ARefusedResyncWithoutAMessage",
     [](ArrayOps& t) {
       rmsim::FaultSpec null;
       null.function = "getrmerrmsg";
       null.nullText = true;
       null.count = 2;
       t.sim.addFault(null);
       return t.pairOp("resync", "257", "301", "pairresync");
     },
     "threw 2 206 'Empty error message' pairresync '410001'",
     kAny,
     {"L1 pairresync failed.", "L1 operation failed with error number '206' with message 'NULL'."}},
    {"StatusIsReadAndTraced",
     [](ArrayOps& t) { return t.pairOp("status", "257", "301"); },
     "3 3",
     {kStat257},
     {"L6 Calling pairvolstat params :", kAddress, "L3 Lun          :0x4\t", "L3 Mun          :0x0 ",
      "L3 pldev        :0x12d ", "L3 csize        :0x7\t", "L3 Volume status:PVOL\t",
      "L3 Pair status  :PAIR ", "L3 pserial      :410001\t\t", "L3 pssid        :5\t\t",
      "L3 copyrate     :100\t\t", "L3 ctgid        :0x0\t", "L3 voltype      :              OPEN-V "}},
    {"StatusWithoutRefreshIsTheStoredOne",
     [](ArrayOps& t) {
       SHitachiVirtualDisk disk = t.paired("257", "301");
       disk.m_pairList[0].m_status = 42;
       return t.result(t.intf.getPairStatus(t.cmd, disk, disk, false));
     },
     "42",
     {},
     {}},
    {"ARefusedStatusRead",
     [](ArrayOps& t) { return t.pairOp("status", "257", "301", "pairvolstat"); },
     thrown(2, "pairvolstat"),
     plus({"pairvolstat 1 0 0 4 0 65535 -> 206"}, kReport),
     {"L1 pairvolstat failed."}},
    // An empty pair list fails before any call, naming each operation's function.
    {"ResyncWithoutAPair",
     [](ArrayOps& t) { return t.unpaired("resync"); },
     "threw 2 -1 'pair missing' pairresync '410009'",
     {},
     {}},
    {"SplitWithoutAPair",
     [](ArrayOps& t) { return t.unpaired("split"); },
     "threw 2 -1 'pair missing' pairsplit '410009'",
     {},
     {}},
    {"StatusWithoutAPair",
     [](ArrayOps& t) { return t.unpaired("status"); },
     "threw 2 -1 'pair missing' pairvolstat '410009'",
     {},
     {}},
};

const Row kTargets[] = {
    // "snapshot config spec" is the trace's own wording for the snapshot_resource_spec setting.
    {"ConfiguredTargetIsWhatFollowsTheLastMarker",
     [](ArrayOps& t) {
       return t.intf.findConfiguredTarget("a##b##77") + "|" + t.intf.findConfiguredTarget("abc##");
     },
     "77|",
     {},
     {"L6 DevId supplied in snapshot config spec is 77", "L6 DevId supplied in snapshot config spec is "}},
    {"ConfiguredTargetWithoutAMarker",
     [](ArrayOps& t) { return t.intf.findConfiguredTarget("abc"); },
     "threw 3 6 'could not find target Id' [findConfiguredTarget] ''",
     {},
     {"L1 Invalid target abc entered at config stage"}},
    {"DiscoveryTakesTheFirstPartnerWithALun",
     [](ArrayOps& t) { return t.discover("256"); },
     "0 '300'",
     {"getdkclimit", "pairvolstat 1 1 0 7 0 65535", "pairvolstat 1 1 0 7 1 65535",
      "pairvolstat 1 1 0 7 2 65535"},
     {"L6 primary deviceId  '256'.", "L3 Limits: maxmmun  '3'.", "L3 Target Device Id =[300]"}},
    {"DiscoveryWithoutAPartner",
     [](ArrayOps& t) {
       t.sim.setMaxMirrorUnits(kSerial, 2);
       return t.discover("256");
     },
     "-1 ''",
     kAny,
     {"L3 Limits: maxmmun  '2'.", "L1 No pair found for '256'."}},
    {"DiscoveryEndsOnAStatusFailure",
     [](ArrayOps& t) { return t.discover("256", "pairvolstat", 1); },
     thrown(2, "pairvolstat"),
     kAny,
     {"L1 pairvolstat failed."}},
    // 300 is the secondary of 256's mu 2 pair: its own mu 2 answer names 256.
    {"ASecondaryIsNeverASourceItsPrimaryNeverATarget",
     [](ArrayOps& t) {
       SHitachiVirtualDisk secondary = t.mapped("300");
       const int discovered = t.intf.autoDiscoverTarget(t.cmd, secondary, t.reserved, t.target);
       const int selected = t.intf.selectPair(t.cmd, secondary, t.intf.getLUNInfo(t.cmd, "256", false));
       return t.result(discovered,
                       " '" + t.target + "' / " + std::to_string(selected) + t.describe(secondary));
     },
     "3 '' / -1dev 2 port 0 hg 0 'db1' si cow",
     kAny,
     {"L1 Device '300' is the secondary volume of a pair whose primary is device '256'; a secondary is not a "
      "snapshot source.",
      "L1 No pair found for '300'."}},
    {"SelectPairLooksAtThePartnerLdevOnly",
     [](ArrayOps& t) { return t.select("256", "303"); },
     "0dev 7 port 1 hg 0 'DB1-backup' si cow [mu 0 status 3 lun 0 serial 0]",
     {"getrminfo ope 33 ldev 303 port 0", "getdkclimit", "pairvolstat 1 1 0 7 0 65535"},
     {"L6 secondary deviceId  '303'.", "L6 Got #MU for device '256'."}},
    {"SelectPairWithoutAMatchLeavesThePairList",
     [](ArrayOps& t) { return t.select("256", "301"); },
     "-1dev 7 port 1 hg 0 'DB1-backup' si cow",
     kAny,
     {"L1 No pair found for '256'."}},
    {"SelectPairEndsOnAStatusFailure",
     [](ArrayOps& t) { return t.select("256", "300", "pairvolstat"); },
     thrown(2, "pairvolstat"),
     kAny,
     {"L1 pairvolstat failed."}},
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

std::string rowName(const ::testing::TestParamInfo<Row>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(LunInformation, ArrayOps, ::testing::ValuesIn(kLunInformation), rowName);
INSTANTIATE_TEST_SUITE_P(DeviceMap, ArrayOps, ::testing::ValuesIn(kDeviceMap), rowName);
INSTANTIATE_TEST_SUITE_P(PairOperations, ArrayOps, ::testing::ValuesIn(kPairOperations), rowName);
INSTANTIATE_TEST_SUITE_P(Targets, ArrayOps, ::testing::ValuesIn(kTargets), rowName);

}  // namespace
