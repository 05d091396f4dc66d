// The entry-point shell, driven through the exported C symbols of a test
// plugin generated from the same macro as the real plugin.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "host.h"

namespace {

using SelectFn = int (*)(zfi_splitnode*, char*, zfi_splitnode**, int);
using MakeFn = int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, frim_objid***, int*);
using AltNodeFn = int (*)(zfi_domain*, zfi_domain*, zfi_domain*);

class EntryPointShell : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(lib.loaded()) << ::dlerror();
    g_objidsBeforeFailure = -1;
  }
  std::string calls() const { return lib.control<const char* (*)()>("calls")(); }
  int livePlugins() const { return lib.control<int (*)()>("live_plugins")(); }
  void setResult(const char* op, int result) const {
    lib.control<void (*)(const char*, int)>("set_result")(op, result);
  }
  int init(zfi_version* version) const {
    return lib.entry<int (*)(zfi_fw_info*, zfi_version*, char const*)>("init")(nullptr, version, "fim");
  }
  int select(zfi_splitnode* node, zfi_splitnode** nodes, int count) {
    return lib.entry<SelectFn>("select")(node, session, nodes, count);
  }
  int prepare(zfi_splitnode** nodes, int count, int flags) {
    return lib.entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, int)>("prepare")(
        nullptr, session, nodes, count, flags);
  }

  PluginLibrary lib{TEST_PLUGIN_PATH};
  char session[8] = "job-1";
};

TEST_F(EntryPointShell, InitWritesTheVersionEvenWhenPluginInitFailsButNeedsAVersionRecord) {
  EXPECT_EQ(7, init(nullptr));
  EXPECT_EQ(0, livePlugins());  // nothing created
  setResult("init", 30);
  zfi_version version{9, 9, 9, 9};
  EXPECT_EQ(30, init(&version));
  EXPECT_EQ("7.0.0.0", std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
                           std::to_string(version.update) + "." + std::to_string(version.patch));
  EXPECT_EQ(1, livePlugins());
  lib.entry<void (*)()>("fini")();
  EXPECT_EQ(0, livePlugins());
  EXPECT_EQ("init;fini;", calls());  // neither runs delayed initialisation
}

TEST_F(EntryPointShell, DelayedInitRunsOnceAndAFailureIsNotRetried) {
  setResult("delayedInit", 5);
  setResult("postDeport", 42);
  auto postDeport = lib.entry<int (*)(zfi_domain*, zfi_domain*)>("post_deport");
  EXPECT_EQ(1, postDeport(nullptr, nullptr));
  EXPECT_EQ(42, postDeport(nullptr, nullptr));
  EXPECT_EQ(42, postDeport(nullptr, nullptr));
  EXPECT_EQ("delayedInit;postDeport;postDeport;", calls());
}

TEST_F(EntryPointShell, SingleNodeStandsInOnlyForAnEmptyArray) {
  TestNode node("UDID##A"), other("UDID##B");
  zfi_splitnode* list[] = {&other.m_split};
  auto isReady = lib.entry<SelectFn>("isready");
  EXPECT_EQ(0, isReady(&node.m_split, session, nullptr, 0));
  EXPECT_EQ(0, isReady(nullptr, session, nullptr, 0));
  EXPECT_EQ(0, isReady(&node.m_split, session, list, 1));
  EXPECT_EQ("delayedInit;isReady(job-1:UDID##A);isReady(job-1:);isReady(job-1:UDID##B);", calls());
}

TEST_F(EntryPointShell, AFailedSelectAddsNothingAndPreselectAddsWithoutAnOperation) {
  TestNode a("UDID##A"), b("UDID##B");
  setResult("select", 3);
  EXPECT_EQ(3, select(&b.m_split, nullptr, 0));
  EXPECT_EQ(0, lib.entry<SelectFn>("preselect")(&a.m_split, session, nullptr, 0));
  setResult("prepare", 4);
  EXPECT_EQ(0, prepare(nullptr, 0, 0));
  EXPECT_EQ("delayedInit;select(job-1:UDID##B);prepare(0:);prepareSnapshots(job-1:UDID##A);", calls());
}

TEST_F(EntryPointShell, MakeReturnsOneObjectIdPerNodeInNodeOrderAndMarksTheNodesOnlyOnSuccess) {
  TestNode a("UDID##A"), b("UDID##B");
  zfi_splitnode* list[] = {&b.m_split, &a.m_split};
  ASSERT_EQ(0, select(nullptr, list, 2));
  auto make = lib.entry<MakeFn>("make");
  frim_objid** ids = nullptr;
  int count = 99;
  setResult("makeSnapshots", 6);
  EXPECT_EQ(6, make(nullptr, session, list, 2, &ids, &count));
  EXPECT_EQ(99, count);  // outputs and nodes left alone
  EXPECT_EQ(0u, a.m_domain.flags);

  setResult("makeSnapshots", 0);
  EXPECT_EQ(0, make(nullptr, session, list, 2, &ids, &count));
  ASSERT_EQ(2, count);
  ASSERT_NE(nullptr, ids);
  EXPECT_STREQ("SNAP-UDID##B", ids[0]->name);  // the snapshots' names, not the sources'
  EXPECT_STREQ("SNAP-UDID##A", ids[1]->name);
  EXPECT_EQ(ZFI_NODE_MADE, a.m_domain.flags);
  EXPECT_EQ(ZFI_NODE_MADE, b.m_domain.flags);
  freeOutstandingObjids();
  frim_free_buf(ids, 2 * sizeof(frim_objid*));
  EXPECT_EQ(0, g_liveBuffers);

  // An object id that cannot be made: the array is freed, the one id made is the host's.
  g_objidsBeforeFailure = 1;
  EXPECT_EQ(0, make(nullptr, session, list, 2, &ids, &count));
  EXPECT_EQ(nullptr, ids);
  EXPECT_EQ(2, count);
  EXPECT_EQ(1, g_liveBuffers);
  freeOutstandingObjids();
}

TEST_F(EntryPointShell, FixedArgumentEntriesCheckTheirArgumentsAndObjctlStoresTheOperationStatus) {
  lib.entry<void (*)(zfi_domain*)>("cache_enable")(nullptr);
  EXPECT_EQ("cacheEnable(0);", calls());  // no delayed initialisation
  EXPECT_EQ(0, lib.entry<int (*)(zfi_domain*)>("cache_disable")(nullptr));
  lib.entry<AltNodeFn>("init_altnode")(nullptr, nullptr, nullptr);
  lib.entry<AltNodeFn>("init_remnode")(nullptr, nullptr, nullptr);

  auto translate = lib.entry<int (*)(char**, int, char**)>("translate_resource_names");
  char* names[] = {nullptr};
  char* out = nullptr;
  EXPECT_EQ(3, translate(names, 2, &out));
  EXPECT_EQ(3, translate(nullptr, 0, &out));
  EXPECT_EQ(0, translate(names, 0, &out));
  EXPECT_EQ(
      "cacheEnable(0);delayedInit;cacheDisable(0);initAltNode;initAltNode(remote);translateResourceNames(0);",
      calls());

  setResult("objctl", 6);
  char command[] = "status", input[] = "in=a%3Db\n";
  char* output = nullptr;
  long result = 0;
  EXPECT_EQ(0, lib.entry<int (*)(char*, char*, char**, long*)>("objctl")(command, input, &output, &result));
  EXPECT_EQ(6, result);
  ASSERT_NE(nullptr, output);
  EXPECT_STREQ("in=a%3Db\nout=done%3Da%3Db\n", output);
  std::free(output);
}

}  // namespace
