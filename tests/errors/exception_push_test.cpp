// CHitachiException reported through push(): one row per kind, the message
// the framework receives for it, and what push() traces.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "errors_support.h"
#include "hitachi_clierror.h"
#include "hitachi_exception.h"

using namespace frim_pdk_4_4;

namespace {

class ExceptionPush : public ::testing::Test {
 protected:
  void SetUp() override {
    trace = std::make_unique<TraceCapture>();
    errors = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false);
    errors->clear();
    CFiCatalogManagerPtr catalogs(new CFiMessageCatalogManager());
    catalogs->registerFactory(new CFiIcuMessageCatalogFactory("root", ACE_CString("hitachifi")));
    errors->registerHandler(new CFiErrorHandler(nullptr, "", catalogs));
  }
  void TearDown() override {
    errors->clear();
    errors->registerHandler(nullptr);
    errors.release();
    CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(true);
    trace.reset();
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
  static CHitachiException withCall(int kind, const char* call, const char* reason) {
    CHitachiException e;
    e.m_kind = kind;
    e.m_errorNumber = 6;
    e.m_apiName = call;
    e.m_reason = reason;
    e.m_enclosureId = "ignored";
    e.m_file = "hitachi_targets.cpp";
    e.m_line = 5;
    return e;
  }
  static CHitachiException badPair() {
    CHitachiException e;
    e.m_kind = 5;
    e.m_vdisk = "UDID##HITACHI##OPEN-V##410##12";
    e.m_vdiskCopy = "UDID##HITACHI##OPEN-V##410##34";
    e.m_enclosureId = "410";
    e.m_pairStatus = "SMPL";
    e.m_file = "hitachi_plugin_prepare.cpp";
    e.m_line = 9;
    return e;
  }

  std::unique_ptr<TraceCapture> trace;
  CFiErrorManagerPtr errors;
};

TEST_F(ExceptionPush, CommandFailureCarriesCallEnclosureErrorReasonFileLine) {
  commandFailure(1).push();
  ReceivedMessage m = takeLast(*errors);
  ASSERT_TRUE(m.present);
  EXPECT_EQ(MSG_ERROR_HITACHI_COMMAND_FAILED, m.id);
  EXPECT_EQ(
      (std::vector<std::string>{"pairsplit", "410", "226", "no such volume", "hitachi_pairops.cpp", "77"}),
      m.args);
  EXPECT_EQ((std::vector<int>{ZFI_MSG_ARG_STRING, ZFI_MSG_ARG_STRING, ZFI_MSG_ARG_INT, ZFI_MSG_ARG_STRING,
                              ZFI_MSG_ARG_STRING, ZFI_MSG_ARG_INT}),
            m.types);
  EXPECT_EQ(
      "API call pairsplit on enclosure 410 failed with error 226 due to no such volume. "
      "FILE=hitachi_pairops.cpp LINE=77",
      m.text);
  EXPECT_EQ(3, m.severity);
  EXPECT_EQ("../hitachi_clierror.h", m.file);
  EXPECT_EQ(194, m.line);
}

TEST_F(ExceptionPush, KindTwoProducesExactlyTheMessageOfKindOne) {
  commandFailure(1).push();
  ReceivedMessage one = takeLast(*errors);
  commandFailure(2).push();
  ReceivedMessage two = takeLast(*errors);
  EXPECT_EQ(one.id, two.id);
  EXPECT_EQ(one.args, two.args);
  EXPECT_EQ(one.types, two.types);
  EXPECT_EQ(one.text, two.text);
  EXPECT_EQ(one.line, two.line);
  EXPECT_EQ(one.index, two.index);
}

TEST_F(ExceptionPush, InvalidInputCarriesCallReasonFileLine) {
  withCall(3, "[findConfiguredTarget]", "could not find target Id").push();
  ReceivedMessage m = takeLast(*errors);
  EXPECT_EQ(MSG_ERROR_HITACHI_INVALID_INPUT, m.id);
  EXPECT_EQ((std::vector<std::string>{"[findConfiguredTarget]", "could not find target Id",
                                      "hitachi_targets.cpp", "5"}),
            m.args);
  EXPECT_EQ(
      "API call [findConfiguredTarget] has got invalid input due to reason could not find target Id. "
      "FILE=hitachi_targets.cpp LINE=5",
      m.text);
  EXPECT_EQ(199, m.line);
  EXPECT_EQ(3, m.severity);
}

TEST_F(ExceptionPush, MissingSymbolCarriesCallReasonFileLine) {
  withCall(4, "getfmtmsg", "symbol empty").push();
  ReceivedMessage m = takeLast(*errors);
  EXPECT_EQ(MSG_ERROR_HITACHI_SYMBOL, m.id);
  EXPECT_EQ((std::vector<std::string>{"getfmtmsg", "symbol empty", "hitachi_targets.cpp", "5"}), m.args);
  EXPECT_EQ("API call getfmtmsg failed due to reason symbol empty. FILE=hitachi_targets.cpp LINE=5", m.text);
  EXPECT_EQ(204, m.line);
}

TEST_F(ExceptionPush, BadPairStatusCarriesBothDisksEnclosureStatusFileLine) {
  badPair().push();
  ReceivedMessage m = takeLast(*errors);
  EXPECT_EQ(MSG_ERROR_HITACHI_BAD_PAIR_STATUS, m.id);
  EXPECT_EQ((std::vector<std::string>{"UDID##HITACHI##OPEN-V##410##12", "UDID##HITACHI##OPEN-V##410##34",
                                      "410", "SMPL", "hitachi_plugin_prepare.cpp", "9"}),
            m.args);
  EXPECT_EQ(
      "Bad status of pair. vdisk 'UDID##HITACHI##OPEN-V##410##12'. vdisk Copy "
      "'UDID##HITACHI##OPEN-V##410##34'. enclosure id '410'. pair status 'SMPL'. "
      "FILE=hitachi_plugin_prepare.cpp LINE=9",
      m.text);
  EXPECT_EQ(208, m.line);
}

TEST_F(ExceptionPush, DefaultExceptionIsKindZeroAndPushesAndTracesNothing) {
  CHitachiException e;
  EXPECT_EQ(0, e.m_kind);
  EXPECT_EQ(0, e.m_errorNumber);
  EXPECT_EQ(0, e.m_line);
  EXPECT_TRUE(e.m_reason.empty() && e.m_apiName.empty() && e.m_enclosureId.empty() && e.m_file.empty() &&
              e.m_vdisk.empty() && e.m_vdiskCopy.empty() && e.m_pairStatus.empty());
  e.push();
  EXPECT_EQ(0u, errors->size());
  EXPECT_FALSE(takeLast(*errors).present);
  EXPECT_TRUE(trace->lines().empty());
}

TEST_F(ExceptionPush, KindsOutsideTheTablePushNothing) {
  for (int kind : {-1, 6, 100}) {
    CHitachiException e = commandFailure(1);
    e.m_kind = kind;
    e.push();
  }
  EXPECT_EQ(0u, errors->size());
  EXPECT_TRUE(trace->lines().empty());
}

TEST_F(ExceptionPush, KindsOneAndTwoTraceTheEnglishTextAtLevelOne) {
  commandFailure(1).push();
  commandFailure(2).push();
  const std::string line =
      "L1 API call pairsplit on enclosure 410 failed with error 226 due to no such volume. "
      "FILE=hitachi_pairops.cpp LINE=77";
  EXPECT_EQ((std::vector<std::string>{line, line}), trace->lines());
}

TEST_F(ExceptionPush, OtherKindsAreNotTracedByPush) {
  withCall(3, "a", "b").push();
  withCall(4, "a", "b").push();
  badPair().push();
  EXPECT_EQ(3u, errors->size());
  EXPECT_TRUE(trace->lines().empty());
}

TEST_F(ExceptionPush, EmptyStringsArePushedAsEmptyArguments) {
  CHitachiException e;
  e.m_kind = 1;
  e.push();
  ReceivedMessage m = takeLast(*errors);
  EXPECT_EQ((std::vector<std::string>{"", "", "0", "", "", "0"}), m.args);
  EXPECT_EQ("API call  on enclosure  failed with error 0 due to . FILE= LINE=0", m.text);
}

TEST_F(ExceptionPush, EachPushReportsOnceMore) {
  CHitachiException e = badPair();
  e.push();
  e.push();
  EXPECT_EQ(2u, errors->size());
  ReceivedMessage first = takeLast(*errors);
  ReceivedMessage second = takeLast(*errors);
  EXPECT_EQ(first.text, second.text);
}

TEST_F(ExceptionPush, CopyReportsTheSameMessageAsTheOriginal) {
  CHitachiException original = badPair();
  original.m_errorNumber = -1;
  original.m_reason = "pair missing";
  original.m_apiName = "pairvolstat";
  CHitachiException copy(original);
  CHitachiException assigned;
  assigned = original;
  for (const CHitachiException* e : {&copy, &assigned}) {
    EXPECT_EQ(original.m_kind, e->m_kind);
    EXPECT_EQ(original.m_errorNumber, e->m_errorNumber);
    EXPECT_EQ(original.m_reason, e->m_reason);
    EXPECT_EQ(original.m_apiName, e->m_apiName);
    EXPECT_EQ(original.m_enclosureId, e->m_enclosureId);
    EXPECT_EQ(original.m_file, e->m_file);
    EXPECT_EQ(original.m_line, e->m_line);
    EXPECT_EQ(original.m_vdisk, e->m_vdisk);
    EXPECT_EQ(original.m_vdiskCopy, e->m_vdiskCopy);
    EXPECT_EQ(original.m_pairStatus, e->m_pairStatus);
  }
  original.push();
  copy.push();
  EXPECT_EQ(takeLast(*errors).text, takeLast(*errors).text);
}

TEST_F(ExceptionPush, TextArgumentsKeepNonAsciiAndFormatCharacters) {
  CHitachiException e = withCall(4, "pair{0}split", "raison: défaillance 100% '");
  e.push();
  ReceivedMessage m = takeLast(*errors);
  EXPECT_EQ("pair{0}split", m.args[0]);
  EXPECT_EQ("raison: défaillance 100% '", m.args[1]);
  EXPECT_EQ(
      "API call pair{0}split failed due to reason raison: défaillance 100% '. FILE=hitachi_targets.cpp "
      "LINE=5",
      m.text);
}

}  // namespace
