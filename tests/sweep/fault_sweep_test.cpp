// Fault sweep: every RMLIB call that a clean snapshot step makes is failed in
// turn (the simulator's k-th-call fault), and the step must end with 6 and a
// message naming the call, the array's error number and text and the
// enclosure. The cases come from the clean run's journal, so a call added to
// a step later is swept without a new test.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>

#include "plugin_host.h"
#include "rmsim.h"

namespace {

const int kSweepError = 299;

struct Method {
  const char* fim;
  int serial;
  const char* source;
};

const Method kMethods[] = {
    {"Hitachi_ShadowImage", 410001, "UDID##HITACHI##HDS##410001##256"},
    {"Hitachi_CopyOnWrite", 410001, "UDID##HITACHI##HDS##410001##259"},
    {"HPXP_BusinessCopy", 520002, "UDID##HP##XP##520002##300"},
    {"HPXP_Snapshot", 520002, "UDID##HP##XP##520002##301"},
};

// The steps in their order; each needs those before it, but the provider
// state, which needs only select.
enum Step { kSelect, kPrepare, kIsReady, kMake, kRestore, kState, kSteps };
const char* const kStepNames[kSteps] = {"select", "prepare", "isready", "make", "restore", "providerstate"};

// One failing call of a step: its function, its ordinal among the step's
// calls of that function (from 1) and its place in the step. `pace` marks a
// status read made only to learn the copy pace of the split or resync that
// follows it.
struct SweepCase {
  std::string function;
  int ordinal, index;
  bool pace;
};

class FaultSweep : public ::testing::Test {
 protected:
  // Runs `step` of a node on fresh array state and a fresh plugin load (so
  // that the steps before make exactly the calls of the clean run), with
  // `faults` armed after the steps before it. Leaves the step's calls and
  // its messages ("ID: text", newest first).
  int run(Step step, const Method& m, const std::vector<rmsim::FaultSpec>& faults) {
    host.sim().clearFaults();
    host.sim().loadModel(rmsim::Simulator::defaultModel(), "db1");
    host.reload();
    HostNode& node = host.node(PluginHost::marked(m.source), m.fim);
    for (int before = kSelect; before < (step == kState ? kPrepare : step); ++before) {
      if (runStep(static_cast<Step>(before), m, node) != 0) {
        ADD_FAILURE() << "the steps before the swept one failed";
        return -1;
      }
    }
    for (const rmsim::FaultSpec& fault : faults) host.sim().addFault(fault);
    host.calls();
    const int rc = runStep(step, m, node);
    calls = host.calls();
    messages.clear();
    for (const HostMessage& message : host.messages())
      messages.insert(messages.begin(), message.id + ": " + message.text);
    return rc;
  }

  int runStep(Step step, const Method& m, HostNode& node) {
    std::vector<std::string> names;
    std::string text;
    int rc = 0;
    switch (step) {
      case kSelect:
        return host.select("sweep", {&node});
      case kPrepare:
        return host.prepare("sweep", {&node});
      case kIsReady:  // swept: once; before make: until ready (the model's copies end at the second read)
        if (m_swept == kIsReady) return host.isready({&node});
        for (int asked = 0; (node.domain.flags & ZFI_NODE_READY) == 0; ++asked)
          if (asked == 10 || (rc = host.isready({&node})) != 0) return asked == 10 ? -1 : rc;
        return 0;
      case kMake:
        rc = host.make("sweep", {&node}, &names);
        if (!names.empty()) m_snapshot = names[0];
        return rc;
      case kRestore:
        return host.restore({{m.source, m_snapshot}});
      case kState:
        rc = host.getState(&node.domain, &text);
        return rc != 0 || text.empty() ? (rc == 0 ? -1 : rc) : host.setState(&node.domain, text);
      case kSteps:
        break;
    }
    return -1;
  }

  // The clean run's calls of `step`.
  std::vector<SweepCase> cleanCases(Step step, const Method& m) {
    EXPECT_EQ(0, run(step, m, {}));
    EXPECT_TRUE(messages.empty());
    std::vector<SweepCase> cases;
    std::map<std::string, int> ordinals;
    for (size_t i = 0; i < calls.size(); ++i) {
      EXPECT_EQ(0, calls[i].result) << calls[i].function;
      const bool pace = calls[i].function == "pairvolstat" && i + 1 < calls.size() &&
                        (calls[i + 1].function == "pairsplit" || calls[i + 1].function == "pairresync");
      cases.push_back(
          SweepCase{calls[i].function, ++ordinals[calls[i].function], static_cast<int>(i + 1), pace});
    }
    return cases;
  }

