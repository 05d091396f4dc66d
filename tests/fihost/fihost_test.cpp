// What a scenario file cannot set up: state files through links or of other
// users, a setgid copy, and runs stopped midway. The rest of fihost's cases
// are in fihost.scenarios.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <tuple>

#include "plugin_host.h"
#include "process_run.h"
#include "rmsim.h"

using nlohmann::json;

namespace {

class Fihost : public ::testing::Test {
 protected:
  RunResult fihost(const std::vector<std::string>& args) {
    return runProgram(FIHOST_PATH, args, "", host.dir());
  }
  PluginHost host;
};

// A state file is never read through a link; run as root, only a file of
// root's that no one else may write.
TEST_F(Fihost, RestoreRefusesAStateFileOthersCouldHaveWritten) {
  const std::string state = host.dir() + "/state.json", linked = host.dir() + "/linked.json";
  std::ofstream(state) << "{}";
  ASSERT_EQ(0, ::symlink(state.c_str(), linked.c_str()));
  RunResult link = fihost({"restore", "--yes", "--state", linked});
  EXPECT_EQ(1, link.status);
  EXPECT_NE(std::string::npos, link.err.find("cannot read the state file " + linked)) << link.err;
  if (::geteuid() != 0) GTEST_SKIP() << "giving a file to another user needs root";
  for (const auto& [mode, owner, error] : {std::make_tuple(0644, 65534, "belongs to user 65534"),
                                           std::make_tuple(0666, 0, "writable by group or others")}) {
    ASSERT_EQ(0, ::chown(state.c_str(), owner, static_cast<gid_t>(-1)));
    ASSERT_EQ(0, ::chmod(state.c_str(), mode));
    RunResult refused = fihost({"restore", "--yes", "--state", state});
    EXPECT_EQ(1, refused.status);
    EXPECT_NE(std::string::npos, refused.err.find(error)) << refused.err;
  }
}

// A setgid copy runs with its caller's environment, which must not choose
// the tree it reads: it reads /sys, where this host has no such disks.
TEST_F(Fihost, ASetgidCopyReadsTheRealSysfs) {
  if (::geteuid() != 0) GTEST_SKIP() << "making a setgid program for another group needs root";
  const std::string setgid = host.dir() + "/fihost-setgid";
  std::filesystem::copy_file(FIHOST_PATH, setgid);
  ASSERT_EQ(0, ::chown(setgid.c_str(), 0, 65534));
  ASSERT_EQ(0, ::chmod(setgid.c_str(), 02755));
  EXPECT_NE(std::string::npos, fihost({"devices"}).out.find("UDID##HITACHI##HDS##410001"));
  RunResult secure = runProgram(setgid, {"devices"}, "", host.dir());
  EXPECT_EQ(std::string::npos, secure.out.find("UDID##HITACHI##HDS##410001")) << secure.out << secure.err;
}

// Runs of `fihost snapshot --keep 1 /dev/sdc` on the default model stopped by
// `signal` once the array has seen their resync, which never ends.
class FihostStopped : public ::testing::Test {
 protected:
  RunResult stopAfterResync(int signal) {
    const std::string out = host.dir() + "/run.out", err = host.dir() + "/run.err";
    host.sim().setSetting("copy_reads", "1000000");
    host.calls();
    const pid_t run = ::fork();
    if (run == 0) {
      if (!::freopen(out.c_str(), "w", stdout) || !::freopen(err.c_str(), "w", stderr)) ::_exit(126);
      ::execl(FIHOST_PATH, FIHOST_PATH, "snapshot", "--keep", "1", "--interval", "0.01", "/dev/sdc", nullptr);
      ::_exit(127);
    }
    int status = 0;
    for (bool resynced = false; !resynced;) {
      for (const rmsim::CallRecord& call : host.sim().journal()) resynced |= call.function == "pairresync";
      if (!resynced && ::waitpid(run, &status, WNOHANG) != 0) {
        ADD_FAILURE() << "the run ended before its resync: " << slurp(err);
        return {};
      }
    }
    ::kill(run, signal);
    ::waitpid(run, &status, 0);
    host.sim().setSetting("copy_reads", "2");
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), slurp(out), slurp(err)};
  }
  std::string points() {
    return runProgram(FIHOST_PATH, {"--json", "snapshots", "/dev/sdc"}, "", host.dir()).out;
  }
  PluginHost host;
};

// Killed: the catalogue keeps every entry whole. The killed run's entry is
// no restore point, the point it overwrote is no longer intact, and the next
// run takes that partner first, since it holds nothing worth keeping.
TEST_F(FihostStopped, AKilledRunLeavesTheCatalogueWhole) {
  ASSERT_EQ(
      0, runProgram(FIHOST_PATH, {"snapshot", "--keep", "1", "--interval", "0", "/dev/sdc"}, "", host.dir())
             .status);
  stopAfterResync(SIGKILL);
  const json list = json::parse(points())["snapshots"];
  ASSERT_EQ(1u, list.size()) << list.dump(1);
  EXPECT_FALSE(list[0]["intact"].get<bool>());
  EXPECT_NE(std::string::npos, list[0]["why"].get<std::string>().find("replaced by snapshot 2 started"));
  host.sim().setPairStatus(410001, 256, 0, 4);  // the administrator splits the copy the run started
  RunResult next = runProgram(
      FIHOST_PATH, {"--json", "snapshot", "--keep", "2", "--interval", "0", "/dev/sdc"}, "", host.dir());
  ASSERT_EQ(0, next.status) << next.err;
  EXPECT_EQ(0, json::parse(next.out)["snapshots"][0]["mirror_unit"].get<int>());
}

// Interrupted: the run says in what state it leaves each pair and what to run next.
TEST_F(FihostStopped, AnInterruptedRunSaysWhatItLeft) {
  RunResult run = stopAfterResync(SIGINT);
  EXPECT_EQ(130, run.status) << run.err;
  EXPECT_NE(std::string::npos, run.err.find("interrupted while waiting for the pairs:")) << run.err;
  EXPECT_NE(std::string::npos,
            run.err.find("/dev/sdc: pair with LDEV 512 of array 410001, mirror unit 0 left"))
      << run.err;
  EXPECT_NE(std::string::npos, run.err.find("Run the same fihost snapshot again")) << run.err;
}

}  // namespace
