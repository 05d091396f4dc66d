// The entry-point shell, driven through the exported C symbols of a test
// plugin generated from the same macro as the real plugin.
#include <cstdlib>
#include <string>
#include <vector>

#include "host.h"

void freeObjid(frim_objid* objid);
void freeOutstandingObjids();

namespace {

using InitFn = int (*)(zfi_fw_info*, zfi_version*, char const*);
using FiniFn = void (*)();
using SelectFn = int (*)(zfi_splitnode*, char*, zfi_splitnode**, int);
using PrepareFn = int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, int);
using MakeFn = int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, frim_objid***, int*);
using DomainFn = int (*)(zfi_domain*, zfi_domain*);
using TranslateFn = int (*)(char**, int, char**);
using ObjctlFn = int (*)(char*, char*, char**, long*);
using CacheEnableFn = void (*)(zfi_domain*);
using CacheDisableFn = int (*)(zfi_domain*);
using AltNodeFn = int (*)(zfi_domain*, zfi_domain*, zfi_domain*);

class EntryPointShell : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(lib.loaded()) << lib.error();
    setResult = lib.symbol<void (*)(const char*, int)>("testfi_test_set_result");
    calls = lib.symbol<const char* (*)()>("testfi_test_calls");
    livePlugins = lib.symbol<int (*)()>("testfi_test_live_plugins");
    ASSERT_NE(nullptr, setResult);
    g_failObjidAt = 0;
    g_objidCalls = 0;
  }
  std::string callLog() const { return calls(); }
  int select(zfi_splitnode* node, zfi_splitnode** nodes, int count) {
    return lib.entry<SelectFn>("select")(node, session, nodes, count);
  }
  int prepare(zfi_splitnode** nodes, int count, int flags) {
    return lib.entry<PrepareFn>("prepare")(nullptr, session, nodes, count, flags);
  }

  PluginLibrary lib{TEST_PLUGIN_PATH, "testfi"};
  void (*setResult)(const char*, int) = nullptr;
  const char* (*calls)() = nullptr;
  int (*livePlugins)() = nullptr;
  char session[8] = "job-1";
};

TEST_F(EntryPointShell, InitWithoutVersionRecordReturns7AndCreatesNothing) {
  EXPECT_EQ(7, lib.entry<InitFn>("init")(nullptr, nullptr, "fim"));
  EXPECT_EQ(0, livePlugins());
  EXPECT_EQ("", callLog());
}

TEST_F(EntryPointShell, InitWritesTheVersionEvenWhenPluginInitFailsAndFiniDropsThePlugin) {
  setResult("init", 30);
  zfi_version version{9, 9, 9, 9};
  EXPECT_EQ(30, lib.entry<InitFn>("init")(nullptr, &version, "fim"));
  EXPECT_EQ((std::vector<int>{7, 0, 0, 0}),
            (std::vector<int>{version.major, version.minor, version.update, version.patch}));
  EXPECT_EQ(1, livePlugins());
  lib.entry<FiniFn>("fini")();
  EXPECT_EQ(0, livePlugins());
  EXPECT_EQ("init;fini;", callLog());  // neither runs delayed initialisation
}

TEST_F(EntryPointShell, DelayedInitRunsOnceAndAFailureIsNotRetried) {
  setResult("delayedInit", 5);
  setResult("postDeport", 42);
  auto postDeport = lib.entry<DomainFn>("post_deport");
  EXPECT_EQ(1, postDeport(nullptr, nullptr));
  EXPECT_EQ(42, postDeport(nullptr, nullptr));
  EXPECT_EQ(42, postDeport(nullptr, nullptr));
  EXPECT_EQ("delayedInit;postDeport;postDeport;", callLog());
}

TEST_F(EntryPointShell, SingleNodeStandsInOnlyForAnEmptyArray) {
  TestNode node("UDID##HITACHI##HDS##410##12"), other("UDID##B");
  zfi_splitnode* list[] = {&other.m_split};
  auto isReady = lib.entry<SelectFn>("isready");
  EXPECT_EQ(0, isReady(&node.m_split, session, nullptr, 0));
  EXPECT_EQ(0, isReady(nullptr, session, nullptr, 0));
  EXPECT_EQ(0, isReady(&node.m_split, session, list, 1));
  EXPECT_EQ("delayedInit;isReady(UDID##HITACHI##HDS##410##12);isReady();isReady(UDID##B);", callLog());
}

TEST_F(EntryPointShell, SelectRunsTheSessionFormWhenTheNodeListFormDeclines) {
  TestNode a("UDID##A"), b("UDID##B");
  zfi_splitnode* list[] = {&b.m_split, &a.m_split};
  EXPECT_EQ(0, select(nullptr, list, 2));
  // The session is keyed by node name, so it lists the nodes in name order.
  EXPECT_EQ("delayedInit;select(job-1:UDID##B,UDID##A);selectSnapshots(job-1:UDID##A,UDID##B);", callLog());
}

TEST_F(EntryPointShell, SelectFillsTheSessionWhenHandledButNotWhenItFails) {
  TestNode a("UDID##A"), b("UDID##B");
  setResult("select", 3);
  EXPECT_EQ(3, select(&b.m_split, nullptr, 0));
  setResult("select", 0);
  EXPECT_EQ(0, select(&a.m_split, nullptr, 0));
  setResult("prepare", 4);
  EXPECT_EQ(0, prepare(nullptr, 0, 0));
  EXPECT_EQ(
      "delayedInit;select(job-1:UDID##B);select(job-1:UDID##A);prepare(:0);prepareSnapshots(job-1:UDID##A);",
      callLog());
}

