// The message catalog compiled into the library, and the error manager as
// the framework uses it: fetching, deleting and draining messages, the index
// offset, and formatting a record, the plugin's or the framework's, for a locale.
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "cfierrormanager.h"
#include "hitachi_clierror.h"

using namespace frim_pdk_4_4;

namespace {

icu::Formattable text(const char* value) { return icu::Formattable(icu::UnicodeString::fromUTF8(value)); }
icu::Formattable number(int32_t value) { return icu::Formattable(value); }
CFiMessagePtr message(const char* id, std::vector<icu::Formattable> args) {
  return CFiMessagePtr(
      new CFiIcuMessage(id, args.data(), static_cast<int>(args.size()), ZFI_SEV_CRITICAL, "f", 1));
}

TEST(MessageCatalog, EveryIdThePluginReportsHasATextAndAnIndexOfItsOwn) {
  CFiIcuMessageCatalogFactory root("root", ACE_CString("hitachifi"));
  std::set<int> indices;
  for (const char* id :
       {MSG_ERROR_HITACHI_COMMAND_FAILED, MSG_ERROR_HITACHI_INVALID_INPUT, MSG_ERROR_HITACHI_SYMBOL,
        MSG_ERROR_HITACHI_BAD_PAIR_STATUS, MSG_ERROR_INITIALIZATION_FAILED, MSG_ERROR_INVALID_SPLIT_TYPE,
        MSG_ERROR_NO_SNAPSHOT_TARGET_SELECTED, MSG_ERROR_PRIVATE_DATA_MALLOC,
        MSG_ERROR_UDID_PARSING_EXCEPTION, MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION,
        MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION, MSG_ERROR_UNHANDLED_INT_EXCEPTION,
        MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION}) {
    icu::UnicodeString pattern;
    int index = 0;
    ASSERT_TRUE(root.lookup(id, nullptr, pattern, index)) << id;
    EXPECT_GT(pattern.length(), 0) << id;
    EXPECT_TRUE(index > 0 && indices.insert(index).second) << id << " " << index;
  }
  icu::UnicodeString pattern;
  int index = 0;
  EXPECT_FALSE(root.lookup("MSG_ERROR_NO_SUCH_MESSAGE", nullptr, pattern, index));
}

// A record as the framework may build one itself.
struct FrameworkRecord {
  FrameworkRecord(const char* id, std::vector<zfi_msg_arg> arguments) : args(std::move(arguments)) {
    info.msg_id = const_cast<char*>(id);
    info.arg_count = static_cast<int>(args.size());
    info.args = args.empty() ? nullptr : args.data();
  }
  std::vector<zfi_msg_arg> args;
  zfi_msg_info info{};
};
zfi_msg_arg textArg(const char* value) { return {ZFI_MSG_ARG_STRING, 0, const_cast<char*>(value)}; }
zfi_msg_arg intArg(int64_t value) { return {ZFI_MSG_ARG_INT, value, nullptr}; }

class ErrorManager : public ::testing::Test {
 protected:
  void SetUp() override {
    CFiCatalogManagerPtr catalogs(new CFiMessageCatalogManager());
    catalogs->registerFactory(new CFiIcuMessageCatalogFactory("root", ACE_CString("hitachifi")));
    errors.registerHandler(new CFiErrorHandler(nullptr, "fr_FR", catalogs));
  }
  // The newest message's text, then deleted.
  static std::string takeLast(CFiErrorManager& from) {
    zfi_msg_info* info = nullptr;
    EXPECT_EQ(0, from.getLastError(&info));
    std::string text = info ? info->text : "<none>";
    const int expected = info ? 0 : 3;
    EXPECT_EQ(expected, from.delLastError(&info));
    return text;
  }
  // The text get_locale_message gives for `record` in `locale`.
  std::string localeText(zfi_msg_info* record, const char* locale) {
    char* out = nullptr;
    int length = -1;
    EXPECT_EQ(0, errors.getLocaleMessage(&length, record, locale, &out));
    std::string result = out ? out : "<null>";
    EXPECT_EQ(static_cast<int>(result.size()), length);
    EXPECT_EQ(0, errors.delLocaleMessage(&out));
    return result;
  }
  CFiErrorManager errors;
};

TEST_F(ErrorManager, DrainingGivesTheNewestFirstKeepsOnlyTheNewestAndRefusesNullOutputs) {
  auto symbol = [](size_t n) {
    return "API call " + std::to_string(n) + " failed due to reason e. FILE=f LINE=3";
  };
  const size_t pushed = CFiErrorManager::kMaxMessages + 10;
  for (size_t i = 0; i < pushed; ++i)
    errors.pushError(message(MSG_ERROR_HITACHI_SYMBOL,
                             {text(std::to_string(i).c_str()), text("e"), text("f"), number(3)}));
  errors.pushError(CFiMessagePtr());  // an empty pointer is not a message
  EXPECT_EQ(CFiErrorManager::kMaxMessages, errors.size());
  EXPECT_EQ(3, errors.getLastError(nullptr));
  EXPECT_EQ(3, errors.delLocaleMessage(nullptr));
  char* out = reinterpret_cast<char*>(0x1);
  int length = 9;
  EXPECT_EQ(3, errors.getLocaleMessage(&length, nullptr, "en", &out));
  EXPECT_EQ(nullptr, out);
  EXPECT_EQ(0, length);
  EXPECT_EQ(symbol(pushed - 1), takeLast(errors));
  EXPECT_EQ(symbol(pushed - 2), takeLast(errors));
  std::string oldest;
  while (errors.size() > 0) oldest = takeLast(errors);
  EXPECT_EQ(symbol(10), oldest);
  EXPECT_EQ("<none>", takeLast(errors));
}

TEST_F(ErrorManager, EveryLocaleWithoutTextsOfItsOwnGetsTheEnglishTextWithPlainNumbers) {
  FrameworkRecord record(MSG_ERROR_UNHANDLED_INT_EXCEPTION,
                         {intArg(1234567), textArg("b.cpp"), intArg(10000)});
  const std::string longName(4000, 'q');
  // Null: the framework's language, fr_FR here.
  for (const char* locale :
       {static_cast<const char*>(nullptr), "de_DE", "../../../etc/passwd", longName.c_str()})
    EXPECT_EQ("Unhandled error code 1234567. FILE=b.cpp LINE=10000", localeText(&record.info, locale))
        << locale;
}

TEST_F(ErrorManager, ArgumentsThatDoNotFitTheTextAreStillDelivered) {
  FrameworkRecord large(MSG_ERROR_UNHANDLED_INT_EXCEPTION,
                        {intArg(INT64_C(5000000000)), textArg("u.cpp"), intArg(7)});
  EXPECT_EQ("Unhandled error code 5000000000. FILE=u.cpp LINE=7", localeText(&large.info, "en"));

  FrameworkRecord partial(MSG_ERROR_PRIVATE_DATA_MALLOC,
                          {textArg("a"), textArg(nullptr), textArg("surplus")});
  EXPECT_EQ("a: private data could not be allocated for node ''.", localeText(&partial.info, "en"));
  partial.info.arg_count = 1;
  EXPECT_EQ("a: private data could not be allocated for node '{1}'.", localeText(&partial.info, "en"));
  partial.info.arg_count = -4;
  EXPECT_EQ("{0}: private data could not be allocated for node '{1}'.", localeText(&partial.info, "en"));

  // A text where the pattern wants a number cannot be formatted: id and arguments instead.
  errors.pushError(
      message(MSG_ERROR_HITACHI_SYMBOL, {text("a"), text("b"), text("c"), text("not-a-number")}));
  EXPECT_EQ("MSG_ERROR_HITACHI_SYMBOL: a, b, c, not-a-number", takeLast(errors));
}

TEST_F(ErrorManager, IdsNoCatalogKnowsAreDeliveredPlainly) {
  const std::string longId(4000, 'M');
  for (const char* id : {"", "%s%s%n", longId.c_str()}) {
    errors.pushError(message(id, {text("a"), number(2)}));
    zfi_msg_info* info = nullptr;
    ASSERT_EQ(0, errors.getLastError(&info));
    EXPECT_EQ(std::string(id) + ": a, 2", info->text);
    EXPECT_EQ(6000, info->msg_index);
    EXPECT_EQ(0, errors.delLastError(&info));
  }
  CFiErrorManager bare;  // no handler, so no catalogs
  bare.pushError(message(MSG_ERROR_INVALID_SPLIT_TYPE, {text("HPXP_Clone")}));
  EXPECT_EQ("MSG_ERROR_INVALID_SPLIT_TYPE: HPXP_Clone", takeLast(bare));
}

}  // namespace
