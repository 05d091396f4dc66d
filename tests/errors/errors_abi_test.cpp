// Reported failures fetched the way the framework fetches them: a plugin
// loaded with dlopen, driven only through its exported C symbols
// (init, objctl, get_last_error, del_last_error, get_locale_message,
// del_locale_message, fini).
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "zfi.h"

namespace {

// The plugin library, open for the life of the object.
class Plugin {
 public:
  Plugin() {
    m_handle = ::dlopen(ERRORS_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
    if (m_handle == nullptr) m_error = ::dlerror();
  }
  ~Plugin() { close(); }
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  bool loaded() const { return m_handle != nullptr; }
  const std::string& error() const { return m_error; }
  void close() {
    if (m_handle) ::dlclose(m_handle);
    m_handle = nullptr;
  }
  template <class Fn>
  Fn entry(const char* op) const {
    return reinterpret_cast<Fn>(::dlsym(m_handle, (std::string("errfi_fi_pgn_") + op).c_str()));
  }

  int init(zfi_fw_info* info) {
    zfi_version version{};
    return entry<int (*)(zfi_fw_info*, zfi_version*, char const*)>("init")(info, &version, "fim");
  }
  void fini() { entry<void (*)()>("fini")(); }
  // Runs the "push" command; returns the operation's stored result.
  long push(const std::string& arguments) {
    char* output = nullptr;
    long result = -1;
    EXPECT_EQ(0, entry<int (*)(char*, char*, char**, long*)>("objctl")(
                     const_cast<char*>("push"), const_cast<char*>(arguments.c_str()), &output, &result));
    std::free(output);
    return result;
  }
  int getLastError(zfi_msg_info** info) { return entry<int (*)(zfi_msg_info**)>("get_last_error")(info); }
  int delLastError(zfi_msg_info** info) { return entry<int (*)(zfi_msg_info**)>("del_last_error")(info); }
  int getLocaleMessage(int* length, zfi_msg_info* info, char const* locale, char** text) {
    return entry<int (*)(int*, zfi_msg_info*, char const*, char**)>("get_locale_message")(length, info,
                                                                                          locale, text);
  }
  int delLocaleMessage(char** text) { return entry<int (*)(char**)>("del_locale_message")(text); }

 private:
  void* m_handle = nullptr;
  std::string m_error;
};

// A message copied out of the framework's record.
struct Fetched {
  bool present = false;
  std::string id, text, file, localeText;
  int index = 0, severity = 0, line = 0;
  std::vector<std::string> args;
};

const char kCommandFailure[] =
    "kind=1\ncall=pairsplit\nenclosure=410\nerror=226\nreason=no such "
    "volume\nfile=hitachi_pairops.cpp\nline=77\n";

class ReportedErrorsThroughTheABI : public ::testing::Test {
 protected:
  void SetUp() override {
    ::unsetenv("HITACHIFI_TRACE_DIR");
    ASSERT_TRUE(plugin.loaded()) << plugin.error();
    ASSERT_EQ(0, plugin.init(&info));
  }
  void TearDown() override {
    if (plugin.loaded()) plugin.fini();
  }

  // get_last_error, then get_locale_message in `locale`, then the deletes.
  Fetched fetch(Plugin& from, char const* locale = "en_US") {
    Fetched out;
    zfi_msg_info* info = nullptr;
    EXPECT_EQ(0, from.getLastError(&info));
    if (info == nullptr) return out;
    out.present = true;
    out.id = info->msg_id;
    out.text = info->text;
    out.file = info->file;
    out.index = info->msg_index;
    out.severity = info->severity;
    out.line = info->line;
    for (int i = 0; i < info->arg_count; ++i) {
      out.args.push_back(info->args[i].type == ZFI_MSG_ARG_STRING ? info->args[i].str_value
                                                                  : std::to_string(info->args[i].int_value));
    }
    char* text = nullptr;
    int length = 0;
    EXPECT_EQ(0, from.getLocaleMessage(&length, info, locale, &text));
    if (text != nullptr) {
      out.localeText = text;
      EXPECT_EQ(static_cast<int>(std::strlen(text)), length);
    }
    EXPECT_EQ(0, from.delLocaleMessage(&text));
    EXPECT_EQ(nullptr, text);
    EXPECT_EQ(0, from.delLastError(&info));
    EXPECT_EQ(nullptr, info);
    return out;
  }

