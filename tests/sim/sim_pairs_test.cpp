// The pair state machine through the exported pair commands: what each
// state does with a split and a forward or reverse resync, copy progress,
// the refusals with their error numbers, fault injection and call counters.
#include <map>
#include <string>
#include <vector>

#include "sim_fixture.h"

namespace simtest {
namespace {

// Default model, HITACHI array, host group 0 of port 0: LUN -> LDEV.
const int kLun256 = 1;  // SI mu 0 -> 512 (PSUS), COW mu 3 -> 768 (PSUS)
const int kLun257 = 2;  // SI mu 0 -> 513 (PAIR), COW mu 3 -> 769 (PAIR)
const int kLun512 = 3;  // secondary of 256 mu 0
const int kLun258 = 7;  // SI mu 1 -> 514, mu 2 -> 515 (both PSUS)
const int kLun514 = 9;  // secondary of 258 mu 1

const int kLun259 = 8;  // COW mu 3 -> 770, mu 4 -> 771 (both PSUS)

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

// The rows that the state-machine, refusal and suspension tests below do not
// already walk through.
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

class PairStateMachine : public SimulatorTest {};

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
  EXPECT_EQ(5, status(kLun256, 0).csize);  // the pace of the resync

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

  ASSERT_EQ(0, resync(kLun258, 1, 1));
  EXPECT_EQ(RMSIM_RCPY, status(kLun258, 1).pairstat);
  EXPECT_EQ(RMSIM_PAIR, status(kLun258, 1).pairstat);
  ASSERT_EQ(0, split(kLun258, 1));
  EXPECT_EQ(RMSIM_PSUS, status(kLun258, 1).pairstat);
}

TEST_F(PairStateMachine, AShadowImageSplitWhileCopyingTakesEffectWhenTheCopyEnds) {
  ASSERT_EQ(0, resync(kLun256, 0, 0, 5));
  ASSERT_EQ(0, split(kLun256, 0, 9));
  ASSERT_EQ(0, resync(kLun256, 0, 0, 5));  // accepted, and the split stays pending
  EXPECT_EQ(RMSIM_COPY, status(kLun256, 0).pairstat);
  pairstatinfo ended = status(kLun256, 0);
  EXPECT_EQ(RMSIM_PSUS, ended.pairstat);
  EXPECT_EQ(100, ended.copyrate);
  EXPECT_EQ(9, ended.csize);  // the split's pace
  EXPECT_EQ(1, ended.smod);

  // Copy-on-Write refuses the same split and simply ends its copy in PAIR.
  ASSERT_EQ(0, resync(kLun256, 3, 0));
  EXPECT_EQ(RMSIM_E_INVSTAT, split(kLun256, 3));
  EXPECT_NE(std::string::npos, lastError().find("Copy-on-Write"));
  EXPECT_EQ(RMSIM_COPY, status(kLun256, 3).pairstat);
  EXPECT_EQ(RMSIM_PAIR, status(kLun256, 3).pairstat);
}

class PairRefusals : public SimulatorTest {};

TEST_F(PairRefusals, MirrorUnitOutOfRangeIs203AndASimplexVolume205) {
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

class FaultInjection : public SimulatorTest {
 protected:
  int getldev() {
    targdev t = volume(kLun257, 0);
    return lib.ldev(&cmd, &t);
  }
};

TEST_F(FaultInjection, FailsTheNamedFunctionOnceNTimesOrAlways) {
  sim->setFault("getldev", 206, "command device I/O error", 1);
  EXPECT_EQ(206, getldev());
  EXPECT_STREQ("command device I/O error", lib.errmsg(&cmd));
  EXPECT_EQ("[RMSIM] getldev(/dev/sdb) failed: EX206 command device I/O error", formattedError());
  EXPECT_EQ(0, getldev());

  sim->setFault("getldev", 777, "controller busy", 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(777, getldev()) << "call " << i;
  EXPECT_EQ(0, getldev());

  sim->setFault("pairsplit", 230, "path down", -1);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(230, split(kLun257, 0));
  EXPECT_EQ(0, getldev());                                   // only the named function fails
  EXPECT_EQ(RMSIM_PAIR, sim->pairStatus(kHitachi, 257, 0));  // a failed command changes nothing
  sim->clearFaults();
  EXPECT_EQ(0, split(kLun257, 0));

  // Requests that cannot be faults are refused.
  EXPECT_THROW(sim->setFault("pairdisplay", 206, "x", 1), rmsim::ModelError);
  EXPECT_THROW(sim->setFault("getrmerrmsg", 206, "x", 1), rmsim::ModelError);
  EXPECT_THROW(sim->setFault("getldev", 0, "x", 1), rmsim::ModelError);  // 0 would be a success
}

class PairSuspension : public SimulatorTest {};

TEST_F(PairSuspension, NowOrAtCopyEndAndThenOnlyAFullCopyRecovers) {
  sim->suspendPair(kHitachi, 514, 7, rmsim::Suspend::Now);  // a secondary names its pair at any mu
  EXPECT_EQ(RMSIM_PSUE, sim->pairStatus(kHitachi, 258, 1));
  EXPECT_EQ(RMSIM_PSUE, status(kLun514, 0).pairstat);
  EXPECT_THROW(sim->suspendPair(kHitachi, 257, 1, rmsim::Suspend::Now), rmsim::ModelError);

  sim->suspendPair(kHitachi, 256, 0, rmsim::Suspend::AtCopyEnd);
  EXPECT_EQ(RMSIM_PSUS, sim->pairStatus(kHitachi, 256, 0));
  ASSERT_EQ(0, resync(kLun256, 0, 0));
  EXPECT_EQ(RMSIM_COPY, status(kLun256, 0).pairstat);
  EXPECT_EQ(RMSIM_PSUE, status(kLun256, 0).pairstat);
  EXPECT_EQ(RMSIM_E_INVSTAT, resync(kLun256, 0, 1));
  ASSERT_EQ(0, resync(kLun256, 0, 0));
  EXPECT_EQ(RMSIM_COPY, status(kLun256, 0).pairstat);
  EXPECT_EQ(RMSIM_PAIR, status(kLun256, 0).pairstat);
}

class CallCounters : public SimulatorTest {};

TEST_F(CallCounters, EveryCallIsCountedFailedOrNotUntilReset) {
  sim->resetCounters();
  EXPECT_TRUE(sim->counters().empty());
  status(kLun257, 0);
  status(kLun257, 0);
  EXPECT_EQ(RMSIM_E_NOPAIR, split(kLun257, 1));
  lib.errmsg(&cmd);
  sim->setFault("pairresync", 206, "busy", 1);
  EXPECT_EQ(206, resync(kLun256, 0, 0));
  sim->loadModel(rmsim::Simulator::defaultModel(), "db1");  // keeps the counts
  const std::map<std::string, int64_t> expected = {
      {"pairvolstat", 2}, {"pairsplit", 1}, {"getrmerrmsg", 1}, {"pairresync", 1}};
  EXPECT_EQ(expected, sim->counters());
  EXPECT_EQ(2, sim->counter("pairvolstat"));
  EXPECT_EQ(0, sim->counter("getdkclimit"));
}

}  // namespace
}  // namespace simtest
