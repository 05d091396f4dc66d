// The message catalog compiled into the library, and how the catalog
// manager picks and formats a text.
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

// A catalog that knows one id, to see how the manager chooses.
class OneMessageCatalog : public CFiMessageCatalogFactory {
 public:
  OneMessageCatalog(std::string id, const char* pattern, int index,
                    std::vector<std::string>* locales = nullptr)
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

std::string format(CFiMessageCatalogManager& manager, const char* id, std::vector<icu::Formattable> args,
                   const char* locale = "en", int* index = nullptr) {
  CFiIcuMessage message(id, args.data(), static_cast<int>(args.size()), ZFI_SEV_CRITICAL, "f", 1);
  int found = -1;
  std::string out = manager.format(message, locale, found);
  if (index) *index = found;
  return out;
}

TEST(MessageCatalog, EveryIdThePluginReportsHasATextAndAnIndexOfItsOwn) {
  CFiIcuMessageCatalogFactory root("root", ACE_CString("hitachifi"));
  const char* const ids[] = {MSG_ERROR_HITACHI_COMMAND_FAILED,
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
  std::set<int> indices;
  for (const char* id : ids) {
    icu::UnicodeString pattern, localePattern;
    int index = 0, localeIndex = 0;
    ASSERT_TRUE(root.lookup(id, nullptr, pattern, index)) << id;
    EXPECT_GT(pattern.length(), 0) << id;
    EXPECT_GT(index, 0) << id;
    indices.insert(index);
    // A locale without texts of its own falls back to the root ones.
    ASSERT_TRUE(root.lookup(id, "fr_CA", localePattern, localeIndex)) << id;
    EXPECT_EQ(pattern, localePattern) << id;
    EXPECT_EQ(index, localeIndex) << id;
  }
  EXPECT_EQ(sizeof(ids) / sizeof(ids[0]), indices.size());
  icu::UnicodeString pattern;
  int index = 0;
  EXPECT_FALSE(root.lookup("MSG_ERROR_NO_SUCH_MESSAGE", nullptr, pattern, index));
}

// The messages the plugin raises outside CHitachiException::push(), with the
// arguments their raisers give.
TEST(MessageCatalog, MessagesRaisedByTheOperationsReadAsIntended) {
  CFiMessageCatalogManager manager;
  manager.registerFactory(new CFiIcuMessageCatalogFactory("root", ACE_CString("hitachifi")));
  EXPECT_EQ("The snapshot method 'HPXP_Clone' is not supported by this provider.",
            format(manager, MSG_ERROR_INVALID_SPLIT_TYPE, {text("HPXP_Clone")}));
  EXPECT_EQ("No snapshot target could be selected for device '0x12'.",
            format(manager, MSG_ERROR_NO_SNAPSHOT_TARGET_SELECTED, {text("0x12")}));
  EXPECT_EQ("setProviderState: private data could not be allocated for node 'UDID##A'.",
            format(manager, MSG_ERROR_PRIVATE_DATA_MALLOC, {text("setProviderState"), text("UDID##A")}));
  EXPECT_EQ("The device id 'UDID##x' could not be parsed (error 2).",
            format(manager, MSG_ERROR_UDID_PARSING_EXCEPTION, {text("UDID##x"), number(2)}));
  EXPECT_EQ("Unhandled command execution error EPIPE_CLOSED: pipe closed. FILE=a.cpp LINE=10",
            format(manager, MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION,
                   {text("EPIPE_CLOSED"), text("pipe closed"), text("a.cpp"), number(10)}));
  EXPECT_EQ("Unhandled error: bad config (config, parse, 22).",
            format(manager, MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION,
                   {text("bad config"), text("config"), text("parse"), number(22)}));
  EXPECT_EQ("Unhandled exception std::runtime_error: boom. FILE=c.cpp LINE=8",
            format(manager, MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION,
                   {text("std::runtime_error"), text("boom"), text("c.cpp"), number(8)}));
  EXPECT_EQ("Initialization of RMLIB failed: symbol missing.",
            format(manager, MSG_ERROR_INITIALIZATION_FAILED, {text("RMLIB"), text("symbol missing")}));
  // Numbers carry no grouping, whatever the locale.
  EXPECT_EQ("Unhandled error code 1234567. FILE=b.cpp LINE=10000",
            format(manager, MSG_ERROR_UNHANDLED_INT_EXCEPTION,
                   {number(1234567), text("b.cpp"), number(10000)}, "de_DE"));
}

TEST(MessageCatalog, FirstCatalogThatKnowsTheIdWinsAndGivesItsIndex) {
  CFiMessageCatalogManager chain;
  chain.registerFactory(nullptr);
  chain.registerFactory(new OneMessageCatalog("MSG_A", "first {0}", 1));
  chain.registerFactory(new OneMessageCatalog("MSG_A", "second {0}", 2));
  chain.registerFactory(new OneMessageCatalog("MSG_B", "only B {0}", 3));
  EXPECT_EQ(3u, chain.factoryCount());
  int index = 0;
  EXPECT_EQ("first x", format(chain, "MSG_A", {text("x")}, "en", &index));
  EXPECT_EQ(1, index);
  EXPECT_EQ("only B x", format(chain, "MSG_B", {text("x")}, "en", &index));
  EXPECT_EQ(3, index);
  EXPECT_EQ("MSG_C: x, -5", format(chain, "MSG_C", {text("x"), number(-5)}, "en", &index));
  EXPECT_EQ(0, index);
}

TEST(MessageCatalog, NativeLanguageIsAskedForWhenNoLocaleIsGiven) {
  std::vector<std::string> asked;
  CFiMessageCatalogManager chain;
  chain.registerFactory(new OneMessageCatalog("MSG_A", "a", 1, &asked));
  chain.setNativeLanguage("it_IT");
  format(chain, "MSG_A", {}, nullptr);
  format(chain, "MSG_A", {}, "pt_BR");
  chain.setNativeLanguage(nullptr);
  format(chain, "MSG_A", {}, nullptr);
  EXPECT_EQ((std::vector<std::string>{"it_IT", "pt_BR", ""}), asked);
}

TEST(MessageCatalog, BrokenPatternIsRenderedAsIdAndArguments) {
  CFiMessageCatalogManager chain;
  chain.registerFactory(new OneMessageCatalog("MSG_A", "unclosed {0", 1));
  EXPECT_EQ("MSG_A: x, 5", format(chain, "MSG_A", {text("x"), number(5)}));
}

}  // namespace
