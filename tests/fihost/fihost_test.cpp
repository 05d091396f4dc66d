// fihost's binary run against the simulator as an administrator runs it.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>

#include "fihost_run.h"

using nlohmann::json;

namespace {

// A HITACHI array with a command device, a ShadowImage and Copy-on-Write
// source; an HP array this host sees without a command device.
const char kModel[] =
    "array 410001 vendor=HITACHI maxmmun=8\ncmddev 410001 /dev/sdb ldev=4095\nport 410001 0 fibre\n"
    "hostgroup 410001 0 0 @HOST@\nldev 410001 4095 emulation=OPEN-V-CM props=cmd device=sdb\n"
    "ldev 410001 256 props=si,cow device=sdc\nldev 410001 512 device=sde\nlun 410001 0 0 0 4095\n"
    "lun 410001 0 0 1 256\nlun 410001 0 0 2 512\npair 410001 256 0 512 si status=PSUS\n"
    "array 520002 vendor=HP\nport 520002 0 fibre\nhostgroup 520002 0 0 @HOST@\n"
    "ldev 520002 300 device=sdj\nlun 520002 0 0 1 300\n";
const char kInstanceFile[] = "/UDID##HITACHI##HDS##410001##4095";

json parsed(const RunResult& run) {
  json document = json::parse(run.out, nullptr, false);
  EXPECT_FALSE(document.is_discarded()) << "not JSON: " << run.out << run.err;
  return document;
}

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

TEST(FihostUsage, UsageErrorsExitTwoWithTheUsageLineAndEverySubcommandHasHelp) {
  SimHost host(kModel);
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{}, "usage: fihost [OPTIONS] SUBCOMMAND"},
      {{"frobnicate"}, "usage: fihost [OPTIONS] SUBCOMMAND"},
      {{"snapshot"}, "usage: fihost snapshot [OPTIONS] DEVICE..."},
      {{"snapshot", "--wait", "-1", "/dev/sdc"}, "usage: fihost snapshot"},
      {{"snapshot", "--interval", "soon", "/dev/sdc"}, "usage: fihost snapshot"},
      {{"snapshot", "--method", "Mirror", "/dev/sdc"}, "Hitachi_ShadowImage"},  // names the methods
      {{"restore"}, "usage: fihost restore [OPTIONS]"},
      {{"restore", "--state", "f", "--timeout", "x"}, "usage: fihost restore"},
      {{"instances", "--reclaim-all"}, "usage: fihost instances"},
      {{"devices", "extra"}, "usage: fihost"},
  };
  for (const auto& [args, usage] : cases) {
    RunResult run = host.fihost(args);
    EXPECT_EQ(2, run.status) << usage << run.err;
    EXPECT_NE(std::string::npos, run.err.find(usage)) << run.err;
  }
  std::ifstream man(FIHOST_MAN);
  const std::string page((std::istreambuf_iterator<char>(man)), std::istreambuf_iterator<char>());
  for (const std::string sub : {"devices", "check", "snapshot", "snapshots", "restore", "instances"}) {
    RunResult run = host.fihost({sub, "--help"});
    EXPECT_EQ(0, run.status) << sub;
    EXPECT_NE(std::string::npos, run.out.find("Usage: fihost " + sub)) << run.out;
    EXPECT_NE(std::string::npos, run.out.find("2 usage")) << sub << ": exit codes documented";
    EXPECT_NE(std::string::npos, page.find(".SS " + sub)) << sub << " missing from the man page";
  }
}

