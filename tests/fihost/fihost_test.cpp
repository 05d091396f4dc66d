// fihost's binary run against the simulator: usage, devices, instances,
// check's host-side problems, JSON documents, state files and restore's
// confirmation. Cases marked DISABLED_ need the plugin's snapshot and restore
// operations and the simulator's LDEV data.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "fihost_run.h"

using nlohmann::json;

namespace {

// One HITACHI array with a command device, one ShadowImage source and a
// Copy-on-Write source; one HP array that this host sees without a command
// device.
const char kModel[] =
    "array 410001 vendor=HITACHI maxmmun=8\n"
    "cmddev 410001 /dev/sdb ldev=4095\n"
    "port 410001 0 fibre\n"
    "hostgroup 410001 0 0 @HOST@\n"
    "ldev 410001 4095 emulation=OPEN-V-CM props=cmd device=sdb\n"
    "ldev 410001 256 props=si,cow device=sdc\n"
    "ldev 410001 512 device=sde\n"
    "lun 410001 0 0 0 4095\n"
    "lun 410001 0 0 1 256\n"
    "lun 410001 0 0 2 512\n"
    "pair 410001 256 0 512 si status=PSUS\n"
    "array 520002 vendor=HP\n"
    "port 520002 0 fibre\n"
    "hostgroup 520002 0 0 @HOST@\n"
    "ldev 520002 300 device=sdj\n"
    "lun 520002 0 0 1 300\n";

json parsed(const RunResult& run) {
  json document = json::parse(run.out, nullptr, false);
  EXPECT_FALSE(document.is_discarded()) << "not JSON: " << run.out << run.err;
  return document;
}

// The findings of a check document, by check name: every detail of that name.
std::multimap<std::string, json> findings(const json& list) {
  std::multimap<std::string, json> byName;
  for (const json& f : list) byName.emplace(f["check"].get<std::string>(), f);
  return byName;
}

struct Record {
  int32_t number;
  int32_t owner;
};

void writeRecords(const std::string& path, const std::vector<Record>& records) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(records.data()), static_cast<std::streamsize>(records.size() * 8));
}

std::vector<Record> readRecords(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<Record> records;
  Record r{};
  while (in.read(reinterpret_cast<char*>(&r), sizeof r)) records.push_back(r);
  return records;
}

// A process id that no process has any longer: a child that has been reaped.
pid_t endedProcess() {
  pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  int status = 0;
  ::waitpid(child, &status, 0);
  return child;
}

TEST(FihostUsage, UsageErrorsExitTwoWithTheUsageLine) {
  SimHost host(kModel);
  const struct {
    std::vector<std::string> args;
    std::string usage;
  } cases[] = {
      {{}, "usage: fihost [OPTIONS] SUBCOMMAND"},
      {{"frobnicate"}, "usage: fihost [OPTIONS] SUBCOMMAND"},
      {{"snapshot"}, "usage: fihost snapshot [OPTIONS] DEVICE..."},
      {{"snapshot", "--wait", "-1", "/dev/sdc"}, "usage: fihost snapshot"},
      {{"snapshot", "--interval", "soon", "/dev/sdc"}, "usage: fihost snapshot"},
      {{"restore"}, "usage: fihost restore [OPTIONS]"},
      {{"restore", "--state", "f", "--timeout", "x"}, "usage: fihost restore"},
      {{"instances", "--reclaim-all"}, "usage: fihost instances"},
      {{"devices", "extra"}, "usage: fihost"},
  };
  for (const auto& c : cases) {
    RunResult run = host.fihost(c.args);
    std::string line;
    for (const std::string& a : c.args) line += a + " ";
    EXPECT_EQ(2, run.status) << line << run.err;
    EXPECT_NE(std::string::npos, run.err.find(c.usage)) << line << run.err;
  }
  RunResult method = host.fihost({"snapshot", "--method", "Mirror", "/dev/sdc"});
  EXPECT_EQ(2, method.status);
  EXPECT_NE(std::string::npos, method.err.find("Hitachi_ShadowImage")) << method.err;  // names the methods
}

