// fihost's instance-number files with holders that have ended and that still
// run, which a scenario file cannot write; the rest of fihost's cases are in
// fihost.scenarios.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <nlohmann/json.hpp>

#include "plugin_host.h"
#include "process_run.h"

using nlohmann::json;

namespace {

// The small model of fihost.scenarios, enough for fihost to find its arrays.
const char kModel[] =
    "array 410001 vendor=HITACHI maxmmun=8\ncmddev 410001 /dev/sdb ldev=4095\nport 410001 0 fibre\n"
    "hostgroup 410001 0 0 @HOST@\nldev 410001 4095 emulation=OPEN-V-CM props=cmd device=sdb\n"
    "lun 410001 0 0 0 4095\n";
const char kInstanceFile[] = "/UDID##HITACHI##HDS##410001##4095";

struct Record {
  int32_t number, owner;
};

void writeRecords(const std::string& path, const std::vector<Record>& records) {
  ::mkdir(path.substr(0, path.rfind('/')).c_str(), 0755);
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(records.data()), static_cast<std::streamsize>(records.size() * 8));
}

std::vector<Record> readRecords(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<Record> records;
  for (Record r{}; in.read(reinterpret_cast<char*>(&r), sizeof r);) records.push_back(r);
  return records;
}

// A process id no process has any longer: a reaped child's.
pid_t endedProcess() {
  pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  int status = 0;
  ::waitpid(child, &status, 0);
  return child;
}

class FihostInstances : public ::testing::Test {
 protected:
  RunResult fihost(const std::vector<std::string>& args) {
    return runProgram(FIHOST_PATH, args, "", host.dir());
  }
  json parsed(const RunResult& run) {
    json document = json::parse(run.out, nullptr, false);
    EXPECT_FALSE(document.is_discarded()) << "not JSON: " << run.out << run.err;
    return document;
  }
  PluginHost host{kModel};
  const std::string instances = std::string(std::getenv("HITACHIFI_CACHE_DIR")) + "/hitachi";
};

TEST_F(FihostInstances, ReclaimFreesAnEndedHoldersNumberAndKeepsARunningOnes) {
  const std::string file = instances + kInstanceFile;
  const pid_t ended = endedProcess(), running = ::getpid();
  writeRecords(file, {{601, ended}, {602, running}, {603, -1}});
  json before = parsed(fihost({"--json", "instances"}));
  ASSERT_EQ(1u, before["files"].size());
  const json& listed = before["files"][0];
  EXPECT_EQ(1, listed["free"].get<int>());
  ASSERT_EQ(2u, listed["held"].size());
  EXPECT_EQ(ended, listed["held"][0]["pid"].get<int>());
  EXPECT_FALSE(listed["held"][0]["running"].get<bool>());
  EXPECT_TRUE(listed["held"][1]["running"].get<bool>());
  EXPECT_EQ(readRecords(file)[0].owner, ended) << "listing changed the file";

  RunResult run = fihost({"--json", "instances", "--reclaim"});
  ASSERT_EQ(0, run.status) << run.err;
  EXPECT_EQ(std::vector<int>{601}, parsed(run)["files"][0]["reclaimed"].get<std::vector<int>>());
  std::vector<Record> records = readRecords(file);
  ASSERT_EQ(3u, records.size());
  EXPECT_EQ(-1, records[0].owner);
  EXPECT_EQ(running, records[1].owner);
  EXPECT_EQ(-1, records[2].owner);

  std::ofstream(instances + "/UDID##HP##XP##520002##4095") << "thirteen byte";
  RunResult shape = fihost({"instances"});
  EXPECT_EQ(1, shape.status);
  EXPECT_NE(std::string::npos, shape.err.find("not a whole number of 8-byte records")) << shape.err;
}

// Every number held by an ended process: a host problem check reports with a hint.
TEST_F(FihostInstances, CheckFindsAFileWhoseNumbersAreAllHeld) {
  std::vector<Record> full;
  const pid_t ended = endedProcess();
  for (int n = 601; n <= 699; ++n) full.push_back({n, ended});
  writeRecords(instances + kInstanceFile, full);
  RunResult run = fihost({"--json", "check"});
  EXPECT_EQ(1, run.status) << run.err;
  bool failed = false;
  const json doc = parsed(run);
  for (const json& f : doc["host"]) {
    if (f["check"] != "instance file" || f["ok"].get<bool>()) continue;
    failed = true;
    EXPECT_FALSE(f["hint"].get<std::string>().empty());
  }
  EXPECT_TRUE(failed) << run.out;
}

}  // namespace
