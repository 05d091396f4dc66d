// Sessions and split nodes: adding the framework's nodes, the per-phase
// node lists and their trace, and how the session manager hands out and
// forgets sessions.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "cfisessionmgr.h"
#include "cfitracelog.h"

using namespace frim_pdk_4_4;

namespace {

// A node the way the framework hands one over.
struct Node {
  Node(const char* name, const char* fim = "f") : m_name(name), m_fim(fim) {
    domain.name = &m_name[0];
    split.fim_name = &m_fim[0];
    split.node = &domain;
  }
  Node(const Node&) = delete;
  std::string m_name, m_fim;
  zfi_domain domain{};
  zfi_splitnode split{};
};

class Session : public ::testing::Test {
 protected:
  void add(std::initializer_list<Node*> nodes) {
    std::vector<zfi_splitnode*> list;
    for (Node* node : nodes) list.push_back(&node->split);
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

TEST_F(Session, AddingANodeAgainKeepsTheFirstWithItsFlagsAndSecondName) {
  Node a("UDID##A", "Hitachi_ShadowImage");
  add({&a});
  EXPECT_EQ("Hitachi_ShadowImage", node("UDID##A").m_fimName);
  EXPECT_EQ(0u, node("UDID##A").m_secondName.length());
  node("UDID##A").selectDone = 1;
  node("UDID##A").m_secondName = "snap";
  Node again("UDID##A", "Hitachi_CopyOnWrite");
  add({&again});
  EXPECT_EQ(1u, session->size());
  EXPECT_EQ(1, node("UDID##A").selectDone);
  EXPECT_STREQ("snap", node("UDID##A").m_secondName.c_str());
  EXPECT_EQ("Hitachi_ShadowImage", node("UDID##A").m_fimName);
}

TEST_F(Session, EachPhaseOffersTheNodesWhoseFlagIsClearInNameOrder) {
  Node c("UDID##C"), a("UDID##A"), b("UDID##B"), lower("UDID##a");
  add({&c, &lower, &a, &b});
  node("UDID##A").selectDone = 1;
  node("UDID##B").prepareDone = 1;
  node("UDID##C").makeDone = 1;
  node("UDID##a").updateDone = 1;
  EXPECT_EQ((std::vector<std::string>{"UDID##B", "UDID##C", "UDID##a"}), names(FI_PHASE_SELECT));
  EXPECT_EQ((std::vector<std::string>{"UDID##A", "UDID##C", "UDID##a"}), names(FI_PHASE_PREPARE));
  EXPECT_EQ((std::vector<std::string>{"UDID##A", "UDID##B", "UDID##a"}), names(FI_PHASE_MAKE));
  EXPECT_EQ((std::vector<std::string>{"UDID##A", "UDID##B", "UDID##C"}), names(FI_PHASE_UPDATE));
  for (int phase : {0, 5, -1}) EXPECT_TRUE(names(phase).empty()) << phase;
}

TEST_F(Session, ListHoldsCopiesOfTheNodes) {
  Node a("UDID##A", "Hitachi_CopyOnWrite");
  add({&a});
  node("UDID##A").m_secondName = "snapname";
  std::vector<CFiSplitNode> list = session->getSplitNodeList(FI_PHASE_MAKE);
  ASSERT_EQ(1u, list.size());
  EXPECT_STREQ("snapname", list[0].m_secondName.c_str());
  EXPECT_EQ("Hitachi_CopyOnWrite", list[0].m_fimName);
  list[0].makeDone = 1;
  EXPECT_EQ(0, node("UDID##A").makeDone);
}

TEST_F(Session, EntriesWithoutANodeOrNameArePassedOver) {
  Node a("UDID##A");
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
  EXPECT_EQ((std::vector<std::string>{"UDID##A", "UDID##B"}), names(FI_PHASE_SELECT));
  EXPECT_TRUE(node("UDID##B").m_fimName.empty());
}

TEST_F(Session, ListTracesOneLevelThreeLinePerNodeOffered) {
  char pattern[] = "/tmp/sessions-trace.XXXXXX";
  ASSERT_NE(nullptr, ::mkdtemp(pattern));
  const std::string dir = pattern;
  ::unsetenv("HITACHIFI_TRACE_DIR");
  ::unsetenv("HITACHIFI_TRACE_LEVEL");
  ::unsetenv("HITACHIFI_TRACE_FILE");
  CFiTraceLogPtr log(new CFiTraceLog());
  log->initialize(ACE_CString("unit"), ACE_CString(dir.c_str()), ACE_CString(), 6, false);
  session->registerTraceLog(log);
  Node a("UDID##A"), b("UDID##B");
  add({&a, &b});
  node("UDID##B").selectDone = 1;
  for (int phase : {1, 2, 3, 4, 7}) {
    session->getSplitNodeList(phase);
  }
  std::vector<std::string> detail, flow;
  std::ifstream in(dir + "/unit.log");
  for (std::string line; std::getline(in, line);) {
    if (line.find(" L3 unit: ") != std::string::npos) detail.push_back(line.substr(line.find(": ") + 2));
    if (line.find(" L6 unit: ") != std::string::npos) flow.push_back(line.substr(line.find(": ") + 2));
  }
  EXPECT_EQ((std::vector<std::string>{
                "DBG : Found selectDone zero, adding node", "DBG : Found prepareDone zero, adding node",
                "DBG : Found prepareDone zero, adding node", "DBG : Found makeDone zero, adding node",
                "DBG : Found makeDone zero, adding node", "DBG : Found updateDone zero, adding node",
                "DBG : Found updateDone zero, adding node"}),
            detail);
  ASSERT_EQ(10u, flow.size());  // entering and exiting, five calls
  EXPECT_EQ(0u, flow[0].find("Entering Function getSplitNodeList [")) << flow[0];
  EXPECT_NE(std::string::npos, flow[0].find(", cfisessionmgr.h]")) << flow[0];
  session.release();
  log.release();
  (void)std::system(("rm -rf '" + dir + "'").c_str());
}

TEST(SessionManager, SameIdGivesTheSameSessionCreatedOnFirstUse) {
  CFiSessionManager manager;
  CFiSessionPtr first = manager.getSession("job-1");
  ASSERT_TRUE(first);
  EXPECT_EQ("job-1", first->getId());
  EXPECT_EQ(first.get(), manager.getSession("job-1").get());
  EXPECT_NE(first.get(), manager.getSession("job-2").get());
  EXPECT_EQ(manager.getSession(nullptr).get(), manager.getSession("").get());
  EXPECT_EQ(3u, manager.size());
}

TEST(SessionManager, TheLeastRecentlyUsedSessionIsForgottenSoTheTableStaysBounded) {
  CFiSessionManager manager;
  CFiSessionPtr first = manager.getSession("job-0");
  for (size_t i = 1; i < CFiSessionManager::kMaxSessions; ++i)
    manager.getSession(("job-" + std::to_string(i)).c_str());
  manager.getSession("job-0");  // used again: job-1 is now the least recent
  manager.getSession("overflow");
  EXPECT_EQ(CFiSessionManager::kMaxSessions, manager.size());
  EXPECT_EQ(first.get(), manager.getSession("job-0").get());
  EXPECT_FALSE(manager.forgetSession("job-1"));
  EXPECT_TRUE(manager.forgetSession("job-2"));
  for (size_t i = 0; i < 3 * CFiSessionManager::kMaxSessions; ++i) {
    manager.getSession(("more-" + std::to_string(i)).c_str());
  }
  EXPECT_EQ(CFiSessionManager::kMaxSessions, manager.size());
}

TEST(SessionManager, AForgottenSessionLivesWhileHeldAndItsIdStartsAfresh) {
  CFiSessionManager manager;
  CFiSessionPtr held = manager.getSession("job");
  (*held)["UDID##A"].selectDone = 1;
  EXPECT_TRUE(manager.forgetSession("job"));
  EXPECT_EQ(1, held->getCount());
  EXPECT_EQ(1, (*held)["UDID##A"].selectDone);
  CFiSessionPtr fresh = manager.getSession("job");
  EXPECT_NE(held.get(), fresh.get());
  EXPECT_EQ(0u, fresh->size());
  EXPECT_EQ(0, held.release());
}

}  // namespace
