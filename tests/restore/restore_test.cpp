// Restore through the C ABI: each pair is copied back (reverse resync) and
// polled until it is split again.
#include <algorithm>
#include <cstring>
#include <sstream>

#include "plugin_host.h"

namespace {

const int kPSUS = 4;
const std::string kSource256 = "UDID##HITACHI##HDS##410001##256",
                  kSnap512 = "UDID##HITACHI##HDS##410001##512";
const std::pair<std::string, std::string> kPair256 = {kSource256, kSnap512},
                                          kPair257 = {"UDID##HITACHI##HDS##410001##257",
                                                      "UDID##HITACHI##HDS##410001##513"},
                                          kPair300 = {"UDID##HP##XP##520002##300",
                                                      "UDID##HP##XP##520002##600"};
using Pairs = std::vector<std::pair<std::string, std::string>>;

// The traced status reads ("PSUS RCPY ...") from the `from`-th level 3 text;
// the reads of the copy pace before a resync or split are not traced.
std::string statusReads(const std::string& trace, size_t from = 0) {
  std::string reads;
  const std::vector<std::string> texts = traceTexts(trace, 3);
  for (size_t i = from; i < texts.size(); ++i)
    if (texts[i].compare(0, 14, "Pair status  :") == 0)
      reads += (reads.empty() ? "" : " ") + texts[i].substr(14, 4);
  return reads;
}

struct PairRef {
  int serial, pvol, mu;
};

struct WalkCase {
  const char* name;
  Pairs pairs;
  std::vector<PairRef> arrayPairs;
  const char* copyReads;
  int startStatus;  // of the first pair before the call; 0: as modelled
  const char* reads;
  int resyncs, splits;
};

void PrintTo(const WalkCase& c, std::ostream* out) { *out << c.name; }

class RestoreWalk : public PluginOnSimulator, public ::testing::WithParamInterface<WalkCase> {};

TEST_P(RestoreWalk, EachPairIsCopiedBackAndLeftSplit) {
  const WalkCase& c = GetParam();
  rm.setSetting("copy_reads", c.copyReads);
  const PairRef& first = c.arrayPairs.front();
  if (c.startStatus) sim.setPairStatus(first.serial, first.pvol, first.mu, c.startStatus);
  sim.clearJournal();
  sim.resetCounters();
  ASSERT_EQ(0, plugin->restore(c.pairs));
  EXPECT_EQ(c.reads, statusReads(tracePath()));
  int resyncs = 0, splits = 0;
  for (const rmsim::CallRecord& call : sim.journal()) {
    resyncs += call.function == "pairresync";
    if (call.function == "pairresync") {
      EXPECT_EQ(1, call.option) << "a restore copies in reverse";
    }
    splits += call.function == "pairsplit";
    EXPECT_EQ(0, call.result) << call.function;
  }
  EXPECT_EQ(c.resyncs, resyncs);
  EXPECT_EQ(c.splits, splits);
  // The traced reads and one pace read per resync and split.
  const int traced = static_cast<int>(std::count(c.reads, c.reads + std::strlen(c.reads), ' ') + 1);
  EXPECT_EQ(traced + resyncs + splits, sim.calls("pairvolstat"));
  for (const PairRef& pair : c.arrayPairs) EXPECT_EQ(kPSUS, sim.pairStatus(pair.serial, pair.pvol, pair.mu));
  EXPECT_TRUE(plugin->takeMessages().empty());
}

// Start reads of an entry: mirror unit found, then its status; the read that
// ends the copy is PAIR and the pair is split; the next read finds PSUS.
// clang-format off
INSTANTIATE_TEST_SUITE_P(Restore, RestoreWalk, ::testing::Values(
    WalkCase{"SplitShadowImagePair", {kPair256}, {{410001, 256, 0}}, "2", 0, "PSUS PSUS RCPY PAIR PSUS", 1, 1},
    WalkCase{"PairInSyncIsOnlySplit", {kPair257}, {{410001, 257, 0}}, "2", 0, "PAIR PAIR PAIR PSUS", 0, 1},
    WalkCase{"ReverseCopyAlreadyRunningIsWaitedFor", {kPair256}, {{410001, 256, 0}}, "4", 7,
             "RCPY RCPY RCPY PAIR PSUS", 0, 1},
    WalkCase{"TwoArraysEachPairInTurn", {kPair256, kPair300}, {{410001, 256, 0}, {520002, 300, 0}}, "2", 0,
             "PSUS PSUS PSUS PSUS RCPY PAIR PSUS RCPY PAIR PSUS", 2, 2}),
    [](const ::testing::TestParamInfo<WalkCase>& info) { return std::string(info.param.name); });
// clang-format on

class RestoreRequest : public PluginOnSimulator {};

// A pair that never returns to PSUS keeps the poll going until the k-th
// status read fails, and that failure is what the framework is told.
TEST_F(RestoreRequest, PollOnAPairThatNeverSplitsEndsOnlyWithAFailingStatusRead) {
  const int k = 12;
  for (const bool suspends : {true, false}) {
    SCOPED_TRACE(suspends ? "copy ends suspended by error" : "copy outlasting the poll");
    sim.loadModel(rmsim::Simulator::defaultModel());
    if (suspends)
      rm.suspendPair(410001, 256, 0, rmsim::Suspend::AtCopyEnd);
    else
      rm.setSetting("copy_reads", "1000000");
    rmsim::FaultSpec fault;
    fault.function = "pairvolstat";
    fault.errorNumber = 206;
    fault.message = "command device timed out";
    fault.after = k - 1;
    rm.addFault(fault);
    sim.resetCounters();
    const size_t tracedBefore = traceTexts(tracePath(), 3).size();
    EXPECT_EQ(6, plugin->restore({kPair256}));
    EXPECT_EQ(k, sim.calls("pairvolstat"));
    EXPECT_EQ(1, sim.calls("pairresync"));
    EXPECT_EQ(0, sim.calls("pairsplit"));
    EXPECT_EQ(suspends ? "PSUS PSUS RCPY PSUE PSUE PSUE PSUE PSUE PSUE PSUE"
                       : "PSUS PSUS RCPY RCPY RCPY RCPY RCPY RCPY RCPY RCPY",
              statusReads(tracePath(), tracedBefore));
    const std::vector<std::string> messages = plugin->takeMessages();
    ASSERT_EQ(1u, messages.size());
    EXPECT_EQ(0u,
              messages[0].find("MSG_ERROR_HITACHI_COMMAND_FAILED: API call pairvolstat on enclosure 410001 "
                               "failed with error 206 due to command device timed out."))
        << messages[0];
  }
}

TEST_F(RestoreRequest, FlagsWithoutStartPartialOrDefaultAndEmptyRequestsMakeNoArrayCall) {
  const std::pair<long, int> cases[] = {{0x0, 0},   {0x1, 0}, {0x100, 0}, {0x3, 0},
                                        {0x101, 0}, {0x2, 3}, {0x4, 3},   {0x200, 3}};  // flags, result
  for (const auto& [flags, result] : cases) {
    SCOPED_TRACE(flags);
    sim.setPairStatus(410001, 256, 0, kPSUS);
    sim.resetCounters();
    EXPECT_EQ(result, plugin->restore({kPair256}, flags));
    std::ostringstream line;
    line << "Restore flags (" << std::hex << flags
         << ") do not include ZFI_RESTORE_START, ZFI_RESTORE_PARTIAL or ZFI_RESTORE_DEFAULT";
    EXPECT_EQ(result != 0, traced(1, line.str()));
    EXPECT_EQ(result ? 0 : 1, sim.calls("pairsplit"));
    if (result) {
      EXPECT_EQ(0, sim.totalCalls());
    }
  }
  sim.resetCounters();
  EXPECT_EQ(0, plugin->restore(Pairs{}));
  EXPECT_EQ(0, sim.totalCalls());
}

struct FailureCase {
  const char* name;
  Pairs pairs;
  int pvol, status;       // the pair of this primary (410001, MU 0) set to `status` first; 0: none
  const char* extraLine;  // added to the default model
  const char* error;      // the level 1 trace expected, or ""
  const char* message;    // the start of the one reported message, or ""
  int resyncs, status256;
};

void PrintTo(const FailureCase& c, std::ostream* out) { *out << c.name; }

class RestoreFailure : public PluginOnSimulator, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(RestoreFailure, EndsWith6AndSaysWhy) {
  const FailureCase& c = GetParam();
  if (*c.extraLine) sim.loadModel(rmsim::Simulator::defaultModel() + c.extraLine);
  rm.setSetting("copy_reads", "10");
  if (c.status) sim.setPairStatus(410001, c.pvol, 0, c.status);
  sim.resetCounters();
  EXPECT_EQ(6, plugin->restore(c.pairs));
  if (*c.error) {
    EXPECT_TRUE(traced(1, c.error)) << c.error;
  }
  const std::vector<std::string> messages = plugin->takeMessages();
  EXPECT_EQ(*c.message ? 1u : 0u, messages.size());
  if (*c.message) {
    EXPECT_EQ(0u, messages.at(0).find(c.message)) << messages[0];
  }
  EXPECT_EQ(c.resyncs, sim.calls("pairresync"));
  EXPECT_EQ(0, sim.calls("pairsplit"));
  EXPECT_EQ(c.status256, sim.pairStatus(410001, 256, 0));
}

// A simplex mirror unit names LDEV 0 as partner: restoring onto it finds the
// source simplex.
// clang-format off
INSTANTIATE_TEST_SUITE_P(Restore, RestoreFailure, ::testing::Values(
    FailureCase{"ForwardCopyRunning", {kPair256}, 256, 2, "", "syncPair failed", "", 0, 2},
    FailureCase{"SecondPairCopyingAfterTheFirstWasStarted", {kPair256, kPair257}, 257, 2, "", "syncPair failed",
                "", 1, 7},
    FailureCase{"SnapshotNotPartneredWithTheSource", {{kSource256, "UDID##HITACHI##HDS##410001##0"}}, 0, 0,
                "ldev 410001 0\n", "pair staus is bad. vdisk '256' vdisk Copy '0'. staus '1'.",
                "MSG_ERROR_HITACHI_BAD_PAIR_STATUS: Bad status of pair. vdisk '256'. vdisk Copy '0'. "
                "enclosure id '410001'. pair status 'STAT_RCPY'.", 0, 4},
    FailureCase{"ArrayNotSeenByThisHost", {{"UDID##HITACHI##HDS##999999##256", kSnap512}}, 0, 0, "", "",
                "MSG_ERROR_HITACHI_COMMAND_FAILED: API call attachcmddev on enclosure 999999 failed with error -19 "
                "due to no command device of this array is known on this host.", 0, 4}),
    [](const ::testing::TestParamInfo<FailureCase>& info) { return std::string(info.param.name); });
// clang-format on

// After a null entry the entries are refused rather than restored from the
// wrong records.
TEST_F(RestoreRequest, NullEntriesEndTheRestoreWithoutTouchingOtherPairs) {
  TestObject source(kSource256), snapshot(kSnap512), source257(kPair257.first), snapshot513(kPair257.second);
  const std::string unparsed =
      "MSG_ERROR_UDID_PARSING_EXCEPTION: The device id '' could not be parsed (error 2).";
  const struct {
    std::vector<frim_objid*> sources, snapshots;
    std::string message;
    int resyncs;
  } cases[] = {
      {{&source.objid, &source257.objid},
       {nullptr, &snapshot513.objid},
       "MSG_ERROR_HITACHI_INVALID_INPUT: API call restore has got invalid input due to reason no device "
       "record at "
       "index 1 after a skipped entry.",
       0},
      {{&source.objid, nullptr}, {&snapshot.objid, &snapshot513.objid}, unparsed, 1},
      {{}, {}, unparsed, 0},  // null lists
  };
  for (const auto& e : cases) {
    SCOPED_TRACE(e.message + std::to_string(e.resyncs));
    sim.resetCounters();
    EXPECT_EQ(
        6, plugin->restore(e.sources.empty() ? nullptr : const_cast<frim_objid**>(e.sources.data()),
                           e.snapshots.empty() ? nullptr : const_cast<frim_objid**>(e.snapshots.data()), 2));
    const std::vector<std::string> messages = plugin->takeMessages();
    ASSERT_EQ(1u, messages.size());
    EXPECT_EQ(0u, messages[0].find(e.message)) << messages[0];
    EXPECT_EQ(e.resyncs, sim.calls("pairresync"));
    EXPECT_EQ(e.resyncs, sim.calls("pairsplit"));
    EXPECT_EQ(kPSUS, sim.pairStatus(410001, 256, 0));
    EXPECT_EQ(3, sim.pairStatus(410001, 257, 0));
  }
}

}  // namespace
