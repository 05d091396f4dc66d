// fihost's binary run against the simulator as an administrator runs it.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "plugin_host.h"
#include "process_run.h"

using nlohmann::json;

namespace {

// fihost and rmsim run as separate processes in a private simulated host
// named "fihost-test", its model (rmsim's model text; the default model when
// empty) loaded and the sysfs tree of its host disks written.
class SimHost : public SimulatedHost {
 public:
  explicit SimHost(const std::string& model = "") : SimulatedHost("fihost-test") {
    std::ofstream(dir() + "/model") << model;
    const RunResult loaded =
        model.empty() ? rmsim({"init", "fihost-test"}) : rmsim({"load", dir() + "/model", "fihost-test"});
    if (loaded.status != 0) throw std::runtime_error("rmsim cannot load the model: " + loaded.err);
    if (rmsim({"sysfs", sysfs()}).status != 0) throw std::runtime_error("rmsim sysfs failed");
  }
  RunResult fihost(const std::vector<std::string>& args, const std::string& input = "") const {
    return runProgram(FIHOST_PATH, args, input, dir());
  }
  RunResult rmsim(const std::vector<std::string>& args) const {
    return runProgram(RMSIM_PATH, args, "", dir());
  }
};

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
      {{"snapshot", "--wait", "-1", "/dev/sdc"}, "--wait: must be 0 or more, not -1"},
      {{"snapshot", "--interval", "soon", "/dev/sdc"}, "usage: fihost snapshot"},
      {{"snapshot", "--method", "Mirror", "/dev/sdc"}, "Hitachi_ShadowImage"},  // names the methods
      {{"restore"}, "usage: fihost restore [OPTIONS] [FILE]"},
      {{"restore", "a.json", "--state", "b.json"}, "excludes"},
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
  for (const char* section : {".SH EXAMPLES", ".SH FILES", ".SH ENVIRONMENT", ".SH \"EXIT STATUS\"", "124"})
    EXPECT_NE(std::string::npos, page.find(section)) << section << " missing from the man page";
  RunResult rmsimHelp = host.rmsim({"--help"});
  EXPECT_EQ(0, rmsimHelp.status);
  EXPECT_EQ(0u, rmsimHelp.out.find("usage: rmsim")) << rmsimHelp.out;
  // Global options where people type them: after the subcommand.
  RunResult plugin = host.fihost({"check", "--plugin", "/no/plugin.so", "/dev/sdc"});
  EXPECT_EQ(1, plugin.status);
  EXPECT_NE(std::string::npos, plugin.err.find("cannot load the plugin /no/plugin.so")) << plugin.err;
}

