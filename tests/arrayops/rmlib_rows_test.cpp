// The RAID Manager library binding, command devices, LUN information, the
// device map, pair operations and target discovery, linked in and run
// against the simulator. Each case is a row of binding.rows or
// arrayops.rows (the words and checks are explained at the top of each).
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "cficontextsingleton.h"
#include "cfitracelog.h"
#include "hitachi_exception.h"
#include "hitachi_rmlibintf.h"
#include "process_run.h"
#include "scenario.h"
#include "sim_control.h"

using namespace frim_pdk_4_4;

namespace {

using Words = std::vector<std::string>;
const int kSerial = 410001;

// A CHitachiCommandIntf (initialised by the row) over the simulator variant
// the row names, instance numbers 601 to 699, a level 6 trace.
class RmlibRows : public ::testing::TestWithParam<Scenario> {
 protected:
  RmlibRows() : sim(SIM_ROOT + setting("variant")) {}
  void SetUp() override {
    ASSERT_NE(nullptr, ::getcwd(cwd, sizeof cwd));
    ::setenv("HITACHIFI_HOSTNAME", "db1", 1);
    CInstanceManager::setMinMaxInstanceNo(601, 699);
    CInstanceManager::setInstanceNoPath(sim.dir());
    log = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
    log->initialize("hitachifi", ACE_CString(sim.dir().c_str()), ACE_CString("trace.log"), 6, false);
  }
  void TearDown() override {
    for (SCmdInfoPtr& record : records) {
      if (intf.isInitialized()) intf.detachCmd(record);
      std::free(record->cmddev);
      ::operator delete(record->info);
    }
    intf.fini();
    // A half-loaded library keeps its rows; clear them so rows stay independent.
    for (SSvrrmSymbol* row = svrrm_symbols; row->name; ++row) *row->address = nullptr;
    log.release();
    CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
    EXPECT_EQ(0, ::chdir(cwd));
  }

 public:
  std::string setting(const std::string& key) const {
    for (const ScenarioLine& line : GetParam().lines)
      if (line.words[0] == key) return line.words.at(1);
    return "";
  }
  // Every trace line as "L<level> <text>", the text exactly as traced.
  Words traceLines() const {
    Words out;
    std::istringstream in(slurp(sim.dir() + "/trace.log"));
    for (std::string line; std::getline(in, line);) {
      const size_t level = line.find("] L"), text = line.find(" hitachifi: ");
      if (level != std::string::npos && text != std::string::npos)
        out.push_back(line.substr(level + 2, line.find(' ', level + 2) - level - 1) + line.substr(text + 12));
    }
    return out;
  }
  // Lines reading exactly `line`, or starting with it less a final "...".
  int tracedCount(const std::string& line) const {
    const bool prefix = line.size() > 3 && line.compare(line.size() - 3, 3, "...") == 0;
    const std::string head = prefix ? line.substr(0, line.size() - 3) : line;
    const Words lines = traceLines();
    return static_cast<int>(std::count_if(lines.begin(), lines.end(), [&](const std::string& t) {
      return prefix ? t.compare(0, head.size(), head) == 0 : t == head;
    }));
  }
  // The RMLIB calls with the arguments sent, " -> N" for a failure.
  Words journal() {
    Words out;
    for (const rmsim::CallRecord& r : sim.journal()) {
      std::string line = r.function;
      if (r.function == "attachcmddev") line += " " + r.cmddev + " inst " + std::to_string(r.instance);
      if (r.port != -1)
        for (int v : {r.porttype, r.port, r.targid, r.lun, r.mun, r.ldevno}) line += " " + std::to_string(v);
      if (r.option != -1) line += " opt " + std::to_string(r.option) + " csize " + std::to_string(r.csize);
      if (r.ope != -1)
        line += " ope " + std::to_string(r.ope) + " ldev " + std::to_string(r.ldevArg) + " port " +
                std::to_string(r.portArg);
      out.push_back(line + (r.result ? " -> " + std::to_string(r.result) : ""));
    }
    return out;
  }
  void clearObservations() {
    sim.clearJournal();
    sim.resetCounters();
    std::ofstream(sim.dir() + "/trace.log", std::ios::trunc);
  }
  static std::string describe(const SHitachiVirtualDisk& d) {
    std::string out = "dev " + std::to_string(d.m_deviceNumber) + " port " +
                      std::to_string(d.m_hostInfo.m_portNo) + " hg " +
                      std::to_string(d.m_hostInfo.m_hostGroupNo) + " '" + d.m_hostInfo.m_hostGroupName + "'";
    for (const auto& [on, name] :
         {std::make_pair(d.m_isCmdDevice, " cmd"), std::make_pair(d.m_supportTrueCopy, " tc"),
          std::make_pair(d.m_supportShadowImage, " si"), std::make_pair(d.m_supportSnapshot, " cow")})
      if (on) out += name;
    for (const SHitachiSnapPair& p : d.m_pairList)
      out += " [mu " + std::to_string(p.m_muNumber) + " status " + std::to_string(p.m_status) + " lun " +
             std::to_string(p.m_lun) + " serial " + std::to_string(p.m_serialNo) + "]";
    return out;
  }
  std::string commandDevice(const std::string& path) {
    cmd = SCmdInfoPtr(new SCmdInfo());
    cmd->cmddev = ::strdup(path.c_str());
    cmd->udid = "UDID##HITACHI##HDS##410001##4095";
    cmd->serial = "410001";
    records.push_back(cmd);
    return "";
  }
  std::string attached() const {
    return std::string(cmd->attached ? " attached " : " detached ") +
           std::to_string(cmd->instance.getNumber());
  }
  // Every instance number held by this process, in the file of the record's udid.
  std::string fillInstanceFile() {
    std::ofstream out(CInstanceManager::getFilePath(cmd->udid), std::ios::binary);
    for (int32_t n = 601; n <= 699; ++n) {
      int32_t record[2] = {n, static_cast<int32_t>(::getpid())};
      out.write(reinterpret_cast<const char*>(record), sizeof record);
    }
    return "";
  }
  // fault FUNCTION (ERRNO "TEXT" | null) [count=N] [after=N]
  std::string fault(const Words& w) {
    rmsim::FaultSpec f;
    f.function = w.at(1);
    f.nullText = w.at(2) == "null";
    for (size_t i = f.nullText ? 3 : 4; i < w.size(); ++i)
      (w[i].rfind("count=", 0) == 0 ? f.count : f.after) = std::stoi(w[i].substr(w[i].find('=') + 1));
    if (!f.nullText) f.errorNumber = std::stoi(w[2]), f.message = w.at(3);
    sim.addFault(f);
    return "";
  }
  std::string disk(SHitachiVirtualDisk found, int source) {
    current = found;
    ldev = source;
    clearObservations();
    return "";
  }
  std::string attach() {
    cmddevinfo* before = cmd->info;  // a second attach takes a new record and leaves the old one
    const std::string rc = outcome([&] { return std::to_string(intf.attachCmd(cmd)); });
    if (before != nullptr && cmd->info != before) ::operator delete(before);
    return rc + attached();
  }

