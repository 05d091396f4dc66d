// The trace log: line format, entering/exiting lines, level filter, and
// lines of several processes sharing one file.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "cfitracelog.h"
#include "host.h"

using namespace frim_pdk_4_4;

namespace {

class TraceLog : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"HITACHIFI_TRACE_DIR", "HITACHIFI_TRACE_LEVEL", "HITACHIFI_TRACE_FILE"})
      ::unsetenv(name);
    initialize(*log, 6);
  }
  void initialize(CFiTraceLog& into, int level) {
    into.initialize("unit", ACE_CString(dir.path.c_str()), ACE_CString(), level, false);
  }
  std::vector<std::string> lines() { return traceTexts(dir.path + "/unit.log"); }

  TempDir dir;
  CFiTraceLogPtr log{new CFiTraceLog()};
};

void traced(const CFiTraceLogPtr& log, bool fail) {
  CFiTraceLogFunction trace(log, "traced", 42, "/src/dir/file.cpp");
  if (fail) throw std::runtime_error("boom");
}

TEST_F(TraceLog, FunctionTraceLinesEvenWhenAnExceptionLeavesWithLineZeroAndBarePathForms) {
  traced(log, false);
  EXPECT_THROW(traced(log, true), std::runtime_error);
  { CFiTraceLogFunction trace(log, "zero", 0, "/a/b.cpp"); }
  { CFiTraceLogFunction trace(log, "bare", 1, "plain.cpp"); }
  { CFiTraceLogFunction trace(log, nullptr, 1, "/a/b.cpp"); }  // silent
  { CFiTraceLogFunction trace(CFiTraceLogPtr(), "x", 1, "/a/b.cpp"); }
  const std::vector<std::string> written = lines();
  ASSERT_EQ(8u, written.size());
  const std::string entering = "Entering Function traced [42, file.cpp]";
  const std::string exiting = "Exiting Function traced [42, file.cpp]";
  EXPECT_EQ((std::vector<std::string>{entering, exiting, entering, exiting,
                                      "Entering Function zero [0, b.cpp]", "Exiting Function zero"}),
            std::vector<std::string>(written.begin(), written.begin() + 6));
  // The header's own path, relative to the project as every source path is.
  EXPECT_EQ("Entering Function bare [1, pdk/include/cfitracelog.h]", written[6]);
}

TEST_F(TraceLog, OneLinePerCallWithTimePidAndLevelFilteredByInitializeOrEnvironment) {
  initialize(*log, 2);
  log->trace(1, "error %d", 1);
  log->trace(2, "two\nlines");
  log->trace(3, "detail");
  log->trace(1, "esc\x1b[31m bell\x07 del\x7f tab\tkept");  // no byte reaches a terminal as a command
  ::setenv("HITACHIFI_TRACE_LEVEL", "1", 1);                // the environment wins over the argument
  initialize(*log, 6);
  ::unsetenv("HITACHIFI_TRACE_LEVEL");
  log->trace(2, "dropped");
  log->trace(1, "kept");
  EXPECT_EQ((std::vector<std::string>{"error 1", "two lines", "esc [31m bell  del  tab\tkept", "kept"}),
            lines());
  std::ifstream in(dir.path + "/unit.log");
  std::string line;
  std::getline(in, line);
  EXPECT_NE(std::string::npos, line.find("[pid " + std::to_string(::getpid()) + "] L1 unit: error 1"))
      << line;
  EXPECT_EQ('-', line[4]) << line;  // YYYY-MM-DD

  log->initialize("unit", ACE_CString("/proc/no-such-dir"), ACE_CString(), 6, false);
  log->trace(1, "nowhere");  // silently
  EXPECT_EQ(0u, log->path().length());
}

// The log is often written by root: no line goes through a planted link,
// outside the folder, or into a folder someone else may change.
TEST_F(TraceLog, NoLineGoesThroughALinkOutOfTheFolderOrIntoAFolderOthersCanChange) {
  const std::string victim = dir.path + "/victim", logs = dir.path + "/logs";
  std::ofstream(victim) << "root's\n";
  ASSERT_EQ(0, ::mkdir(logs.c_str(), 0755));
  ASSERT_EQ(0, ::symlink(victim.c_str(), (logs + "/unit.log").c_str()));
  for (const char* file : {"unit.log", "../escaped.log"}) {
    SCOPED_TRACE(file);
    CFiTraceLogPtr fresh(new CFiTraceLog());
    fresh->initialize("unit", ACE_CString(logs.c_str()), ACE_CString(file), 6, false);
    fresh->trace(1, "written");
    EXPECT_EQ(0u, fresh->path().length());
  }
  std::ifstream kept(victim);
  EXPECT_EQ("root's\n", std::string(std::istreambuf_iterator<char>(kept), {}));
  EXPECT_NE(0, ::access((dir.path + "/escaped.log").c_str(), F_OK));

  const struct {
    mode_t mode;
    uid_t owner;
    std::string why;
  } folders[] = {{0777, ::geteuid(), "is writable by group or others"},
                 {0755, 65534, "belongs to user 65534, neither root nor this process's user"}};
  for (const auto& f : folders) {
    if (f.owner != ::geteuid() && ::geteuid() != 0) continue;  // only root can give a folder away
    ASSERT_EQ(0, ::chmod(dir.path.c_str(), f.mode));
    ASSERT_EQ(0, ::chown(dir.path.c_str(), f.owner, static_cast<gid_t>(-1)));
    CFiTraceLogPtr fresh(new CFiTraceLog());
    initialize(*fresh, 6);
    ::testing::internal::CaptureStderr();
    fresh->trace(1, "written");
    fresh->trace(1, "written again");
    EXPECT_EQ("unit: no trace written: the folder " + dir.path + " " + f.why + "\n",
              ::testing::internal::GetCapturedStderr());
    EXPECT_NE(0, ::access((dir.path + "/unit.log").c_str(), F_OK));
    ASSERT_EQ(0, ::chown(dir.path.c_str(), ::geteuid(), static_cast<gid_t>(-1)));
    ASSERT_EQ(0, ::chmod(dir.path.c_str(), 0700));
  }
}

TEST_F(TraceLog, ProcessesSharingAFileNeverTearLines) {
  const int kProcesses = 4, kLines = 300;
  const std::string payload(200, 'x');
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    pid_t pid = ::fork();
    if (pid == 0) {
      CFiTraceLog child;
      initialize(child, 6);
      for (int i = 0; i < kLines; ++i) child.trace(3, "p%d i%d %s end", p, i, payload.c_str());
      ::_exit(0);
    }
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = 0;
    ::waitpid(pid, &status, 0);
    ASSERT_EQ(0, status);
  }
  const std::vector<std::string> all = lines();
  ASSERT_EQ(static_cast<size_t>(kProcesses * kLines), all.size());
  for (const std::string& line : all) {
    ASSERT_TRUE(line[0] == 'p' && line.size() > 4 && line.compare(line.size() - 4, 4, " end") == 0) << line;
  }
}

}  // namespace
