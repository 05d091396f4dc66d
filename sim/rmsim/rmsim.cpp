// rmsim: sets up and inspects the RAID Manager simulator's arrays.
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <string>

#include "rmsim.h"
#include "sim_db.h"

namespace {

int usage() {
  std::cerr << "usage: rmsim [--db FILE] COMMAND\n"
               "  init                          load the default model\n"
               "  load MODEL_FILE               load a model file\n"
               "  model                         print the default model text\n"
               "  sysfs DIR                     write a sysfs tree of the model's host devices (for HITACHIFI_SYSFS_ROOT)\n"
               "  show                          show arrays, LDEVs, host groups, pairs, counters\n"
               "  pair SERIAL PVOL MU STATUS    set a pair's status (SMPL COPY PAIR PSUS PSUE PDUB RCPY)\n"
               "  fault FUNCTION ERRNO COUNT [MESSAGE]   fail FUNCTION COUNT times (-1: always)\n"
               "  clear-faults                  remove every fault\n"
               "  reset-counters                zero the call counters\n"
               "  set KEY VALUE                 copy_reads, copy_seconds, latency_ms, version\n"
               "The state file is --db, else $RMSIM_DB, else /tmp/rmsim-<uid>.db.\n";
  return 2;
}

int statusCode(const std::string& name) {
  static const std::map<std::string, int> codes = {{"SMPL", 1}, {"COPY", 2}, {"PAIR", 3}, {"PSUS", 4},
                                                   {"PSUE", 5}, {"PDUB", 6}, {"RCPY", 7}, {"UNKN", 255}};
  auto found = codes.find(name);
  if (found == codes.end()) throw rmsim::ModelError("unknown pair status " + name);
  return found->second;
}

}  // namespace

int main(int argc, char** argv) {
  int arg = 1;
  std::string db = rmsim::Db::defaultPath();
  if (arg + 1 < argc && std::strcmp(argv[arg], "--db") == 0) {
    db = argv[arg + 1];
    arg += 2;
  }
  if (arg >= argc) return usage();
  std::string command = argv[arg++];
  int left = argc - arg;
  try {
    if (command == "model") {
      std::cout << rmsim::Simulator::defaultModel();
      return 0;
    }
    rmsim::Simulator sim(db);
    if (command == "init" && left == 0) {
      sim.loadModel(rmsim::Simulator::defaultModel(), rmsim::Simulator::hostName());
      std::cout << "default model loaded into " << db << "\n";
    } else if (command == "load" && left == 1) {
      sim.loadModelFile(argv[arg], rmsim::Simulator::hostName());
      std::cout << "model " << argv[arg] << " loaded into " << db << "\n";
    } else if (command == "sysfs" && left == 1) {
      int disks = sim.writeSysfs(argv[arg]);
      std::cout << disks << " disks written below " << argv[arg] << "\n";
    } else if (command == "show" && left == 0) {
      std::cout << sim.describe();
    } else if (command == "pair" && left == 4) {
      sim.setPairStatus(std::atoi(argv[arg]), std::atoi(argv[arg + 1]), std::atoi(argv[arg + 2]),
                        statusCode(argv[arg + 3]));
    } else if (command == "fault" && (left == 3 || left == 4)) {
      sim.setFault(argv[arg], std::atoi(argv[arg + 1]), left == 4 ? argv[arg + 3] : "injected failure",
                   std::atoi(argv[arg + 2]));
    } else if (command == "clear-faults" && left == 0) {
      sim.clearFaults();
    } else if (command == "reset-counters" && left == 0) {
      sim.resetCounters();
    } else if (command == "set" && left == 2) {
      sim.setSetting(argv[arg], argv[arg + 1]);
    } else {
      return usage();
    }
  } catch (const std::exception& e) {
    std::cerr << "rmsim: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