TEST_F(EntryPointShell, PrepareWorksOnTheSessionAsSelectFilledIt) {
  TestNode a("UDID##A"), late("UDID##LATE");
  zfi_splitnode* list[] = {&a.m_split};
  zfi_splitnode* lateList[] = {&late.m_split};
  ASSERT_EQ(0, select(nullptr, list, 1));
  EXPECT_EQ(0, prepare(lateList, 1, 7));
  EXPECT_NE(std::string::npos, callLog().find("prepare(UDID##LATE:7);prepareSnapshots(job-1:UDID##A);"));
}

TEST_F(EntryPointShell, PreselectFillsTheSessionWithoutCallingAnOperation) {
  TestNode a("UDID##A");
  EXPECT_EQ(0, lib.entry<SelectFn>("preselect")(&a.m_split, session, nullptr, 0));
  setResult("prepare", 4);
  EXPECT_EQ(0, prepare(nullptr, 0, 0));
  EXPECT_EQ("delayedInit;prepare(:0);prepareSnapshots(job-1:UDID##A);", callLog());
}

TEST_F(EntryPointShell, MakeReturnsOneObjectIdPerNodeInNodeOrderAndMarksTheNodes) {
  TestNode a("UDID##A"), b("UDID##B");
  zfi_splitnode* list[] = {&b.m_split, &a.m_split};
  ASSERT_EQ(0, select(nullptr, list, 2));
  frim_objid** ids = nullptr;
  int count = -1;
  EXPECT_EQ(0, lib.entry<MakeFn>("make")(nullptr, session, list, 2, &ids, &count));
  ASSERT_EQ(2, count);
  ASSERT_NE(nullptr, ids);
  EXPECT_STREQ("UDID##B", ids[0]->name);
  EXPECT_STREQ("UDID##A", ids[1]->name);
  EXPECT_EQ(ZFI_NODE_MADE, a.m_domain.flags);
  EXPECT_EQ(ZFI_NODE_MADE, b.m_domain.flags);
  freeObjid(ids[0]);
  freeObjid(ids[1]);
  frim_free_buf(ids, 16);
  EXPECT_EQ(0, g_liveBuffers);
}

TEST_F(EntryPointShell, MakeWithAnObjectIdFailureGivesANullArrayAndKeepsTheCount) {
  TestNode a("UDID##A"), b("UDID##B");
  zfi_splitnode* list[] = {&a.m_split, &b.m_split};
  g_failObjidAt = 2;
  frim_objid** ids = reinterpret_cast<frim_objid**>(0x1);
  int count = 0;
  int before = g_liveBuffers;
  EXPECT_EQ(0, lib.entry<MakeFn>("make")(nullptr, session, list, 2, &ids, &count));
  EXPECT_EQ(nullptr, ids);
  EXPECT_EQ(2, count);
  EXPECT_EQ(before + 1, g_liveBuffers);  // the array is freed; the one id made is the host's
  freeOutstandingObjids();
}

TEST_F(EntryPointShell, FailedMakeLeavesOutputsAndNodesAlone) {
  setResult("makeSnapshots", 6);
  TestNode a("UDID##A");
  frim_objid** ids = nullptr;
  int count = 99;
  EXPECT_EQ(6, lib.entry<MakeFn>("make")(&a.m_split, session, nullptr, 0, &ids, &count));
  EXPECT_EQ(99, count);
  EXPECT_EQ(0u, a.m_domain.flags);
}

TEST_F(EntryPointShell, TranslateResourceNamesTakesOnlyNamesAnOutputAndNoCount) {
  auto translate = lib.entry<TranslateFn>("translate_resource_names");
  char* names[] = {nullptr};
  char* out = nullptr;
  EXPECT_EQ(3, translate(names, 2, &out));
  EXPECT_EQ(3, translate(nullptr, 0, &out));
  EXPECT_EQ(3, translate(names, 0, nullptr));
  EXPECT_EQ(0, translate(names, 0, &out));
  EXPECT_EQ("delayedInit;translateResourceNames(0);", callLog());
}

TEST_F(EntryPointShell, ObjctlReturns0AndStoresTheOperationStatus) {
  setResult("objctl", 6);
  char command[] = "status";
  char input[] = "in=a%3Db\n";
  char* output = nullptr;
  long result = 0;
  EXPECT_EQ(0, lib.entry<ObjctlFn>("objctl")(command, input, &output, &result));
  EXPECT_EQ(6, result);
  ASSERT_NE(nullptr, output);
  EXPECT_STREQ("in=a%3Db\nout=done%3Da%3Db\n", output);
  std::free(output);
}

TEST_F(EntryPointShell, FixedArgumentsAndDelayedInitOfCacheAndAltNodeEntries) {
  lib.entry<CacheEnableFn>("cache_enable")(nullptr);
  EXPECT_EQ("cacheEnable(0);", callLog());  // no delayed initialisation
  EXPECT_EQ(0, lib.entry<CacheDisableFn>("cache_disable")(nullptr));
  lib.entry<AltNodeFn>("init_altnode")(nullptr, nullptr, nullptr);
  lib.entry<AltNodeFn>("init_remnode")(nullptr, nullptr, nullptr);
  EXPECT_EQ("cacheEnable(0);delayedInit;cacheDisable(0);initAltNode(false);initAltNode(true);", callLog());
}

}  // namespace
