// Exceptions reported as messages, and their retrieval and formatting.
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>

#include "cficontextsingleton.h"
#include "cfierrormanager.h"
#include "hitachi_clierror.h"
#include "hitachi_exception.h"

using namespace frim_pdk_4_4;

namespace {

class ExceptionMessages : public ::testing::Test {
 protected:
  void SetUp() override {
    errors = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false);
    errors->clear();
    catalogs = CFiCatalogManagerPtr(new CFiMessageCatalogManager());
    catalogs->registerFactory(new CFiIcuMessageCatalogFactory("root", ACE_CString("hitachifi")));
    errors->registerHandler(new CFiErrorHandler(nullptr, "", catalogs));
  }
  void TearDown() override {
    errors->clear();
    errors->registerHandler(nullptr);
  }

  // The newest message as the framework receives it; empty id if none.
  struct Received {
    std::string id, text;
    int index = 0, severity = 0, line = 0;
    std::string file;
    std::vector<std::string> args;
  };
  Received last() {
    zfi_msg_info* info = nullptr;
    EXPECT_EQ(0, errors->getLastError(&info));
    Received out;
    if (info == nullptr) return out;
    out.id = info->msg_id;
    out.text = info->text;
    out.index = info->msg_index;
    out.severity = info->severity;
    out.file = info->file;
    out.line = info->line;
    for (int i = 0; i < info->arg_count; ++i) {
      out.args.push_back(info->args[i].type == ZFI_MSG_ARG_STRING ? info->args[i].str_value
                                                                  : std::to_string(info->args[i].int_value));
    }
    EXPECT_EQ(0, errors->delLastError(&info));
    EXPECT_EQ(nullptr, info);
    return out;
  }

  static CHitachiException commandFailure(int kind) {
    CHitachiException e;
    e.m_kind = kind;
    e.m_errorNumber = 226;
    e.m_reason = "no such volume";
    e.m_apiName = "pairsplit";
    e.m_enclosureId = "410";
    e.m_file = "hitachi_pairops.cpp";
    e.m_line = 77;
    return e;
  }

  CFiErrorManagerPtr errors;
  CFiCatalogManagerPtr catalogs;
};

TEST_F(ExceptionMessages, CommandFailureCarriesItsArgumentsAndText) {
  commandFailure(1).push();
  Received m = last();
  EXPECT_EQ(MSG_ERROR_HITACHI_COMMAND_FAILED, m.id);
  EXPECT_EQ((std::vector<std::string>{"pairsplit", "410", "226", "no such volume", "hitachi_pairops.cpp", "77"}),
            m.args);
  EXPECT_EQ(
      "API call pairsplit on enclosure 410 failed with error 226 due to no such volume. FILE=hitachi_pairops.cpp "
      "LINE=77",
      m.text);
  EXPECT_EQ(3, m.severity);
  EXPECT_EQ("../hitachi_clierror.h", m.file);
  EXPECT_EQ(194, m.line);
  EXPECT_EQ(6001, m.index);
}

TEST_F(ExceptionMessages, KindTwoIsReportedExactlyLikeKindOne) {
  commandFailure(1).push();
  Received one = last();
  commandFailure(2).push();
  Received two = last();
  EXPECT_EQ(one.id, two.id);
  EXPECT_EQ(one.args, two.args);
  EXPECT_EQ(one.text, two.text);
}

TEST_F(ExceptionMessages, OtherKindsUseTheirRows) {
  CHitachiException e;
  e.m_kind = 3;
  e.m_apiName = "[findConfiguredTarget]";
  e.m_reason = "could not find target Id";
  e.m_file = "f.cpp";
  e.m_line = 5;
  e.push();
  Received input = last();
  EXPECT_EQ(MSG_ERROR_HITACHI_INVALID_INPUT, input.id);
  EXPECT_EQ(199, input.line);
  EXPECT_EQ("API call [findConfiguredTarget] has got invalid input due to reason could not find target Id. FILE=f.cpp LINE=5",
            input.text);

  e.m_kind = 4;
  e.m_apiName = "getfmtmsg";
  e.m_reason = "symbol empty";
  e.push();
  Received symbol = last();
  EXPECT_EQ(MSG_ERROR_HITACHI_SYMBOL, symbol.id);
  EXPECT_EQ(204, symbol.line);
  EXPECT_EQ("API call getfmtmsg failed due to reason symbol empty. FILE=f.cpp LINE=5", symbol.text);

  CHitachiException pair;
  pair.m_kind = 5;
  pair.m_vdisk = "12";
  pair.m_vdiskCopy = "34";
  pair.m_enclosureId = "410";
  pair.m_pairStatus = "PSUE";
  pair.m_file = "g.cpp";
  pair.m_line = 9;
  pair.push();
  Received bad = last();
  EXPECT_EQ(MSG_ERROR_HITACHI_BAD_PAIR_STATUS, bad.id);
  EXPECT_EQ(208, bad.line);
  EXPECT_EQ("Bad status of pair. vdisk '12'. vdisk Copy '34'. enclosure id '410'. pair status 'PSUE'. FILE=g.cpp LINE=9",
            bad.text);
}

