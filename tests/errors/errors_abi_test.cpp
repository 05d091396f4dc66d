// Reported failures fetched the way the framework fetches them: the test
// plugin, loaded with dlopen, reports a CHitachiException of a kind the
// plugin never throws, or after a reload, and the host reads it back through
// get_last_error, get_locale_message and their deletes. Kinds 1 to 5 are
// pinned through the real plugin by the scenarios (`said`).
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

const char kCommandFailure[] =
    "kind=1\ncall=pairsplit\nenclosure=410\nerror=226\nreason=no such "
    "volume\nfile=hitachi_pairops.cpp\nline=77\n";
const char kCommandFailureText[] =
    "API call pairsplit on enclosure 410 failed with error 226 due to no such volume. "
    "FILE=hitachi_pairops.cpp LINE=77";

class ReportedErrors : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("HITACHIFI_TRACE_DIR", traceDir.path.c_str(), 1);
    ::setenv("HITACHIFI_TRACE_LEVEL", "1", 1);
    ASSERT_TRUE(lib->loaded()) << ::dlerror();
    ASSERT_EQ(0, init());
  }
  int init() {
    zfi_version version{};
    return lib->entry<int (*)(zfi_fw_info*, zfi_version*, char const*)>("init")(&info, &version, "fim");
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

  char language[6] = "en_US";
  char* languages[2] = {language, nullptr};
  zfi_fw_info info{nullptr, nullptr, nullptr, languages};
  TempDir traceDir;
  std::unique_ptr<PluginLibrary> lib = std::make_unique<PluginLibrary>(TEST_PLUGIN_PATH);
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
  ASSERT_EQ(0, init());
  push(kCommandFailure);
  EXPECT_EQ((std::vector<std::string>{kCommandFailureText, kCommandFailureText}), fetch());
  for (const auto& region : junk) ::munmap(region.first, region.second);
}

}  // namespace