TEST(FihostUsage, EverySubcommandHasHelpAndTheManPageHoldsIt) {
  SimHost host(kModel);
  std::ifstream man(FIHOST_MAN);
  const std::string page((std::istreambuf_iterator<char>(man)), std::istreambuf_iterator<char>());
  for (const char* sub : {"devices", "check", "snapshot", "restore", "instances"}) {
    RunResult run = host.fihost({sub, "--help"});
    EXPECT_EQ(0, run.status) << sub;
    EXPECT_NE(std::string::npos, run.out.find(std::string("Usage: fihost ") + sub)) << run.out;
    EXPECT_NE(std::string::npos, run.out.find("2 usage")) << sub << ": exit codes documented";
    EXPECT_NE(std::string::npos, page.find(std::string(".SS ") + sub)) << sub << " missing from the man page";
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
  const json& cmd = byName["/dev/sdb"];
  EXPECT_TRUE(cmd["command_device"].get<bool>());
  EXPECT_EQ("UDID##HITACHI##HDS##410001##4095", cmd["udid"]);
  EXPECT_EQ("OPEN-V-CM", cmd["product"]);
  const json& source = byName["/dev/sdc"];
  EXPECT_FALSE(source["command_device"].get<bool>());
  EXPECT_EQ("410001", source["serial"]);
  EXPECT_EQ("256", source["ldev"]);
  EXPECT_EQ("HITACHI", source["vendor"]);
  EXPECT_EQ("UDID##HP##XP##520002##300", byName["/dev/sdj"]["udid"]);

  RunResult text = host.fihost({"devices"});
  ASSERT_EQ(0, text.status);
  for (const auto& entry : byName) {
    EXPECT_NE(std::string::npos, text.out.find(entry.first + " ")) << text.out;
    EXPECT_NE(std::string::npos, text.out.find(entry.second["udid"].get<std::string>())) << text.out;
  }
}

TEST(FihostInstances, ReclaimFreesAnEndedHoldersNumberAndKeepsARunningOnes) {
  SimHost host(kModel);
  ::mkdir(host.instanceDir().c_str(), 0755);
  const std::string file = host.instanceDir() + "/UDID##HITACHI##HDS##410001##4095";
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
  json after = parsed(run);
  EXPECT_EQ(std::vector<int>{601}, after["files"][0]["reclaimed"].get<std::vector<int>>());
  std::vector<Record> records = readRecords(file);
  ASSERT_EQ(3u, records.size());
  EXPECT_EQ(-1, records[0].owner);
  EXPECT_EQ(running, records[1].owner);
  EXPECT_EQ(-1, records[2].owner);
}

TEST(FihostInstances, AFileOfTheWrongShapeIsAClearErrorNotACrash) {
  SimHost host(kModel);
  ::mkdir(host.instanceDir().c_str(), 0755);
  std::ofstream(host.instanceDir() + "/UDID##HP##XP##520002##4095") << "thirteen byte";
  RunResult run = host.fihost({"instances"});
  EXPECT_EQ(1, run.status);
  EXPECT_NE(std::string::npos, run.err.find("not a whole number of 8-byte records")) << run.err;
}

// Each host-side problem check must find, set up on an otherwise healthy
// host, and the check that reports it.
TEST(FihostCheck, FindsEachHostProblemWithAHint) {
  struct Case {
    const char* what;
    const char* check;
    std::function<void(SimHost&)> setUp;
  };
  const std::vector<Case> cases = {
      {"no RAID Manager library", "library",
       [](SimHost& h) { ::setenv("FRIM_DLOPEN_ROOT", (h.dir() + "/empty").c_str(), 1); }},
      {"missing cache folder", "cache folder",
       [](SimHost& h) { ::setenv("HITACHIFI_CACHE_DIR", (h.dir() + "/no/cache").c_str(), 1); }},
      {"trace folder that cannot be made", "trace file",
       [](SimHost& h) { ::setenv("HITACHIFI_TRACE_DIR", (h.dir() + "/model/log").c_str(), 1); }},
      {"instance numbers all held by ended processes", "instance file",
       [](SimHost& h) {
         ::mkdir(h.instanceDir().c_str(), 0755);
         std::vector<Record> full;
         const pid_t ended = endedProcess();
         for (int n = 601; n <= 699; ++n) full.push_back({n, ended});
         writeRecords(h.instanceDir() + "/UDID##HITACHI##HDS##410001##4095", full);
       }},
  };
  for (const Case& c : cases) {
    SimHost host(kModel);
    c.setUp(host);
    RunResult run = host.fihost({"--json", "check"});
    EXPECT_EQ(1, run.status) << c.what << "\n" << run.err;
    json doc = parsed(run);
    auto found = findings(doc["host"]);
    bool failed = false;
    for (auto it = found.lower_bound(c.check); it != found.upper_bound(c.check); ++it) {
      if (it->second["ok"].get<bool>()) continue;
      failed = true;
      EXPECT_FALSE(it->second["hint"].get<std::string>().empty()) << c.what;
    }
    EXPECT_TRUE(failed) << c.what << ": no failing '" << c.check << "' in " << doc["host"].dump(1);
  }
}

TEST(FihostCheck, AnArrayWithoutCommandDeviceAndAnUnknownDeviceAreProblems) {
  SimHost host(kModel);
  RunResult run = host.fihost({"--json", "check", "/dev/sdz"});
  EXPECT_EQ(1, run.status);
  json doc = parsed(run);
  auto host410 = std::string("array 410001");
  int commandFailures = 0;
  for (const json& f : doc["host"]) {
    if (f["check"] != "command device") continue;
    const std::string detail = f["detail"];
    if (detail.find("array 520002 has no command device") != std::string::npos) {
      EXPECT_FALSE(f["ok"].get<bool>());
      ++commandFailures;
    } else {
      EXPECT_NE(std::string::npos, detail.find(host410)) << detail;
      EXPECT_TRUE(f["ok"].get<bool>()) << detail;  // 410001's command device answers
    }
  }
  EXPECT_EQ(1, commandFailures) << doc["host"].dump(1);
  ASSERT_EQ(1u, doc["devices"].size());
  EXPECT_FALSE(doc["devices"][0]["ok"].get<bool>());
  EXPECT_EQ("device", doc["devices"][0]["checks"][0]["check"]);
  EXPECT_EQ(doc["problems"].get<int>(), 2);
}

TEST(FihostCheck, AHealthyHostPassesInTextAndJson) {
  SimHost host;  // the default model: every array has its command device
  RunResult text = host.fihost({"check"});
  EXPECT_EQ(0, text.status) << text.out << text.err;
  EXPECT_NE(std::string::npos, text.out.find("0 problems found")) << text.out;
  json doc = parsed(host.fihost({"--json", "check"}));
  EXPECT_TRUE(doc["ok"].get<bool>());
  EXPECT_EQ(0, doc["problems"].get<int>());
  for (const json& f : doc["host"]) EXPECT_TRUE(f["ok"].get<bool>()) << f.dump();
  // The check's own instance numbers were given back.
  json instances = parsed(host.fihost({"--json", "instances"}));
  for (const json& file : instances["files"]) EXPECT_TRUE(file["held"].empty()) << file.dump();
}

// A device check of each problem a select meets, and of a ready device.
TEST(FihostCheck, DISABLED_FindsEachDeviceProblemWithAHint) {
  SimHost healthy(kModel);
  json ok = parsed(healthy.fihost({"--json", "check", "/dev/sdc"}));
  ASSERT_TRUE(ok["ok"].get<bool>()) << ok.dump(1);
  const json& device = ok["devices"][0];
  EXPECT_EQ("256", device["source_ldev"]);
  EXPECT_EQ("512", device["target_ldev"]);
  EXPECT_EQ("discovered", device["target_from"]);
  EXPECT_EQ("fihost-test", device["host_group"]["name"]);
  EXPECT_EQ(1, device["lun"].get<int>());
  EXPECT_EQ("PSUS", device["pair"]["state"]);
  EXPECT_TRUE(device["snapshot_possible"].get<bool>());

  struct Case {
    const char* what;
    std::function<void(SimHost&)> setUp;
    const char* hint;
  };
  const std::vector<Case> cases = {
      {"no host group named after this host",
       [](SimHost&) { ::setenv("HITACHIFI_HOSTNAME", "elsewhere", 1); }, "host group"},
      {"simplex pair",
       [](SimHost& h) {
         h.rmsim({"pair", "410001", "256", "0", "SMPL"});
       },
       "pair"},
      {"suspended pair",
       [](SimHost& h) {
         h.rmsim({"pair", "410001", "256", "0", "PSUE"});
       },
       "PSUE"},
      {"malformed configured target",
       [](SimHost&) {
         ::setenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC", "UDID##HITACHI##HDS##410001##256 = 512", 1);
       },
       "snapshot_resource_spec"},
      {"configured target in another array",
       [](SimHost&) {
         ::setenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC",
                  "UDID##HITACHI##HDS##410001##256 = UDID##HP##XP##520002##300", 1);
       },
       "array"},
  };
  for (const Case& c : cases) {
    SimHost host(kModel);
    c.setUp(host);
    RunResult run = host.fihost({"--json", "check", "/dev/sdc"});
    EXPECT_EQ(1, run.status) << c.what;
    json doc = parsed(run);
    std::string hints;
    for (const json& f : doc["devices"][0]["checks"]) hints += f["hint"].get<std::string>() + "\n";
    EXPECT_NE(std::string::npos, hints.find(c.hint)) << c.what << ": " << hints;
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
  void writeState(const std::string& text) { std::ofstream(host.dir() + "/state.json") << text; }
  RunResult restore(const std::string& input, std::vector<std::string> extra = {}) {
    std::vector<std::string> args = {"restore", "--state", host.dir() + "/state.json"};
    args.insert(args.end(), extra.begin(), extra.end());
    return host.fihost(args, input);
  }
  SimHost host{kModel};
};

TEST_F(FihostRestore, MalformedStateFilesAreRefusedByName) {
  const struct {
    std::string text;
    std::string error;
  } cases[] = {
      {"", "not a JSON object"},
      {"[1, 2]", "not a JSON object"},
      {R"({"fihost_state": 9, "snapshots": []})", "\"fihost_state\" is not 1"},
      {R"({"fihost_state": 1, "snapshots": []})", "\"snapshots\" is missing or empty"},
      {R"({"fihost_state": 1, "snapshots": [{"device": "/dev/sdc", "node": "n", "source": "s",
          "snapshot": "t", "method": "Hitachi_ShadowImage"}]})",
       "snapshot 1: \"provider_state\" is missing"},
      {R"({"fihost_state": 1, "snapshots": [7]})", "snapshot 1 is not an object"},
  };
  for (const auto& c : cases) {
    writeState(c.text);
    RunResult run = restore("", {"--yes"});
    EXPECT_EQ(1, run.status) << c.text;
    EXPECT_NE(std::string::npos, run.err.find(c.error)) << c.text << "\n" << run.err;
  }
  RunResult missing = host.fihost({"restore", "--yes", "--state", host.dir() + "/none.json"});
  EXPECT_EQ(1, missing.status);
  EXPECT_NE(std::string::npos, missing.err.find("cannot read the state file")) << missing.err;
}

