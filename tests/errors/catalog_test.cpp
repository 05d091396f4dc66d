// The message catalog compiled into the library: every id the plugin
// reports, the texts of the messages raised outside push(), and how the
// catalog manager picks and formats a text.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "cfimessagecatalog.h"
#include "hitachi_clierror.h"

using namespace frim_pdk_4_4;

namespace {

icu::Formattable text(const char* value) { return icu::Formattable(icu::UnicodeString::fromUTF8(value)); }
icu::Formattable number(int32_t value) { return icu::Formattable(value); }

const char* const kPluginIds[] = {MSG_ERROR_HITACHI_COMMAND_FAILED,
                                  MSG_ERROR_HITACHI_INVALID_INPUT,
                                  MSG_ERROR_HITACHI_SYMBOL,
                                  MSG_ERROR_HITACHI_BAD_PAIR_STATUS,
                                  MSG_ERROR_INITIALIZATION_FAILED,
                                  MSG_ERROR_INVALID_SPLIT_TYPE,
                                  MSG_ERROR_NO_SNAPSHOT_TARGET_SELECTED,
                                  MSG_ERROR_PRIVATE_DATA_MALLOC,
                                  MSG_ERROR_UDID_PARSING_EXCEPTION,
                                  MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION,
                                  MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION,
                                  MSG_ERROR_UNHANDLED_INT_EXCEPTION,
                                  MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION};

// A catalog that knows one id, to see how the manager chooses.
class OneMessageCatalog : public CFiMessageCatalogFactory {
 public:
  OneMessageCatalog(std::string id, const char* pattern, int index, std::vector<std::string>* locales)
      : m_id(std::move(id)),
        m_pattern(icu::UnicodeString::fromUTF8(pattern)),
        m_index(index),
        m_locales(locales) {}
  bool lookup(const std::string& id, char const* locale, icu::UnicodeString& pattern, int& index) override {
    if (m_locales) m_locales->push_back(locale ? locale : "<null>");
    if (id != m_id) return false;
    pattern = m_pattern;
    index = m_index;
    return true;
  }

 private:
  std::string m_id;
  icu::UnicodeString m_pattern;
  int m_index;
  std::vector<std::string>* m_locales;
};

class MessageCatalog : public ::testing::Test {
 protected:
  MessageCatalog() : root("root", ACE_CString("hitachifi")) {
    manager.registerFactory(new CFiIcuMessageCatalogFactory("root", ACE_CString("hitachifi")));
  }
  std::string format(const char* id, std::vector<icu::Formattable> args, const char* locale = "en") {
    CFiIcuMessage message(id, args.data(), static_cast<int>(args.size()), ZFI_SEV_CRITICAL, "f", 1);
    int index = -1;
    return manager.format(message, locale, index);
  }

