// FRIM_DLOPEN_ROOT: the library really opened is the one below the root, and
// the trace says which; a setuid process ignores the root, and the kit's other settings too.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "process_run.h"

namespace {

namespace fs = std::filesystem;

// A path no real host has; only the test's root holds a library there.
const char kLibrary[] = "/opt/hitachifi-loader-test/libprobe.so";
const uid_t kNobody = 65534;

class Loader : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/loader-test-XXXXXX";
    ASSERT_NE(nullptr, ::mkdtemp(pattern));
    dir = pattern;
    root = dir + "/root";
    traces = dir + "/trace";
    fs::create_directories(root + fs::path(kLibrary).parent_path().string());
    fs::copy_file(std::string(SIM_ROOT) + "/usr/lib/libsvrrm.so", root + kLibrary);
    fs::create_directories(traces);
    // The setuid probe runs as nobody and must still reach its trace folder,
    // which no one else may write.
    fs::permissions(dir, fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
    fs::permissions(traces, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                fs::perms::others_read | fs::perms::others_exec);
  }
  void TearDown() override { fs::remove_all(dir); }

  // Runs `probe` with a level 2 trace in `traces`, the root and the kit's
  // other settings naming the root so that none may show, and `more` set.
  using Vars = std::vector<std::pair<std::string, std::string>>;
  RunResult run(const std::string& probe, Vars more = {}) {
    for (const char* name : {"FRIM_DLOPEN_ROOT", "HITACHIFI_CACHE_DIR", "HITACHIFI_HOSTNAME",
                             "HITACHIFI_SYSFS_ROOT", "HITACHIFI_SNAPSHOT_RESOURCE_SPEC"})
      more.emplace_back(name, root);
    for (const auto& [name, value] : more) ::setenv(name.c_str(), value.c_str(), 1);
    RunResult result = runProgram(probe, {kLibrary, traces}, "", dir);
    for (const auto& [name, value] : more) ::unsetenv(name.c_str());
    result.out += result.err;
    return result;
  }
  std::string trace() { return slurp(traces + "/hitachifi.log"); }

  std::string dir, root, traces;
};

TEST_F(Loader, RootIsPrefixedAndThePathReallyOpenedIsTraced) {
  const RunResult outcome = run(LOADER_PROBE);
  EXPECT_EQ(0, outcome.status) << outcome.out;
  EXPECT_NE(std::string::npos, outcome.out.find("cache " + root + ", host " + root + ", sysfs " + root +
                                                ", targets snapshot_resource_spec line 1"))
      << outcome.out;
  EXPECT_NE(std::string::npos,
            trace().find("FRIM_DLOPEN_ROOT is set: opening " + root + kLibrary + " for " + kLibrary))
      << trace();
}

TEST_F(Loader, SetuidProcessIgnoresTheRootAndSaysSo) {
  if (::geteuid() != 0) GTEST_SKIP() << "making a probe setuid to another user needs root";
  const std::string probe = dir + "/loader_probe";
  fs::copy_file(LOADER_PROBE, probe);
  ASSERT_EQ(0, ::chown(probe.c_str(), kNobody, kNobody));
  ASSERT_EQ(0, ::chmod(probe.c_str(), 04755));
  ASSERT_EQ(0, ::chown(traces.c_str(), kNobody, kNobody));  // nobody's own trace folder
  struct statvfs mount {};
  ASSERT_EQ(0, ::statvfs(dir.c_str(), &mount));
  if (mount.f_flag & ST_NOSUID) GTEST_SKIP() << dir << " is on a file system mounted nosuid";
  // Nor does it take its trace, cache folder, host name, sysfs root or targets from there.
  const RunResult outcome = run(probe, {{"HITACHIFI_TRACE_DIR", root}, {"HITACHIFI_TRACE_LEVEL", "0"}});
  EXPECT_EQ(1, outcome.status) << outcome.out;
  EXPECT_EQ(0u, outcome.out.find(std::string("refused: ") + kLibrary)) << outcome.out;
  EXPECT_EQ(std::string::npos, outcome.out.find(root)) << outcome.out;
  EXPECT_NE(std::string::npos, trace().find("FRIM_DLOPEN_ROOT '" + root +
                                            "' ignored in a setuid or setgid process; opening " + kLibrary))
      << trace();
}

}  // namespace
