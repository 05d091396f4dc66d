// The entry-point shell, driven through the exported C symbols of a test
// plugin generated from the same macro as the real plugin, and the failures
// it reports as the framework fetches them.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "host.h"

namespace {

using SelectFn = int (*)(zfi_splitnode*, char*, zfi_splitnode**, int);
using MakeFn = int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, frim_objid***, int*);
using AltNodeFn = int (*)(zfi_domain*, zfi_domain*, zfi_domain*);

class EntryPointShell : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("HITACHIFI_TRACE_DIR", traceDir.path.c_str(), 1);
    ::setenv("HITACHIFI_TRACE_LEVEL", "1", 1);
    ASSERT_TRUE(lib->loaded()) << ::dlerror();
    g_objidsBeforeFailure = -1;
  }
  std::string calls() const { return lib->control<const char* (*)()>("calls")(); }
  int livePlugins() const { return lib->control<int (*)()>("live_plugins")(); }
  void setResult(const char* op, int result) const {
    lib->control<void (*)(const char*, int)>("set_result")(op, result);
  }
  int init(zfi_version* version) {
    return lib->entry<int (*)(zfi_fw_info*, zfi_version*, char const*)>("init")(&info, version, "fim");
  }
  int select(zfi_splitnode* node, zfi_splitnode** nodes, int count) {
    return lib->entry<SelectFn>("select")(node, session, nodes, count);
  }
  int prepare(zfi_splitnode** nodes, int count, int flags) {
    return lib->entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, int)>("prepare")(
        nullptr, session, nodes, count, flags);
  }

  TempDir traceDir;
  std::unique_ptr<PluginLibrary> lib = std::make_unique<PluginLibrary>(TEST_PLUGIN_PATH);
  char session[8] = "job-1";
  char language[6] = "en_US";  // the framework's
  char* languages[2] = {language, nullptr};
  zfi_fw_info info{nullptr, nullptr, nullptr, languages};
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
  lib->entry<void (*)()>("fini")();
  EXPECT_EQ(0, livePlugins());
  EXPECT_EQ("init;fini;", calls());  // neither runs delayed initialisation
}

TEST_F(EntryPointShell, DelayedInitRunsOnceAndAFailureIsNotRetried) {
  setResult("delayedInit", 5);
  setResult("postDeport", 42);
  auto postDeport = lib->entry<int (*)(zfi_domain*, zfi_domain*)>("post_deport");
  EXPECT_EQ(1, postDeport(nullptr, nullptr));
  EXPECT_EQ(42, postDeport(nullptr, nullptr));
  EXPECT_EQ(42, postDeport(nullptr, nullptr));
  EXPECT_EQ("delayedInit;postDeport;postDeport;", calls());
}

TEST_F(EntryPointShell, SingleNodeStandsInOnlyForAnEmptyArray) {
  TestNode node("UDID##A"), other("UDID##B");
  zfi_splitnode* list[] = {&other.m_split};
  auto isReady = lib->entry<SelectFn>("isready");
  EXPECT_EQ(0, isReady(&node.m_split, session, nullptr, 0));
  EXPECT_EQ(0, isReady(nullptr, session, nullptr, 0));
  EXPECT_EQ(0, isReady(&node.m_split, session, list, 1));
  EXPECT_EQ("delayedInit;isReady(job-1:UDID##A);isReady(job-1:);isReady(job-1:UDID##B);", calls());
}

TEST_F(EntryPointShell, AFailedSelectAddsNothingAndPreselectAddsWithoutAnOperation) {
  TestNode a("UDID##A"), b("UDID##B");
  setResult("select", 3);
  EXPECT_EQ(3, select(&b.m_split, nullptr, 0));
  EXPECT_EQ(0, lib->entry<SelectFn>("preselect")(&a.m_split, session, nullptr, 0));
  setResult("prepare", 4);
  EXPECT_EQ(0, prepare(nullptr, 0, 0));
  EXPECT_EQ("delayedInit;select(job-1:UDID##B);prepare(0:);prepareSnapshots(job-1:UDID##A);", calls());
}

TEST_F(EntryPointShell, MakeReturnsOneObjectIdPerNodeInNodeOrderAndMarksTheNodesOnlyOnSuccess) {
  TestNode a("UDID##A"), b("UDID##B");
  zfi_splitnode* list[] = {&b.m_split, &a.m_split};
  ASSERT_EQ(0, select(nullptr, list, 2));
  auto make = lib->entry<MakeFn>("make");
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
  lib->entry<void (*)(zfi_domain*)>("cache_enable")(nullptr);
  EXPECT_EQ("cacheEnable(0);", calls());  // no delayed initialisation
  EXPECT_EQ(0, lib->entry<int (*)(zfi_domain*)>("cache_disable")(nullptr));
  lib->entry<AltNodeFn>("init_altnode")(nullptr, nullptr, nullptr);
  lib->entry<AltNodeFn>("init_remnode")(nullptr, nullptr, nullptr);

  auto translate = lib->entry<int (*)(char**, int, char**)>("translate_resource_names");
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
  EXPECT_EQ(0, lib->entry<int (*)(char*, char*, char**, long*)>("objctl")(command, input, &output, &result));
  EXPECT_EQ(6, result);
  ASSERT_NE(nullptr, output);
  EXPECT_STREQ("in=a%3Db\nout=done%3Da%3Db\n", output);
  std::free(output);
}

