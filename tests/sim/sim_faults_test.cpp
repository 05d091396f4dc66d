// Fault injection (once, N times, always; a pair suspended by error) and
// the per-function call counters.
#include <map>
#include <string>

#include "sim_fixture.h"

namespace simtest {
namespace {

const int kLun256 = 1;
const int kLun257 = 2;
const int kLun514 = 9;  // secondary of 258 mu 1

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
  pairstatinfo failed = status(kLun256, 0);
  EXPECT_EQ(RMSIM_PSUE, failed.pairstat);
  EXPECT_LT(failed.copyrate, 100);
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
