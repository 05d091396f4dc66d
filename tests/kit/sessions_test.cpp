// Sessions, split nodes and object-control argument lists.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "cfiobjctlargs.h"
#include "cfisessionmgr.h"

using namespace frim_pdk_4_4;

namespace {

struct Node {
  Node(const char* name, const char* fim) : m_name(name), m_fim(fim) {
    domain.name = &m_name[0];
    split.fim_name = &m_fim[0];
    split.node = &domain;
  }
  std::string m_name, m_fim;
  zfi_domain domain{};
  zfi_splitnode split{};
};

std::vector<std::string> names(const std::vector<CFiSplitNode>& list) {
  std::vector<std::string> out;
  for (const auto& node : list) out.push_back(node.getObjectIdText());
  return out;
}

TEST(Session, AddingTheSameNodeTwiceKeepsItsFlags) {
  CFiSession session("s");
  Node a("UDID##A", "Hitachi_ShadowImage");
  zfi_splitnode* list[] = {&a.split};
  session.addNodes(list, 1);
  session["UDID##A"].selectDone = 1;
  session["UDID##A"].m_secondName = "snap";
  session.addNodes(list, 1);
  EXPECT_EQ(1u, session.size());
  EXPECT_EQ(1, session["UDID##A"].selectDone);
  EXPECT_STREQ("snap", session["UDID##A"].m_secondName.c_str());
  EXPECT_EQ("Hitachi_ShadowImage", session["UDID##A"].m_fimName);
}

TEST(Session, PhaseListsSkipFinishedNodesInNameOrder) {
  CFiSession session("s");
  Node b("UDID##B", "f"), a("UDID##A", "f"), c("UDID##C", "f");
  zfi_splitnode* list[] = {&b.split, &a.split, &c.split};
  session.addNodes(list, 3);
  session["UDID##B"].selectDone = 1;
  EXPECT_EQ((std::vector<std::string>{"UDID##A", "UDID##C"}), names(session.getSplitNodeList(FI_PHASE_SELECT)));
  EXPECT_EQ((std::vector<std::string>{"UDID##A", "UDID##B", "UDID##C"}),
            names(session.getSplitNodeList(FI_PHASE_PREPARE)));
  EXPECT_TRUE(session.getSplitNodeList(5).empty());
  EXPECT_TRUE(session.getSplitNodeList(0).empty());
}

TEST(Session, NullEntriesAreSkipped) {
  CFiSession session("s");
  Node a("UDID##A", "f");
  zfi_splitnode empty{};
  zfi_splitnode* list[] = {nullptr, &empty, &a.split};
  session.addNodes(list, 3);
  session.addNodes(nullptr, 4);
  EXPECT_EQ(1u, session.size());
}

TEST(SessionManager, SameIdSameSessionAndOldestForgottenWhenFull) {
  CFiSessionManager manager;
  CFiSessionPtr first = manager.getSession("job-0");
  EXPECT_EQ(first.get(), manager.getSession("job-0").get());
  for (size_t i = 1; i < CFiSessionManager::kMaxSessions; ++i) manager.getSession(("job-" + std::to_string(i)).c_str());
  manager.getSession("job-0");  // recently used again
  manager.getSession("overflow");
  EXPECT_EQ(CFiSessionManager::kMaxSessions, manager.size());
  EXPECT_EQ(first.get(), manager.getSession("job-0").get());  // survived
  EXPECT_FALSE(manager.forgetSession("job-1"));               // the least recently used went
  EXPECT_TRUE(manager.forgetSession("job-2"));
}

TEST(SessionManager, ForgottenSessionLivesWhileHeld) {
  CFiSessionManager manager;
  CFiSessionPtr held = manager.getSession("job");
  held->getSplitNodeMap()["x"];
  EXPECT_TRUE(manager.forgetSession("job"));
  EXPECT_EQ(1u, held->size());
  EXPECT_NE(held.get(), manager.getSession("job").get());
}

TEST(ObjctlArgs, RoundTripsAnyArgumentList) {
  std::mt19937 random(7);
  const std::string alphabet = std::string("ab=%\n\r%0Z") + '\x01' + "\xff" + std::string(1, '\0');
  for (int round = 0; round < 200; ++round) {
    CFiObjctlArgs args;
    int count = random() % 5;
    for (int i = 0; i < count; ++i) {
      std::string name, value;
      for (int k = random() % 6; k > 0; --k) name += alphabet[random() % alphabet.size()];
      for (int k = random() % 6; k > 0; --k) value += alphabet[random() % alphabet.size()];
      args.add(name, value);
    }
    CFiObjctlArgs back;
    ASSERT_EQ(0, back.importArgs(args.exportArgs().c_str()));
    ASSERT_EQ(args.getArgs(), back.getArgs());
  }
}

TEST(ObjctlArgs, MalformedInputIsRefusedWithTheLine) {
  CFiObjctlArgs args;
  EXPECT_EQ(3, args.importArgs("a=1\nno-equals\n"));
  EXPECT_TRUE(args.getArgs().empty());
  EXPECT_EQ("malformed argument on line 2", args.getError());
  EXPECT_EQ(0, args.importArgs("a=%00b"));  // an escaped NUL survives
  EXPECT_EQ(std::string("\0b", 2), args.get("a"));
  EXPECT_EQ("a=%00b\n", args.exportArgs());
  EXPECT_EQ(3, args.importArgs("a=%4"));
  EXPECT_EQ(3, args.importArgs("a=%G0"));
  EXPECT_EQ(0, args.importArgs(nullptr));
  EXPECT_EQ(0, args.importArgs("x=1\n\ny=\n"));
  EXPECT_EQ("1", args.get("x"));
  EXPECT_EQ("", args.get("y", "fallback"));
  EXPECT_EQ("fallback", args.get("z", "fallback"));
}

}  // namespace