TEST_F(ExceptionMessages, KindZeroAndUnknownKindsPushNothing) {
  CHitachiException().push();
  CHitachiException unknown;
  unknown.m_kind = 9;
  unknown.push();
  EXPECT_EQ(0u, errors->size());
  EXPECT_EQ("", last().id);
}

TEST_F(ExceptionMessages, EmptyStringsArePushedAsEmptyArguments) {
  CHitachiException e;
  e.m_kind = 4;
  e.push();
  Received m = last();
  EXPECT_EQ((std::vector<std::string>{"", "", "", "0"}), m.args);
}

TEST_F(ExceptionMessages, MessagesAreFetchedNewestFirstAndBounded) {
  for (int i = 0; i < 70; ++i) {
    CHitachiException e = commandFailure(1);
    e.m_line = i;
    e.push();
  }
  EXPECT_EQ(CFiErrorManager::kMaxMessages, errors->size());
  EXPECT_EQ("69", last().args[5]);
  EXPECT_EQ("68", last().args[5]);
}

TEST_F(ExceptionMessages, LocaleMessageFormatsTheRecordWithICU) {
  commandFailure(1).push();
  zfi_msg_info* info = nullptr;
  ASSERT_EQ(0, errors->getLastError(&info));
  char* text = nullptr;
  int length = 0;
  ASSERT_EQ(0, errors->getLocaleMessage(&length, info, "de_DE", &text));
  ASSERT_NE(nullptr, text);
  EXPECT_EQ(std::string(info->text), text);  // no German catalog: root texts
  EXPECT_EQ(static_cast<int>(std::string(text).size()), length);
  EXPECT_EQ(0, errors->delLocaleMessage(&text));
  EXPECT_EQ(nullptr, text);
  EXPECT_EQ(0, errors->delLastError(&info));
  EXPECT_EQ(3, errors->getLocaleMessage(&length, nullptr, "en", &text));
}

TEST_F(ExceptionMessages, ArgumentsThatDoNotFitTheTextStillDeliverAMessage) {
  icu::Formattable tooFew[] = {icu::Formattable("only-one")};
  errors->pushError(CFiMessagePtr(new CFiIcuMessage(MSG_ERROR_HITACHI_SYMBOL, tooFew, 1, ZFI_SEV_CRITICAL, "f", 1)));
  EXPECT_EQ("API call only-one failed due to reason {1}. FILE={2} LINE={3}", last().text);

  icu::Formattable wrongType[] = {icu::Formattable("a"), icu::Formattable("b"), icu::Formattable("c"),
                                  icu::Formattable("not-a-number")};
  errors->pushError(CFiMessagePtr(new CFiIcuMessage(MSG_ERROR_HITACHI_SYMBOL, wrongType, 4, ZFI_SEV_CRITICAL, "f", 1)));
  EXPECT_FALSE(last().text.empty());

  errors->pushError(CFiMessagePtr(new CFiIcuMessage("MSG_NOT_IN_CATALOG", wrongType, 2, ZFI_SEV_CRITICAL, "f", 1)));
  Received unknown = last();
  EXPECT_EQ("MSG_NOT_IN_CATALOG: a, b", unknown.text);
  EXPECT_EQ(6000, unknown.index);
}

TEST_F(ExceptionMessages, EveryPluginMessageIdIsInTheCatalog) {
  const char* ids[] = {MSG_ERROR_HITACHI_COMMAND_FAILED,        MSG_ERROR_HITACHI_INVALID_INPUT,
                       MSG_ERROR_HITACHI_SYMBOL,                MSG_ERROR_HITACHI_BAD_PAIR_STATUS,
                       MSG_ERROR_INITIALIZATION_FAILED,         MSG_ERROR_INVALID_SPLIT_TYPE,
                       MSG_ERROR_NO_SNAPSHOT_TARGET_SELECTED,   MSG_ERROR_PRIVATE_DATA_MALLOC,
                       MSG_ERROR_UDID_PARSING_EXCEPTION,        MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION,
                       MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION,   MSG_ERROR_UNHANDLED_INT_EXCEPTION,
                       MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION};
  CFiIcuMessageCatalogFactory factory("root", ACE_CString("hitachifi"));
  std::set<int> indices;
  for (const char* id : ids) {
    icu::UnicodeString pattern;
    int index = 0;
    ASSERT_TRUE(factory.lookup(id, nullptr, pattern, index)) << id;
    EXPECT_GT(pattern.length(), 0) << id;
    indices.insert(index);
  }
  EXPECT_EQ(13u, indices.size());
}

}  // namespace
