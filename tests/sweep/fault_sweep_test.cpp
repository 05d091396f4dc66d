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

enum class Step { Select, Prepare, IsReady, Make, Restore, State };
const Step kSteps[] = {Step::Select, Step::Prepare, Step::IsReady, Step::Make, Step::Restore, Step::State};

const char* stepName(Step step) {
  switch (step) {
    case Step::Select:
      return "select";
    case Step::Prepare:
      return "prepare";
    case Step::IsReady:
      return "isready";
    case Step::Make:
      return "make";
    case Step::Restore:
      return "restore";
    case Step::State:
      return "providerstate";
  }
  return "?";
}

// One failing call of a step: the call (its function and its ordinal among
// the step's calls of that function, from 1) and its place in the step.
// `pace` marks a status read made only to learn the copy pace of the split or
// resync that follows it.
struct SweepCase {
  std::string function;
  int ordinal;
  int index;
  bool pace;
};

// How the step must end when the call fails.
enum class Outcome {
  Reported,    // 6, the newest message names the call, 299, its text, the array
  Absorbed,    // the plugin's own flow takes the failure: 0 and no message
  Consequence  // the call's result is not checked (getdkclimit's limits, the
               // device map scan's getldev): the step ends 0, or 6 with a
               // message about a later call; never one naming this call
};

Outcome outcomeOf(const SweepCase& c) {
  if (c.function == "getdkclimit" || c.function == "getldev") return Outcome::Consequence;
  if (c.pace) return Outcome::Absorbed;  // the split or resync goes on with pace 15
  return Outcome::Reported;
}

class FaultSweep : public ::testing::Test {
 protected:
  // Fresh array state and a fresh plugin load, so that the steps before the
  // swept one make exactly the calls of the clean run; the node as a new
  // framework process makes it.
  HostNode& fresh(const Method& m) {
    host.sim().clearFaults();
    host.sim().loadModel(rmsim::Simulator::defaultModel(), "db1");
    host.reload();
    return host.node(PluginHost::marked(m.source), m.fim);
  }

  // The steps of one node before `step`, clean; false when one of them fails.
  bool runBefore(Step step, HostNode& node) {
    if (step == Step::Select) return true;
    if (host.select("sweep", {&node}) != 0) return false;
    if (step == Step::State || step == Step::Prepare) return true;
    if (host.prepare("sweep", {&node}) != 0) return false;
    if (step == Step::IsReady) return true;
    // The model's copies end at their second status read.
    for (int asked = 0; (node.domain.flags & ZFI_NODE_READY) == 0; ++asked)
      if (asked == 10 || host.isready({&node}) != 0) return false;
    if (step == Step::Make) return true;
    std::vector<std::string> names;
    if (host.make("sweep", {&node}, &names) != 0 || names.size() != 1) return false;
    m_snapshot = names[0];
    return true;
  }

  // The swept step itself; its result.
  int runStep(Step step, const Method& m, HostNode& node) {
    switch (step) {
      case Step::Select:
        return host.select("sweep", {&node});
      case Step::Prepare:
        return host.prepare("sweep", {&node});
      case Step::IsReady:
        return host.isready({&node});
      case Step::Make:
        return host.make("sweep", {&node}, nullptr);
      case Step::Restore:
        return host.restore({{m.source, m_snapshot}});
      case Step::State: {
        std::string text;
        const int rc = host.getState(&node.domain, &text);
        if (rc != 0 || text.empty()) return rc == 0 ? -1 : rc;
        return host.setState(&node.domain, text);
      }
    }
    return -1;
  }

  // The clean run's calls of `step`.
  std::vector<SweepCase> cleanCases(Step step, const Method& m) {
    HostNode& node = fresh(m);
    EXPECT_TRUE(runBefore(step, node));
    host.calls();
    EXPECT_EQ(0, runStep(step, m, node));
    EXPECT_TRUE(host.messages().empty());
    std::vector<SweepCase> cases;
    std::map<std::string, int> ordinals;
    int index = 0;
    const std::vector<rmsim::CallRecord> journal = host.calls();
    for (size_t i = 0; i < journal.size(); ++i) {
      const rmsim::CallRecord& call = journal[i];
      EXPECT_EQ(0, call.result) << call.function;
      const bool pace = call.function == "pairvolstat" && i + 1 < journal.size() &&
                        (journal[i + 1].function == "pairsplit" || journal[i + 1].function == "pairresync");
      cases.push_back(SweepCase{call.function, ++ordinals[call.function], ++index, pace});
    }
    return cases;
  }

  // Runs `step` with `faults` armed after the steps before it; its result,
  // the messages it left as "ID: text", newest first, and its calls.
  int runFaulted(Step step, const Method& m, const std::vector<rmsim::FaultSpec>& faults,
                 std::vector<std::string>& messages) {
    HostNode& node = fresh(m);
    if (!runBefore(step, node)) {
      ADD_FAILURE() << "the steps before the swept one failed";
      return -1;
    }
    for (const rmsim::FaultSpec& fault : faults) host.sim().addFault(fault);
    host.calls();
    const int rc = runStep(step, m, node);
    m_calls = host.calls();
    messages.clear();
    for (const HostMessage& message : host.messages())
      messages.insert(messages.begin(), message.id + ": " + message.text);
    return rc;
  }

