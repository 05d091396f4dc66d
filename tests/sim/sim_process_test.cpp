// One state for every process, and the library variants.
#include <sys/wait.h>
#include <unistd.h>

#include <set>
#include <sstream>
#include <string>

#include "sim_fixture.h"

namespace simtest {
namespace {

const int kLun257 = 2;

// Runs `body` in a child process; its result is the child's exit status.
template <class Fn>
int inChild(Fn body) {
  pid_t child = ::fork();
  if (child == 0) ::_exit(body());
  int status = -1;
  if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

class SharedState : public SimulatorTest {};

TEST_F(SharedState, ChangesAndCountsMadeByOneProcessAreSeenByAnother) {
  EXPECT_EQ(0, inChild([&] { return split(kLun257, 0); }));
  EXPECT_EQ(RMSIM_PSUS, status(kLun257, 0).pairstat);
  EXPECT_EQ(1, sim->counter("pairsplit"));
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
