// The trace log: line format, entering/exiting lines, level filter, and
// lines of several processes sharing one file.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "cfitracelog.h"

using namespace frim_pdk_4_4;

namespace {

class TraceLog : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/tracelog-test.XXXXXX";
    dir = ::mkdtemp(pattern);
    ::unsetenv("HITACHIFI_TRACE_DIR");
    ::unsetenv("HITACHIFI_TRACE_LEVEL");
    ::unsetenv("HITACHIFI_TRACE_FILE");
    log = CFiTraceLogPtr(new CFiTraceLog());
    log->initialize("unit", ACE_CString(dir.c_str()), ACE_CString(), 6, false);
  }
  void TearDown() override {
    log.release();
    std::string command = "rm -rf " + dir;
    (void)std::system(command.c_str());
  }
  std::vector<std::string> lines() {
    std::ifstream in(dir + "/unit.log");
    std::vector<std::string> out;
    for (std::string line; std::getline(in, line);) out.push_back(line.substr(line.find(": ") + 2));
    return out;
  }

  std::string dir;
  CFiTraceLogPtr log;
};

void traced(const CFiTraceLogPtr& log, bool fail) {
  CFiTraceLogFunction trace(log, "traced", 42, "/src/dir/file.cpp");
  if (fail) throw std::runtime_error("boom");
}

TEST_F(TraceLog, FunctionTraceWritesBothLinesEvenWhenAnExceptionLeaves) {
  traced(log, false);
  EXPECT_THROW(traced(log, true), std::runtime_error);
  const std::string entering = "Entering Function traced [42, file.cpp]";
  const std::string exiting = "Exiting Function traced [42, file.cpp]";
  EXPECT_EQ((std::vector<std::string>{entering, exiting, entering, exiting}), lines());
}

TEST_F(TraceLog, LineZeroShortensOnlyTheExitingLineAndABarePathNamesTheHeader) {
  { CFiTraceLogFunction trace(log, "zero", 0, "/a/b.cpp"); }
  { CFiTraceLogFunction trace(log, "bare", 1, "plain.cpp"); }
  { CFiTraceLogFunction trace(log, nullptr, 1, "/a/b.cpp"); }  // silent
  { CFiTraceLogFunction trace(CFiTraceLogPtr(), "x", 1, "/a/b.cpp"); }
  const std::vector<std::string> written = lines();
  ASSERT_EQ(4u, written.size());
  EXPECT_EQ("Entering Function zero [0, b.cpp]", written[0]);
  EXPECT_EQ("Exiting Function zero", written[1]);
  const std::string header = "/pdk/include/cfitracelog.h]";
  EXPECT_EQ(header, written[2].substr(written[2].size() - header.size())) << written[2];
  EXPECT_EQ(0u, written[2].find("Entering Function bare [1, /"));  // the full path
  EXPECT_EQ(std::string::npos, written[2].find("plain.cpp"));
}

TEST_F(TraceLog, LevelFilterFromInitializeOrEnvironment) {
  log->initialize("unit", ACE_CString(dir.c_str()), ACE_CString(), 2, false);
  log->trace(1, "error %d", 1);
  log->trace(2, "warning");
  log->trace(3, "detail");
  ::setenv("HITACHIFI_TRACE_LEVEL", "1", 1);  // the environment wins over the argument
  log->initialize("unit", ACE_CString(dir.c_str()), ACE_CString(), 6, false);
  ::unsetenv("HITACHIFI_TRACE_LEVEL");
  log->trace(2, "dropped");
  log->trace(1, "kept");
  EXPECT_EQ((std::vector<std::string>{"error 1", "warning", "kept"}), lines());
}

TEST_F(TraceLog, OneLinePerCallWithTimePidAndLevel) {
  log->trace(3, "hello\nworld");
  std::ifstream in(dir + "/unit.log");
  std::string line, extra;
  std::getline(in, line);
  EXPECT_FALSE(std::getline(in, extra));
  std::ostringstream pid;
  pid << "[pid " << ::getpid() << "] L3 unit: hello world";
  EXPECT_NE(std::string::npos, line.find(pid.str())) << line;
  EXPECT_EQ('-', line[4]);  // YYYY-MM-DD
}

TEST_F(TraceLog, UnwritableDirectoryIsSilent) {
  log->initialize("unit", ACE_CString("/proc/no-such-dir"), ACE_CString(), 6, false);
  log->trace(1, "nowhere");
  EXPECT_EQ(0u, log->path().length());
}

TEST_F(TraceLog, ProcessesSharingAFileNeverTearLines) {
  const int kProcesses = 4, kLines = 300;
  std::string payload(200, 'x');
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    pid_t pid = ::fork();
    if (pid == 0) {
      CFiTraceLog child;
      child.initialize("unit", ACE_CString(dir.c_str()), ACE_CString(), 6, false);
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
  std::vector<std::string> all = lines();
  ASSERT_EQ(static_cast<size_t>(kProcesses * kLines), all.size());
  for (const std::string& line : all) {
    ASSERT_EQ('p', line[0]) << line;
    ASSERT_EQ(" end", line.substr(line.size() - 4)) << line;
  }
}

}  // namespace
