// The RAID Manager library binding and command devices, against the simulator.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "cficontextsingleton.h"
#include "cfitracelog.h"
#include "hitachi_exception.h"
#include "hitachi_rmlibintf.h"
#include "sim_control.h"
#include "test_helpers.h"

using namespace frim_pdk_4_4;

namespace {

class Binding : public ::testing::Test {
 protected:
  explicit Binding(const std::string& root = SIM_ROOT) : sim(root) {}

  void SetUp() override {
    CInstanceManager::setMinMaxInstanceNo(601, 699);
    CInstanceManager::setInstanceNoPath(sim.dir());
    log = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
    log->initialize("hitachifi", ACE_CString(sim.dir().c_str()), ACE_CString("trace.log"), 6, false);
  }
  void TearDown() override {
    intf.fini();
    // A half-loaded library keeps its rows; clear them so tests stay independent.
    for (SSvrrmSymbol* row = svrrm_symbols; row->name; ++row) *row->address = nullptr;
    log.release();
    CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
  }
  std::string trace() { return readText(sim.dir() + "/trace.log"); }
  bool resolved(const char* name) {
    for (SSvrrmSymbol* row = svrrm_symbols; row->name; ++row) {
      if (std::strcmp(row->name, name) == 0) return *row->address != nullptr;
    }
    return false;
  }
  SCmdInfoPtr commandDevice(const char* path = "/dev/sdb") {
    SCmdInfoPtr cmd(new SCmdInfo());
    cmd->cmddev = ::strdup(path);
    cmd->udid = "UDID##HITACHI##HDS##410001##4095";
    cmd->serial = "410001";
    return cmd;
  }
  void freeRecord(SCmdInfoPtr& cmd) {
    std::free(cmd->cmddev);
    ::operator delete(cmd->info);
  }
  template <class Fn>
  CHitachiException caught(Fn fn) {
    return caughtHitachi(fn);
  }

