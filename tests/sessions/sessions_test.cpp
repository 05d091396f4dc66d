// Sessions and split nodes: adding the framework's nodes, the per-phase
// node lists and their trace, and how the session manager hands out and
// forgets sessions.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "cfisessionmgr.h"
#include "cfitracelog.h"

using namespace frim_pdk_4_4;

namespace {

// A node the way the framework hands one over.
struct Node {
  Node(const char* name, const char* fim) : m_name(name), m_fim(fim) {
    domain.name = &m_name[0];
    split.fim_name = &m_fim[0];
    split.node = &domain;
  }
  Node(const Node&) = delete;
  std::string m_name, m_fim;
  zfi_domain domain{};
  zfi_splitnode split{};
};

std::vector<std::string> names(const std::vector<CFiSplitNode>& list) {
  std::vector<std::string> out;
  for (const auto& node : list) out.push_back(node.getObjectIdText());
  return out;
}

// A trace log of its own writing every level into a private directory;
// lines come back as "L<level> <text>".
class OwnTraceLog {
 public:
  OwnTraceLog() {
    char pattern[] = "/tmp/sessions-trace.XXXXXX";
    m_dir = ::mkdtemp(pattern);
    ::unsetenv("HITACHIFI_TRACE_DIR");
    ::unsetenv("HITACHIFI_TRACE_LEVEL");
    ::unsetenv("HITACHIFI_TRACE_FILE");
    log = CFiTraceLogPtr(new CFiTraceLog());
    log->initialize(ACE_CString("unit"), ACE_CString(m_dir.c_str()), ACE_CString(), 6, false);
  }
  ~OwnTraceLog() {
    log.release();
    std::string command = "rm -rf '" + m_dir + "'";
    (void)std::system(command.c_str());
  }
  std::vector<std::string> lines() const {
    std::ifstream in(m_dir + "/unit.log");
    std::vector<std::string> out;
    for (std::string line; std::getline(in, line);) {
      size_t level = line.find("] L");
      size_t text = line.find(": ", level);
      if (level == std::string::npos || text == std::string::npos) continue;
      out.push_back(line.substr(level + 2, line.find(' ', level + 2) - level - 2) + " " +
                    line.substr(text + 2));
    }
    return out;
  }
  CFiTraceLogPtr log;