  PluginHost host;
  Step m_swept = kSelect;
  std::string m_snapshot;
  std::vector<rmsim::CallRecord> calls;
  std::vector<std::string> messages;
};

rmsim::FaultSpec failCall(const SweepCase& c, const std::string& text) {
  rmsim::FaultSpec fault;
  fault.function = c.function;
  fault.errorNumber = kSweepError;
  fault.message = text;
  fault.after = c.ordinal - 1;
  return fault;
}

// The message of a failed RMLIB call up to its reason; a failed attach
// names the array it was asked for.
std::string commandFailed(const std::string& function, int serial) {
  return "MSG_ERROR_HITACHI_COMMAND_FAILED: API call " + function + " on enclosure " +
         std::to_string(serial) + " failed with error " + std::to_string(kSweepError) + " due to ";
}

bool startsWith(const std::string& text, const std::string& head) {
  return text.compare(0, head.size(), head) == 0;
}

TEST_F(FaultSweep, EachCallOfEachStepFailedInTurnEndsTheStepAsItShould) {
  int total = 0;
  for (const Method& m : kMethods) {
    for (int s = kSelect; s < kSteps; ++s) {
      const Step step = m_swept = static_cast<Step>(s);
      const std::vector<SweepCase> cases = cleanCases(step, m);
      std::printf("fault sweep: %s %s: %zu calls\n", m.fim, kStepNames[step], cases.size());
      std::fflush(stdout);
      const SweepCase* reported = nullptr;
      for (const SweepCase& c : cases) {
        const std::string text = "sweep fault " + c.function + " " + std::to_string(c.index);
        SCOPED_TRACE(std::string(m.fim) + " " + kStepNames[step] + ": " + text);
        const int rc = run(step, m, {failCall(c, text)});
        ++total;
        bool failed = false;  // the fault hit the call it was meant for
        for (const rmsim::CallRecord& call : calls)
          failed = failed || (call.function == c.function && call.result == kSweepError);
        EXPECT_TRUE(failed);
        if (c.function == "getdkclimit" || c.function == "getldev") {
          // The call's result is not checked (getdkclimit's limits, the
          // device map scan): 0, 3 (prepare finds no pair within zero mirror
          // units, traced only), 6 with a message about a later call, or -1
          // (select's discovery failed and says so); never a message naming it.
          EXPECT_TRUE(rc == 0 || rc == 3 || rc == 6 || rc == -1) << rc;
          EXPECT_EQ(rc == 6 || rc == -1, !messages.empty());
          if (rc == -1 && !messages.empty()) {
            EXPECT_TRUE(startsWith(messages[0], "MSG_ERROR_NO_SNAPSHOT_TARGET_SELECTED:")) << messages[0];
          }
          for (const std::string& message : messages)
            EXPECT_EQ(std::string::npos, message.find("API call " + c.function + " ")) << message;
        } else if (c.pace) {  // absorbed: the split or resync goes on with pace 15
          EXPECT_EQ(0, rc);
          EXPECT_TRUE(messages.empty()) << messages[0];
        } else {  // reported: 6, the newest message names the call, 299, its text, the array
          if (reported == nullptr) reported = &c;
          EXPECT_EQ(6, rc);
          ASSERT_FALSE(messages.empty());
          EXPECT_TRUE(startsWith(messages[0], commandFailed(c.function, m.serial) + text + ". FILE="))
              << messages[0];
        }
      }
      if (reported == nullptr) continue;
      // The text of a failure is asked of the array only after the failure:
      // with no text the reason says so or names the call and its error
      // number; the reason is asked
      // again after getfmtmsg, so a failing getfmtmsg may change the reason
      // but not the call, error number and enclosure reported.
      const SweepCase& c = *reported;
      const std::string text = "sweep fault " + c.function + " " + std::to_string(c.index);
      SCOPED_TRACE(std::string(m.fim) + " " + kStepNames[step] + ": no text for " + text);
      rmsim::FaultSpec noText, noFormat;
      noText.function = "getrmerrmsg";
      noText.nullText = true;
      noText.count = -1;
      EXPECT_EQ(6, run(step, m, {failCall(c, text), noText}));
      ASSERT_FALSE(messages.empty());
      const std::string head = commandFailed(c.function, m.serial);
      EXPECT_TRUE(startsWith(messages[0], head + "Empty error message. FILE=") ||
                  startsWith(messages[0], head + c.function + " failed with error " +
                                              std::to_string(kSweepError) + ". FILE="))
          << messages[0];
      noFormat.function = "getfmtmsg";
      noFormat.errorNumber = kSweepError;
      noFormat.message = "sweep fault getfmtmsg";
      noFormat.count = -1;
      EXPECT_EQ(6, run(step, m, {failCall(c, text), noFormat}));
      ASSERT_FALSE(messages.empty());
      EXPECT_TRUE(startsWith(messages[0], head)) << messages[0];
      total += 2;
    }
  }
  std::printf("fault sweep: %d cases\n", total);
  EXPECT_GT(total, 0);
}

}  // namespace
