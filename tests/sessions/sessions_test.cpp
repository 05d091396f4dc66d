// Sessions and split nodes: adding the framework's nodes, the per-phase
// node lists and their trace, and how the session manager hands out and
// forgets sessions.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfisessionmgr.h"
#include "cfitracelog.h"
#include "host.h"

using namespace frim_pdk_4_4;

namespace {

class Session : public ::testing::Test {
 protected:
  void add(std::vector<zfi_splitnode*> list) {
    session->addNodes(list.data(), static_cast<int>(list.size()));
  }
  std::vector<std::string> names(int phase) {
    std::vector<std::string> out;
    for (const auto& node : session->getSplitNodeList(phase)) out.push_back(node.getObjectIdText());
    return out;
  }
  CFiSplitNode& node(const char* name) { return (*session)[name]; }

  CFiSessionPtr session{new CFiSession("job")};
};

TEST_F(Session, EachPhaseOffersCopiesOfTheNodesWhoseFlagIsClearInNameOrder) {
  TestNode c("UDID##C"), a("UDID##A"), b("UDID##B"), lower("UDID##a");
  add({&c.m_split, &lower.m_split, &a.m_split, &b.m_split});
  node("UDID##A").selectDone = 1;
  node("UDID##B").prepareDone = 1;
  node("UDID##C").makeDone = 1;
  node("UDID##a").updateDone = 1;
  EXPECT_EQ((std::vector<std::string>{"UDID##B", "UDID##C", "UDID##a"}), names(FI_PHASE_SELECT));
  EXPECT_EQ((std::vector<std::string>{"UDID##A", "UDID##C", "UDID##a"}), names(FI_PHASE_PREPARE));
  EXPECT_EQ((std::vector<std::string>{"UDID##A", "UDID##B", "UDID##a"}), names(FI_PHASE_MAKE));
  EXPECT_EQ((std::vector<std::string>{"UDID##A", "UDID##B", "UDID##C"}), names(FI_PHASE_UPDATE));
  EXPECT_TRUE(names(0).empty());
  EXPECT_TRUE(names(5).empty());
  std::vector<CFiSplitNode> list = session->getSplitNodeList(FI_PHASE_SELECT);
  list[0].selectDone = 1;
  EXPECT_EQ(0, node("UDID##B").selectDone);
}

TEST_F(Session, AddingKeepsTheFirstOfANameAndPassesOverEntriesWithoutANodeOrName) {
  TestNode a("UDID##A", "Hitachi_ShadowImage"), again("UDID##A", "Hitachi_CopyOnWrite");
  zfi_domain unnamed{}, named{};
  char name[] = "UDID##B";
  named.name = name;
  zfi_splitnode noNode{}, noName{nullptr, &unnamed, nullptr}, noFim{nullptr, &named, nullptr};
  zfi_splitnode* list[] = {nullptr, &noNode, &noName, &noFim, &a.m_split};
  session->addNodes(list, 5);
  session->addNodes(nullptr, 4);
  session->addNodes(list, -2);
  node("UDID##A").selectDone = 1;
  node("UDID##A").m_secondName = "snap";
  add({&again.m_split});
  EXPECT_EQ((std::vector<std::string>{"UDID##B"}), names(FI_PHASE_SELECT));
  EXPECT_EQ(2u, session->size());
  EXPECT_STREQ("snap", node("UDID##A").m_secondName.c_str());
  EXPECT_EQ("Hitachi_ShadowImage", node("UDID##A").m_fimName);
  EXPECT_TRUE(node("UDID##B").m_fimName.empty());
}

TEST_F(Session, ListTracesOneLevelThreeLinePerNodeOffered) {
  TempDir dir;
  for (const char* name : {"HITACHIFI_TRACE_DIR", "HITACHIFI_TRACE_LEVEL", "HITACHIFI_TRACE_FILE"})
    ::unsetenv(name);
  CFiTraceLogPtr log(new CFiTraceLog());
  log->initialize(ACE_CString("unit"), ACE_CString(dir.path.c_str()), ACE_CString(), 6, false);
  session->registerTraceLog(log);
  TestNode a("UDID##A"), b("UDID##B");
  add({&a.m_split, &b.m_split});
  node("UDID##B").selectDone = 1;
  for (int phase : {1, 2, 3, 4, 7}) session->getSplitNodeList(phase);
  EXPECT_EQ((std::vector<std::string>{
                "DBG : Found selectDone zero, adding node", "DBG : Found prepareDone zero, adding node",
                "DBG : Found prepareDone zero, adding node", "DBG : Found makeDone zero, adding node",
                "DBG : Found makeDone zero, adding node", "DBG : Found updateDone zero, adding node",
                "DBG : Found updateDone zero, adding node"}),
            traceTexts(dir.path + "/unit.log", 3));
  const std::vector<std::string> flow = traceTexts(dir.path + "/unit.log", 6);
  ASSERT_EQ(10u, flow.size());  // entering and exiting, five calls
  EXPECT_EQ(0u, flow[0].find("Entering Function getSplitNodeList [")) << flow[0];
}

uint64_t g_now = 0;
uint64_t testClock() { return g_now; }

TEST(SessionManager, KeepsEverySessionInUseForgetsIdleOnesAndTracesWhatTheCapForcesOut) {
  TempDir dir;
  for (const char* name : {"HITACHIFI_TRACE_DIR", "HITACHIFI_TRACE_LEVEL", "HITACHIFI_TRACE_FILE"})
    ::unsetenv(name);
  CFiTraceLogPtr log(new CFiTraceLog());
  log->initialize(ACE_CString("unit"), ACE_CString(dir.path.c_str()), ACE_CString(), 3, false);
  CFiSessionManager manager;
  manager.registerTraceLog(log);
  manager.setClock(&testClock);
  g_now = 1000;
  CFiSessionPtr first = manager.getSession("job-0");
  EXPECT_EQ("job-0", first->getId());
  EXPECT_EQ(manager.getSession(nullptr).get(), manager.getSession("").get());
  for (size_t i = 1; i < CFiSessionManager::kMaxSessions - 1; ++i)
    manager.getSession(("job-" + std::to_string(i)).c_str());
  EXPECT_EQ(CFiSessionManager::kMaxSessions, manager.size());
  EXPECT_TRUE(traceTexts(dir.path + "/unit.log").empty());    // nothing idle, nothing forced out
  EXPECT_EQ(first.get(), manager.getSession("job-0").get());  // used again: "" is now the least recent
  manager.getSession("overflow");
  EXPECT_EQ(CFiSessionManager::kMaxSessions, manager.size());
  EXPECT_EQ((std::vector<std::string>{"CFiSessionManager::getSession : 4096 sessions in use, forgetting the "
                                      "least recently used session ''"}),
            traceTexts(dir.path + "/unit.log", 1));
  EXPECT_FALSE(manager.forgetSession(""));
  EXPECT_TRUE(manager.forgetSession("job-1"));

  // A week untouched is idle; a session used within it stays, whatever the count.
  g_now += CFiSessionManager::kIdleSeconds - 1;
  manager.getSession("job-2");
  g_now += 1;
  manager.getSession("job-new");
  EXPECT_EQ(2u, manager.size());  // job-2 and job-new
  EXPECT_EQ(1u, traceTexts(dir.path + "/unit.log", 1).size());
  EXPECT_EQ("CFiSessionManager::getSession : forgetting session 'job-0', idle for 604800 s",
            traceTexts(dir.path + "/unit.log", 3).front());

  // A forgotten session lives on while held; its id then starts afresh.
  (*first)["UDID##A"].selectDone = 1;
  EXPECT_NE(first.get(), manager.getSession("job-0").get());
  EXPECT_EQ(1, (*first)["UDID##A"].selectDone);
  EXPECT_EQ(0u, manager.getSession("job-0")->size());
  EXPECT_EQ(1, first->getCount());
  EXPECT_EQ(0, first.release());
}

}  // namespace
