// How the session manager hands out and forgets sessions (the node lists a
// session offers each phase, and their trace, are pinned by the lifecycle
// scenarios through the C entry points).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfisessionmgr.h"
#include "cfitracelog.h"
#include "host.h"

using namespace frim_pdk_4_4;

namespace {

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
  const std::vector<std::string> idle = traceTexts(dir.path + "/unit.log", 3);
  ASSERT_FALSE(idle.empty()) << "no idle session traced at level 3";
  EXPECT_EQ("CFiSessionManager::getSession : forgetting session 'job-0', idle for 604800 s", idle.front());

  // A forgotten session lives on while held; its id then starts afresh.
  (*first)["UDID##A"].selectDone = 1;
  EXPECT_NE(first.get(), manager.getSession("job-0").get());
  EXPECT_EQ(1, (*first)["UDID##A"].selectDone);
  EXPECT_EQ(0u, manager.getSession("job-0")->size());
  EXPECT_EQ(1, first->getCount());
  EXPECT_EQ(0, first.release());
}

}  // namespace