const char kCommandFailure[] =
    "kind=1\ncall=pairsplit\nenclosure=410\nerror=226\nreason=no such "
    "volume\nfile=hitachi_pairops.cpp\nline=77\n";
const char kCommandFailureText[] =
    "API call pairsplit on enclosure 410 failed with error 226 due to no such volume. "
    "FILE=hitachi_pairops.cpp LINE=77";

// Reported failures fetched the way the framework fetches them, for what the
// real plugin cannot show (kinds it never throws, a reload): the test plugin
// reports a CHitachiException, and the host reads it back through
// get_last_error, get_locale_message and their deletes. Kinds 1 to 5 are
// pinned through the real plugin by the scenarios (`said`).
class ReportedErrors : public EntryPointShell {
 protected:
  void SetUp() override {
    EntryPointShell::SetUp();
    ASSERT_EQ(0, init(&version));
  }
  void TearDown() override { lib->entry<void (*)()>("fini")(); }
  // Runs the "push" command; returns the operation's stored result.
  long push(const std::string& arguments) {
    char* output = nullptr;
    long result = -1;
    EXPECT_EQ(0, lib->entry<int (*)(char*, char*, char**, long*)>("objctl")(
                     const_cast<char*>("push"), const_cast<char*>(arguments.c_str()), &output, &result));
    std::free(output);
    return result;
  }
  // The newest message's text via get_locale_message in German (no texts of
  // its own) and in the framework's language (null), deleted after reading;
  // none when there is no message.
  std::vector<std::string> fetch() {
    std::vector<std::string> out;
    zfi_msg_info* record = nullptr;
    EXPECT_EQ(0, lib->entry<int (*)(zfi_msg_info**)>("get_last_error")(&record));
    if (record == nullptr) return out;
    for (const char* locale : {"de_DE", static_cast<const char*>(nullptr)}) {
      char* text = nullptr;
      int length = -1;
      EXPECT_EQ(0, lib->entry<int (*)(int*, zfi_msg_info*, char const*, char**)>("get_locale_message")(
                       &length, record, locale, &text));
      out.push_back(text ? text : "<null>");
      EXPECT_EQ(static_cast<int>(out.back().size()), length);
      EXPECT_EQ(0, lib->entry<int (*)(char**)>("del_locale_message")(&text));
    }
    EXPECT_EQ(0, lib->entry<int (*)(zfi_msg_info**)>("del_last_error")(&record));
    EXPECT_EQ(nullptr, record);
    return out;
  }
  zfi_version version{};
};

TEST_F(ReportedErrors, KindsOutsideOneToFiveReportNothing) {
  for (const char* none : {"kind=0\n", "kind=6\n"}) {
    EXPECT_EQ(6, push(std::string(none) + "call=pairsplit\nerror=1\n"));
    EXPECT_TRUE(fetch().empty()) << none;
  }
}

// ICU keeps the catalog it was handed for the life of the process, so a
// plugin unloaded and loaded again (as a framework does between jobs) must
// still read its texts. The range the first copy occupied is filled with
// junk before the reload, so a stale pointer into it shows.
TEST_F(ReportedErrors, CatalogStillReadsAfterThePluginIsUnloadedAndLoadedAgain) {
  Dl_info where{};
  ASSERT_NE(0, ::dladdr(reinterpret_cast<void*>(lib->entry<void (*)()>("fini")), &where));
  const std::string path = where.dli_fname;
  lib->entry<void (*)()>("fini")();
  std::vector<std::pair<unsigned long, unsigned long>> ranges;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    unsigned long low = 0, high = 0;
    if (line.find(path) != std::string::npos && std::sscanf(line.c_str(), "%lx-%lx", &low, &high) == 2)
      ranges.emplace_back(low, high);
  }
  lib.reset();
  std::vector<std::pair<void*, size_t>> junk;
  for (const auto& range : ranges) {
    size_t size = range.second - range.first;
    void* at = ::mmap(reinterpret_cast<void*>(range.first), size, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    if (at == MAP_FAILED) continue;  // still mapped: the library stayed loaded
    std::memset(at, 0xA5, size);
    junk.emplace_back(at, size);
  }
  lib = std::make_unique<PluginLibrary>(TEST_PLUGIN_PATH);
  ASSERT_EQ(0, init(&version));
  push(kCommandFailure);
  EXPECT_EQ((std::vector<std::string>{kCommandFailureText, kCommandFailureText}), fetch());
  for (const auto& region : junk) ::munmap(region.first, region.second);
}

}  // namespace
