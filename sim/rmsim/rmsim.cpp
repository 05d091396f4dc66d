// rmsim: sets up and inspects the RAID Manager simulator's arrays.
#include "rmsim.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "sim_db.h"
#include "sim_pairs.h"

namespace {

const char kUsage[] =
    "usage: rmsim [--db FILE] COMMAND\n"
    "  init [HOST]                      load the default model (host groups named HOST, else this host)\n"
    "  load MODEL_FILE [HOST]           load a model file (@HOST@ in it becomes HOST, else this host)\n"
    "  model                            print the default model text\n"
    "  show                             show arrays, LDEVs, host groups, pairs, faults, counters\n"
    "  sysfs DIR                        write a sysfs tree of the model's host devices (for "
    "HITACHIFI_SYSFS_ROOT)\n"
    "  pair SERIAL PVOL MU STATUS       set a pair's status (SMPL COPY PAIR PSUS PSUE PDUB RCPY UNKN)\n"
    "  suspend SERIAL LDEV MU [now|copy-end]   put the pair of LDEV into PSUE now or when its copy ends\n"
    "  fault FUNCTION ERRNO COUNT [MESSAGE] [OPTIONS]   fail FUNCTION's next COUNT calls (-1: every call)\n"
    "  fault getrmerrmsg null|empty COUNT [OPTIONS]      getrmerrmsg returns a null or empty text\n"
    "      OPTIONS: --after N (N matching calls succeed first)  --volume SERIAL LDEV  --cmddev PATH\n"
    "               --pid PID  --carried-out (do the request, then fail)  --add (keep FUNCTION's other\n"
    "               faults; without it the fault replaces them)\n"
    "  clear-faults                     remove every fault\n"
    "  reset-counters                   zero the call counters\n"
    "  journal [--clear]                print every call since the journal was cleared (--clear: then clear "
    "it)\n"
    "  write SERIAL LDEV TEXT...        write TEXT (words joined by blanks) as the LDEV's data\n"
    "  write SERIAL LDEV --file PATH    write the file's bytes as the LDEV's data\n"
    "  read SERIAL LDEV                 the LDEV's data, raw, to stdout\n"
    "  checksum SERIAL LDEV             SHA-256 of the LDEV's data (as sha256sum prints it)\n"
    "  set KEY VALUE                    copy_reads, copy_seconds, latency_ms, version\n"
    "  maxmmun SERIAL N                 set the array's mirror units per volume\n"
    "The state file is --db FILE, else $RMSIM_DB, else /tmp/rmsim-<uid>.db.\n";

int usage() {
  std::cerr << kUsage;
  return 2;
}

int number(const std::string& text, const char* what) {
  char* end = nullptr;
  errno = 0;
  long value = std::strtol(text.c_str(), &end, 0);
  if (text.empty() || errno != 0 || *end != '\0' || value < -2147483647L - 1 || value > 2147483647L) {
    throw rmsim::ModelError(std::string("bad ") + what + " '" + text + "'");
  }
  return static_cast<int>(value);
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw rmsim::ModelError("cannot read " + path);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// "-" for an argument the call does not have.
std::string field(int value) { return value == -1 ? "-" : std::to_string(value); }

void printJournal(const std::vector<rmsim::CallRecord>& journal) {
  std::cout << "seq function pid cmddev instance porttype port targid lun mun ldevno option csize ope ldev "
               "port result\n";
  for (const rmsim::CallRecord& r : journal) {
    std::cout << r.seq << " " << r.function << " " << r.pid << " " << (r.cmddev.empty() ? "-" : r.cmddev);
    for (int value : {r.instance, r.porttype, r.port, r.targid, r.lun, r.mun, r.ldevno, r.option, r.csize,
                      r.ope, r.ldevArg, r.portArg}) {
      std::cout << " " << field(value);
    }
    std::cout << " " << r.result << "\n";
  }
}

// fault FUNCTION ERRNO COUNT [MESSAGE...] [OPTIONS], options anywhere after FUNCTION.
void fault(rmsim::Simulator& sim, const std::vector<std::string>& args) {
  rmsim::FaultSpec fault;
  fault.function = args[0];
  bool add = false;
  std::vector<std::string> words;
  auto value = [&](size_t& i, const char* what) -> const std::string& {
    if (i + 1 >= args.size()) throw rmsim::ModelError(std::string(args[i]) + " needs " + what);
    return args[++i];
  };
  for (size_t i = 1; i < args.size(); ++i) {
    const std::string& word = args[i];
    if (word == "--after") {
      fault.after = number(value(i, "a number of calls"), "number of calls");
    } else if (word == "--volume") {
      fault.serial = number(value(i, "SERIAL LDEV"), "serial");
      fault.ldev = number(value(i, "SERIAL LDEV"), "ldev");
    } else if (word == "--cmddev") {
      fault.cmddev = value(i, "a command device path");
    } else if (word == "--pid") {
      fault.pid = number(value(i, "a process id"), "process id");
    } else if (word == "--carried-out") {
      fault.carriedOut = true;
    } else if (word == "--add") {
      add = true;
    } else if (word.compare(0, 2, "--") == 0) {
      throw rmsim::ModelError("unknown fault option " + word);
    } else {
      words.push_back(word);
    }
  }
  if (words.size() < 2) throw rmsim::ModelError("a fault needs an error number and a count");
  if (fault.function == "getrmerrmsg") {
    fault.nullText = words[0] == "null";
    fault.emptyText = words[0] == "empty";
    if (!fault.nullText && !fault.emptyText) throw rmsim::ModelError("getrmerrmsg takes null or empty");
  } else {
    fault.errorNumber = number(words[0], "error number");
  }
  fault.count = number(words[1], "count");
  for (size_t i = 2; i < words.size(); ++i) fault.message += (i > 2 ? " " : "") + words[i];
  if (fault.message.empty()) fault.message = "injected failure";
  if (!add) sim.clearFaults(fault.function);
  sim.addFault(fault);
}

// Runs one command on the state file `db`; returns the exit status.
int run(const std::string& db, const std::string& command, const std::vector<std::string>& args) {
  const size_t n = args.size();
  if (command == "model" && n == 0) {
    std::cout << rmsim::Simulator::defaultModel();
    return 0;
  }
  rmsim::Simulator sim(db);
  if (command == "init" && n <= 1) {
    const std::string host = n == 1 ? args[0] : rmsim::Simulator::hostName();
    sim.loadModel(rmsim::Simulator::defaultModel(), host);
    std::cout << "default model loaded into " << db << " (host groups named " << host << ")\n";
  } else if (command == "load" && (n == 1 || n == 2)) {
    sim.loadModelFile(args[0], n == 2 ? args[1] : rmsim::Simulator::hostName());
    std::cout << "model " << args[0] << " loaded into " << db << "\n";
  } else if (command == "show" && n == 0) {
    std::cout << sim.describe();
  } else if (command == "sysfs" && n == 1) {
    int disks = sim.writeSysfs(args[0]);
    std::cout << disks << " disks written below " << args[0] << "\n";
  } else if (command == "pair" && n == 4) {
    int status = rmsim::statusCode(args[3]);
    if (status < 0) throw rmsim::ModelError("unknown pair status " + args[3]);
    sim.setPairStatus(number(args[0], "serial"), number(args[1], "ldev"), number(args[2], "mirror unit"),
                      status);
  } else if (command == "suspend" && (n == 3 || n == 4)) {
    if (n == 4 && args[3] != "now" && args[3] != "copy-end") throw rmsim::ModelError("say now or copy-end");
    sim.suspendPair(number(args[0], "serial"), number(args[1], "ldev"), number(args[2], "mirror unit"),
                    n == 4 && args[3] == "copy-end" ? rmsim::Suspend::AtCopyEnd : rmsim::Suspend::Now);
  } else if (command == "fault" && n >= 3) {
    fault(sim, args);
  } else if (command == "clear-faults" && n == 0) {
    sim.clearFaults();
  } else if (command == "reset-counters" && n == 0) {
    sim.resetCounters();
  } else if (command == "journal" && (n == 0 || (n == 1 && args[0] == "--clear"))) {
    printJournal(sim.journal());
    if (n == 1) sim.clearJournal();
  } else if (command == "write" && n >= 3) {
    std::string bytes;
    if (args[2] == "--file") {
      if (n != 4) return usage();
      bytes = readFile(args[3]);
    } else {
      for (size_t i = 2; i < n; ++i) bytes += (i > 2 ? " " : "") + args[i];
    }
    sim.writeData(number(args[0], "serial"), number(args[1], "ldev"), bytes);
  } else if (command == "read" && n == 2) {
    const std::string bytes = sim.readData(number(args[0], "serial"), number(args[1], "ldev"));
    std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  } else if (command == "checksum" && n == 2) {
    std::cout << sim.checksum(number(args[0], "serial"), number(args[1], "ldev")) << "\n";
  } else if (command == "set" && n == 2) {
    sim.setSetting(args[0], args[1]);
  } else if (command == "maxmmun" && n == 2) {
    sim.setMaxMirrorUnits(number(args[0], "serial"), number(args[1], "maxmmun"));
  } else {
    return usage();
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  std::string db = rmsim::Db::defaultPath();
  if (args.size() >= 2 && args[0] == "--db") {
    db = args[1];
    args.erase(args.begin(), args.begin() + 2);
  }
  if (args.empty()) return usage();
  if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    std::cout << kUsage;  // asked for: not a usage error
    return 0;
  }
  const std::string command = args[0];
  args.erase(args.begin());
  try {
    return run(db, command, args);
  } catch (const std::exception& e) {
    std::cerr << "rmsim: " << e.what() << "\n";
    return 1;
  }
}