  CFiIcuMessageCatalogFactory root;
  CFiMessageCatalogManager manager;
};

TEST_F(MessageCatalog, EveryIdThePluginReportsHasATextAndAnIndexOfItsOwn) {
  std::set<int> indices;
  for (const char* id : kPluginIds) {
    icu::UnicodeString pattern;
    int index = 0;
    ASSERT_TRUE(root.lookup(id, nullptr, pattern, index)) << id;
    EXPECT_GT(pattern.length(), 0) << id;
    EXPECT_GT(index, 0) << id;
    indices.insert(index);
  }
  EXPECT_EQ(sizeof(kPluginIds) / sizeof(kPluginIds[0]), indices.size());
}

TEST_F(MessageCatalog, UnknownIdIsNotFound) {
  icu::UnicodeString pattern;
  int index = 0;
  EXPECT_FALSE(root.lookup("MSG_ERROR_NO_SUCH_MESSAGE", nullptr, pattern, index));
  EXPECT_FALSE(root.lookup("", "en", pattern, index));
}

TEST_F(MessageCatalog, ALocaleWithoutItsOwnTextsFallsBackToRoot) {
  icu::UnicodeString rootPattern, frenchPattern;
  int rootIndex = 0, frenchIndex = 0;
  ASSERT_TRUE(root.lookup(MSG_ERROR_INVALID_SPLIT_TYPE, "", rootPattern, rootIndex));
  ASSERT_TRUE(root.lookup(MSG_ERROR_INVALID_SPLIT_TYPE, "fr_CA", frenchPattern, frenchIndex));
  EXPECT_EQ(rootPattern, frenchPattern);
  EXPECT_EQ(rootIndex, frenchIndex);
}

// The messages the plugin raises outside CHitachiException::push(), with the
// arguments their raisers give.
TEST_F(MessageCatalog, MessagesRaisedByTheOperationsReadAsIntended) {
  EXPECT_EQ("The snapshot method 'HPXP_Clone' is not supported by this provider.",
            format(MSG_ERROR_INVALID_SPLIT_TYPE, {text("HPXP_Clone")}));
  EXPECT_EQ("No snapshot target could be selected for device '0x12'.",
            format(MSG_ERROR_NO_SNAPSHOT_TARGET_SELECTED, {text("0x12")}));
  EXPECT_EQ("setProviderState: private data could not be allocated for node 'UDID##A'.",
            format(MSG_ERROR_PRIVATE_DATA_MALLOC, {text("setProviderState"), text("UDID##A")}));
  EXPECT_EQ("The device id 'UDID##x' could not be parsed (error 2).",
            format(MSG_ERROR_UDID_PARSING_EXCEPTION, {text("UDID##x"), number(2)}));
  EXPECT_EQ("Unhandled command execution error EPIPE_CLOSED: pipe closed. FILE=a.cpp LINE=10",
            format(MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION,
                   {text("EPIPE_CLOSED"), text("pipe closed"), text("a.cpp"), number(10)}));
  EXPECT_EQ("Unhandled error: bad config (config, parse, 22).",
            format(MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION,
                   {text("bad config"), text("config"), text("parse"), number(22)}));
  EXPECT_EQ("Unhandled error code 30. FILE=b.cpp LINE=4",
            format(MSG_ERROR_UNHANDLED_INT_EXCEPTION, {number(30), text("b.cpp"), number(4)}));
  EXPECT_EQ("Unhandled exception std::runtime_error: boom. FILE=c.cpp LINE=8",
            format(MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION,
                   {text("std::runtime_error"), text("boom"), text("c.cpp"), number(8)}));
  EXPECT_EQ("Initialization of RMLIB failed: symbol missing.",
            format(MSG_ERROR_INITIALIZATION_FAILED, {text("RMLIB"), text("symbol missing")}));
}

TEST_F(MessageCatalog, NumbersAreWrittenWithoutGrouping) {
  EXPECT_EQ(
      "Unhandled error code 1234567. FILE=b.cpp LINE=10000",
      format(MSG_ERROR_UNHANDLED_INT_EXCEPTION, {number(1234567), text("b.cpp"), number(10000)}, "de_DE"));
}

TEST_F(MessageCatalog, ReportsTheIndexOfTheTextItUsed) {
  icu::UnicodeString pattern;
  int expected = 0;
  ASSERT_TRUE(root.lookup(MSG_ERROR_HITACHI_SYMBOL, nullptr, pattern, expected));
  CFiIcuMessage message(MSG_ERROR_HITACHI_SYMBOL, nullptr, 0, ZFI_SEV_CRITICAL, "f", 1);
  int index = -1;
  manager.format(message, nullptr, index);
  EXPECT_EQ(expected, index);
  CFiIcuMessage unknown("MSG_UNKNOWN", nullptr, 0, ZFI_SEV_CRITICAL, "f", 1);
  manager.format(unknown, nullptr, index);
  EXPECT_EQ(0, index);
}

TEST_F(MessageCatalog, FirstCatalogThatKnowsTheIdWins) {
  CFiMessageCatalogManager chain;
  chain.registerFactory(new OneMessageCatalog("MSG_A", "first {0}", 1, nullptr));
  chain.registerFactory(new OneMessageCatalog("MSG_A", "second {0}", 2, nullptr));
  chain.registerFactory(new OneMessageCatalog("MSG_B", "only B {0}", 3, nullptr));
  EXPECT_EQ(3u, chain.factoryCount());
  icu::Formattable arg = text("x");
  int index = 0;
  EXPECT_EQ("first x", chain.format(CFiIcuMessage("MSG_A", &arg, 1, ZFI_SEV_ERROR, "f", 1), "en", index));
  EXPECT_EQ(1, index);
  EXPECT_EQ("only B x", chain.format(CFiIcuMessage("MSG_B", &arg, 1, ZFI_SEV_ERROR, "f", 1), "en", index));
  EXPECT_EQ(3, index);
}

TEST_F(MessageCatalog, NativeLanguageIsAskedForWhenNoLocaleIsGiven) {
  std::vector<std::string> asked;
  CFiMessageCatalogManager chain;
  chain.registerFactory(new OneMessageCatalog("MSG_A", "a", 1, &asked));
  chain.setNativeLanguage("it_IT");
  int index = 0;
  CFiIcuMessage message("MSG_A", nullptr, 0, ZFI_SEV_ERROR, "f", 1);
  chain.format(message, nullptr, index);
  chain.format(message, "pt_BR", index);
  chain.setNativeLanguage(nullptr);
  chain.format(message, nullptr, index);
  EXPECT_EQ((std::vector<std::string>{"it_IT", "pt_BR", ""}), asked);
}

TEST_F(MessageCatalog, BrokenPatternIsRenderedAsIdAndArguments) {
  CFiMessageCatalogManager chain;
  chain.registerFactory(new OneMessageCatalog("MSG_A", "unclosed {0", 1, nullptr));
  icu::Formattable args[] = {text("x"), number(5)};
  int index = 0;
  EXPECT_EQ("MSG_A: x, 5", chain.format(CFiIcuMessage("MSG_A", args, 2, ZFI_SEV_ERROR, "f", 1), "en", index));
}

TEST_F(MessageCatalog, ManagerWithoutCatalogsRendersPlainly) {
  CFiMessageCatalogManager empty;
  icu::Formattable args[] = {text("x"), number(-5)};
  int index = 9;
  EXPECT_EQ("MSG_A: x, -5",
            empty.format(CFiIcuMessage("MSG_A", args, 2, ZFI_SEV_ERROR, "f", 1), "en", index));
  EXPECT_EQ(0, index);
}

TEST_F(MessageCatalog, NullFactoryIsIgnored) {
  CFiMessageCatalogManager chain;
  chain.registerFactory(nullptr);
  EXPECT_EQ(0u, chain.factoryCount());
}

}  // namespace
