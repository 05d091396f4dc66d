// Restore points: snapshot --keep rotating over a source's partners, the
// list of points and whether each is intact, and a restore by id, through
// the real fihost binary on the default model (/dev/sdc is LDEV 256 with
// ShadowImage partners 512, 516 and 517 at mirror units 0 to 2).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "fihost_run.h"

using nlohmann::json;

namespace {

json document(const RunResult& run) {
  json parsed = json::parse(run.out, nullptr, false);
  EXPECT_FALSE(parsed.is_discarded()) << "not JSON: " << run.out << run.err;
  return parsed;
}

// /dev/sdc written with `data`, then a snapshot kept as one of `keep`.
json keep(SimHost& host, const std::string& data, const std::string& keep = "3") {
  EXPECT_EQ(0, host.rmsim({"write", "410001", "256", data}).status);
  RunResult run = host.fihost({"--json", "snapshot", "--keep", keep, "--interval", "0", "/dev/sdc"});
  EXPECT_EQ(0, run.status) << run.out << run.err;
  return document(run)["snapshots"][0];
}

// The points of /dev/sdc, newest first: "LDEV:intact" each.
std::vector<std::string> points(SimHost& host, json* list = nullptr) {
  RunResult run = host.fihost({"--json", "snapshots", "/dev/sdc"});
  EXPECT_EQ(0, run.status) << run.err;
  json doc = document(run);
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
