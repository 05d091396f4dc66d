// Reported failures fetched the way the framework fetches them: the test
// plugin, loaded with dlopen, reports a CHitachiException of each kind, and
// the host reads it back through get_last_error, get_locale_message and
// their deletes, and from the trace file.
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

// A message copied out of the framework's record: args as "S:text" or
// "I:number", where as "severity file:line", then its text via
// get_locale_message in German (no texts of its own) and in the framework's
// language (null).
struct Fetched {
  std::string id, text, where;
  std::vector<std::string> args, localeTexts;
  int index = 0;
};

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
  // The newest message, deleted after reading; an empty id when there is none.
  Fetched fetch() {
    Fetched out;
    zfi_msg_info* record = nullptr;
    EXPECT_EQ(0, lib->entry<int (*)(zfi_msg_info**)>("get_last_error")(&record));
    if (record == nullptr) return out;
    out.id = record->msg_id;
    out.text = record->text;
    out.where = std::to_string(record->severity) + " " + record->file + ":" + std::to_string(record->line);
    out.index = record->msg_index;
    for (const zfi_msg_arg& arg : std::vector<zfi_msg_arg>(record->args, record->args + record->arg_count)) {
      out.args.push_back(arg.type == ZFI_MSG_ARG_STRING ? std::string("S:") + arg.str_value
                                                        : "I:" + std::to_string(arg.int_value));
    }
    for (const char* locale : {"de_DE", static_cast<const char*>(nullptr)}) {
      char* text = nullptr;
      int length = -1;
      EXPECT_EQ(0, lib->entry<int (*)(int*, zfi_msg_info*, char const*, char**)>("get_locale_message")(
                       &length, record, locale, &text));
      out.localeTexts.push_back(text ? text : "<null>");
      EXPECT_EQ(static_cast<int>(out.localeTexts.back().size()), length);
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

TEST_F(ReportedErrors, EachKindArrivesWithItsIdArgumentsEnglishTextAndDefinition) {
  const struct {
    const char* input;
    const char* id;
    std::vector<std::string> args;
    const char* text;
    int line;
  } rows[] = {
      {kCommandFailure,
       "MSG_ERROR_HITACHI_COMMAND_FAILED",
       {"S:pairsplit", "S:410", "I:226", "S:no such volume", "S:hitachi_pairops.cpp", "I:77"},
       kCommandFailureText,
       194},
      {"kind=3\ncall=[findConfiguredTarget]\nreason=could not find target "
       "Id\nfile=t.cpp\nline=5\nenclosure=x\n",
       "MSG_ERROR_HITACHI_INVALID_INPUT",
       {"S:[findConfiguredTarget]", "S:could not find target Id", "S:t.cpp", "I:5"},
       "API call [findConfiguredTarget] has got invalid input due to reason could not find target Id. "
       "FILE=t.cpp "
       "LINE=5",
       199},
      {"kind=4\ncall=getdkclimit\nreason=symbol empty\nfile=r.cpp\nline=6\n",
       "MSG_ERROR_HITACHI_SYMBOL",
       {"S:getdkclimit", "S:symbol empty", "S:r.cpp", "I:6"},
       "API call getdkclimit failed due to reason symbol empty. FILE=r.cpp LINE=6",
       204},
      {"kind=5\nvdisk=12\nvdiskCopy=34\nenclosure=410\nstatus=PSUE\nfile=p.cpp\nline=7\n",
       "MSG_ERROR_HITACHI_BAD_PAIR_STATUS",
       {"S:12", "S:34", "S:410", "S:PSUE", "S:p.cpp", "I:7"},
       "Bad status of pair. vdisk '12'. vdisk Copy '34'. enclosure id '410'. pair status 'PSUE'. FILE=p.cpp "
       "LINE=7",
       208},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(6, push(row.input));
    Fetched m = fetch();
    EXPECT_EQ(row.id, m.id);
    EXPECT_EQ(row.args, m.args);
    EXPECT_EQ(row.text, m.text);
    EXPECT_EQ((std::vector<std::string>{row.text, row.text}), m.localeTexts);
    EXPECT_EQ("3 ../hitachi_clierror.h:" + std::to_string(row.line), m.where);
    EXPECT_GT(m.index, 6000) << "catalog index + the plugin's offset";
    EXPECT_EQ("", fetch().id);
  }
}

TEST_F(ReportedErrors, KindTwoIsReportedAsKindOneOnlyTheyAreTracedAndKindZeroReportsNothing) {
  for (const char* none : {"kind=0\n", "kind=6\n"}) {
    EXPECT_EQ(6, push(std::string(none) + "call=pairsplit\nerror=1\n"));
    EXPECT_EQ("", fetch().id) << none;
  }
  push(kCommandFailure);
  Fetched one = fetch();
  std::string kindTwo = kCommandFailure;
  kindTwo[5] = '2';
  push(kindTwo);
  Fetched two = fetch();
  EXPECT_EQ(one.id + one.text + one.where + std::to_string(one.index),
            two.id + two.text + two.where + std::to_string(two.index));
  EXPECT_EQ(one.args, two.args);
  for (const char* other : {"kind=3\ncall=a\n", "kind=4\ncall=a\n", "kind=5\nvdisk=a\n"}) push(other);
  EXPECT_EQ((std::vector<std::string>{kCommandFailureText, kCommandFailureText}),
            traceTexts(traceDir.path + "/testfi.log", 1));
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
  EXPECT_EQ((std::vector<std::string>{kCommandFailureText, kCommandFailureText}), fetch().localeTexts);
  for (const auto& region : junk) ::munmap(region.first, region.second);
}

}  // namespace