  SimControl sim;
  CHitachiCommandIntf intf;
  CFiTraceLogPtr log;
};

class BindingWithoutGetdkclimit : public Binding {
 protected:
  BindingWithoutGetdkclimit() : Binding(SIM_ROOT "-no-getdkclimit") {}
};

class BindingWithoutPairsplit : public Binding {
 protected:
  BindingWithoutPairsplit() : Binding(SIM_ROOT "-no-pairsplit") {}
};

TEST_F(Binding, InitResolvesEveryFunctionAndReadsTheVersion) {
  ASSERT_EQ(0, intf.init());
  EXPECT_TRUE(intf.isInitialized());
  int version = 0;
  EXPECT_EQ(0, intf.getVersion(&version));
  EXPECT_EQ(10630, version);
  EXPECT_NE(std::string::npos, trace().find("Initializing symbols from library /usr/lib/libsvrrm.so."));
}

TEST_F(BindingWithoutGetdkclimit, LoadsAndThrowsOnlyWhenGetdkclimitIsCalled) {
  ASSERT_EQ(0, intf.init());
  EXPECT_NE(std::string::npos, trace().find(" resolveSvrrmSymbols(): Error in dlsym for symbol getdkclimit with masking 2."));
  dkc_limit limit;
  CHitachiException e = caught([&] { intf.ShadowImage_call_getdkclimit(nullptr, &limit); });
  EXPECT_EQ(HITACHI_EXC_SYMBOL, e.m_kind);
  EXPECT_EQ("getdkclimit", e.m_apiName);
  EXPECT_EQ("symbol empty", e.m_reason);
  EXPECT_EQ("", e.m_enclosureId);
}

TEST_F(BindingWithoutPairsplit, FailsAfterResolvingTheRowsBeforeIt) {
  EXPECT_EQ(-1, intf.init());
  EXPECT_FALSE(intf.isInitialized());
  EXPECT_NE(nullptr, intf.getHandle());  // kept open
  EXPECT_TRUE(resolved("attachcmddev"));
  EXPECT_TRUE(resolved("detachcmddev"));
  EXPECT_TRUE(resolved("pairvolstat"));
  EXPECT_FALSE(resolved("pairsplit"));
  EXPECT_FALSE(resolved("pairresync"));
  EXPECT_FALSE(resolved("getfmtmsg"));
  // The half-loaded state still serves what it resolved.
  SCmdInfoPtr cmd = commandDevice();
  EXPECT_TRUE(intf.attachCmd(cmd));
  targdev targ{};
  EXPECT_EQ("pairresync", caught([&] { intf.ShadowImage_call_pairresync(cmd->info, &targ, 0, 15); }).m_apiName);
  EXPECT_EQ(0, intf.detachCmd(cmd));
  EXPECT_EQ(0, intf.fini());  // does nothing: init never succeeded
  EXPECT_TRUE(resolved("attachcmddev"));
  freeRecord(cmd);
}

TEST_F(Binding, FiniBeforeInitIsHarmless) {
  EXPECT_EQ(0, intf.fini());
  EXPECT_EQ(0, intf.fini());
}

TEST_F(Binding, WrappersAfterFiniThrowNamingTheirFunction) {
  ASSERT_EQ(0, intf.init());
  ASSERT_EQ(0, intf.fini());
  targdev targ{};
  EXPECT_EQ("pairsplit", caught([&] { intf.ShadowImage_call_pairsplit(nullptr, &targ, 1, 15); }).m_apiName);
  EXPECT_EQ("getrmver", caught([&] { int v; intf.ShadowImage_call_getrmver(&v); }).m_apiName);
  EXPECT_EQ("getfmtmsg", caught([&] { intf.ShadowImage_call_getfmtmsg(nullptr); }).m_apiName);
}

TEST_F(Binding, FormattedMessageWarnsOnEveryCall) {
  ASSERT_EQ(0, intf.init());
  SCmdInfoPtr cmd = commandDevice();
  ASSERT_TRUE(intf.attachCmd(cmd));
  intf.ShadowImage_call_getfmtmsg(cmd->info);
  EXPECT_NE(std::string::npos, trace().find("getfmtmsg returned with error : [0]"));
  intf.detachCmd(cmd);
  freeRecord(cmd);
}

TEST_F(Binding, AttachIsIdempotentAndDetachOfUnattachedMakesNoCall) {
  ASSERT_EQ(0, intf.init());
  SCmdInfoPtr cmd = commandDevice();
  EXPECT_EQ(0, intf.detachCmd(cmd));
  EXPECT_EQ(0, sim.calls("detachcmddev"));
  ASSERT_TRUE(intf.attachCmd(cmd));
  EXPECT_TRUE(intf.attachCmd(cmd));
  EXPECT_EQ(1, sim.calls("attachcmddev"));
  EXPECT_EQ(601, cmd->instance.getNumber());
  EXPECT_NE(std::string::npos, trace().find("Calling attachcmddev params : cmddev [/dev/sdb] inst [601]"));
  EXPECT_EQ(0, intf.detachCmd(cmd));
  EXPECT_FALSE(cmd->attached);
  EXPECT_EQ(1, sim.calls("detachcmddev"));
  freeRecord(cmd);
}

TEST_F(Binding, AttachAgainAfterDetachTakesANewNumber) {
  ASSERT_EQ(0, intf.init());
  SCmdInfoPtr cmd = commandDevice();
  ASSERT_TRUE(intf.attachCmd(cmd));
  cmddevinfo* first = cmd->info;
  intf.detachCmd(cmd);
  ASSERT_TRUE(intf.attachCmd(cmd));
  EXPECT_EQ(602, cmd->instance.getNumber());  // 601 stays held by this process
  ::operator delete(first);
  intf.detachCmd(cmd);
  freeRecord(cmd);
  CInstanceManager::releaseInstanceNo(cmd->udid, 601);
}

TEST_F(Binding, RefusedAttachThrowsWithTheLibrarysError) {
  ASSERT_EQ(0, intf.init());
  SCmdInfoPtr cmd = commandDevice("/dev/sdz");
  CHitachiException e = caught([&] { intf.attachCmd(cmd); });
  EXPECT_EQ(HITACHI_EXC_COMMAND, e.m_kind);
  EXPECT_EQ(202, e.m_errorNumber);
  EXPECT_EQ("attachcmddev", e.m_apiName);
  EXPECT_EQ("not a command device of a known array", e.m_reason);
  EXPECT_EQ("0", e.m_enclosureId);
  EXPECT_FALSE(cmd->attached);
  EXPECT_EQ(601, cmd->instance.getNumber());  // the number stays held
  std::string lines = trace();
  EXPECT_NE(std::string::npos, lines.find(" attachcmddev failed."));
  EXPECT_NE(std::string::npos,
            lines.find("operation failed with error number '202' with message 'not a command device of a known array'."));
  EXPECT_NE(std::string::npos, lines.find("format msg : '[RMSIM] attachcmddev(/dev/sdz) failed"));
  freeRecord(cmd);
}

TEST_F(Binding, RefusedDetachKeepsTheRecordAttached) {
  ASSERT_EQ(0, intf.init());
  SCmdInfoPtr cmd = commandDevice();
  ASSERT_TRUE(intf.attachCmd(cmd));
  sim.setFault("detachcmddev", 206, "command device I/O error", 1);
  CHitachiException e = caught([&] { intf.detachCmd(cmd); });
  EXPECT_EQ("detachcmddev", e.m_apiName);
  EXPECT_EQ("410001", e.m_enclosureId);
  EXPECT_EQ(206, e.m_errorNumber);
  EXPECT_TRUE(cmd->attached);
  EXPECT_EQ(0, intf.detachCmd(cmd));
  freeRecord(cmd);
}

TEST_F(Binding, NoInstanceNumberMeansNoAttach) {
  ASSERT_EQ(0, intf.init());
  SCmdInfoPtr cmd = commandDevice();
  {
    std::ofstream out(CInstanceManager::getFilePath(cmd->udid), std::ios::binary);
    for (int32_t n = 601; n <= 699; ++n) {
      int32_t record[2] = {n, static_cast<int32_t>(::getpid())};
      out.write(reinterpret_cast<const char*>(record), sizeof record);
    }
  }
  EXPECT_FALSE(intf.attachCmd(cmd));
  EXPECT_EQ(0, sim.calls("attachcmddev"));
  EXPECT_NE(std::string::npos, trace().find("Couldn't get instance no failed with message 'Didn't find the file'."));
  freeRecord(cmd);
}

}  // namespace
