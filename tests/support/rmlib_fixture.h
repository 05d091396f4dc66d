#ifndef TESTS_SUPPORT_RMLIB_FIXTURE_H
#define TESTS_SUPPORT_RMLIB_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cficontextsingleton.h"
#include "cfitracelog.h"
#include "hitachi_exception.h"
#include "hitachi_rmlibintf.h"
#include "process_run.h"
#include "sim_control.h"

using namespace frim_pdk_4_4;

// A CHitachiCommandIntf (not yet initialised) over the simulator at `root`,
// instance numbers 601 to 699 and a level 6 trace in the test's directory.
class RmlibTest : public ::testing::Test {
 protected:
  explicit RmlibTest(const std::string& root = SIM_ROOT) : sim(root) {}
  void SetUp() override {
    CInstanceManager::setMinMaxInstanceNo(601, 699);
    CInstanceManager::setInstanceNoPath(sim.dir());
    log = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
    log->initialize("hitachifi", ACE_CString(sim.dir().c_str()), ACE_CString("trace.log"), 6, false);
  }
  void TearDown() override {
    for (SCmdInfoPtr& cmd : records) {
      if (intf.isInitialized()) intf.detachCmd(cmd);
      std::free(cmd->cmddev);
      ::operator delete(cmd->info);
    }
    records.clear();
    intf.fini();
    // A half-loaded library keeps its rows; clear them so tests stay independent.
    for (SSvrrmSymbol* row = svrrm_symbols; row->name; ++row) *row->address = nullptr;
    log.release();
    CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(true);
  }

 public:  // for the rows of table-driven tests
  // A command device record of the HITACHI array, released after the test.
  SCmdInfoPtr commandDevice(const char* path = "/dev/sdb") {
    SCmdInfoPtr cmd(new SCmdInfo());
    cmd->cmddev = ::strdup(path);
    cmd->udid = "UDID##HITACHI##HDS##410001##4095";
    cmd->serial = "410001";
    records.push_back(cmd);
    return cmd;
  }
  // Every trace line since the last clearTrace as "L<level> <text>", the
  // text exactly as traced: leading blanks and tabs count.
  std::vector<std::string> traceLines() {
    std::vector<std::string> out;
    std::istringstream in(slurp(tracePath()));
    for (std::string line; std::getline(in, line);) {
      const size_t level = line.find("] L"), text = line.find(" hitachifi: ");
      if (level != std::string::npos && text != std::string::npos)
        out.push_back(line.substr(level + 2, line.find(' ', level + 2) - level - 1) + line.substr(text + 12));
    }
    return out;
  }
  // How many lines read exactly `line` ("L1  attachcmddev failed."); a line
  // ending in "..." matches every line that starts with what comes before.
  int tracedCount(const std::string& line) {
    const bool prefix = line.size() > 3 && line.compare(line.size() - 3, 3, "...") == 0;
    const std::string head = prefix ? line.substr(0, line.size() - 3) : line;
    int count = 0;
    for (const std::string& traced : traceLines())
      count += prefix ? traced.compare(0, head.size(), head) == 0 : traced == head;
    return count;
  }
  bool traced(const std::string& line) { return tracedCount(line) > 0; }
  void clearTrace() { std::ofstream(tracePath(), std::ios::trunc); }
  std::string tracePath() const { return sim.dir() + "/trace.log"; }
  // The RMLIB calls since the last clearJournal, with the arguments sent.
  std::vector<std::string> journal() {
    std::vector<std::string> out;
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
  // Starts a fresh record of what the array and the trace see.
  void clearObservations() {
    sim.clearJournal();
    sim.resetCounters();
    clearTrace();
  }

  SimControl sim;
  CHitachiCommandIntf intf;
  CFiTraceLogPtr log;
  std::vector<SCmdInfoPtr> records;
};

#endif
