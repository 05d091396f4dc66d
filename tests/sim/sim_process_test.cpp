// One state for every process, and the library variants.
#include <sys/wait.h>
#include <unistd.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "sim_fixture.h"

namespace simtest {
namespace {

const int kLun257 = 2;

// Runs `body` in each of `count` child processes at once; the number of
// children that did not exit with 0.
template <class Fn>
int inChildren(int count, Fn body) {
  std::vector<pid_t> pids;
  for (int c = 0; c < count; ++c) {
    pid_t pid = ::fork();
    if (pid == 0) ::_exit(body());
    pids.push_back(pid);
  }
  int failed = 0;
  for (pid_t pid : pids) {
    int status = -1;
    if (pid < 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
      ++failed;
  }
  return failed;
}

class SharedState : public SimulatorTest {};

TEST_F(SharedState, ChangesAndFaultsMadeByOneProcessAreSeenByAnother) {
  EXPECT_EQ(0, inChildren(1, [&] { return split(kLun257, 0); }));
  EXPECT_EQ(RMSIM_PSUS, status(kLun257, 0).pairstat);

  sim->setFault("getdkclimit", 77, "controller busy", 1);
  EXPECT_EQ(1, inChildren(1, [&] {
              dkc_limit limits{};
              return lib.limit(&cmd, &limits) == 77 ? 1 : 0;
            }));
  dkc_limit limits{};
  EXPECT_EQ(0, lib.limit(&cmd, &limits));  // the child used the fault up
  EXPECT_EQ(2, sim->counter("getdkclimit"));
}

TEST_F(SharedState, ConcurrentProcessesLoseNoCall) {
  sim->resetCounters();
  EXPECT_EQ(0, inChildren(4, [&] {
              int failures = 0;
              for (int i = 0; i < 40; ++i) {
                targdev t = volume(kLun257, i % 4);
                pairstatinfo info{};
                if (lib.volstat(&cmd, &t, &info) != 0) ++failures;
              }
              return failures;
            }));
  EXPECT_EQ(4 * 40, sim->counter("pairvolstat"));
}

std::set<std::string> exportedSymbols(const std::string& file) {
  std::istringstream lines(run("nm -D --defined-only --format=just-symbols '" + file + "'").output);
  std::set<std::string> names;
  for (std::string name; std::getline(lines, name);) names.insert(name);
  return names;
}

TEST(LibraryVariants, ExportExactlyTheRmlibFunctionsButTheirOne) {
  const std::set<std::string> all = {"attachcmddev", "detachcmddev", "pairvolstat", "pairsplit",
                                     "pairresync",   "getldev",      "getrminfo",   "getrmerrmsg",
                                     "getrmver",     "getdkclimit",  "getfmtmsg"};
  EXPECT_EQ(all, exportedSymbols(SIM_ROOT "/usr/lib/libsvrrm.so"));
  std::set<std::string> noLimit = all, noSplit = all;
  noLimit.erase("getdkclimit");
  noSplit.erase("pairsplit");
  EXPECT_EQ(noLimit, exportedSymbols(SIM_ROOT "-no-getdkclimit/usr/lib/libsvrrm.so"));
  EXPECT_EQ(noSplit, exportedSymbols(SIM_ROOT "-no-pairsplit/usr/lib/libsvrrm.so"));
}

}  // namespace
}  // namespace simtest