TEST(FihostDevices, ListsTheHostsDisksWithTheirArrayIdentity) {
  SimHost host(kModel);
  RunResult run = host.fihost({"--json", "devices"});
  ASSERT_EQ(0, run.status) << run.err;
  json doc = parsed(run);
  EXPECT_TRUE(doc["ok"].get<bool>());
  std::map<std::string, json> byName;
  for (const json& d : doc["devices"]) byName[d["name"]] = d;
  ASSERT_EQ(4u, byName.size()) << run.out;  // sdb, sdc, sde of 410001 and sdj of 520002
  EXPECT_TRUE(byName["/dev/sdb"]["command_device"].get<bool>());
  EXPECT_EQ("UDID##HITACHI##HDS##410001##4095", byName["/dev/sdb"]["udid"]);
  EXPECT_EQ("OPEN-V-CM", byName["/dev/sdb"]["product"]);
  const json& source = byName["/dev/sdc"];
  EXPECT_FALSE(source["command_device"].get<bool>());
  EXPECT_EQ("410001", source["serial"]);
  EXPECT_EQ("256", source["ldev"]);
  EXPECT_EQ("HITACHI", source["vendor"]);
  EXPECT_EQ("UDID##HP##XP##520002##300", byName["/dev/sdj"]["udid"]);
  RunResult text = host.fihost({"devices"});
  ASSERT_EQ(0, text.status);
  for (const auto& [name, device] : byName) {
    EXPECT_NE(std::string::npos, text.out.find(name + " ")) << text.out;
    EXPECT_NE(std::string::npos, text.out.find(device["udid"].get<std::string>())) << text.out;
  }
}

TEST(FihostInstances, ReclaimFreesAnEndedHoldersNumberAndKeepsARunningOnes) {
  SimHost host(kModel);
  const std::string file = host.instanceDir() + kInstanceFile;
  const pid_t ended = endedProcess(), running = ::getpid();
  writeRecords(file, {{601, ended}, {602, running}, {603, -1}});
  json before = parsed(host.fihost({"--json", "instances"}));
  ASSERT_EQ(1u, before["files"].size());
  const json& listed = before["files"][0];
  EXPECT_EQ(1, listed["free"].get<int>());
  ASSERT_EQ(2u, listed["held"].size());
  EXPECT_EQ(ended, listed["held"][0]["pid"].get<int>());
  EXPECT_FALSE(listed["held"][0]["running"].get<bool>());
  EXPECT_TRUE(listed["held"][1]["running"].get<bool>());
  EXPECT_EQ(readRecords(file)[0].owner, ended) << "listing changed the file";

  RunResult run = host.fihost({"--json", "instances", "--reclaim"});
  ASSERT_EQ(0, run.status) << run.err;
  EXPECT_EQ(std::vector<int>{601}, parsed(run)["files"][0]["reclaimed"].get<std::vector<int>>());
  std::vector<Record> records = readRecords(file);
  ASSERT_EQ(3u, records.size());
  EXPECT_EQ(-1, records[0].owner);
  EXPECT_EQ(running, records[1].owner);
  EXPECT_EQ(-1, records[2].owner);

  std::ofstream(host.instanceDir() + "/UDID##HP##XP##520002##4095") << "thirteen byte";
  RunResult shape = host.fihost({"instances"});
  EXPECT_EQ(1, shape.status);
  EXPECT_NE(std::string::npos, shape.err.find("not a whole number of 8-byte records")) << shape.err;
}

// Each host problem set up on an otherwise healthy host, and the check that
// reports it with a hint.
TEST(FihostCheck, FindsEachHostProblemWithAHint) {
  const struct {
    const char* check;
    std::function<void(SimHost&)> setUp;
  } cases[] = {
      {"library", [](SimHost& h) { ::setenv("FRIM_DLOPEN_ROOT", (h.dir() + "/empty").c_str(), 1); }},
      {"cache folder",
       [](SimHost& h) { ::setenv("HITACHIFI_CACHE_DIR", (h.dir() + "/no/cache").c_str(), 1); }},
      {"trace file",
       [](SimHost& h) { ::setenv("HITACHIFI_TRACE_DIR", (h.dir() + "/model/log").c_str(), 1); }},
      {"instance file",  // all numbers held by ended processes
       [](SimHost& h) {
         std::vector<Record> full;
         const pid_t ended = endedProcess();
         for (int n = 601; n <= 699; ++n) full.push_back({n, ended});
         writeRecords(h.instanceDir() + kInstanceFile, full);
       }},
  };
  for (const auto& c : cases) {
    SimHost host(kModel);
    c.setUp(host);
    RunResult run = host.fihost({"--json", "check"});
    EXPECT_EQ(1, run.status) << c.check << "\n" << run.err;
    json doc = parsed(run);
    bool failed = false;
    for (const json& f : doc["host"]) {
      if (f["check"] != c.check || f["ok"].get<bool>()) continue;
      failed = true;
      EXPECT_FALSE(f["hint"].get<std::string>().empty()) << c.check;
    }
    EXPECT_TRUE(failed) << "no failing '" << c.check << "' in " << doc["host"].dump(1);
  }
}