  PluginHost host;
  std::string m_snapshot;
  std::vector<rmsim::CallRecord> m_calls;
};

rmsim::FaultSpec failCall(const SweepCase& c, const std::string& text) {
  rmsim::FaultSpec fault;
  fault.function = c.function;
  fault.errorNumber = kSweepError;
  fault.message = text;
  fault.count = 1;
  fault.after = c.ordinal - 1;
  return fault;
}

// The message of a failed RMLIB call up to its reason; the enclosure of an
// attach is the serial in the block that the failed attach did not fill.
std::string commandFailed(const std::string& function, int serial) {
  return "MSG_ERROR_HITACHI_COMMAND_FAILED: API call " + function + " on enclosure " +
         std::to_string(function == "attachcmddev" ? 0 : serial) + " failed with error " +
         std::to_string(kSweepError) + " due to ";
}

bool startsWith(const std::string& text, const std::string& head) {
  return text.compare(0, head.size(), head) == 0;
}

TEST_F(FaultSweep, EachCallOfEachStepFailedInTurnEndsTheStepAsItShould) {
  int total = 0;
  for (const Method& m : kMethods) {
    for (Step step : kSteps) {
      const std::vector<SweepCase> cases = cleanCases(step, m);
      std::printf("fault sweep: %s %s: %zu calls\n", m.fim, stepName(step), cases.size());
      std::fflush(stdout);
      const SweepCase* reported = nullptr;
      for (const SweepCase& c : cases) {
        const std::string text = "sweep fault " + c.function + " " + std::to_string(c.index);
        SCOPED_TRACE(std::string(m.fim) + " " + stepName(step) + ": " + text);
        std::vector<std::string> messages;
        const int rc = runFaulted(step, m, {failCall(c, text)}, messages);
        ++total;
        // The fault hit the call it was meant for.
        bool failed = false;
        for (const rmsim::CallRecord& call : m_calls)
          if (call.function == c.function && call.result == kSweepError) failed = true;
        EXPECT_TRUE(failed);
        switch (outcomeOf(c)) {
          case Outcome::Reported:
            if (reported == nullptr) reported = &c;
            EXPECT_EQ(6, rc);
            ASSERT_FALSE(messages.empty());
            EXPECT_TRUE(startsWith(messages[0], commandFailed(c.function, m.serial) + text + ". FILE="))
                << messages[0];
            break;
          case Outcome::Absorbed:
            EXPECT_EQ(0, rc);
            EXPECT_TRUE(messages.empty()) << messages[0];
            break;
          case Outcome::Consequence:
            // 3: prepare finds no pair within zero mirror units (traced
            // only); -1: select's target discovery failed and says so.
            EXPECT_TRUE(rc == 0 || rc == 3 || rc == 6 || rc == -1) << rc;
            if (rc == 6) {
              EXPECT_FALSE(messages.empty());
            }
            if (rc == -1) {
              ASSERT_FALSE(messages.empty());
              EXPECT_TRUE(startsWith(messages[0], "MSG_ERROR_NO_SNAPSHOT_TARGET_SELECTED:")) << messages[0];
            }
            for (const std::string& message : messages)
              EXPECT_EQ(std::string::npos, message.find("API call " + c.function + " ")) << message;
            break;
        }
      }
      if (reported == nullptr) continue;
      // The text of a failure is asked of the array only after the failure:
      // with no text the reason is empty or says so; the reason is asked
      // again after getfmtmsg, so a failing getfmtmsg may change the reason
      // but not the call, error number and enclosure reported.
      const SweepCase& c = *reported;
      const std::string text = "sweep fault " + c.function + " " + std::to_string(c.index);
      SCOPED_TRACE(std::string(m.fim) + " " + stepName(step) + ": no text for " + text);
      rmsim::FaultSpec noText;
      noText.function = "getrmerrmsg";
      noText.nullText = true;
      noText.count = -1;
      std::vector<std::string> messages;
      EXPECT_EQ(6, runFaulted(step, m, {failCall(c, text), noText}, messages));
      ASSERT_FALSE(messages.empty());
      const std::string head = commandFailed(c.function, m.serial);
      EXPECT_TRUE(startsWith(messages[0], head + "Empty error message. FILE=") ||
                  startsWith(messages[0], head + ". FILE="))
          << messages[0];
      rmsim::FaultSpec noFormat;
      noFormat.function = "getfmtmsg";
      noFormat.errorNumber = kSweepError;
      noFormat.message = "sweep fault getfmtmsg";
      noFormat.count = -1;
      EXPECT_EQ(6, runFaulted(step, m, {failCall(c, text), noFormat}, messages));
      ASSERT_FALSE(messages.empty());
      EXPECT_TRUE(startsWith(messages[0], head)) << messages[0];
      total += 2;
    }
  }
  std::printf("fault sweep: %d cases\n", total);
  EXPECT_GT(total, 0);
}

}  // namespace