TEST(FihostDevices, ListsTheHostsDisksWithTheirArrayIdentity) {
  SimHost host(kModel);
  RunResult run = host.fihost({"devices", "--json"});
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
  bool warned = false;
  const json checked = parsed(host.fihost({"--json", "check"}));
  for (const json& f : checked["host"])
    warned |= f["check"] == "instance file" && f["warning"].get<bool>() &&
              f["hint"].get<std::string>().find("fihost instances --reclaim") != std::string::npos;
  EXPECT_TRUE(warned) << checked.dump(1);

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
  EXPECT_EQ(0, device["pair"]["mirror_unit"].get<int>());
  EXPECT_TRUE(device["snapshot_possible"].get<bool>());
  EXPECT_NE(std::string::npos,
            healthy.fihost({"check", "/dev/sdc"}).out.find("partner LDEV 512 at mirror unit 0"));

  const char* const kTargets = "HITACHIFI_SNAPSHOT_RESOURCE_SPEC";
  const struct {
    const char *variable, *value, *pairStatus, *hint, *device = "/dev/sdc", *method = nullptr;
  } cases[] = {
      {"HITACHIFI_HOSTNAME", "elsewhere", nullptr, "host group"},  // no host group named after this host
      {nullptr, nullptr, "SMPL", "pair"},
      {nullptr, nullptr, "PSUE", "PSUE"},
      {kTargets, "UDID##HITACHI##HDS##410001##256 = 512", nullptr, "snapshot_resource_spec"},
      {kTargets, "UDID##HITACHI##HDS##410001##256 = UDID##HP##XP##520002##300", nullptr, "another array"},
      {nullptr, nullptr, nullptr, "snapshot the primary /dev/sdc instead", "/dev/sde"},
      {nullptr, nullptr, nullptr, "the command device only carries", "/dev/sdb"},
      {nullptr, nullptr, nullptr, "is a method of HP XP arrays", "/dev/sdc", "HPXP_Snapshot"},
  };
  for (const auto& c : cases) {
    SimHost host(kModel);
    if (c.variable) ::setenv(c.variable, c.value, 1);
    if (c.pairStatus) host.rmsim({"pair", "410001", "256", "0", c.pairStatus});
    std::vector<std::string> args = {"--json", "check", c.device};
    if (c.method) args.insert(args.end(), {"--method", c.method});
    RunResult run = host.fihost(args);
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

// What cannot end in a recorded snapshot is refused before the first resync
// where it can be seen then, and as soon as it shows while waiting.
TEST(FihostSnapshot, RefusesWhatCannotSucceedWithCheckHintAndSaysWhatItLeft) {
  const struct {
    std::vector<std::string> setUp;  // an rmsim command, or none
    std::vector<std::string> args;
    int status;
    const char* says;
    bool resynced;
  } cases[] = {
      {{},
       {"/dev/sde"},
       1,
       "(ZFI_E_INVALID: refused request or invalid argument); nothing was changed: /dev/sde (LDEV 512) "
       "is the secondary volume of a pair whose primary is LDEV 256 (/dev/sdc)",
       false},
      {{}, {"--method", "HPXP_Snapshot", "/dev/sdc"}, 2, "is a method of HP XP arrays", false},
      {{}, {"--state", "/no/folder/s.json", "/dev/sdc"}, 1, "cannot be written", false},
      {{"pair", "410001", "256", "0", "PSUE"},
       {"/dev/sdc"},
       1,
       "PSUE; nothing was changed: the pair is suspended",
       false},
      {{"suspend", "410001", "256", "0", "copy-end"},
       {"/dev/sdc"},
       1,
       "PSUE and can never become ready",
       true},
      {{"set", "copy_reads", "1000000"}, {"--wait", "0", "/dev/sdc"}, 124, "left COPY", true},
      {{"fault", "pairresync", "206", "1", "boom"},
       {"/dev/sdc"},
       1,
       "FILE=providers/hitachi/hitachi_pairops.cpp",
       true},
  };
  for (const auto& c : cases) {
    SimHost host;
    if (!c.setUp.empty()) {
      ASSERT_EQ(0, host.rmsim(c.setUp).status);
    }
    host.rmsim({"journal", "--clear"});
    std::vector<std::string> args = {"snapshot", "--interval", "0"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    RunResult run = host.fihost(args);
    EXPECT_EQ(c.status, run.status) << c.says << "\n" << run.err;
    EXPECT_NE(std::string::npos, run.err.find(c.says)) << run.err;
    EXPECT_EQ(c.resynced, host.rmsim({"journal"}).out.find("pairresync") != std::string::npos) << c.says;
  }
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
    int mirrorUnit;
  } cases[] = {{"/dev/sdc", "Hitachi_ShadowImage", "410001", "256", 0},
               {"/dev/sdo", "Hitachi_CopyOnWrite", "410001", "259", 3},
               {"/dev/sdj", "HPXP_BusinessCopy", "520002", "300", 0},
               {"/dev/sdk", "HPXP_Snapshot", "520002", "301", 3}};
  SimHost host;
  for (const auto& c : cases) {
    const std::string state = host.dir() + "/" + c.method + ".json", data = std::string("before ") + c.method;
    ASSERT_EQ(0, host.rmsim({"write", c.serial, c.ldev, data}).status);
    RunResult snap = host.fihost(
        {"--json", "snapshot", "--method", c.method, "--interval", "0", "--state", state, c.device});
    ASSERT_EQ(0, snap.status) << c.method << "\n" << snap.out << snap.err;
    const std::string snapshot = parsed(snap)["snapshots"][0]["snapshot"];
    EXPECT_EQ(c.mirrorUnit, parsed(snap)["snapshots"][0]["mirror_unit"].get<int>()) << c.method;
    EXPECT_EQ(0u, snapshot.find("UDID##")) << snapshot;
    EXPECT_EQ(data, host.rmsim({"read", c.serial, snapshot.substr(snapshot.rfind("##") + 2)}).out);

    ASSERT_EQ(0, host.rmsim({"write", c.serial, c.ldev, "changed"}).status);
    RunResult restored = host.fihost({"--json", "restore", "--yes", "--state", state});
    ASSERT_EQ(0, restored.status) << c.method << "\n" << restored.out << restored.err;
    EXPECT_TRUE(parsed(restored)["ok"].get<bool>());
    EXPECT_EQ(data, host.rmsim({"read", c.serial, c.ldev}).out) << c.method;
  }
}

// One partner holds one snapshot: Monday's state file, once Tuesday's
// snapshot has overwritten its partner, would restore Tuesday's data.
TEST(FihostRoundTrip, AStateFileWhosePartnerALaterSnapshotOverwroteIsRefused) {
  SimHost host;
  const std::string mon = host.dir() + "/mon.json", tue = host.dir() + "/tue.json";
  host.rmsim({"write", "410001", "256", "MONDAY"});
  ASSERT_EQ(0, host.fihost({"snapshot", "--interval", "0", "--state", mon, "/dev/sdc"}).status);
  host.rmsim({"write", "410001", "256", "TUESDAY"});
  RunResult tuesday = host.fihost({"snapshot", "--interval", "0", "--state", tue, "/dev/sdc"});
  ASSERT_EQ(0, tuesday.status) << tuesday.err;
  EXPECT_NE(std::string::npos,
            tuesday.out.find("partner LDEV 512 of array 410001, mirror unit 0 (PSUS) will be "
                             "overwritten; it holds snapshot 1 of /dev/sdc taken 20"))
      << tuesday.out;
  host.rmsim({"write", "410001", "256", "WEDNESDAY"});

  RunResult stale = host.fihost({"restore", "--yes", mon});
  EXPECT_EQ(1, stale.status);
  EXPECT_NE(std::string::npos, stale.err.find("is stale: the snapshot of /dev/sdc taken 20")) << stale.err;
  EXPECT_NE(std::string::npos, stale.err.find("was replaced by snapshot 2 taken 20")) << stale.err;
  EXPECT_NE(std::string::npos, stale.err.find("(state file " + tue + ")")) << stale.err;
  EXPECT_EQ("WEDNESDAY", host.rmsim({"read", "410001", "256"}).out);

  RunResult asked = host.fihost({"restore", tue}, "no\n");
  EXPECT_EQ(3, asked.status);
  EXPECT_NE(std::string::npos, asked.err.find("<- UDID##HITACHI##HDS##410001##512, taken 20")) << asked.err;
  ASSERT_EQ(0, host.fihost({"restore", "--yes", tue}).status);
  EXPECT_EQ("TUESDAY", host.rmsim({"read", "410001", "256"}).out);
}

// A restore ends, with the pairs' states, on a pair that fails, on the time
// limit; the numbers its killed child held are given back.
TEST(FihostRoundTrip, RestoreEndsOnAFailedPairOrTheTimeLimitAndReportsThePairsLeft) {
  const struct {
    std::vector<std::string> setUp, extra;
    int status;
    const char *state, *next;
  } cases[] = {
      {{"suspend", "410001", "256", "0", "copy-end"}, {}, 1, "PSUE", "resynchronise it on the array"},
      {{"set", "copy_reads", "1000000"}, {"--timeout", "1"}, 124, "RCPY", "run fihost restore"},
  };
  for (const auto& c : cases) {
    SimHost host(kModel);
    const std::string state = host.dir() + "/state.json";
    ASSERT_EQ(0, host.fihost({"snapshot", "--interval", "0", "--state", state, "/dev/sdc"}).status);
    host.rmsim({"set", "copy_reads", "3"});
    host.rmsim(c.setUp);
    std::vector<std::string> args = {"--json", "restore", "--yes", state};
    args.insert(args.end(), c.extra.begin(), c.extra.end());
    RunResult run = host.fihost(args);
    EXPECT_EQ(c.status, run.status) << run.err;
    json doc = parsed(run);
    EXPECT_EQ(c.status == 124, doc["timed_out"].get<bool>());
    ASSERT_EQ(1u, doc["pairs"].size());
    EXPECT_EQ(c.state, doc["pairs"][0]["state"]);
    EXPECT_NE(std::string::npos, doc["pairs"][0]["next"].get<std::string>().find(c.next)) << doc.dump(1);
    const json instances = parsed(host.fihost({"--json", "instances"}));
    for (const json& file : instances["files"]) EXPECT_TRUE(file["held"].empty()) << file.dump();
  }
}

// Restore points: snapshot --keep rotating over a source's partners, the
// list of points and whether each is intact, and a restore by id, on the
// default model (/dev/sdc is LDEV 256 with ShadowImage partners 512, 516
// and 517 at mirror units 0 to 2).

// /dev/sdc written with `data`, then a snapshot kept as one of `keep`.
json keep(SimHost& host, const std::string& data, const std::string& keep = "3") {
  EXPECT_EQ(0, host.rmsim({"write", "410001", "256", data}).status);
  RunResult run = host.fihost({"--json", "snapshot", "--keep", keep, "--interval", "0", "/dev/sdc"});
  EXPECT_EQ(0, run.status) << run.out << run.err;
  return parsed(run)["snapshots"][0];
}

// The points of /dev/sdc, newest first: "LDEV:intact" each.
std::vector<std::string> points(SimHost& host, json* list = nullptr) {
  RunResult run = host.fihost({"--json", "snapshots", "/dev/sdc"});
  EXPECT_EQ(0, run.status) << run.err;
  json doc = parsed(run);
  std::vector<std::string> shown;
  for (const json& p : doc["snapshots"]) {
    const std::string partner = p["partner"];
    shown.push_back(partner.substr(partner.rfind("##") + 2) + (p["intact"].get<bool>() ? ":intact" : ":not"));
  }
  if (list) *list = doc["snapshots"];
  return shown;
}

std::string id(const json& point) { return std::to_string(point["id"].get<long long>()); }

std::string pairCalls(SimHost& host) {
  std::string calls;
  for (const char* call : {"pairresync", "pairsplit"})
    if (host.rmsim({"journal"}).out.find(call) != std::string::npos) calls += call;
  return calls;
}

TEST(FihostRestorePoints, KeepRotatesOverThePartnersAndRestoresAnIntactPointById) {
  SimHost host;
  // A partner holding no recorded point first, in mirror-unit order; then
  // the one holding the oldest.
  const int mirrorUnits[] = {0, 1, 2, 0};
  for (int g = 0; g < 4; ++g)
    EXPECT_EQ(mirrorUnits[g], keep(host, "generation " + std::to_string(g + 1))["mirror_unit"].get<int>())
        << g;
  json list;
  const std::vector<std::string> before = {"512:intact", "517:intact", "516:intact", "512:not"};
  ASSERT_EQ(before, points(host, &list));
  EXPECT_NE(std::string::npos, list[3]["why"].get<std::string>().find("replaced by snapshot " + id(list[0])));

  ASSERT_EQ(0, host.rmsim({"write", "410001", "256", "overwritten"}).status);
  RunResult restored = host.fihost({"restore", "--yes", "--snapshot", id(list[2])});
  ASSERT_EQ(0, restored.status) << restored.out << restored.err;
  EXPECT_EQ("generation 2", host.rmsim({"read", "410001", "256"}).out);
  EXPECT_EQ(before, points(host)) << "a restore leaves every point where it was";
}

// Refusals that leave the array as it was: no pair is resynchronised or split.
TEST(FihostRestorePoints, KeepAndRestoreRefusalsChangeNothing) {
  const struct {
    std::vector<std::string> args;
    int status;
    const char* error;
  } rows[] = {
      {{"snapshot", "--keep", "4", "/dev/sdc"},
       1,
       "it has 3: LDEV 512 (mirror unit 0), LDEV 516 (mirror unit 1), LDEV 517 (mirror unit 2)"},
      {{"snapshot", "--keep", "2", "--method", "Hitachi_CopyOnWrite", "/dev/sdc"},
       1,
       "it has 1: LDEV 768 (mirror unit 3)"},
      {{"snapshot", "--keep", "0", "/dev/sdc"}, 2, "--keep"},
      {{"restore", "--yes", "--snapshot", "9"}, 1, "no snapshot 9 in the catalogue"},
      {{"restore", "--snapshot", "1", "--state", "s.json"}, 2, "excludes"},
      {{"restore", "--yes"}, 2, "or --snapshot ID"},
  };
  SimHost host;
  keep(host, "kept", "1");
  ASSERT_EQ(0, host.rmsim({"journal", "--clear"}).status);
  for (const auto& row : rows) {
    RunResult run = host.fihost(row.args);
    EXPECT_EQ(row.status, run.status) << row.error << "\n" << run.err;
    EXPECT_NE(std::string::npos, run.err.find(row.error)) << run.err;
  }
  EXPECT_EQ("", pairCalls(host));
}

// An administrator changed the pair of a point after it was taken: the
// point is shown not intact, and its restore is refused before anything
// changes. The other point stays intact.
TEST(FihostRestorePoints, APointWhosePairWasChangedIsNotIntactAndNotRestored) {
  const struct {
    const char *status, *why;
  } rows[] = {{"PAIR", "the pair is PAIR: resynchronised since"},
              {"PSUE", "the pair is PSUE"},
              {"SMPL", "LDEV 516 is no longer paired with the source"}};
  for (const auto& row : rows) {
    SimHost host;
    keep(host, "first");
    keep(host, "second");  // on 516 at mirror unit 1
    ASSERT_EQ(0, host.rmsim({"pair", "410001", "256", "1", row.status}).status);
    json list;
    EXPECT_EQ((std::vector<std::string>{"516:not", "512:intact"}), points(host, &list)) << row.status;
    EXPECT_EQ(row.why, list[0]["why"]);
    ASSERT_EQ(0, host.rmsim({"journal", "--clear"}).status);
    RunResult run = host.fihost({"restore", "--yes", "--snapshot", id(list[0])});
    EXPECT_EQ(1, run.status) << row.status;
    EXPECT_NE(std::string::npos, run.err.find("can no longer be restored: " + std::string(row.why)))
        << run.err;
    EXPECT_EQ("", pairCalls(host)) << row.status;
  }
}

// A run killed after it set out to overwrite a partner: the catalogue keeps
// every entry whole. The killed run's entry is no restore point, the point
// it overwrote is no longer intact, and the next run takes that partner
// first since it holds nothing worth keeping.
TEST(FihostRestorePoints, ARunKilledMidwayLeavesTheCatalogueWhole) {
  SimHost host;
  keep(host, "first");                                                // on 512
  ASSERT_EQ(0, host.rmsim({"set", "copy_reads", "1000000"}).status);  // the resync never ends
  ASSERT_EQ(0, host.rmsim({"journal", "--clear"}).status);
  const pid_t run = ::fork();
  if (run == 0) {
    ::freopen("/dev/null", "w", stdout);
    ::freopen("/dev/null", "w", stderr);
    ::execl(FIHOST_PATH, FIHOST_PATH, "snapshot", "--keep", "1", "--interval", "0.01", "/dev/sdc", nullptr);
    ::_exit(127);
  }
  // The catalogue is written before the resync: once the array has seen
  // it, the run is killed wherever it is.
  while (host.rmsim({"journal"}).out.find("pairresync") == std::string::npos) {
    ASSERT_EQ(0, ::waitpid(run, nullptr, WNOHANG)) << "the run ended before its resync";
  }
  ::kill(run, SIGKILL);
  ::waitpid(run, nullptr, 0);

  json list;
  EXPECT_EQ(std::vector<std::string>{"512:not"}, points(host, &list));
  EXPECT_NE(std::string::npos, list[0]["why"].get<std::string>().find("replaced by snapshot 2 started"));
  // The copy the killed run started never ends; the administrator splits it.
  ASSERT_EQ(0, host.rmsim({"set", "copy_reads", "2"}).status);
  ASSERT_EQ(0, host.rmsim({"pair", "410001", "256", "0", "PSUS"}).status);
  EXPECT_EQ(0, keep(host, "second", "2")["mirror_unit"].get<int>());
}

}  // namespace
