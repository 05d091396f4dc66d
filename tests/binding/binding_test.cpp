// The RAID Manager library binding and command devices, against the simulator.
#include <cstdint>
#include <fstream>
#include <string>

#include "rmlib_fixture.h"

namespace {

class Binding : public RmlibTest {
 protected:
  using RmlibTest::RmlibTest;
  bool resolved(const char* name) {
    for (SSvrrmSymbol* row = svrrm_symbols; row->name; ++row) {
      if (std::string(row->name) == name) return *row->address != nullptr;
    }
    return false;
  }
};

struct BindingWithoutGetdkclimit : Binding {
  BindingWithoutGetdkclimit() : Binding(SIM_ROOT "-no-getdkclimit") {}
};
struct BindingWithoutPairsplit : Binding {
  BindingWithoutPairsplit() : Binding(SIM_ROOT "-no-pairsplit") {}
};

TEST_F(Binding, FiniBeforeInitIsHarmlessAndWrappersAfterFiniThrowNamingTheirFunction) {
  EXPECT_EQ(0, intf.fini());
  ASSERT_EQ(0, intf.init());
  int version = 0;
  EXPECT_EQ(0, intf.getVersion(&version));
  EXPECT_EQ(10630, version);
  ASSERT_EQ(0, intf.fini());
  targdev targ{};
  CHitachiException e = caughtHitachi([&] { intf.ShadowImage_call_pairsplit(nullptr, &targ, 1, 15); });
  EXPECT_EQ(HITACHI_EXC_SYMBOL, e.m_kind);
  EXPECT_EQ("pairsplit", e.m_apiName);
  EXPECT_EQ("symbol empty", e.m_reason);
  EXPECT_EQ("getrmver", caughtHitachi([&] { intf.getVersion(&version); }).m_apiName);
  EXPECT_EQ("getfmtmsg", caughtHitachi([&] { intf.ShadowImage_call_getfmtmsg(nullptr); }).m_apiName);
}

TEST_F(BindingWithoutGetdkclimit, LoadsAndThrowsOnlyWhenGetdkclimitIsCalled) {
  ASSERT_EQ(0, intf.init());
  EXPECT_TRUE(traced(" resolveSvrrmSymbols(): Error in dlsym for symbol getdkclimit with masking 2."));
  dkc_limit limit;
  EXPECT_EQ("getdkclimit",
            caughtHitachi([&] { intf.ShadowImage_call_getdkclimit(nullptr, &limit); }).m_apiName);
}

TEST_F(BindingWithoutPairsplit, FailsAfterResolvingTheRowsBeforeItAndServesWhatItResolved) {
  EXPECT_EQ(-1, intf.init());
  EXPECT_FALSE(intf.isInitialized());
  for (const char* name : {"attachcmddev", "detachcmddev", "pairvolstat"})
    EXPECT_TRUE(resolved(name)) << name;
  for (const char* name : {"pairsplit", "pairresync", "getfmtmsg"}) EXPECT_FALSE(resolved(name)) << name;
  SCmdInfoPtr cmd = commandDevice();
  EXPECT_TRUE(intf.attachCmd(cmd));
  EXPECT_EQ(0, intf.detachCmd(cmd));
  EXPECT_EQ(0, intf.fini());  // init never succeeded: the library stays as it is
  EXPECT_TRUE(resolved("attachcmddev"));
}

TEST_F(Binding, AttachAndDetachCallTheLibraryOnlyWhenTheStateChanges) {
  ASSERT_EQ(0, intf.init());
  SCmdInfoPtr cmd = commandDevice();
  EXPECT_EQ(0, intf.detachCmd(cmd));
  EXPECT_EQ(0, sim.calls("detachcmddev"));
  ASSERT_TRUE(intf.attachCmd(cmd));
  EXPECT_TRUE(intf.attachCmd(cmd));
  EXPECT_EQ(1, sim.calls("attachcmddev"));
  EXPECT_TRUE(traced("Calling attachcmddev params : cmddev [/dev/sdb] inst [601]"));
  intf.ShadowImage_call_getfmtmsg(cmd->info);
  EXPECT_TRUE(traced("getfmtmsg returned with error : [0]"));
  sim.setFault("getfmtmsg", 206, "command device I/O error", 1);
  EXPECT_EQ("getfmtmsg failed with error 206", intf.ShadowImage_call_getfmtmsg(cmd->info));
  EXPECT_EQ(0, intf.detachCmd(cmd));
  EXPECT_EQ(1, sim.calls("detachcmddev"));
  cmddevinfo* first = cmd->info;
  ASSERT_TRUE(intf.attachCmd(cmd));
  EXPECT_EQ(602, cmd->instance.getNumber());  // 601 stays held by this process
  ::operator delete(first);
}

TEST_F(Binding, RefusalsThrowTheLibrarysErrorAfterTracingIt) {
  ASSERT_EQ(0, intf.init());
  SCmdInfoPtr unknown = commandDevice("/dev/sdz");
  CHitachiException e = caughtHitachi([&] { intf.attachCmd(unknown); });
  EXPECT_EQ(HITACHI_EXC_COMMAND, e.m_kind);
  EXPECT_EQ(202, e.m_errorNumber);
  EXPECT_EQ("attachcmddev", e.m_apiName);
  EXPECT_EQ("not a command device of a known array", e.m_reason);
  EXPECT_EQ("410001", e.m_enclosureId);  // the array asked for: a failed attach fills no block
  EXPECT_FALSE(unknown->attached);
  EXPECT_EQ(601, unknown->instance.getNumber());  // the number stays held
  EXPECT_TRUE(traced(" attachcmddev failed."));
  EXPECT_TRUE(traced(
      "operation failed with error number '202' with message 'not a command device of a known array'."));
  EXPECT_TRUE(traced("format msg : '[RMSIM] attachcmddev(/dev/sdz) failed"));

  SCmdInfoPtr cmd = commandDevice();
  ASSERT_TRUE(intf.attachCmd(cmd));
  sim.setFault("detachcmddev", 206, "command device I/O error", 1);
  EXPECT_EQ("410001", caughtHitachi([&] { intf.detachCmd(cmd); }).m_enclosureId);
  EXPECT_TRUE(cmd->attached);  // so the teardown's detach tries again
}

TEST_F(Binding, FullInstanceFileMeansNoAttach) {
  ASSERT_EQ(0, intf.init());
  SCmdInfoPtr cmd = commandDevice();
  std::ofstream out(CInstanceManager::getFilePath(cmd->udid), std::ios::binary);
  for (int32_t n = 601; n <= 699; ++n) {
    int32_t record[2] = {n, static_cast<int32_t>(::getpid())};
    out.write(reinterpret_cast<const char*>(record), sizeof record);
  }
  out.close();
  EXPECT_FALSE(intf.attachCmd(cmd));
  EXPECT_EQ(-1, cmd->instance.getNumber());
  EXPECT_EQ(0, sim.calls("attachcmddev"));
  EXPECT_TRUE(traced("Couldn't get instance no failed with message 'Didn't find the file'."));
}

}  // namespace
