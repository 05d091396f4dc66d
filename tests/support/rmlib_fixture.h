#ifndef TESTS_SUPPORT_RMLIB_FIXTURE_H
#define TESTS_SUPPORT_RMLIB_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "cficontextsingleton.h"
#include "cfitracelog.h"
#include "hitachi_rmlibintf.h"
#include "sim_control.h"
#include "test_helpers.h"

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
  // A command device record of the HITACHI array, released after the test.
  SCmdInfoPtr commandDevice(const char* path = "/dev/sdb") {
    SCmdInfoPtr cmd(new SCmdInfo());
    cmd->cmddev = ::strdup(path);
    cmd->udid = "UDID##HITACHI##HDS##410001##4095";
    cmd->serial = "410001";
    records.push_back(cmd);
    return cmd;
  }
  bool traced(const std::string& text) {
    return readText(sim.dir() + "/trace.log").find(text) != std::string::npos;
  }
  bool traced(int level, const std::string& text) {
    return traced("L" + std::to_string(level) + " hitachifi: " + text);
  }

  SimControl sim;
  CHitachiCommandIntf intf;
  CFiTraceLogPtr log;
  std::vector<SCmdInfoPtr> records;
};

#endif
