// The call journal and per-process counters: what a caller sent, exactly as
// the library received it, in order, from every process.
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "sim_fixture.h"

namespace simtest {
namespace {

// One journal row as text: function, command device, instance, the targdev
// fields, option, pace, getrminfo's arguments and the result.
std::string line(const rmsim::CallRecord& r) {
  std::string out = r.function + " " + (r.cmddev.empty() ? "-" : r.cmddev);
  for (int value : {r.instance, r.porttype, r.port, r.targid, r.lun, r.mun, r.ldevno, r.option, r.csize,
                    r.ope, r.ldevArg, r.portArg, r.result}) {
    out += " " + std::to_string(value);
  }
  return out;
}

std::vector<std::string> lines(const std::vector<rmsim::CallRecord>& journal) {
  std::vector<std::string> out;
  for (const rmsim::CallRecord& r : journal) out.push_back(line(r));
  return out;
}

class CallJournal : public SimulatorTest {};

TEST_F(CallJournal, RecordsEveryCallWithItsArgumentsAsTheLibraryReceivedThem) {
  sim->clearJournal();
  targdev odd = volume(2, 3, 0, 0);
  odd.porttype = 7;  // raw values the simulator's addressing ignores
  odd.ldevno = 0x1234;
  pairstatinfo info;
  ASSERT_EQ(0, lib.volstat(&cmd, &odd, &info));
  ASSERT_EQ(0, split(2, 0, 7));                    // 257 mu 0, PAIR
  ASSERT_EQ(RMSIM_E_INVSTAT, resync(2, 3, 1, 9));  // 257 mu 3 is PAIR: no reverse resync
  targdev probe = volume(1, 0);
  ASSERT_EQ(0, lib.ldev(&cmd, &probe));
  EXPECT_EQ(256, probe.ldevno);  // the answer; the journal keeps what was sent
  unsigned char buffer[RMSIM_RMINFO_SIZE];
  ASSERT_EQ(0, lib.rminfo(&cmd, RMSIM_OPE_LUINFO, 256, 0, buffer));
  lib.errmsg(&cmd);
  ASSERT_EQ(0, lib.detach(&cmd));
  ASSERT_EQ(RMSIM_E_NOCMD, lib.volstat(&cmd, &odd, &info));  // detached: no instance any more
  ASSERT_EQ(RMSIM_E_NOCMD, lib.volstat(nullptr, nullptr, nullptr));

  const std::vector<std::string> expected = {
      "pairvolstat /dev/sdb 601 7 0 0 2 3 4660 -1 -1 -1 -1 -1 0",
      "pairsplit /dev/sdb 601 1 0 0 2 0 65535 1 7 -1 -1 -1 0",
      "pairresync /dev/sdb 601 1 0 0 2 3 65535 1 9 -1 -1 -1 204",
      "getldev /dev/sdb 601 1 0 0 1 0 65535 -1 -1 -1 -1 -1 0",
      "getrminfo /dev/sdb 601 -1 -1 -1 -1 -1 -1 -1 -1 33 256 0 0",
      "getrmerrmsg /dev/sdb 601 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 0",
      "detachcmddev /dev/sdb 601 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 0",
      "pairvolstat /dev/sdb -1 7 0 0 2 3 4660 -1 -1 -1 -1 -1 202",
      "pairvolstat - -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 202",
  };
  const std::vector<rmsim::CallRecord> journal = sim->journal();
  EXPECT_EQ(expected, lines(journal));
  for (size_t i = 0; i < journal.size(); ++i) {
    EXPECT_EQ(static_cast<int64_t>(i + 1), journal[i].seq);
    EXPECT_EQ(static_cast<int>(::getpid()), journal[i].pid);
  }

  Outcome shown = run(std::string(RMSIM_BIN) + " --db " + dir.path + "/state.db journal --clear");
  ASSERT_EQ(0, shown.status) << shown.output;
  EXPECT_NE(std::string::npos, shown.output.find("2 pairsplit " + std::to_string(::getpid()) +
                                                 " /dev/sdb 601 1 0 0 2 0 65535 1 7 - - - 0"))
      << shown.output;
  EXPECT_TRUE(sim->journal().empty());
}

TEST_F(CallJournal, AttachRecordsItsArgumentsAndInjectedFailuresTheirNumber) {
  sim->clearJournal();
  cmddevinfo other;
  EXPECT_EQ(RMSIM_E_NOCMD, attach(&other, "/dev/nonesuch", 650));
  sim->setFault("getdkclimit", 206, "I/O error", 1);
  dkc_limit limit;
  EXPECT_EQ(206, lib.limit(&cmd, &limit));
  const std::vector<std::string> expected = {
      "attachcmddev /dev/nonesuch 650 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 202",
      "getdkclimit /dev/sdb 601 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 206",
  };
  EXPECT_EQ(expected, lines(sim->journal()));

  sim->clearJournal();  // numbering starts again
  EXPECT_TRUE(sim->journal().empty());
  status(2, 0);
  ASSERT_EQ(1u, sim->journal().size());
  EXPECT_EQ(1, sim->journal()[0].seq);
}

TEST_F(CallJournal, EachProcessIsJournaledAndCountedUnderItsOwnId) {
  sim->clearJournal();
  sim->resetCounters();
  pid_t child = ::fork();
  if (child == 0) {
    // A fresh block: the child's own attachment, as a second framework process would make.
    cmddevinfo own;
    int rc = attach(&own, "/dev/sdb", 602);
    targdev t = volume(2, 0);
    pairstatinfo info;
    if (rc == 0) rc = lib.volstat(&own, &t, &info);
    if (rc == 0) rc = lib.volstat(&own, &t, &info);
    ::_exit(rc);
  }
  int waited = -1;
  ASSERT_EQ(child, ::waitpid(child, &waited, 0));
  ASSERT_TRUE(WIFEXITED(waited));
  ASSERT_EQ(0, WEXITSTATUS(waited));
  status(2, 0);

  const std::vector<rmsim::CallRecord> journal = sim->journal();
  ASSERT_EQ(4u, journal.size());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(child, journal[i].pid) << i;
  EXPECT_EQ(602, journal[1].instance);
  EXPECT_EQ(static_cast<int>(::getpid()), journal[3].pid);
  EXPECT_EQ(601, journal[3].instance);

  const std::map<std::string, int64_t> childCalls = {{"attachcmddev", 1}, {"pairvolstat", 2}};
  const std::map<std::string, int64_t> ownCalls = {{"pairvolstat", 1}};
  EXPECT_EQ(childCalls, sim->counters(child));
  EXPECT_EQ(ownCalls, sim->counters(::getpid()));
  EXPECT_EQ(3, sim->counter("pairvolstat"));  // the totals add every process
}

}  // namespace
}  // namespace simtest