 private:
  std::string m_dir;
};

class Session : public ::testing::Test {
 protected:
  Session() : session(new CFiSession("job")) {}
  void add(std::initializer_list<Node*> nodes) {
    std::vector<zfi_splitnode*> list;
    for (Node* node : nodes) list.push_back(&node->split);
    session->addNodes(list.data(), static_cast<int>(list.size()));
  }
  CFiSessionPtr session;
};

TEST_F(Session, AddedNodeStartsWithNameFimAndNoPhaseDone) {
  Node a("UDID##HITACHI##OPEN-V##410##12", "Hitachi_ShadowImage");
  add({&a});
  ASSERT_EQ(1u, session->size());
  CFiSplitNode& node = (*session)["UDID##HITACHI##OPEN-V##410##12"];
  EXPECT_STREQ("UDID##HITACHI##OPEN-V##410##12", node.m_name.c_str());
  EXPECT_EQ(0u, node.m_secondName.length());
  EXPECT_EQ("Hitachi_ShadowImage", node.m_fimName);
  EXPECT_EQ(0, node.selectDone);
  EXPECT_EQ(0, node.prepareDone);
  EXPECT_EQ(0, node.makeDone);
  EXPECT_EQ(0, node.updateDone);
}

TEST_F(Session, AddingTheSameNodeTwiceKeepsOneNodeWithItsFlags) {
  Node a("UDID##A", "Hitachi_ShadowImage");
  add({&a});
  (*session)["UDID##A"].selectDone = 1;
  (*session)["UDID##A"].m_secondName = "snap";
  Node again("UDID##A", "Hitachi_CopyOnWrite");
  add({&again});
  EXPECT_EQ(1u, session->size());
  EXPECT_EQ(1, (*session)["UDID##A"].selectDone);
  EXPECT_STREQ("snap", (*session)["UDID##A"].m_secondName.c_str());
  EXPECT_EQ("Hitachi_ShadowImage", (*session)["UDID##A"].m_fimName);  // the first FIM stays
}

TEST_F(Session, SelectedNodeIsOfferedToPrepareButNotToSelect) {
  Node a("UDID##A", "f"), b("UDID##B", "f");
  add({&a, &b});
  (*session)["UDID##A"].selectDone = 1;
  EXPECT_EQ((std::vector<std::string>{"UDID##B"}), names(session->getSplitNodeList(FI_PHASE_SELECT)));
  EXPECT_EQ((std::vector<std::string>{"UDID##A", "UDID##B"}),
            names(session->getSplitNodeList(FI_PHASE_PREPARE)));
}

TEST_F(Session, EachPhaseReadsItsOwnFlag) {
  Node a("UDID##A", "f"), b("UDID##B", "f");
  add({&a, &b});
  (*session)["UDID##A"].prepareDone = 1;
  (*session)["UDID##B"].makeDone = 1;
  (*session)["UDID##A"].updateDone = 1;
  EXPECT_EQ((std::vector<std::string>{"UDID##A", "UDID##B"}),
            names(session->getSplitNodeList(FI_PHASE_SELECT)));
  EXPECT_EQ((std::vector<std::string>{"UDID##B"}), names(session->getSplitNodeList(FI_PHASE_PREPARE)));
  EXPECT_EQ((std::vector<std::string>{"UDID##A"}), names(session->getSplitNodeList(FI_PHASE_MAKE)));
  EXPECT_EQ((std::vector<std::string>{"UDID##B"}), names(session->getSplitNodeList(FI_PHASE_UPDATE)));
}

TEST_F(Session, PhasesOutsideOneToFourGiveAnEmptyList) {
  Node a("UDID##A", "f");
  add({&a});
  for (int phase : {0, 5, -1, 100}) EXPECT_TRUE(session->getSplitNodeList(phase).empty()) << phase;
}

TEST_F(Session, ListIsInNameOrderNotInTheOrderGiven) {
  Node c("UDID##C", "f"), a("UDID##A", "f"), b("UDID##B", "f"), lower("UDID##a", "f");
  add({&c, &lower, &a, &b});
  EXPECT_EQ((std::vector<std::string>{"UDID##A", "UDID##B", "UDID##C", "UDID##a"}),
            names(session->getSplitNodeList(FI_PHASE_SELECT)));
}

TEST_F(Session, ListHoldsCopiesOfTheNodes) {
  Node a("UDID##A", "Hitachi_CopyOnWrite");
  add({&a});
  (*session)["UDID##A"].m_secondName = "snapname";
  std::vector<CFiSplitNode> list = session->getSplitNodeList(FI_PHASE_MAKE);
  ASSERT_EQ(1u, list.size());
  EXPECT_STREQ("snapname", list[0].m_secondName.c_str());
  EXPECT_EQ("Hitachi_CopyOnWrite", list[0].m_fimName);
  list[0].makeDone = 1;
  EXPECT_EQ(0, (*session)["UDID##A"].makeDone);
  EXPECT_EQ(1u, session->getSplitNodeList(FI_PHASE_MAKE).size());
}

TEST_F(Session, ObjectIdOfANodeIsItsName) {
  Node a("UDID##HITACHI##OPEN-V##410##12", "f");
  add({&a});
  EXPECT_EQ("UDID##HITACHI##OPEN-V##410##12", (*session)["UDID##HITACHI##OPEN-V##410##12"].getObjectIdText());
}

TEST_F(Session, SubscriptOfAnUnknownNameCreatesAnEmptyNode) {
  CFiSplitNode& node = (*session)["UDID##NEW"];
  EXPECT_EQ(1u, session->size());
  EXPECT_EQ(0, node.selectDone);
  EXPECT_TRUE(node.m_fimName.empty());
}

TEST_F(Session, EntriesWithoutANodeOrNameArePassedOver) {
  Node a("UDID##A", "f");
  zfi_splitnode noNode{};
  zfi_domain unnamed{};
  zfi_splitnode noName{};
  noName.node = &unnamed;
  zfi_splitnode noFim{};
  zfi_domain named{};
  char name[] = "UDID##B";
  named.name = name;
  noFim.node = &named;
  zfi_splitnode* list[] = {nullptr, &noNode, &noName, &noFim, &a.split};
  session->addNodes(list, 5);
  session->addNodes(nullptr, 4);
  session->addNodes(list, -2);
  EXPECT_EQ((std::vector<std::string>{"UDID##A", "UDID##B"}),
            names(session->getSplitNodeList(FI_PHASE_SELECT)));
  EXPECT_TRUE((*session)["UDID##B"].m_fimName.empty());
}

TEST_F(Session, ListTracesOneLevelThreeLinePerNodeOffered) {
  OwnTraceLog trace;
  session->registerTraceLog(trace.log);
  Node a("UDID##A", "f"), b("UDID##B", "f"), c("UDID##C", "f");
  add({&a, &b, &c});
  (*session)["UDID##B"].selectDone = 1;
  (*session)["UDID##C"].makeDone = 1;
  session->getSplitNodeList(FI_PHASE_SELECT);
  session->getSplitNodeList(FI_PHASE_PREPARE);
  session->getSplitNodeList(FI_PHASE_MAKE);
  session->getSplitNodeList(FI_PHASE_UPDATE);
  session->getSplitNodeList(7);
  std::vector<std::string> detail;
  std::vector<std::string> flow;
  for (const std::string& line : trace.lines())
    (line.compare(0, 3, "L3 ") == 0 ? detail : flow).push_back(line);
  EXPECT_EQ(
      (std::vector<std::string>{
          "L3 DBG : Found selectDone zero, adding node", "L3 DBG : Found selectDone zero, adding node",
          "L3 DBG : Found prepareDone zero, adding node", "L3 DBG : Found prepareDone zero, adding node",
          "L3 DBG : Found prepareDone zero, adding node", "L3 DBG : Found makeDone zero, adding node",
          "L3 DBG : Found makeDone zero, adding node", "L3 DBG : Found updateDone zero, adding node",
          "L3 DBG : Found updateDone zero, adding node", "L3 DBG : Found updateDone zero, adding node"}),
      detail);
  ASSERT_EQ(10u, flow.size());  // entering and exiting, five calls
  EXPECT_EQ(0u, flow[0].find("L6 Entering Function getSplitNodeList [")) << flow[0];
  EXPECT_NE(std::string::npos, flow[0].find(", cfisessionmgr.h]")) << flow[0];
  EXPECT_EQ(0u, flow[1].find("L6 Exiting Function getSplitNodeList [")) << flow[1];
}

TEST_F(Session, ListWithoutATraceLogStillWorks) {
  Node a("UDID##A", "f");
  add({&a});
  EXPECT_EQ(1u, session->getSplitNodeList(FI_PHASE_SELECT).size());
}

class SessionManager : public ::testing::Test {
 protected:
  CFiSessionManager manager;
};

TEST_F(SessionManager, SameIdGivesTheSameSessionCreatedOnFirstUse) {
  EXPECT_EQ(0u, manager.size());
  CFiSessionPtr first = manager.getSession("job-1");
  ASSERT_TRUE(first);
  EXPECT_EQ("job-1", first->getId());
  EXPECT_EQ(first.get(), manager.getSession("job-1").get());
  EXPECT_NE(first.get(), manager.getSession("job-2").get());
  EXPECT_EQ(2u, manager.size());
}

TEST_F(SessionManager, NullIdIsTheEmptyId) {
  EXPECT_EQ(manager.getSession(nullptr).get(), manager.getSession("").get());
}

TEST_F(SessionManager, NodesAddedAtSelectAreThereAtPrepare) {
  Node a("UDID##A", "f");
  zfi_splitnode* list[] = {&a.split};
  manager.getSession("job")->addNodes(list, 1);
  (*manager.getSession("job"))["UDID##A"].selectDone = 1;
  std::vector<CFiSplitNode> toPrepare = manager.getSession("job")->getSplitNodeList(FI_PHASE_PREPARE);
  ASSERT_EQ(1u, toPrepare.size());
  EXPECT_EQ("UDID##A", toPrepare[0].getObjectIdText());
}

TEST_F(SessionManager, SessionsTraceThroughTheManagersTraceLog) {
  OwnTraceLog trace;
  manager.registerTraceLog(trace.log);
  CFiSessionPtr session = manager.getSession("job");
  EXPECT_EQ(trace.log.get(), session->traceLog().get());
}

TEST_F(SessionManager, LeastRecentlyUsedSessionIsForgottenWhenTheTableIsFull) {
  CFiSessionPtr first = manager.getSession("job-0");
  for (size_t i = 1; i < CFiSessionManager::kMaxSessions; ++i)
    manager.getSession(("job-" + std::to_string(i)).c_str());
  EXPECT_EQ(CFiSessionManager::kMaxSessions, manager.size());
  manager.getSession("job-0");  // used again: job-1 is now the least recent
  manager.getSession("overflow");
  EXPECT_EQ(CFiSessionManager::kMaxSessions, manager.size());
  EXPECT_EQ(first.get(), manager.getSession("job-0").get());
  EXPECT_FALSE(manager.forgetSession("job-1"));
  EXPECT_TRUE(manager.forgetSession("job-2"));
}

TEST_F(SessionManager, ManyJobsNeverGrowTheTableBeyondItsBound) {
  for (size_t i = 0; i < 5 * CFiSessionManager::kMaxSessions; ++i) {
    manager.getSession(("job-" + std::to_string(i)).c_str());
    ASSERT_LE(manager.size(), CFiSessionManager::kMaxSessions);
  }
}

TEST_F(SessionManager, ForgottenSessionLivesWhileHeldAndTheIdStartsAfresh) {
  CFiSessionPtr held = manager.getSession("job");
  (*held)["UDID##A"].selectDone = 1;
  EXPECT_TRUE(manager.forgetSession("job"));
  EXPECT_FALSE(manager.forgetSession("job"));
  EXPECT_EQ(1, (*held)["UDID##A"].selectDone);
  CFiSessionPtr fresh = manager.getSession("job");
  EXPECT_NE(held.get(), fresh.get());
  EXPECT_EQ(0u, fresh->size());
}

TEST_F(SessionManager, SessionIsDeletedWhenForgottenAndReleased) {
  CFiSessionPtr held = manager.getSession("job");
  EXPECT_EQ(2, held->getCount());  // the manager's and ours
  manager.forgetSession("job");
  EXPECT_EQ(1, held->getCount());
  EXPECT_EQ(0, held.release());
}

}  // namespace
