// Instance numbers (one live process per number and command device, none
// negative), the functions each library variant exports, and the call
// journal and counters: what every process sent, exactly as received.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "sim_fixture.h"

namespace simtest {
namespace {

// A second framework process: the child runs `first` and reports its
// result, then runs `rest` until killed, or without one holds what it has
// until released. No sleep: each side waits on a pipe.
struct Child {
  explicit Child(const std::function<int()>& first, const std::function<void()>& rest = {})
      : looping(bool(rest)) {
    int report[2], gate[2];
    if (::pipe(report) != 0 || ::pipe(gate) != 0) return;
    pid = ::fork();
    if (pid == 0) {
      ::close(gate[1]);  // else the child would keep its own release pending
      const int rc = first();
      char released;
      if (::write(report[1], &rc, sizeof rc) == sizeof rc)
        rest ? rest() : (void)!::read(gate[0], &released, 1);
      ::_exit(0);
    }
    ::close(gate[0]);
    ::close(report[1]);
    m_gate = gate[1];
    if (pid < 0 || ::read(report[0], &result, sizeof result) != sizeof result) result = -1;
    ::close(report[0]);
  }
  ~Child() { end(); }
  void end() {
    if (pid <= 0) return;
    ::close(m_gate);
    if (looping) ::kill(pid, SIGKILL);  // in the middle of a call, as a killed framework process may be
    ::waitpid(pid, nullptr, 0);
    pid = 0;
  }
  pid_t pid = -1;
  int result = -1;

