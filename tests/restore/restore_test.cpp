// Restore through the C ABI: each pair is copied back (reverse resync) and
// polled until it is split again; what the array was asked, in which order,
// and how failures reach the framework.
#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <sstream>

#include "plugin_host.h"

namespace {

const int kPSUS = 4;
const std::string kSource256 = "UDID##HITACHI##HDS##410001##256";
const std::string kSnap512 = "UDID##HITACHI##HDS##410001##512";

// What each status read of a pair reported ("PSUS RCPY ..."), as traced;
// the reads of the copy pace before a resync or split are not traced.
std::string statusReads(const std::string& trace) {
  std::string reads;
  for (const std::string& text : traceTexts(trace, 3)) {
    if (text.compare(0, 14, "Pair status  :") != 0) continue;
    reads += (reads.empty() ? "" : " ") + text.substr(14, 4);
  }
  return reads;
}

struct PairRef {
  int serial, pvol, mu;
};

struct WalkCase {
  const char* name;
  std::vector<std::pair<std::string, std::string>> pairs;
  std::vector<PairRef> arrayPairs;  // the pairs restored, in entry order
  const char* copyReads;
  int startStatus;    // the first pair's status before the call; 0: as modelled
  const char* reads;  // the traced status reads of the call, in order
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
    if (call.function == "pairresync") {
      ++resyncs;
      EXPECT_EQ(1, call.option) << "a restore copies from the snapshot: reverse";
    }
    if (call.function == "pairsplit") ++splits;
    EXPECT_EQ(0, call.result) << call.function;
  }
  EXPECT_EQ(c.resyncs, resyncs);
  EXPECT_EQ(c.splits, splits);
  // Every read reached the array: the traced ones and one pace read per
  // resync and split.
  const int traced = static_cast<int>(std::count(c.reads, c.reads + std::strlen(c.reads), ' ') + 1);
  EXPECT_EQ(traced + resyncs + splits, sim.calls("pairvolstat"));
  for (const PairRef& pair : c.arrayPairs) EXPECT_EQ(kPSUS, sim.pairStatus(pair.serial, pair.pvol, pair.mu));
  EXPECT_TRUE(plugin->takeMessages().empty());
}

const std::pair<std::string, std::string> kPair257 = {"UDID##HITACHI##HDS##410001##257",
                                                      "UDID##HITACHI##HDS##410001##513"};
const std::pair<std::string, std::string> kPair300 = {"UDID##HP##XP##520002##300",
                                                      "UDID##HP##XP##520002##600"};

// Start reads of an entry: the pair's mirror unit found, then its status.
// Each completion read of a copy not yet ended is RCPY; the read that ends
// it is PAIR and the pair is split; the next read finds PSUS.
// clang-format off
INSTANTIATE_TEST_SUITE_P(Restore, RestoreWalk, ::testing::Values(
    WalkCase{"SplitShadowImagePair", {{kSource256, kSnap512}}, {{410001, 256, 0}}, "2", 0,
             "PSUS PSUS RCPY PAIR PSUS", 1, 1},
    WalkCase{"CopyOfFiveReads", {{kSource256, kSnap512}}, {{410001, 256, 0}}, "5", 0,
             "PSUS PSUS RCPY RCPY RCPY RCPY PAIR PSUS", 1, 1},
    WalkCase{"PairInSyncIsOnlySplit", {kPair257}, {{410001, 257, 0}}, "2", 0,
             "PAIR PAIR PAIR PSUS", 0, 1},
    WalkCase{"ReverseCopyAlreadyRunningIsWaitedFor", {{kSource256, kSnap512}}, {{410001, 256, 0}}, "4", 7,
             "RCPY RCPY RCPY PAIR PSUS", 0, 1},
    WalkCase{"TwoArraysEachPairInTurn", {{kSource256, kSnap512}, kPair300}, {{410001, 256, 0}, {520002, 300, 0}},
             "2", 0, "PSUS PSUS PSUS PSUS RCPY PAIR PSUS RCPY PAIR PSUS", 2, 2}),
    [](const ::testing::TestParamInfo<WalkCase>& info) { return std::string(info.param.name); });
// clang-format on

class RestoreRequest : public PluginOnSimulator {};