  std::string step(const Words& w) {
    const std::string& op = w[0];
    auto n = [&](size_t i) { return std::stoi(w.at(i)); };
    auto rc = [](int result) { return std::to_string(result); };
    // A call's result is kept before what it left behind is read: the
    // operands of + come in no set order.
    int number = 0, found = 0;
    std::string text;
    if (op == "variant") return "";
    if (op == "init") return rc(intf.init());
    if (op == "fini") return rc(intf.fini());
    if (op == "initialised") return intf.isInitialized() ? "yes" : "no";
    if (op == "version") return (found = intf.getVersion(&number)), rc(found) + " " + rc(number);
    if (op == "nolibrary") return rc(::setenv("FRIM_DLOPEN_ROOT", (sim.dir() + "/nothing-here").c_str(), 1));
    if (op == "symbols") {
      std::string out;
      for (SSvrrmSymbol* row = svrrm_symbols; row->name; ++row)
        out += (*row->address ? " +" : " -") + std::string(row->name);
      return out;
    }
    if (op == "cmd") return commandDevice(w.size() > 1 ? w[1] : "/dev/sdb");
    if (op == "attach") return attach();
    if (op == "detach") return (text = outcome([&] { return rc(intf.detachCmd(cmd)); })), text + attached();
    if (op == "fault") return fault(w);
    if (op == "fillinstances") return fillInstanceFile();
    if (op == "relative") return CInstanceManager::setInstanceNoPath("."), rc(::chdir(sim.dir().c_str()));
    if (op == "getfmtmsg") return intf.ShadowImage_call_getfmtmsg(cmd ? cmd->info : nullptr);
    if (op == "getdkclimit") {
      dkc_limit limit;
      return rc(intf.ShadowImage_call_getdkclimit(nullptr, &limit));
    }
    if (op == "pairsplit") {
      targdev targ{};
      return rc(intf.ShadowImage_call_pairsplit(nullptr, &targ, 1, 15));
    }
    if (op == "array") {  // the row's model, the library loaded and /dev/sdb attached
      sim.loadModel(slurp(GetParam().file.substr(0, GetParam().file.rfind('/') + 1) + w.at(1)));
      EXPECT_EQ(0, intf.init());
      commandDevice("/dev/sdb");
      EXPECT_EQ("1 attached 601", attach());
      clearObservations();
      return "";
    }
    if (op == "hostname") return rc(::setenv("HITACHIFI_HOSTNAME", w.at(1).c_str(), 1));
    if (op == "serial") return cmd->serial = w.at(1);
    if (op == "maxmmun") return sim.setMaxMirrorUnits(kSerial, n(1)), "";
    if (op == "info") return describe(intf.getLUNInfo(cmd, w.at(1), w.at(2) == "map"));
    // The disk the pair operations act on, as selection leaves it; what it
    // took to read is not part of the row.
    if (op == "paired") return disk(intf.getLUNInfo(cmd, w.at(1), w.at(2)), n(1));
    if (op == "mapped") return disk(intf.getLUNInfo(cmd, w.at(1), true), n(1));
    if (op == "unpaired") {
      current = SHitachiVirtualDisk();
      current.m_enclosureId = "410009";
      return "";
    }
    if (op == "copy") return copy = intf.getLUNInfo(cmd, w.at(1), false), "";
    if (op == "split") return rc(intf.splitPair(cmd, current, current));
    if (op == "resync" || op == "restore")
      return rc(intf.synchronize(cmd, current, current, op == "restore"));
    if (op == "status") return rc(intf.getPairStatus(cmd, current, current, w.at(1) == "refresh"));
    if (op == "setstatus") return current.m_pairList.at(0).m_status = n(1), "";
    if (op == "pair") return rc(sim.pairStatus(kSerial, ldev, current.m_pairList.at(0).m_muNumber));
    if (op == "setpair") return sim.setPairStatus(kSerial, n(1), n(2), n(3)), "";
    if (op == "devmap") {
      found = intf.find_devmap(cmd, n(1), n(2), number = -1);
      return rc(found) + " lun " + rc(number) + " getldev " + std::to_string(sim.calls("getldev"));
    }
    if (op == "discover")
      return (number = intf.autoDiscoverTarget(cmd, current, reserved, target)),
             rc(number) + " '" + target + "'";
    if (op == "select")
      return (number = intf.selectPair(cmd, current, copy)), rc(number) + " " + describe(current);
    if (op == "configured") return intf.findConfiguredTarget(w.at(1));
    ADD_FAILURE() << "no step " << op;
    return "";
  }
  // What `act` gave, or the CHitachiException it threw as
  // "threw <kind> <error> '<reason>' <api> '<enclosure>'".
  template <class Act>
  static std::string outcome(Act act) {
    try {
      return act();
    } catch (const CHitachiException& e) {
      return "threw " + std::to_string(e.m_kind) + " " + std::to_string(e.m_errorNumber) + " '" + e.m_reason +
             "' " + e.m_apiName + " '" + e.m_enclosureId + "'";
    }
  }

