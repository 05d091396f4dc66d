// The error manager as the framework uses it: fetching, deleting and
// draining messages, the index offset, and formatting a received record for
// a locale.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "errors_support.h"
#include "hitachi_clierror.h"

using namespace frim_pdk_4_4;

namespace {

CFiMessagePtr message(const char* id, std::vector<icu::Formattable> args, int line = 1) {
  return CFiMessagePtr(new CFiIcuMessage(id, args.data(), static_cast<int>(args.size()), ZFI_SEV_CRITICAL,
                                         "../hitachi_clierror.h", line));
}

icu::Formattable text(const char* value) { return icu::Formattable(icu::UnicodeString::fromUTF8(value)); }
icu::Formattable number(int32_t value) { return icu::Formattable(value); }

class ErrorManager : public ::testing::Test {
 protected:
  void SetUp() override {
    catalogs = CFiCatalogManagerPtr(new CFiMessageCatalogManager());
    catalogs->registerFactory(new CFiIcuMessageCatalogFactory("root", ACE_CString("hitachifi")));
    errors.registerHandler(new CFiErrorHandler(nullptr, "", catalogs));
  }
  // The text get_locale_message gives for `record` in `locale`.
  std::string localeText(zfi_msg_info* record, const char* locale) {
    char* out = nullptr;
    int length = -1;
    EXPECT_EQ(0, errors.getLocaleMessage(&length, record, locale, &out));
    std::string result = out ? out : "<null>";
    EXPECT_EQ(static_cast<int>(result.size()), length);
    EXPECT_EQ(0, errors.delLocaleMessage(&out));
    EXPECT_EQ(nullptr, out);
    return result;
  }
  void pushSymbol(const char* call) {
    errors.pushError(
        message(MSG_ERROR_HITACHI_SYMBOL, {text(call), text("symbol empty"), text("f.cpp"), number(3)}));
  }