// A pair that never returns to PSUS keeps the poll going; here the array's
// failure of the k-th status read ends it, and the failure is what the
// framework is told.
TEST_F(RestoreRequest, PollOnAPairThatNeverSplitsEndsOnlyWithAFailingStatusRead) {
  struct Stuck {
    const char* name;
    std::function<void(rmsim::Simulator&)> arrange;
    const char* pollReads;  // what the poll saw before the failing read
  };
  const int k = 12;  // the failing pairvolstat of the call
  const Stuck cases[] = {
      {"copy ends suspended by error",
       [](rmsim::Simulator& r) { r.suspendPair(410001, 256, 0, rmsim::Suspend::AtCopyEnd); },
       "RCPY PSUE PSUE PSUE PSUE PSUE PSUE PSUE"},
      {"copy outlasting the poll", [](rmsim::Simulator& r) { r.setSetting("copy_reads", "1000000"); },
       "RCPY RCPY RCPY RCPY RCPY RCPY RCPY RCPY"},
  };
  for (const Stuck& c : cases) {
    SCOPED_TRACE(c.name);
    sim.loadModel(rmsim::Simulator::defaultModel());
    c.arrange(rm);
    rmsim::FaultSpec fault;
    fault.function = "pairvolstat";
    fault.errorNumber = 206;
    fault.message = "command device timed out";
    fault.after = k - 1;
    rm.addFault(fault);
    sim.resetCounters();
    const size_t tracedBefore = traceTexts(tracePath(), 3).size();
    EXPECT_EQ(6, plugin->restore({{kSource256, kSnap512}}));
    EXPECT_EQ(k, sim.calls("pairvolstat"));
    EXPECT_EQ(1, sim.calls("pairresync"));
    EXPECT_EQ(0, sim.calls("pairsplit"));
    std::string reads;
    const std::vector<std::string> texts = traceTexts(tracePath(), 3);
    for (size_t i = tracedBefore; i < texts.size(); ++i)
      if (texts[i].compare(0, 14, "Pair status  :") == 0) reads += texts[i].substr(14, 4) + " ";
    EXPECT_EQ(std::string("PSUS PSUS ") + c.pollReads + " ", reads);
    const std::vector<std::string> messages = plugin->takeMessages();
    ASSERT_EQ(1u, messages.size());
    EXPECT_EQ(0u,
              messages[0].find("MSG_ERROR_HITACHI_COMMAND_FAILED: API call pairvolstat on enclosure 410001 "
                               "failed with error 206 due to command device timed out."))
        << messages[0];
  }
}

TEST_F(RestoreRequest, FlagsWithoutStartPartialOrDefaultAndEmptyRequestsMakeNoArrayCall) {
  struct Flags {
    long flags;
    int result;
  };
  for (const Flags& f : {Flags{0x0, 0}, Flags{0x1, 0}, Flags{0x100, 0}, Flags{0x3, 0}, Flags{0x101, 0},
                         Flags{0x2, 3}, Flags{0x4, 3}, Flags{0x200, 3}}) {
    SCOPED_TRACE(f.flags);
    sim.setPairStatus(410001, 256, 0, kPSUS);
    sim.resetCounters();
    EXPECT_EQ(f.result, plugin->restore({{kSource256, kSnap512}}, f.flags));
    std::ostringstream line;
    line << "Restore flags (" << std::hex << f.flags
         << ") do not include ZFI_RESTORE_START, ZFI_RESTORE_PARTIAL or ZFI_RESTORE_DEFAULT";
    EXPECT_EQ(f.result != 0, traced(1, line.str()));
    if (f.result != 0) {
      EXPECT_EQ(0, sim.totalCalls());
    } else {
      EXPECT_EQ(1, sim.calls("pairsplit"));
    }
  }
  sim.resetCounters();
  EXPECT_EQ(0, plugin->restore({}));  // nothing to restore
  EXPECT_EQ(0, sim.totalCalls());
}

struct FailureCase {
  const char* name;
  std::vector<std::pair<std::string, std::string>> pairs;
  int pvol, status;       // the pair of this primary (410001, MU 0) set to `status` first; 0: none
  const char* extraLine;  // added to the default model
  const char* error;      // the level 1 trace expected, or ""
  const char* message;    // the start of the one reported message, or "" for none
  int resyncs;            // made before the failure
  int status256;          // the status of pair 256 (MU 0) afterwards
};

void PrintTo(const FailureCase& c, std::ostream* out) { *out << c.name; }