  char cwd[4096] = "";
  SimControl sim;
  CHitachiCommandIntf intf;
  CFiTraceLogPtr log;
  std::vector<SCmdInfoPtr> records;
  SCmdInfoPtr cmd;
  SHitachiVirtualDisk current, copy;
  int ldev = 0;
  std::string target, reserved;
};

TEST_P(RmlibRows, Hold) {
  for (const ScenarioLine& line : GetParam().lines) {
    SCOPED_TRACE(GetParam().file + ":" + std::to_string(line.number) + ": " + line.text);
    const Words& w = line.words;
    if (w[0] == "unreadable") {
      ADD_FAILURE() << w.at(1);
    } else if (w[0] == "calls") {  // every call since the last clear, in order
      EXPECT_EQ(w.at(1) == "none" ? Words() : Words(w.begin() + 1, w.end()), journal());
    } else if (w[0] == "trace") {
      EXPECT_LT(0, tracedCount(w.at(1)));
    } else if (w[0] == "untraced") {
      EXPECT_EQ(0, tracedCount(w.at(1)));
    } else if (w[0] == "count") {
      EXPECT_EQ(std::stoi(w.at(1)), tracedCount(w.at(2)));
    } else {
      const auto arrow = std::find(w.begin(), w.end(), "->");
      const std::string got = outcome([&] { return step(Words(w.begin(), arrow)); });
      if (arrow != w.end()) {
        ASSERT_EQ(w.end(), arrow + 2) << "one result follows ->";
        EXPECT_EQ(*(arrow + 1), got);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Binding, RmlibRows, ::testing::ValuesIn(readScenarios(ROWS "/binding.rows")),
                         scenarioName);
INSTANTIATE_TEST_SUITE_P(ArrayOps, RmlibRows, ::testing::ValuesIn(readScenarios(ROWS "/arrayops.rows")),
                         scenarioName);

}  // namespace
