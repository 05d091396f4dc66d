// The pair state machine, injected faults and LDEV data through the exported
// RMLIB functions and the rmsim tool: each case of steps.script (whose head
// says how to read it) a gtest case of its own name. Also the fault requests
// the simulator refuses.
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "scenario.h"
#include "sim_fixture.h"

namespace simtest {
namespace {

std::string unescape(std::string text) {
  for (size_t at = 0; (at = text.find('\\', at)) != std::string::npos && at + 1 < text.size(); ++at)
    text.replace(at, 2, 1, text[at + 1] == 'n' ? '\n' : text[at + 1] == '0' ? '\0' : text[at + 1]);
  return text;
}

const std::vector<std::string> kStates = {"0", "SMPL", "COPY", "PAIR", "PSUS", "PSUE", "PDUB", "RCPY"};
std::string state(int code) {
  return code == RMSIM_UNKN ? "UNKN" : code > 0 && code < 8 ? kStates[code] : std::to_string(code);
}
int stateCode(const std::string& name) {
  const auto at = std::find(kStates.begin(), kStates.end(), name);
  return name == "UNKN" ? RMSIM_UNKN : at == kStates.end() ? -1 : static_cast<int>(at - kStates.begin());
}

class StepScript : public SimulatorTest, public ::testing::WithParamInterface<Scenario> {
 protected:
  // The answer of one step: `rest` is what follows the verb.
  std::string answer(const std::string& verb, const std::string& rest) {
    std::istringstream in(rest);
    std::vector<int> v;
    for (int n; in >> n;) v.push_back(n);
    std::string word;
    in.clear();
    in >> word;
    const auto arg = [&](size_t i, int fallback = 0) { return i < v.size() ? v[i] : fallback; };
    const auto text = [&] { return unescape(rest.substr(std::min(rest.size(), rest.find(' ') + 1))); };
    const auto num = [](long long n) { return std::to_string(n); };
    targdev t = volume(arg(0), arg(1));
    if (verb == "split") return num(lib.split(cur, &t, 1, arg(2, 15)));
    if (verb == "resync") return num(lib.resync(cur, &t, arg(2), arg(3, 15)));
    if (verb == "ldev") {
      const int rc = lib.ldev(cur, &t);
      return num(rc) + " " + num(t.ldevno);
    }
    if (verb == "status") {
      pairstatinfo i;
      std::memset(&i, 0xAB, sizeof i);  // the library must fill every byte it reports
      const int rc = lib.volstat(cur, &t, &i);
      const char* const volumes[] = {"0", "SMPL", "PVOL", "SVOL"};
      if (rc != 0) return num(rc);
      return "0 " + state(i.pairstat) + " " +
             (i.volstat > 0 && i.volstat < 4 ? volumes[i.volstat] : num(i.volstat)) + " " + num(i.pldev) +
             " " + num(i.plun) + " " + num(i.copyrate) + " " + num(i.csize) + " " + num(i.smod);
    }
    if (verb == "rminfo") {
      unsigned char buffer[RMSIM_RMINFO_SIZE];
      return num(lib.rminfo(cur, RMSIM_OPE_LUINFO, arg(0), 0, buffer));
    }
    if (verb == "errmsg") {
      const char* message = lib.errmsg(cur);
      return message ? message : "(null)";
    }
    if (verb == "fmtmsg") {
      char buffer[RMSIM_FMTMSG_SIZE] = {};
      return num(lib.fmtmsg(cur, buffer)) + " " + buffer;
    }
    if (verb == "attach" || (verb == "use" && !word.empty())) {
      int instance = 0;
      in >> instance;
      cur = &others[word + " " + std::to_string(instance)];
      if (verb == "use") return "";
      return num(attach(cur, word, instance));
    }
    if (verb == "use") cur = &cmd;
    if (verb == "detach") return num(lib.detach(cur));
    if (verb == "attachments") {
      std::string held;
      for (const auto& a : sim->attachments())
        held += (held.empty() ? "" : "; ") + a.cmddev + " " + num(a.instance) + (a.alive ? "" : " ended");
      return held;
    }
    if (verb == "rule") {  // a request from a state to 258 mu 1 (si) or 259 mu 3 (cow)
      std::string kind, from, request;
      std::istringstream(rest) >> kind >> from >> request;
      const bool cow = kind == "cow";
      const int pvol = cow ? 259 : 258, mu = cow ? 3 : 1, lun = cow ? kLun259 : kLun258;
      sim->setPairStatus(kHitachi, pvol, mu, stateCode(from));
      const int rc = request == "split" ? split(lun, mu) : resync(lun, mu, request == "restore");
      const std::string named = request == "split" ? "[RMSIM] pairsplit(" : "[RMSIM] pairresync(";
      EXPECT_TRUE(rc == 0 || answer("fmtmsg", "").rfind("0 " + named, 0) == 0) << answer("fmtmsg", "");
      return num(rc) + " " + state(sim->pairStatus(kHitachi, pvol, mu));
    }
    if (verb == "pair" && word.empty()) return state(sim->pairStatus(arg(0), arg(1), arg(2)));
    if (verb == "pair") sim->setPairStatus(arg(0), arg(1), arg(2), stateCode(word));
    if (verb == "setting") sim->setSetting(word, text());
    if (verb == "maxmu") sim->setMaxMirrorUnits(arg(0), arg(1));
    if (verb == "counter") return num(sim->counter(word));
    if (verb == "checksum") return sim->checksum(kHitachi, arg(0));
    try {
      if (verb == "data") return sim->readData(arg(1, kHitachi), arg(0));
      if (verb == "write") write(arg(0), rest.find(' ') == std::string::npos ? "" : text());
    } catch (const rmsim::ModelError&) {
      return "refused";
    }
    if (verb == "model") std::ofstream(dir + "/test.model") << unescape(rest);
    if (verb == "rmsim") {
      std::string arguments = rest;
      for (const auto& [name, value] :
           std::map<std::string, std::string>{{"$PID", std::to_string(::getpid())}, {"$DIR", dir}}) {
        for (size_t at; (at = arguments.find(name)) != std::string::npos;) arguments.replace(at, 4, value);
      }
      const Outcome outcome = rmsim(arguments);
      return num(outcome.status) + " " + outcome.output;
    }
    return "";
  }