class RestoreFailure : public PluginOnSimulator, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(RestoreFailure, EndsWith6AndSaysWhy) {
  const FailureCase& c = GetParam();
  if (*c.extraLine) sim.loadModel(rmsim::Simulator::defaultModel() + c.extraLine);
  rm.setSetting("copy_reads", "10");  // a copy set running outlasts the call
  if (c.status) sim.setPairStatus(410001, c.pvol, 0, c.status);
  sim.resetCounters();
  EXPECT_EQ(6, plugin->restore(c.pairs));
  if (*c.error) {
    EXPECT_TRUE(traced(1, c.error)) << c.error;
  }
  const std::vector<std::string> messages = plugin->takeMessages();
  if (*c.message) {
    ASSERT_EQ(1u, messages.size());
    EXPECT_EQ(0u, messages[0].find(c.message)) << messages[0];
  } else {
    EXPECT_TRUE(messages.empty()) << messages[0];
  }
  EXPECT_EQ(c.resyncs, sim.calls("pairresync"));
  EXPECT_EQ(0, sim.calls("pairsplit"));
  EXPECT_EQ(c.status256, sim.pairStatus(410001, 256, 0));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Restore, RestoreFailure, ::testing::Values(
    FailureCase{"ForwardCopyRunning", {{kSource256, kSnap512}}, 256, 2, "", "syncPair failed", "", 0, 2},
    // Pairs already started stay in reverse copy.
    FailureCase{"SecondPairCopyingAfterTheFirstWasStarted", {{kSource256, kSnap512}, kPair257}, 257, 2, "",
                "syncPair failed", "", 1, 7},
    // A simplex mirror unit names no partner (LDEV 0), so restoring onto
    // LDEV 0 finds the source simplex.
    FailureCase{"SnapshotNotPartneredWithTheSource", {{kSource256, "UDID##HITACHI##HDS##410001##0"}}, 0, 0,
                "ldev 410001 0\n", "pair staus is bad. vdisk '256' vdisk Copy '0'. staus '1'.",
                "MSG_ERROR_HITACHI_BAD_PAIR_STATUS: Bad status of pair. vdisk '256'. vdisk Copy '0'. "
                "enclosure id '410001'. pair status 'STAT_RCPY'.", 0, 4},
    FailureCase{"ArrayNotSeenByThisHost", {{"UDID##HITACHI##HDS##999999##256", kSnap512}}, 0, 0, "", "",
                "MSG_ERROR_HITACHI_COMMAND_FAILED: API call attachcmddev on enclosure 999999 failed with error -1 "
                "due to no command device of this array is known on this host.", 0, 4},
    FailureCase{"SourceNameIsNoDeviceId", {{"disk256", kSnap512}}, 0, 0, "", "",
                "MSG_ERROR_UDID_PARSING_EXCEPTION: The device id 'disk256' could not be parsed (error 2).", 0, 4}),
    [](const ::testing::TestParamInfo<FailureCase>& info) { return std::string(info.param.name); });
// clang-format on

// Callers pass no null entries; when one does, the entries after it are
// refused rather than restored from the wrong records.
TEST_F(RestoreRequest, NullEntriesEndTheRestoreWithoutTouchingOtherPairs) {
  TestObject source(kSource256), snapshot(kSnap512), source257(kPair257.first), snapshot513(kPair257.second);
  struct Entries {
    const char* name;
    std::vector<frim_objid*> sources, snapshots;
    bool nullLists;
    const char* message;
    int resyncs, splits;
  };
  const Entries cases[] = {
      {"null first snapshot",
       {&source.objid, &source257.objid},
       {nullptr, &snapshot513.objid},
       false,
       "MSG_ERROR_HITACHI_INVALID_INPUT: API call restore has got invalid input due to reason no device "
       "record "
       "at index 1 after a skipped entry.",
       0,
       0},
      {"null last source",
       {&source.objid, nullptr},
       {&snapshot.objid, &snapshot513.objid},
       false,
       "MSG_ERROR_UDID_PARSING_EXCEPTION: The device id '' could not be parsed (error 2).",
       1,
       1},
      {"null lists",
       {},
       {},
       true,
       "MSG_ERROR_UDID_PARSING_EXCEPTION: The device id '' could not be parsed (error 2).",
       0,
       0},
  };
  for (const Entries& e : cases) {
    SCOPED_TRACE(e.name);
    sim.resetCounters();
    EXPECT_EQ(6, e.nullLists ? plugin->restore(nullptr, nullptr, 2)
                             : plugin->restore(const_cast<frim_objid**>(e.sources.data()),
                                               const_cast<frim_objid**>(e.snapshots.data()), 2));
    const std::vector<std::string> messages = plugin->takeMessages();
    ASSERT_EQ(1u, messages.size());
    EXPECT_EQ(0u, messages[0].find(e.message)) << messages[0];
    EXPECT_EQ(e.resyncs, sim.calls("pairresync"));
    EXPECT_EQ(e.splits, sim.calls("pairsplit"));
    EXPECT_EQ(kPSUS, sim.pairStatus(410001, 256, 0));
    EXPECT_EQ(3, sim.pairStatus(410001, 257, 0));
  }
}

}  // namespace