 private:
  bool looping;
  int m_gate = -1;
};

using InstanceNumbers = SimulatorTest;

TEST_F(InstanceNumbers, ANumberHeldByAnotherLiveProcessIsRefusedUntilItEnds) {
  cmddevinfo own;
  Child other([&] { return attach(&own, "/dev/sdi", 650); });
  ASSERT_GT(other.pid, 0);
  ASSERT_EQ(0, other.result);

  cmddevinfo mine;
  EXPECT_EQ(RMSIM_E_INSTUSED, attach(&mine, "/dev/sdi", 650));
  EXPECT_EQ("instance number 650 is in use on /dev/sdi by process " + std::to_string(other.pid),
            std::string(lib.errmsg(&mine)));
  EXPECT_EQ(0, attach(&mine, "/dev/sdi", 651));  // another number
  cmddevinfo elsewhere;
  EXPECT_EQ(0, attach(&elsewhere, "/dev/sdb", 650));  // the same number on another command device

  std::vector<rmsim::Simulator::Attachment> held = sim->attachments();
  ASSERT_EQ(4u, held.size());  // sorted by path, instance, pid
  EXPECT_EQ("/dev/sdb", held[0].cmddev);
  EXPECT_EQ(601, held[0].instance);
  EXPECT_EQ("/dev/sdi", held[2].cmddev);
  EXPECT_EQ(650, held[2].instance);
  EXPECT_EQ(other.pid, held[2].pid);
  EXPECT_TRUE(held[2].alive);

  const int ended = other.pid;
  other.end();
  held = sim->attachments();
  ASSERT_EQ(4u, held.size());
  EXPECT_EQ(ended, held[2].pid);
  EXPECT_FALSE(held[2].alive);  // still on record, no longer holding
  EXPECT_EQ(0, attach(&mine, "/dev/sdi", 650));
}

TEST(LibraryVariants, ExportExactlyTheRmlibFunctionsButTheirOne) {
  const std::string all =
      "attachcmddev detachcmddev getdkclimit getfmtmsg getldev getrmerrmsg getrminfo getrmver pairresync "
      "pairsplit pairvolstat ";
  for (const std::string lacks : {"", "getdkclimit", "pairsplit"}) {
    std::string names = all;
    if (!lacks.empty()) names.erase(names.find(lacks + " "), lacks.size() + 1);
    const std::string file = SIM_ROOT + (lacks.empty() ? "" : "-no-" + lacks) + "/usr/lib/libsvrrm.so";
    EXPECT_EQ(names,
              run("nm -D --defined-only --format=just-symbols " + file + " | sort | tr '\\n' ' '").output);
  }
}

// The journal's rows as text: function, command device, instance, the
// targdev fields, option, pace, getrminfo's arguments and the result.
std::vector<std::string> lines(const std::vector<rmsim::CallRecord>& journal) {
  std::vector<std::string> out;
  for (const rmsim::CallRecord& r : journal) {
    out.push_back(r.function + " " + (r.cmddev.empty() ? "-" : r.cmddev));
    for (int value : {r.instance, r.porttype, r.port, r.targid, r.lun, r.mun, r.ldevno, r.option, r.csize,
                      r.ope, r.ldevArg, r.portArg, r.result})
      out.back() += " " + std::to_string(value);
  }
  return out;
}

using CallJournal = SimulatorTest;

TEST_F(CallJournal, RecordsEveryCallAndAttachWithItsArgumentsAndResultAsReceived) {
  sim->clearJournal();
  targdev odd = volume(2, 3, 0, 0);
  odd.porttype = 7;  // raw values the simulator's addressing ignores
  odd.ldevno = 0x1234;
  pairstatinfo info;
  ASSERT_EQ(0, lib.volstat(&cmd, &odd, &info));
  cmddevinfo other;
  EXPECT_EQ(RMSIM_E_NOCMD, attach(&other, "/dev/nonesuch", 650));
  sim->setFault("getdkclimit", 206, "I/O error", 1);
  dkc_limit limit;
  EXPECT_EQ(206, lib.limit(&cmd, &limit));
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
      "attachcmddev /dev/nonesuch 650 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 202",
      "getdkclimit /dev/sdb 601 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 206",
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

  Outcome shown = rmsim("journal --clear");
  ASSERT_EQ(0, shown.status) << shown.output;
  EXPECT_NE(std::string::npos, shown.output.find("4 pairsplit " + std::to_string(::getpid()) +
                                                 " /dev/sdb 601 1 0 0 2 0 65535 1 7 - - - 0"))
      << shown.output;
  EXPECT_TRUE(sim->journal().empty());
  lib.volstat(nullptr, nullptr, nullptr);  // numbering starts again
  ASSERT_EQ(1u, sim->journal().size());
  EXPECT_EQ(1, sim->journal()[0].seq);
}

// A child process with its own attachment, as a second framework process; the
// parent sees its journal rows, its counts and the pair it split.
TEST_F(CallJournal, EachProcessIsJournaledAndCountedUnderItsOwnIdInOneState) {
  sim->clearJournal();
  sim->resetCounters();
  EXPECT_TRUE(sim->counters().empty());
  cmddevinfo own;
  Child process([&] {
    targdev t = volume(kLun257, 0);
    pairstatinfo info;
    int rc = attach(&own, "/dev/sdb", 602);
    if (rc == 0) rc = lib.volstat(&own, &t, &info);
    return rc == 0 ? lib.split(&own, &t, 1, 15) : rc;
  });
  ASSERT_EQ(0, process.result);
  const pid_t child = process.pid;
  EXPECT_EQ(RMSIM_PSUS, status(kLun257, 0).pairstat);
  EXPECT_EQ(RMSIM_E_NOPAIR, split(kLun257, 1));  // failed calls count too
  sim->setFault("pairresync", 206, "busy", 1);
  EXPECT_EQ(206, resync(kLun256, 0, 0));

  const std::vector<rmsim::CallRecord> journal = sim->journal();
  ASSERT_EQ(6u, journal.size());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(child, journal[i].pid) << i;
  EXPECT_EQ(602, journal[1].instance);
  EXPECT_EQ(static_cast<int>(::getpid()), journal[3].pid);
  EXPECT_EQ(601, journal[3].instance);

  sim->loadModel(rmsim::Simulator::defaultModel(), "db1");  // keeps the counts
  const std::map<std::string, int64_t> childCalls = {
      {"attachcmddev", 1}, {"pairvolstat", 1}, {"pairsplit", 1}};
  const std::map<std::string, int64_t> ownCalls = {{"pairvolstat", 1}, {"pairsplit", 1}, {"pairresync", 1}};
  EXPECT_EQ(childCalls, sim->counters(child));
  EXPECT_EQ(ownCalls, sim->counters(::getpid()));
  EXPECT_EQ(0, sim->counter("getdkclimit"));
  EXPECT_EQ(2, sim->counter("pairsplit"));
  EXPECT_EQ(2, sim->counter("pairvolstat"));  // the totals add every process
}

// Reads that only look, and reads that advance a copy and so change the
// state (the pollers' too): neither kind waits long for the pollers.
TEST_F(CallJournal, TightPollersHoldUpNoOtherProcessForLong) {
  sim->setSetting("copy_reads", "1000000");
  for (bool copying : {true, false}) {
    SCOPED_TRACE(copying ? "reads that advance copies" : "reads that only look");
    const int read = copying ? RMSIM_COPY : RMSIM_PSUS;
    sim->setPairStatus(kHitachi, 256, 0, read);
    sim->setPairStatus(kHitachi, 257, 0, copying ? RMSIM_COPY : RMSIM_PAIR);
    targdev polled = volume(kLun257, 0);
    pairstatinfo seen;
    // Processes that poll without pause, as a restore polls, from their
    // first success on: enough to keep the state busy on a loaded machine.
    const auto poll = [&] { return lib.volstat(&cmd, &polled, &seen); };
    std::vector<std::unique_ptr<Child>> pollers;
    for (int i = 0; i < 3; ++i) {
      pollers.emplace_back(new Child(poll, [&] {
        while (true) poll();
      }));
      ASSERT_EQ(0, pollers.back()->result);
    }
    const pid_t poller = pollers[0]->pid;
    const int64_t pollsBefore = sim->counters(poller)["pairvolstat"];
    sim->clearJournal();
    for (int i = 0; i < 500; ++i) {
      const auto start = std::chrono::steady_clock::now();
      EXPECT_EQ(read, status(kLun256, 0).pairstat);
      ASSERT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1)) << "read " << i;
    }
    EXPECT_LT(pollsBefore, sim->counters(poller)["pairvolstat"]) << "the poller stood still";
    std::vector<int64_t> own;  // each of this process's reads once, in order, among the pollers'
    for (const rmsim::CallRecord& r : sim->journal()) {
      if (r.pid == ::getpid()) own.push_back(r.seq);
    }
    EXPECT_EQ(500u, own.size());
    EXPECT_EQ(own.end(), std::adjacent_find(own.begin(), own.end(), std::greater_equal<int64_t>()));
  }
}

}  // namespace
}  // namespace simtest