// An array without command device fails a check of the host, but only
// warns when the devices checked are on other arrays.
TEST(FihostCheck, AnArrayWithoutCommandDeviceFailsOnlyTheChecksThatNeedIt) {
  SimHost host(kModel);
  const struct {
    std::vector<std::string> devices;
    bool hpProblem;
    int problems;
  } cases[] = {{{}, true, 1}, {{"/dev/sdc"}, false, 0}, {{"/dev/sdj"}, true, 2}, {{"/dev/sdz"}, false, 1}};
  for (const auto& c : cases) {
    std::vector<std::string> args = {"check", "--json"};  // the global option after the subcommand
    args.insert(args.end(), c.devices.begin(), c.devices.end());
    RunResult run = host.fihost(args);
    EXPECT_EQ(c.problems ? 1 : 0, run.status) << run.err;
    json doc = parsed(run);
    for (const json& f : doc["host"]) {
      if (f["check"] != "command device") continue;
      const std::string detail = f["detail"];
      const bool hp = detail.find("array 520002 has no command device") != std::string::npos;
      EXPECT_EQ(hp && c.hpProblem, !f["ok"].get<bool>()) << detail;
      EXPECT_EQ(hp && !c.hpProblem, f["warning"].get<bool>()) << detail;
    }
    EXPECT_EQ(c.problems, doc["problems"].get<int>()) << doc.dump(1);
  }
}

TEST(FihostCheck, AHealthyHostPassesInTextAndJsonAndGivesItsNumbersBack) {
  SimHost host;  // the default model: every array has its command device
  RunResult text = host.fihost({"check"});
  EXPECT_EQ(0, text.status) << text.out << text.err;
  EXPECT_NE(std::string::npos, text.out.find("0 problems found")) << text.out;
  json doc = parsed(host.fihost({"--json", "check"}));
  EXPECT_TRUE(doc["ok"].get<bool>());
  EXPECT_EQ(0, doc["problems"].get<int>());
  for (const json& f : doc["host"]) EXPECT_TRUE(f["ok"].get<bool>()) << f.dump();
  const json instances = parsed(host.fihost({"--json", "instances"}));
  for (const json& file : instances["files"]) EXPECT_TRUE(file["held"].empty()) << file.dump();
}

