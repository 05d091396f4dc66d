// The RAID Manager library binding and command devices against the
// simulator and its two partial variants: one row per case, pinning the
// result (or the exception), the RMLIB calls and the trace lines.
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "rmlib_fixture.h"

namespace {

class Binding;
struct Row {
  const char* name;
  std::function<std::string(Binding&)> act;
  std::string outcome;
  std::vector<std::string> journal;  // every RMLIB call of the act, in order
  std::vector<std::string> traced;   // "L<level> <text>" lines, "..." ending a prefix
  const char* variant = "";          // of the simulator: "-no-getdkclimit" or "-no-pairsplit"
};

class Binding : public RmlibTest, public ::testing::WithParamInterface<Row> {
 public:
  Binding() : RmlibTest(SIM_ROOT + std::string(GetParam().variant)) {}
  std::string resolved() {
    std::string out;
    for (SSvrrmSymbol* row = svrrm_symbols; row->name; ++row)
      out += *row->address ? " +" : " -", out += row->name;
    return out;
  }
  std::string init() { return std::to_string(intf.init()); }
  // Every instance number held by this process, in a file of the udid's key.
  void fillInstanceFile(const SCmdInfoPtr& cmd) {
    std::ofstream out(CInstanceManager::getFilePath(cmd->udid), std::ios::binary);
    for (int32_t n = 601; n <= 699; ++n) {
      int32_t record[2] = {n, static_cast<int32_t>(::getpid())};
      out.write(reinterpret_cast<const char*>(record), sizeof record);
    }
  }
  // A command device record of the loaded library.
  SCmdInfoPtr ready(const char* path = "/dev/sdb") {
    intf.init();
    return commandDevice(path);
  }
  std::string attach(const SCmdInfoPtr& cmd) {
    const std::string result = outcome([&] { return std::to_string(intf.attachCmd(cmd)); });
    return result + attached(cmd);
  }
  std::string detach(const SCmdInfoPtr& cmd) {
    const std::string result = outcome([&] { return std::to_string(intf.detachCmd(cmd)); });
    return result + attached(cmd);
  }
  static std::string attached(const SCmdInfoPtr& cmd) {
    return std::string(cmd->attached ? " attached " : " detached ") +
           std::to_string(cmd->instance.getNumber());
  }
};

TEST_P(Binding, PinsResultCallsAndTraces) {
  const Row& row = GetParam();
  clearObservations();
  EXPECT_EQ(row.outcome, outcome([&] { return row.act(*this); }));
  EXPECT_EQ(row.journal, journal());
  for (const std::string& line : row.traced) EXPECT_TRUE(traced(line)) << line;
}

const char kInitTrace[] =
    "L3 CHitachiCommandIntf::init(): Initializing symbols from library /usr/lib/libsvrrm.so.";

const Row kLibrary[] = {
    // Kept as it stands: a second init opens the library again; one fini unloads.
    {"ASecondInitLoadsAgain",
     [](Binding& t) {
       const std::string first = t.init(), second = t.init();
       const std::string twice = first + " " + second + " " + std::to_string(t.tracedCount(kInitTrace));
       int version = 0;
       t.intf.getVersion(&version);
       t.intf.fini();
       const std::string loaded = twice + " " + std::to_string(version) + " / ";
       return loaded + t.outcome([&] { return std::to_string(t.intf.getVersion(&version)); });
     },
     "0 0 2 10630 / threw 4 0 'symbol empty' getrmver ''",
     {"getrmver"},
     {"L6 Calling getrmver", "L2 symbol empty"}},
    {"WrappersAfterFiniThrowNamingTheirFunction",
     [](Binding& t) {
       t.init();
       t.intf.fini();
       targdev targ{};
       const std::string split = t.outcome(
           [&] { return std::to_string(t.intf.ShadowImage_call_pairsplit(nullptr, &targ, 1, 15)); });
       return split + " / " + t.outcome([&] { return t.intf.ShadowImage_call_getfmtmsg(nullptr); });
     },
     "threw 4 0 'symbol empty' pairsplit '' / threw 4 0 'symbol empty' getfmtmsg ''",
     {},
     {"L6 Calling pairsplit params : sopt [1] csize [15]", "L2 symbol empty"}},
    {"WithoutTheLibraryInitFails",
     [](Binding& t) {
       ::setenv("FRIM_DLOPEN_ROOT", (t.sim.dir() + "/nothing-here").c_str(), 1);
       const std::string rc = t.init();
       return rc + t.resolved().substr(0, 14);
     },
     "-1 -attachcmddev",
     {},
     {kInitTrace, "L1 CHitachiCommandIntf::init() : Error in dlopen of /usr/lib/libsvrrm.so : ..."}},
    {"WithoutGetdkclimitTheLibraryStillLoads",
     [](Binding& t) {
       dkc_limit limit;
       const std::string rc = t.init();
       return rc + " / " +
              t.outcome([&] { return std::to_string(t.intf.ShadowImage_call_getdkclimit(nullptr, &limit)); });
     },
     "0 / threw 4 0 'symbol empty' getdkclimit ''",
     {},
     {"L2  resolveSvrrmSymbols(): Error in dlsym for symbol getdkclimit with masking 2. err msg ...",
      "L6 Calling getdkclimit"},
     "-no-getdkclimit"},
    // The rows before the missing one are resolved and serve; fini leaves them.
    {"WithoutPairsplitInitFailsAfterTheRowsBeforeIt",
     [](Binding& t) {
       std::string rc = t.init();
       rc += (t.intf.isInitialized() ? " initialised" : " not initialised") + t.resolved();
       SCmdInfoPtr cmd = t.commandDevice();
       const bool attachedNow = t.intf.attachCmd(cmd);
       t.intf.detachCmd(cmd);
       t.intf.fini();
       return rc + (attachedNow ? " attached" : "") + " /" + t.resolved().substr(0, 14);
     },
     "-1 not initialised +attachcmddev +detachcmddev +pairvolstat -pairsplit -pairresync -getldev -getrminfo "
     "-getrmerrmsg -getrmver -getdkclimit -getfmtmsg attached / +attachcmddev",
     {"attachcmddev /dev/sdb inst 601", "detachcmddev"},
     {"L2  resolveSvrrmSymbols(): Error in dlsym for symbol pairsplit with masking 3. err msg ..."},
     "-no-pairsplit"},
};

const Row kCommandDevices[] = {
    {"AttachedOnceUnderTheFirstFreeNumber",
     [](Binding& t) {
       SCmdInfoPtr cmd = t.ready();
       const std::string first = t.attach(cmd);
       return first + " / " + t.attach(cmd);
     },
     "1 attached 601 / 1 attached 601",
     {"attachcmddev /dev/sdb inst 601"},
     {"L6 Calling attachcmddev params : cmddev [/dev/sdb] inst [601]"}},
    // Kept as it stands: attaching again takes a further number; 601 stays held.
    {"DetachedOnlyWhenAttachedAndReattachedUnderANewNumber",
     [](Binding& t) {
       SCmdInfoPtr cmd = t.ready();
       const std::string never = t.detach(cmd);
       const std::string attached = t.attach(cmd);
       const std::string once = t.detach(cmd);
       cmddevinfo* first = cmd->info;
       const std::string again = t.attach(cmd);
       ::operator delete(first);
       return never + " / " + attached + " / " + once + " / " + again;
     },
     "0 detached -1 / 1 attached 601 / 0 detached 601 / 1 attached 602",
     {"attachcmddev /dev/sdb inst 601", "detachcmddev", "attachcmddev /dev/sdb inst 602"},
     {"L6 Calling detachcmddev "}},
    {"ARefusedAttachKeepsItsNumber",
     [](Binding& t) { return t.attach(t.ready("/dev/sdz")); },
     "threw 1 202 'not a command device of a known array' attachcmddev '410001' detached 601",
     {"attachcmddev /dev/sdz inst 601 -> 202", "getrmerrmsg", "getfmtmsg", "getrmerrmsg"},
     {"L1  attachcmddev failed.",
      "L1 operation failed with error number '202' with message 'not a command device of a known array'.",
      "L6 format msg : '[RMSIM] attachcmddev(/dev/sdz) failed: EX202 ...",
      "L2 getfmtmsg returned with error : [0]"}},
    {"AFailingFormatMessageSaysSo",
     [](Binding& t) {
       SCmdInfoPtr cmd = t.ready();
       t.attach(cmd);
       t.sim.setFault("getfmtmsg", 206, "command device I/O error", 1);
       return t.intf.ShadowImage_call_getfmtmsg(cmd->info);
     },
     "getfmtmsg failed with error 206",
     {"attachcmddev /dev/sdb inst 601", "getfmtmsg -> 206"},
     {}},
    {"ARefusedDetachStaysAttached",
     [](Binding& t) {
       SCmdInfoPtr cmd = t.ready();
       t.attach(cmd);
       t.sim.setFault("detachcmddev", 206, "command device I/O error", 1);
       return t.detach(cmd);
     },
     "threw 1 206 'command device I/O error' detachcmddev '410001' attached 601",
     {"attachcmddev /dev/sdb inst 601", "detachcmddev -> 206", "getrmerrmsg", "getfmtmsg", "getrmerrmsg"},
     {"L1  detachcmddev failed."}},
    // The reclaim is handed the file's path for a key: with an absolute
    // directory it finds no file, and its failure leaves the attach.
    {"AFullInstanceFileMeansNoAttach",
     [](Binding& t) {
       SCmdInfoPtr cmd = t.ready();
       t.fillInstanceFile(cmd);
       return t.attach(cmd);
     },
     "0 detached -1",
     {},
     {"L1 Couldn't get instance no failed with message 'Didn't find the file'."}},
    // With a relative directory the reclaim finds the file, frees nothing of
    // a live process, and the attach goes ahead under -1, which RMLIB refuses.
    {"ExhaustedAfterAReclaimTheAttachUsesMinusOne",
     [](Binding& t) {
       char before[4096];
       if (::getcwd(before, sizeof before) == nullptr || ::chdir(t.sim.dir().c_str()) != 0)
         return std::string();
       CInstanceManager::setInstanceNoPath(".");
       SCmdInfoPtr cmd = t.ready();
       t.fillInstanceFile(cmd);
       const std::string result = t.attach(cmd);
       return ::chdir(before) == 0 ? result : "no way back";
     },
     "threw 1 211 'instance number -1 is not valid' attachcmddev '410001' detached -1",
     {"attachcmddev /dev/sdb inst -1 -> 211", "getrmerrmsg", "getfmtmsg", "getrmerrmsg"},
     {"L6 Calling attachcmddev params : cmddev [/dev/sdb] inst [-1]"}},
};

std::string rowName(const ::testing::TestParamInfo<Row>& info) { return info.param.name; }
void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

INSTANTIATE_TEST_SUITE_P(Library, Binding, ::testing::ValuesIn(kLibrary), rowName);
INSTANTIATE_TEST_SUITE_P(CommandDevices, Binding, ::testing::ValuesIn(kCommandDevices), rowName);

}  // namespace