  CFiErrorManager errors;
  CFiCatalogManagerPtr catalogs;
};

TEST_F(ErrorManager, NothingReportedGivesANullRecordAndSuccess) {
  zfi_msg_info* info = reinterpret_cast<zfi_msg_info*>(0x1);
  EXPECT_EQ(0, errors.getLastError(&info));
  EXPECT_EQ(nullptr, info);
  EXPECT_EQ(3, errors.delLastError(&info));
}

TEST_F(ErrorManager, NullOutputPointersAreRefused) {
  pushSymbol("x");
  EXPECT_EQ(3, errors.getLastError(nullptr));
  EXPECT_EQ(3, errors.delLocaleMessage(nullptr));
  int length = 0;
  zfi_msg_info record{};
  record.msg_id = const_cast<char*>(MSG_ERROR_HITACHI_SYMBOL);
  EXPECT_EQ(3, errors.getLocaleMessage(&length, &record, "en", nullptr));
  EXPECT_EQ(1u, errors.size());
}

TEST_F(ErrorManager, DrainingReturnsMessagesNewestFirst) {
  pushSymbol("first");
  pushSymbol("second");
  pushSymbol("third");
  std::vector<std::string> calls;
  zfi_msg_info* info = nullptr;
  while (errors.getLastError(&info) == 0 && info != nullptr) {
    calls.push_back(info->args[0].str_value);
    ASSERT_EQ(0, errors.delLastError(&info));
  }
  EXPECT_EQ((std::vector<std::string>{"third", "second", "first"}), calls);
}

TEST_F(ErrorManager, FetchingTwiceWithoutDeletingGivesTheSameMessage) {
  pushSymbol("only");
  zfi_msg_info* a = nullptr;
  zfi_msg_info* b = nullptr;
  ASSERT_EQ(0, errors.getLastError(&a));
  ASSERT_EQ(0, errors.getLastError(&b));
  EXPECT_NE(a, b);  // each fetch is a record of its own
  EXPECT_STREQ(a->text, b->text);
  CFiErrorManager::freeMessageInfo(b);
  EXPECT_EQ(0, errors.delLastError(&a));
  EXPECT_EQ(0u, errors.size());
}

TEST_F(ErrorManager, DeletingWithoutARecordStillRemovesTheNewest) {
  pushSymbol("old");
  pushSymbol("new");
  EXPECT_EQ(0, errors.delLastError(nullptr));
  EXPECT_EQ("old", takeLast(errors).args[0]);
}

TEST_F(ErrorManager, AHostThatNeverFetchesKeepsOnlyTheNewestMessages) {
  for (size_t i = 0; i < CFiErrorManager::kMaxMessages + 10; ++i) pushSymbol(std::to_string(i).c_str());
  EXPECT_EQ(CFiErrorManager::kMaxMessages, errors.size());
  EXPECT_EQ(std::to_string(CFiErrorManager::kMaxMessages + 9), takeLast(errors).args[0]);
  size_t oldestKept = 10;
  ReceivedMessage last;
  while (errors.size() > 0) last = takeLast(errors);
  EXPECT_EQ(std::to_string(oldestKept), last.args[0]);
}

TEST_F(ErrorManager, AnEmptyPointerIsNotAMessage) {
  errors.pushError(CFiMessagePtr());
  EXPECT_EQ(0u, errors.size());
}

TEST_F(ErrorManager, IndexIsTheCatalogIndexPlusTheOffset) {
  pushSymbol("a");
  int defaultIndex = takeLast(errors).index;
  EXPECT_EQ(6000, errors.getMessageIndexOffset());
  errors.setMessageIndexOffset(7000);
  pushSymbol("a");
  EXPECT_EQ(defaultIndex + 1000, takeLast(errors).index);
  EXPECT_GT(defaultIndex, 6000);
}

TEST_F(ErrorManager, RecordOutlivesTheMessageItDescribes) {
  pushSymbol("kept");
  zfi_msg_info* info = nullptr;
  ASSERT_EQ(0, errors.getLastError(&info));
  errors.clear();
  EXPECT_STREQ("kept", info->args[0].str_value);
  EXPECT_EQ("API call kept failed due to reason symbol empty. FILE=f.cpp LINE=3", localeText(info, "en_US"));
  CFiErrorManager::freeMessageInfo(info);
}

TEST_F(ErrorManager, WithoutAHandlerTheIdAndArgumentsAreTheText) {
  CFiErrorManager bare;
  bare.pushError(message(MSG_ERROR_INVALID_SPLIT_TYPE, {text("HPXP_Clone"), number(4)}));
  ReceivedMessage m = takeLast(bare);
  EXPECT_EQ("MSG_ERROR_INVALID_SPLIT_TYPE: HPXP_Clone, 4", m.text);
  EXPECT_EQ(6000, m.index);
}

TEST_F(ErrorManager, LocaleMessageOfAFetchedRecordMatchesItsEnglishText) {
  errors.pushError(message(
      MSG_ERROR_HITACHI_COMMAND_FAILED,
      {text("pairresync"), text("410"), number(-1), text("pair missing"), text("p.cpp"), number(12)}));
  zfi_msg_info* info = nullptr;
  ASSERT_EQ(0, errors.getLastError(&info));
  EXPECT_EQ(std::string(info->text), localeText(info, "en_US"));
  EXPECT_EQ(std::string(info->text), localeText(info, "de_DE"));  // no German texts: the root ones
  EXPECT_STREQ(
      "API call pairresync on enclosure 410 failed with error -1 due to pair missing. FILE=p.cpp LINE=12",
      info->text);
  EXPECT_EQ(0, errors.delLastError(&info));
}

TEST_F(ErrorManager, NullLocaleUsesTheFrameworksNativeLanguage) {
  errors.registerHandler(new CFiErrorHandler(nullptr, "fr_FR", catalogs));
  zfi_msg_arg arg{ZFI_MSG_ARG_STRING, 0, const_cast<char*>("HPXP_Clone")};
  zfi_msg_info record{};
  record.msg_id = const_cast<char*>(MSG_ERROR_INVALID_SPLIT_TYPE);
  record.arg_count = 1;
  record.args = &arg;
  EXPECT_EQ("The snapshot method 'HPXP_Clone' is not supported by this provider.",
            localeText(&record, nullptr));
  EXPECT_EQ("fr_FR", errors.getHandler()->getLanguage());
}

TEST_F(ErrorManager, LocaleMessageKeepsLargeIntegerArguments) {
  zfi_msg_arg args[3] = {{ZFI_MSG_ARG_INT, INT64_C(5000000000), nullptr},
                         {ZFI_MSG_ARG_STRING, 0, const_cast<char*>("u.cpp")},
                         {ZFI_MSG_ARG_INT, 7, nullptr}};
  zfi_msg_info record{};
  record.msg_id = const_cast<char*>(MSG_ERROR_UNHANDLED_INT_EXCEPTION);
  record.arg_count = 3;
  record.args = args;
  EXPECT_EQ("Unhandled error code 5000000000. FILE=u.cpp LINE=7", localeText(&record, "en"));
}

TEST_F(ErrorManager, MissingArgumentsStayPlaceholdersAndExtraOnesAreIgnored) {
  zfi_msg_arg args[3] = {{ZFI_MSG_ARG_STRING, 0, const_cast<char*>("a")},
                         {ZFI_MSG_ARG_STRING, 0, nullptr},  // a null text reads as empty
                         {ZFI_MSG_ARG_STRING, 0, const_cast<char*>("surplus")}};
  zfi_msg_info record{};
  record.msg_id = const_cast<char*>(MSG_ERROR_PRIVATE_DATA_MALLOC);
  record.args = args;
  record.arg_count = 1;
  EXPECT_EQ("a: private data could not be allocated for node '{1}'.", localeText(&record, "en"));
  record.arg_count = 3;
  EXPECT_EQ("a: private data could not be allocated for node ''.", localeText(&record, "en"));
  record.arg_count = 0;
  record.args = nullptr;
  EXPECT_EQ("{0}: private data could not be allocated for node '{1}'.", localeText(&record, "en"));
  record.arg_count = -4;  // nonsense count: no arguments
  EXPECT_EQ("{0}: private data could not be allocated for node '{1}'.", localeText(&record, "en"));
}

TEST_F(ErrorManager, ArgumentsOfTheWrongTypeAreStillDelivered) {
  errors.pushError(
      message(MSG_ERROR_HITACHI_SYMBOL, {text("a"), text("b"), text("c"), text("not-a-number")}));
  ReceivedMessage m = takeLast(errors);
  EXPECT_TRUE(m.present);
  EXPECT_NE(std::string::npos, m.text.find("not-a-number")) << m.text;
}

TEST_F(ErrorManager, UnknownIdIsDeliveredWithItsArguments) {
  errors.pushError(message("MSG_NOT_IN_CATALOG", {text("a"), number(2)}));
  ReceivedMessage m = takeLast(errors);
  EXPECT_EQ("MSG_NOT_IN_CATALOG", m.id);
  EXPECT_EQ("MSG_NOT_IN_CATALOG: a, 2", m.text);
  EXPECT_EQ(6000, m.index);
}

TEST_F(ErrorManager, OddLocaleNamesFallBackToTheEnglishText) {
  zfi_msg_arg arg{ZFI_MSG_ARG_STRING, 0, const_cast<char*>("x")};
  zfi_msg_info record{};
  record.msg_id = const_cast<char*>(MSG_ERROR_INVALID_SPLIT_TYPE);
  record.arg_count = 1;
  record.args = &arg;
  const std::string english = "The snapshot method 'x' is not supported by this provider.";
  const std::string longName(4000, 'q');
  for (const char* locale : {"", "../../../etc/passwd", "root", "en_US@calendar=buddhist", "zz_ZZ_POSIX",
                             "%s%n", longName.c_str()}) {
    EXPECT_EQ(english, localeText(&record, locale)) << locale;
  }
}

TEST_F(ErrorManager, OddIdsAreDeliveredPlainly) {
  const std::string longId(4000, 'M');
  for (const char* id : {"", "MSG_ERROR_HITACHI_SYMBOL/text", "%s%s%n", longId.c_str()}) {
    errors.pushError(message(id, {text("a")}));
    ReceivedMessage m = takeLast(errors);
    EXPECT_EQ(std::string(id) + ": a", m.text);
  }
}

TEST_F(ErrorManager, RecordWithoutIdIsRefused) {
  zfi_msg_info record{};
  char* out = reinterpret_cast<char*>(0x1);
  int length = 9;
  EXPECT_EQ(3, errors.getLocaleMessage(&length, &record, "en", &out));
  EXPECT_EQ(nullptr, out);
  EXPECT_EQ(0, length);
  EXPECT_EQ(3, errors.getLocaleMessage(nullptr, nullptr, "en", &out));
}

TEST_F(ErrorManager, HandlerKeepsTheFrameworkRecordAndACountedCatalogReference) {
  char language[] = "ja_JP";
  char* languages[] = {language, nullptr};
  zfi_fw_info info{nullptr, nullptr, nullptr, languages};
  int before = catalogs->getCount();
  {
    CFiErrorHandler handler(&info, language, catalogs);
    EXPECT_EQ(&info, handler.getFrameworkInfo());
    EXPECT_EQ(catalogs.get(), handler.getCatalogManager());
    EXPECT_EQ(before + 1, catalogs->getCount());
    language[0] = 'x';  // the handler keeps its own copy of the text
    EXPECT_EQ("ja_JP", handler.getLanguage());
  }
  EXPECT_EQ(before, catalogs->getCount());
}

}  // namespace