TEST(FihostCheck, FindsEachDeviceProblemWithAHint) {
  SimHost healthy(kModel);
  json ok = parsed(healthy.fihost({"--json", "check", "/dev/sdc"}));
  const json& device = ok["devices"][0];
  ASSERT_TRUE(device["ok"].get<bool>()) << ok.dump(1);
  EXPECT_EQ("256", device["source_ldev"]);
  EXPECT_EQ("512", device["target_ldev"]);
  EXPECT_EQ("discovered", device["target_from"]);
  EXPECT_EQ("fihost-test", device["host_group"]["name"]);
  EXPECT_EQ(1, device["lun"].get<int>());
  EXPECT_EQ("PSUS", device["pair"]["state"]);
  EXPECT_TRUE(device["snapshot_possible"].get<bool>());

  const char* const kTargets = "HITACHIFI_SNAPSHOT_RESOURCE_SPEC";
  const struct {
    const char *variable, *value, *pairStatus, *hint;
  } cases[] = {
      {"HITACHIFI_HOSTNAME", "elsewhere", nullptr, "host group"},  // no host group named after this host
      {nullptr, nullptr, "SMPL", "pair"},
      {nullptr, nullptr, "PSUE", "PSUE"},
      {kTargets, "UDID##HITACHI##HDS##410001##256 = 512", nullptr, "snapshot_resource_spec"},
      {kTargets, "UDID##HITACHI##HDS##410001##256 = UDID##HP##XP##520002##300", nullptr, "another array"},
  };
  for (const auto& c : cases) {
    SimHost host(kModel);
    if (c.variable) ::setenv(c.variable, c.value, 1);
    if (c.pairStatus) host.rmsim({"pair", "410001", "256", "0", c.pairStatus});
    RunResult run = host.fihost({"--json", "check", "/dev/sdc"});
    EXPECT_EQ(1, run.status) << c.hint;
    std::string hints;
    const json doc = parsed(run);
    for (const json& f : doc["devices"][0]["checks"]) hints += f["hint"].get<std::string>() + "\n";
    EXPECT_NE(std::string::npos, hints.find(c.hint)) << hints;
  }
}

TEST(FihostSnapshot, AnUnknownDeviceFailsBeforeThePluginIsTouched) {
  SimHost host(kModel);
  RunResult text = host.fihost({"snapshot", "/dev/sdz"});
  EXPECT_EQ(1, text.status);
  EXPECT_NE(std::string::npos, text.err.find("/dev/sdz is not a disk of this host")) << text.err;
  RunResult notArray = host.fihost({"--json", "snapshot", "UDID##HITACHI##HDS"});
  EXPECT_EQ(1, notArray.status);
  json doc = parsed(notArray);
  EXPECT_FALSE(doc["ok"].get<bool>());
  EXPECT_NE(std::string::npos, doc["error"].get<std::string>().find("UDID##VENDOR##PRODUCT##SERIAL##LDEV"));
  EXPECT_TRUE(doc["messages"].is_array());
  EXPECT_EQ("snapshot", doc["command"]);
}

class FihostRestore : public ::testing::Test {
 protected:
  RunResult restore(const std::string& state, const std::string& input, const std::string& extra = "") {
    std::ofstream(host.dir() + "/state.json") << state;
    std::vector<std::string> args = {"restore", "--state", host.dir() + "/state.json"};
    if (!extra.empty()) args.push_back(extra);
    return host.fihost(args, input);
  }
  SimHost host{kModel};
};

TEST_F(FihostRestore, MalformedStateFilesAreRefusedByName) {
  const std::pair<std::string, std::string> cases[] = {
      {"", "not a JSON object"},
      {"[1, 2]", "not a JSON object"},
      {R"({"fihost_state": 9, "snapshots": []})", "\"fihost_state\" is not 1"},
      {R"({"fihost_state": 1, "snapshots": []})", "\"snapshots\" is missing or empty"},
      {R"({"fihost_state": 1, "snapshots": [{"device": "/dev/sdc", "node": "n", "source": "s",
          "snapshot": "t", "method": "Hitachi_ShadowImage"}]})",
       "snapshot 1: \"provider_state\" is missing"},
      {R"({"fihost_state": 1, "snapshots": [7]})", "snapshot 1 is not an object"},
  };
  for (const auto& [text, error] : cases) {
    RunResult run = restore(text, "", "--yes");
    EXPECT_EQ(1, run.status) << text;
    EXPECT_NE(std::string::npos, run.err.find(error)) << text << "\n" << run.err;
  }
  RunResult missing = host.fihost({"restore", "--yes", "--state", host.dir() + "/none.json"});
  EXPECT_EQ(1, missing.status);
  EXPECT_NE(std::string::npos, missing.err.find("cannot read the state file")) << missing.err;
}