  cmddevinfo* cur = &cmd;
  std::map<std::string, cmddevinfo> others;
};

// A step without an expectation must answer nothing: a verb that answers is always checked.
TEST_P(StepScript, Holds) {
  static const std::string verbs =
      " split resync ldev status rminfo errmsg fmtmsg attach use rule pair setting maxmu counter data write "
      "checksum rmsim detach attachments model ";
  for (const ScenarioLine& line : GetParam().lines) {
    const std::string step = line.text.substr(line.text.find_first_not_of(" \t"));
    SCOPED_TRACE("steps.script:" + std::to_string(line.number) + ": " + step);
    ASSERT_NE("unreadable", line.words[0]) << line.words.at(1);
    size_t at = std::string::npos;
    for (const char* op : {" ==", " =>", " ~>"}) at = std::min(at, step.find(op));
    const std::string command = step.substr(0, at),
                      op = at == std::string::npos ? "==" : step.substr(at + 1, 2);
    const std::string want =
        at == std::string::npos ? "" : unescape(step.substr(std::min(step.size(), at + 4)));
    const std::string verb = command.substr(0, command.find(' '));
    ASSERT_NE(std::string::npos, verbs.find(" " + verb + " ")) << "no such step";
    const std::string got = answer(verb, command.substr(std::min(command.size(), verb.size() + 1)));
    const bool holds = op == "=="   ? got == want
                       : op == "=>" ? got == want || got.rfind(want + " ", 0) == 0
                                    : got.find(want) != std::string::npos;
    EXPECT_TRUE(holds) << "the answer: " << ::testing::PrintToString(got);
  }
}

INSTANTIATE_TEST_SUITE_P(Steps, StepScript, ::testing::ValuesIn(readScenarios(SIM_SCRIPT)), scenarioName);

using FaultRequests = SimulatorTest;

TEST_F(FaultRequests, ThoseThatCannotBeFaultsAreRefused) {
  rmsim::FaultSpec good;
  good.function = "getldev";
  good.errorNumber = 206;
  std::vector<rmsim::FaultSpec> bad(9, good);
  bad[0].function = "pairdisplay";
  bad[1].errorNumber = 0;
  bad[2].count = 0;
  bad[3].count = -2;
  bad[4].after = -1;
  bad[5].serial = kHitachi;         // an LDEV is needed too
  bad[6].nullText = true;           // a text fault of another function
  bad[7].function = "getrmerrmsg";  // neither null nor empty
  bad[8].ldev = 0x10000;
  bad[8].serial = kHitachi;
  for (size_t i = 0; i < bad.size(); ++i) EXPECT_THROW(sim->addFault(bad[i]), rmsim::ModelError) << i;
  EXPECT_NE(std::string::npos, sim->describe().find("faults (0)"));
}

}  // namespace
}  // namespace simtest
