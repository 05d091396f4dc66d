// The pair state machine through the exported pair commands: each state's
// answer to a split and a forward or reverse resync, copy progress, refusals,
// suspension; and faults: the k-th call, one volume, command device or
// process, carried out yet failed, getrmerrmsg's null or empty text.
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "sim_fixture.h"

namespace simtest {
namespace {

struct Rule {
  const char* kind;  // "si" (258 at mu 1) or "cow" (259 at mu 3)
  int state;
  const char* command;  // "split", "resync" (forward) or "restore" (reverse)
  int result;
  int after;
};

class PairRules : public SimulatorTest, public ::testing::WithParamInterface<Rule> {};

TEST_P(PairRules, StateAndKindDecideCarriedOutAcceptedOrRefused) {
  const Rule rule = GetParam();
  const bool cow = std::string(rule.kind) == "cow";
  const int pvol = cow ? 259 : 258, mu = cow ? 3 : 1, lun = cow ? kLun259 : kLun258;
  sim->setPairStatus(kHitachi, pvol, mu, rule.state);
  const std::string command = rule.command;
  int rc = command == "split" ? split(lun, mu) : resync(lun, mu, command == "restore" ? 1 : 0);
  EXPECT_EQ(rule.result, rc) << lastError();
  EXPECT_EQ(rule.after, sim->pairStatus(kHitachi, pvol, mu));
  if (rc != 0) {
    EXPECT_NE(std::string::npos, formattedError().find(command == "split" ? "pairsplit" : "pairresync"));
  }
}

INSTANTIATE_TEST_SUITE_P(
    PublishedRules, PairRules,
    ::testing::Values(
        Rule{"si", RMSIM_SMPL, "resync", RMSIM_E_NOPAIR, RMSIM_SMPL},
        Rule{"si", RMSIM_SMPL, "restore", RMSIM_E_NOPAIR, RMSIM_SMPL},
        Rule{"si", RMSIM_COPY, "split", 0, RMSIM_COPY},  // PSUS when the copy ends
        Rule{"cow", RMSIM_COPY, "split", RMSIM_E_INVSTAT, RMSIM_COPY},
        Rule{"si", RMSIM_COPY, "resync", 0, RMSIM_COPY}, Rule{"cow", RMSIM_COPY, "resync", 0, RMSIM_COPY},
        Rule{"si", RMSIM_COPY, "restore", 0, RMSIM_COPY},
        Rule{"si", RMSIM_RCPY, "split", RMSIM_E_INVSTAT, RMSIM_RCPY},
        Rule{"cow", RMSIM_RCPY, "split", RMSIM_E_INVSTAT, RMSIM_RCPY},
        Rule{"si", RMSIM_RCPY, "restore", 0, RMSIM_RCPY}, Rule{"cow", RMSIM_RCPY, "resync", 0, RMSIM_RCPY},
        Rule{"si", RMSIM_PAIR, "resync", 0, RMSIM_PAIR}, Rule{"cow", RMSIM_PAIR, "split", 0, RMSIM_PSUS},
        Rule{"si", RMSIM_PAIR, "restore", RMSIM_E_INVSTAT, RMSIM_PAIR},
        Rule{"si", RMSIM_PSUS, "split", 0, RMSIM_PSUS}, Rule{"cow", RMSIM_PSUS, "split", 0, RMSIM_PSUS},
        Rule{"si", RMSIM_PSUE, "split", 0, RMSIM_PSUE},
        Rule{"cow", RMSIM_PSUE, "split", RMSIM_E_INVSTAT, RMSIM_PSUE},
        Rule{"cow", RMSIM_PSUE, "resync", 0, RMSIM_COPY},
        Rule{"cow", RMSIM_PSUE, "restore", RMSIM_E_INVSTAT, RMSIM_PSUE},
        Rule{"si", RMSIM_PDUB, "split", RMSIM_E_INVSTAT, RMSIM_PDUB},
        Rule{"si", RMSIM_UNKN, "restore", RMSIM_E_INVSTAT, RMSIM_UNKN}));

using PairStateMachine = SimulatorTest;

TEST_F(PairStateMachine, ForwardResyncCopiesForCopyReadsStatusReadsOfEitherVolume) {
  sim->setSetting("copy_reads", "4");
  ASSERT_EQ(0, resync(kLun256, 0, 0, 5));
  std::vector<int> states, rates;
  for (int read = 0; read < 4; ++read) {
    pairstatinfo info = status(read == 1 ? kLun512 : kLun256, 0);
    states.push_back(info.pairstat);
    rates.push_back(info.copyrate);
  }
  EXPECT_EQ((std::vector<int>{RMSIM_COPY, RMSIM_COPY, RMSIM_COPY, RMSIM_PAIR}), states);
  EXPECT_EQ((std::vector<int>{25, 50, 75, 100}), rates);
  EXPECT_EQ(5, status(kLun256, 0).csize);

  // The secondary answers on mirror unit 0 only, naming its primary.
  pairstatinfo secondary = status(kLun512, 0);
  EXPECT_EQ(RMSIM_VOL_SVOL, secondary.volstat);
  EXPECT_EQ(256, secondary.pldev);
  EXPECT_EQ(kLun256, secondary.plun);
  EXPECT_EQ(RMSIM_SMPL, status(kLun512, 1).pairstat);
}

TEST_F(PairStateMachine, ReverseResyncGoesThroughRcpyAndWaitsForTheOtherPairsOfThePrimary) {
  for (int other : {RMSIM_PAIR, RMSIM_COPY, RMSIM_RCPY}) {
    sim->setPairStatus(kHitachi, 258, 2, other);
    EXPECT_EQ(RMSIM_E_INVSTAT, resync(kLun258, 1, 1)) << other;
    EXPECT_NE(std::string::npos, lastError().find("another pair of the primary"));
  }
  sim->setPairStatus(kHitachi, 258, 2, RMSIM_PSUE);
  ASSERT_EQ(0, resync(kLun258, 1, 1));  // RCPY, then PAIR: PointInTime follows the data through
  EXPECT_EQ(RMSIM_RCPY, status(kLun258, 1).pairstat);
}

// The primary is frozen as it is when the copy ends, with the split's pace.
TEST_F(PairStateMachine, AShadowImageSplitWhileCopyingTakesEffectWhenTheCopyEnds) {
  write(256, "v1");
  ASSERT_EQ(0, resync(kLun256, 0, 0, 5));
  ASSERT_EQ(0, split(kLun256, 0, 9));
  ASSERT_EQ(0, resync(kLun256, 0, 0, 5));  // accepted, and the split stays pending
  write(256, "v2 during the copy");
  EXPECT_EQ(RMSIM_COPY, status(kLun256, 0).pairstat);
  pairstatinfo ended = status(kLun256, 0);
  EXPECT_EQ(RMSIM_PSUS, ended.pairstat);
  EXPECT_EQ(100, ended.copyrate);
  EXPECT_EQ(9, ended.csize);
  EXPECT_EQ(1, ended.smod);
  write(256, "v3");
  EXPECT_EQ("v2 during the copy", data(512));
}

TEST_F(PairStateMachine, MirrorUnitOutOfRangeIs203AndASimplexVolume205) {
  targdev beyond = volume(kLun257, 64);
  pairstatinfo info;
  EXPECT_EQ(RMSIM_E_INVMUN, lib.volstat(&cmd, &beyond, &info));
  EXPECT_EQ(RMSIM_E_INVMUN, resync(kLun257, -1, 0));
  sim->setMaxMirrorUnits(kHitachi, 3);
  EXPECT_EQ(RMSIM_E_INVMUN, split(kLun257, 3));
  EXPECT_EQ(RMSIM_PAIR, sim->pairStatus(kHitachi, 257, 3));

  EXPECT_EQ(RMSIM_E_NOPAIR, split(kLun257, 1));
  EXPECT_EQ(0u, formattedError().find("[RMSIM] pairsplit(/dev/sdb) failed: EX205 "));
  EXPECT_EQ(0, status(kLun257, 1).plun);  // a simplex volume has no partner
}

// A suspension at copy end moves no data, and only a full copy recovers.
TEST_F(PairStateMachine, SuspensionNowOrAtCopyEndAndThenOnlyAFullCopyRecovers) {
  sim->suspendPair(kHitachi, 514, 7, rmsim::Suspend::Now);  // a secondary names its pair at any mu
  EXPECT_EQ(RMSIM_PSUE, sim->pairStatus(kHitachi, 258, 1));
  EXPECT_EQ(RMSIM_PSUE, status(kLun514, 0).pairstat);
  EXPECT_THROW(sim->suspendPair(kHitachi, 257, 1, rmsim::Suspend::Now), rmsim::ModelError);

  const std::string frozen = data(512);
  write(256, "not copied");
  sim->suspendPair(kHitachi, 256, 0, rmsim::Suspend::AtCopyEnd);
  EXPECT_EQ(RMSIM_PSUS, sim->pairStatus(kHitachi, 256, 0));
  ASSERT_EQ(0, resync(kLun256, 0, 0));
  EXPECT_EQ(RMSIM_COPY, status(kLun256, 0).pairstat);
  EXPECT_EQ(RMSIM_PSUE, status(kLun256, 0).pairstat);
  EXPECT_EQ(frozen, data(512));
  EXPECT_EQ(RMSIM_E_INVSTAT, resync(kLun256, 0, 1));
  ASSERT_EQ(0, resync(kLun256, 0, 0));
  EXPECT_EQ(RMSIM_COPY, status(kLun256, 0).pairstat);
  EXPECT_EQ(RMSIM_PAIR, status(kLun256, 0).pairstat);
}

rmsim::FaultSpec fault(const std::string& function, int errorNumber, int count = 1) {
  rmsim::FaultSpec f;
  f.function = function;
  f.errorNumber = errorNumber;
  f.message = function + " injected";
  f.count = count;
  return f;
}

class PreciseFaults : public SimulatorTest {
 protected:
  int volstat(int lun) {
    targdev t = volume(lun, 0);
    pairstatinfo info;
    return lib.volstat(&cmd, &t, &info);
  }
  int rminfo(int ldev) {
    unsigned char buffer[RMSIM_RMINFO_SIZE];
    return lib.rminfo(&cmd, RMSIM_OPE_LUINFO, ldev, 0, buffer);
  }
};

TEST_F(PreciseFaults, SetFaultFailsOnlyTheNamedFunctionAndAFailedCommandChangesNothing) {
  sim->setFault("getldev", 206, "command device I/O error", 1);
  targdev t = volume(kLun257, 0);
  EXPECT_EQ(206, lib.ldev(&cmd, &t));
  EXPECT_STREQ("command device I/O error", lib.errmsg(&cmd));
  EXPECT_EQ("[RMSIM] getldev(/dev/sdb) failed: EX206 command device I/O error", formattedError());
  EXPECT_EQ(0, lib.ldev(&cmd, &t));

  sim->setFault("pairsplit", 230, "path down", -1);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(230, split(kLun257, 0));
  EXPECT_EQ(0, lib.ldev(&cmd, &t));
  EXPECT_EQ(RMSIM_PAIR, sim->pairStatus(kHitachi, 257, 0));
  sim->clearFaults();
  EXPECT_EQ(0, split(kLun257, 0));
}

TEST_F(PreciseFaults, ANarrowedFaultMeetsOnlyItsVolumeCommandDeviceOrProcess) {
  cmddevinfo hp;
  ASSERT_EQ(0, attach(&hp, "/dev/sdi", 601));
  unsigned char buffer[RMSIM_RMINFO_SIZE];

  rmsim::FaultSpec f = fault("pairvolstat", 232, -1);
  f.serial = kHitachi;
  f.ldev = 257;
  sim->addFault(f);
  f.function = "getrminfo";  // addresses its LDEV argument
  sim->addFault(f);
  EXPECT_EQ(0, volstat(kLun256));
  EXPECT_EQ(232, volstat(kLun257));
  EXPECT_EQ(0, rminfo(256));
  EXPECT_EQ(232, rminfo(257));
  EXPECT_EQ(0, lib.rminfo(&hp, RMSIM_OPE_LUINFO, 257, 0, buffer));  // LDEV 257 of the other array

  sim->clearFaults();
  f = fault("getrminfo", RMSIM_E_IO, -1);
  f.cmddev = "/dev/sdi";
  sim->addFault(f);
  EXPECT_EQ(0, rminfo(256));
  EXPECT_EQ(RMSIM_E_IO, lib.rminfo(&hp, RMSIM_OPE_LUINFO, 300, 0, buffer));
  EXPECT_STREQ("getrminfo injected", lib.errmsg(&hp));

  sim->clearFaults();
  f = fault("pairvolstat", 233, -1);
  f.pid = 1;  // another process
  sim->addFault(f);
  EXPECT_EQ(0, volstat(kLun257));
  f.pid = static_cast<int>(::getpid());
  sim->addFault(f);
  EXPECT_EQ(233, volstat(kLun257));
}

TEST_F(PreciseFaults, ACarriedOutRequestChangesThePairAndStillReportsFailure) {
  rmsim::FaultSpec f = fault("pairsplit", 234);
  f.carriedOut = true;
  sim->addFault(f);
  EXPECT_EQ(234, split(kLun257, 0));
  EXPECT_EQ(RMSIM_PSUS, sim->pairStatus(kHitachi, 257, 0));
  EXPECT_STREQ("pairsplit injected", lib.errmsg(&cmd));

  // A request the pair refuses by itself keeps its own error.
  sim->addFault(f);
  sim->setPairStatus(kHitachi, 257, 0, RMSIM_PDUB);
  EXPECT_EQ(RMSIM_E_INVSTAT, split(kLun257, 0));
}

TEST_F(PreciseFaults, GetrmerrmsgCanReturnANullOrAnEmptyText) {
  ASSERT_EQ(RMSIM_E_NOPAIR, split(kLun257, 1));
  rmsim::FaultSpec f;
  f.function = "getrmerrmsg";
  f.nullText = true;
  sim->addFault(f);
  f.nullText = false;
  f.emptyText = true;
  sim->addFault(f);
  EXPECT_EQ(nullptr, lib.errmsg(&cmd));
  const char* empty = lib.errmsg(&cmd);
  ASSERT_NE(nullptr, empty);
  EXPECT_STREQ("", empty);
  EXPECT_STREQ("volume is SMPL at this mirror unit", lib.errmsg(&cmd));
  EXPECT_EQ(3, sim->counter("getrmerrmsg"));
}

TEST_F(PreciseFaults, AfterNSuccessesTheNextCountCallsFailAndTheEarliestArmedWins) {
  rmsim::FaultSpec f = fault("pairvolstat", 231, 2);
  f.after = 2;  // the third and fourth calls fail
  sim->addFault(f);
  std::vector<int> results;
  for (int i = 0; i < 5; ++i) results.push_back(volstat(kLun257));
  EXPECT_EQ((std::vector<int>{0, 0, 231, 231, 0}), results);
  EXPECT_STREQ("pairvolstat injected", lib.errmsg(&cmd));

  sim->clearFaults();
  sim->addFault(fault("pairvolstat", 235, 1));
  rmsim::FaultSpec later = fault("pairvolstat", 236, 1);
  later.after = 1;  // its first matching call is the one the earlier fault fails
  sim->addFault(later);
  EXPECT_EQ(235, volstat(kLun257));
  EXPECT_EQ(236, volstat(kLun257));
  EXPECT_EQ(0, volstat(kLun257));

  sim->addFault(fault("pairvolstat", 237, -1));
  sim->setFault("pairvolstat", 238, "replaced", 1);  // replaces every fault of the function
  EXPECT_EQ(238, volstat(kLun257));
  EXPECT_EQ(0, volstat(kLun257));
}

TEST_F(PreciseFaults, RequestsThatCannotBeFaultsAreRefused) {
  std::vector<rmsim::FaultSpec> bad(9, fault("getldev", 206));
  bad[0].function = "pairdisplay";
  bad[1].errorNumber = 0;
  bad[2].count = 0;
  bad[3].count = -2;
  bad[4].after = -1;
  bad[5].serial = kHitachi;         // an LDEV is needed too
  bad[6].nullText = true;           // a text fault of another function
  bad[7].function = "getrmerrmsg";  // neither null nor empty
  bad[8].ldev = 0x10000;
  bad[8].serial = kHitachi;
  for (size_t i = 0; i < bad.size(); ++i) EXPECT_THROW(sim->addFault(bad[i]), rmsim::ModelError) << i;
  EXPECT_NE(std::string::npos, sim->describe().find("faults (0)"));
}

TEST_F(PreciseFaults, RmsimArmsEveryKindOfFault) {
  Outcome armed = rmsim("fault pairvolstat 239 1 path lost --after 1 --volume 410001 257");
  ASSERT_EQ(0, armed.status) << armed.output;
  ASSERT_EQ(0, rmsim("fault getrmerrmsg null 1 --cmddev /dev/sdb").status);
  ASSERT_EQ(0, rmsim("fault pairsplit 240 1 --carried-out --pid " + std::to_string(::getpid())).status);
  const std::string shown = rmsim("show").output;
  EXPECT_NE(std::string::npos, shown.find("pairvolstat 239 1 1 410001:257 any any refused path lost"))
      << shown;
  EXPECT_NE(std::string::npos, shown.find("getrmerrmsg 0 1 0 any /dev/sdb any null-text")) << shown;

  EXPECT_EQ(0, volstat(kLun257));
  EXPECT_EQ(0, volstat(kLun256));
  EXPECT_EQ(239, volstat(kLun257));
  EXPECT_EQ(nullptr, lib.errmsg(&cmd));
  EXPECT_EQ(240, split(kLun257, 0));
  EXPECT_EQ(RMSIM_PSUS, sim->pairStatus(kHitachi, 257, 0));

  EXPECT_EQ(1, rmsim("fault getrmerrmsg 206 1").status);
  EXPECT_EQ(1, rmsim("fault getldev 206 1 --volume 410001").status);
  EXPECT_EQ(1, rmsim("fault getldev 206 1 --bogus").status);
}

}  // namespace
}  // namespace simtest