TEST_F(FihostRestore, UnconfirmedRestoreChangesNothing) {
  host.rmsim({"reset-counters"});
  for (const char* answer : {"no\n", "", "YES please\n"}) {
    RunResult run = restore(R"({"fihost_state": 1, "snapshots": [{"device": "/dev/sdc",
        "node": "<hitachifi>UDID##HITACHI##HDS##410001##256", "source": "UDID##HITACHI##HDS##410001##256",
        "snapshot": "UDID##HITACHI##HDS##410001##512", "method": "Hitachi_ShadowImage",
        "provider_state": "<VdiskList></VdiskList>"}]})",
                            answer);
    EXPECT_EQ(3, run.status) << answer;
    EXPECT_NE(std::string::npos, run.err.find("/dev/sdc")) << "the prompt names the devices: " << run.err;
    EXPECT_NE(std::string::npos, run.err.find("not confirmed")) << run.err;
  }
  RunResult show = host.rmsim({"show"});
  EXPECT_NE(std::string::npos, show.out.find("counters (0)")) << "the array was called:\n" << show.out;
}

// Data written, snapshot in one process, source changed, restore in
// another: the source holds the snapshot's data again.
TEST(FihostRoundTrip, SnapshotAndRestoreAcrossTwoProcessesForEachMethod) {
  const struct {
    const char *device, *method, *serial, *ldev;
  } cases[] = {{"/dev/sdc", "Hitachi_ShadowImage", "410001", "256"},
               {"/dev/sdo", "Hitachi_CopyOnWrite", "410001", "259"},
               {"/dev/sdj", "HPXP_BusinessCopy", "520002", "300"},
               {"/dev/sdk", "HPXP_Snapshot", "520002", "301"}};
  SimHost host;
  for (const auto& c : cases) {
    const std::string state = host.dir() + "/" + c.method + ".json", data = std::string("before ") + c.method;
    ASSERT_EQ(0, host.rmsim({"write", c.serial, c.ldev, data}).status);
    RunResult snap = host.fihost(
        {"--json", "snapshot", "--method", c.method, "--interval", "0", "--state", state, c.device});
    ASSERT_EQ(0, snap.status) << c.method << "\n" << snap.out << snap.err;
    const std::string snapshot = parsed(snap)["snapshots"][0]["snapshot"];
    EXPECT_EQ(0u, snapshot.find("UDID##")) << snapshot;
    EXPECT_EQ(data, host.rmsim({"read", c.serial, snapshot.substr(snapshot.rfind("##") + 2)}).out);

    ASSERT_EQ(0, host.rmsim({"write", c.serial, c.ldev, "changed"}).status);
    RunResult restored = host.fihost({"--json", "restore", "--yes", "--state", state});
    ASSERT_EQ(0, restored.status) << c.method << "\n" << restored.out << restored.err;
    EXPECT_TRUE(parsed(restored)["ok"].get<bool>());
    EXPECT_EQ(data, host.rmsim({"read", c.serial, c.ldev}).out) << c.method;
  }
}

TEST(FihostRoundTrip, RestoreTimeoutStopsTheWaitAndReportsThePairsLeft) {
  SimHost host(kModel);
  const std::string state = host.dir() + "/state.json";
  ASSERT_EQ(0, host.fihost({"snapshot", "--interval", "0", "--state", state, "/dev/sdc"}).status);
  host.rmsim({"set", "copy_reads", "1000000"});  // the reverse copy never ends
  RunResult run = host.fihost({"--json", "restore", "--yes", "--timeout", "1", "--state", state});
  EXPECT_EQ(124, run.status);
  json doc = parsed(run);
  EXPECT_TRUE(doc["timed_out"].get<bool>());
  ASSERT_EQ(1u, doc["pairs"].size());
  EXPECT_EQ("RCPY", doc["pairs"][0]["state"]);
}

}  // namespace