TEST_F(FihostRestore, UnconfirmedRestoreChangesNothing) {
  writeState(R"({"fihost_state": 1, "snapshots": [{"device": "/dev/sdc",
      "node": "<hitachifi>UDID##HITACHI##HDS##410001##256", "source": "UDID##HITACHI##HDS##410001##256",
      "snapshot": "UDID##HITACHI##HDS##410001##512", "method": "Hitachi_ShadowImage",
      "provider_state": "<VdiskList></VdiskList>"}]})");
  host.rmsim({"reset-counters"});
  for (const char* answer : {"no\n", "", "YES please\n"}) {
    RunResult run = restore(answer);
    EXPECT_EQ(1, run.status) << answer;
    EXPECT_NE(std::string::npos, run.err.find("/dev/sdc")) << "the prompt names the devices: " << run.err;
    EXPECT_NE(std::string::npos, run.err.find("not confirmed")) << run.err;
  }
  RunResult show = host.rmsim({"show"});
  EXPECT_NE(std::string::npos, show.out.find("counters (0)")) << "the array was called:\n" << show.out;
}

// The main job: data written, snapshot in one process, source changed,
// restore in another, and the source holds the snapshot's data again.
TEST(FihostRoundTrip, DISABLED_SnapshotAndRestoreAcrossTwoProcessesForEachMethod) {
  const struct {
    const char* device;
    const char* method;
    const char* serial;
    const char* ldev;
  } cases[] = {{"/dev/sdc", "Hitachi_ShadowImage", "410001", "256"},
               {"/dev/sdo", "Hitachi_CopyOnWrite", "410001", "259"},
               {"/dev/sdj", "HPXP_BusinessCopy", "520002", "300"},
               {"/dev/sdk", "HPXP_Snapshot", "520002", "301"}};
  SimHost host;
  for (const auto& c : cases) {
    const std::string state = host.dir() + "/" + c.method + ".json";
    ASSERT_EQ(0, host.rmsim({"write", c.serial, c.ldev, std::string("before ") + c.method}).status);
    RunResult snap = host.fihost(
        {"--json", "snapshot", "--method", c.method, "--interval", "0", "--state", state, c.device});
    ASSERT_EQ(0, snap.status) << c.method << "\n" << snap.out << snap.err;
    json made = parsed(snap);
    const std::string snapshot = made["snapshots"][0]["snapshot"];
    EXPECT_EQ(0u, snapshot.find(std::string("UDID##"))) << snapshot;
    const std::string target = snapshot.substr(snapshot.rfind("##") + 2);
    EXPECT_EQ(std::string("before ") + c.method, host.rmsim({"read", c.serial, target}).out)
        << "snapshot data";

    ASSERT_EQ(0, host.rmsim({"write", c.serial, c.ldev, "changed"}).status);
    RunResult restored = host.fihost({"--json", "restore", "--yes", "--state", state});
    ASSERT_EQ(0, restored.status) << c.method << "\n" << restored.out << restored.err;
    EXPECT_TRUE(parsed(restored)["ok"].get<bool>());
    EXPECT_EQ(std::string("before ") + c.method, host.rmsim({"read", c.serial, c.ldev}).out) << c.method;
  }
}

TEST(FihostRoundTrip, DISABLED_RestoreTimeoutStopsTheWaitAndReportsThePairsLeft) {
  SimHost host(kModel);
  const std::string state = host.dir() + "/state.json";
  ASSERT_EQ(0, host.fihost({"snapshot", "--interval", "0", "--state", state, "/dev/sdc"}).status);
  host.rmsim({"set", "copy_reads", "1000000"});  // the reverse copy never ends
  RunResult run = host.fihost({"--json", "restore", "--yes", "--timeout", "1", "--state", state});
  EXPECT_EQ(1, run.status);
  json doc = parsed(run);
  EXPECT_TRUE(doc["timed_out"].get<bool>());
  ASSERT_EQ(1u, doc["pairs"].size());
  EXPECT_EQ("RCPY", doc["pairs"][0]["state"]);
}

}  // namespace