  char language[6] = "en_US";
  char* languages[2] = {language, nullptr};
  zfi_fw_info info{nullptr, nullptr, nullptr, languages};
  Plugin plugin;
};

TEST_F(ReportedErrorsThroughTheABI, CommandFailureArrivesWithIdArgumentsAndEnglishText) {
  EXPECT_EQ(6, plugin.push(kCommandFailure));
  Fetched m = fetch(plugin);
  ASSERT_TRUE(m.present);
  EXPECT_EQ("MSG_ERROR_HITACHI_COMMAND_FAILED", m.id);
  EXPECT_EQ(
      (std::vector<std::string>{"pairsplit", "410", "226", "no such volume", "hitachi_pairops.cpp", "77"}),
      m.args);
  const std::string english =
      "API call pairsplit on enclosure 410 failed with error 226 due to no such volume. "
      "FILE=hitachi_pairops.cpp LINE=77";
  EXPECT_EQ(english, m.text);
  EXPECT_EQ(english, m.localeText);
  EXPECT_EQ(3, m.severity);
  EXPECT_EQ("../hitachi_clierror.h", m.file);
  EXPECT_EQ(194, m.line);
  EXPECT_GT(m.index, 6000);  // catalog index + the plugin's offset
  EXPECT_FALSE(fetch(plugin).present);
}

TEST_F(ReportedErrorsThroughTheABI, KindTwoArrivesExactlyAsKindOne) {
  plugin.push(kCommandFailure);
  Fetched one = fetch(plugin);
  std::string kindTwo = kCommandFailure;
  kindTwo[5] = '2';
  plugin.push(kindTwo);
  Fetched two = fetch(plugin);
  EXPECT_EQ(one.id, two.id);
  EXPECT_EQ(one.args, two.args);
  EXPECT_EQ(one.text, two.text);
  EXPECT_EQ(one.index, two.index);
  EXPECT_EQ(one.line, two.line);
}

TEST_F(ReportedErrorsThroughTheABI, KindZeroReportsNothing) {
  EXPECT_EQ(6, plugin.push("kind=0\ncall=pairsplit\n"));
  EXPECT_FALSE(fetch(plugin).present);
}

TEST_F(ReportedErrorsThroughTheABI, EachOtherKindArrivesWithItsOwnText) {
  plugin.push("kind=3\ncall=[findConfiguredTarget]\nreason=could not find target Id\nfile=t.cpp\nline=5\n");
  plugin.push("kind=4\ncall=getdkclimit\nreason=symbol empty\nfile=r.cpp\nline=6\n");
  plugin.push("kind=5\nvdisk=12\nvdiskCopy=34\nenclosure=410\nstatus=PSUE\nfile=p.cpp\nline=7\n");
  Fetched pair = fetch(plugin);
  Fetched symbol = fetch(plugin);
  Fetched input = fetch(plugin);
  EXPECT_EQ("MSG_ERROR_HITACHI_BAD_PAIR_STATUS", pair.id);
  EXPECT_EQ(
      "Bad status of pair. vdisk '12'. vdisk Copy '34'. enclosure id '410'. pair status 'PSUE'. "
      "FILE=p.cpp LINE=7",
      pair.localeText);
  EXPECT_EQ(208, pair.line);
  EXPECT_EQ("MSG_ERROR_HITACHI_SYMBOL", symbol.id);
  EXPECT_EQ("API call getdkclimit failed due to reason symbol empty. FILE=r.cpp LINE=6", symbol.localeText);
  EXPECT_EQ(204, symbol.line);
  EXPECT_EQ("MSG_ERROR_HITACHI_INVALID_INPUT", input.id);
  EXPECT_EQ(
      "API call [findConfiguredTarget] has got invalid input due to reason could not find target Id. "
      "FILE=t.cpp LINE=5",
      input.localeText);
  EXPECT_EQ(199, input.line);
}

TEST_F(ReportedErrorsThroughTheABI, NullLocaleFormatsInTheFrameworksLanguage) {
  plugin.push("kind=4\ncall=getfmtmsg\nreason=symbol empty\nfile=r.cpp\nline=6\n");
  Fetched m = fetch(plugin, nullptr);
  EXPECT_EQ(m.text, m.localeText);
}

TEST_F(ReportedErrorsThroughTheABI, LocaleMessageOfARecordTheFrameworkBuilt) {
  zfi_msg_arg args[4] = {{ZFI_MSG_ARG_STRING, 0, const_cast<char*>("std::runtime_error")},
                         {ZFI_MSG_ARG_STRING, 0, const_cast<char*>("boom")},
                         {ZFI_MSG_ARG_STRING, 0, const_cast<char*>("c.cpp")},
                         {ZFI_MSG_ARG_INT, 8, nullptr}};
  zfi_msg_info record{};
  record.msg_id = const_cast<char*>("MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION");
  record.arg_count = 4;
  record.args = args;
  char* text = nullptr;
  int length = 0;
  ASSERT_EQ(0, plugin.getLocaleMessage(&length, &record, "en", &text));
  EXPECT_STREQ("Unhandled exception std::runtime_error: boom. FILE=c.cpp LINE=8", text);
  EXPECT_EQ(0, plugin.delLocaleMessage(&text));
}

// ICU outlives the plugin: it keeps the catalog it was given after the
// plugin is unloaded, and a plugin loaded again must still read its texts.
// The range the first copy occupied is filled with junk before the reload.
TEST_F(ReportedErrorsThroughTheABI, CatalogStillReadsAfterThePluginIsUnloadedAndLoadedAgain) {
  plugin.push(kCommandFailure);
  const std::string english = fetch(plugin).localeText;
  ASSERT_FALSE(english.empty());
  plugin.fini();

  Dl_info where{};
  ASSERT_NE(0, ::dladdr(reinterpret_cast<void*>(plugin.entry<void (*)()>("fini")), &where));
  std::vector<std::pair<unsigned long, unsigned long>> ranges;
  {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
      if (line.find(where.dli_fname) == std::string::npos) continue;
      unsigned long low = 0, high = 0;
      if (std::sscanf(line.c_str(), "%lx-%lx", &low, &high) == 2) ranges.emplace_back(low, high);
    }
  }
  plugin.close();
  std::vector<std::pair<void*, size_t>> junk;
  for (const auto& range : ranges) {
    size_t size = range.second - range.first;
    void* at = ::mmap(reinterpret_cast<void*>(range.first), size, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    if (at == MAP_FAILED) continue;  // still mapped: the library stayed loaded
    std::memset(at, 0xA5, size);
    junk.emplace_back(at, size);
  }

  Plugin again;
  ASSERT_TRUE(again.loaded()) << again.error();
  ASSERT_EQ(0, again.init(&info));
  again.push(kCommandFailure);
  Fetched m = fetch(again);
  EXPECT_EQ(english, m.text);
  EXPECT_EQ(english, m.localeText);
  again.fini();
  for (const auto& region : junk) ::munmap(region.first, region.second);
}

}  // namespace
