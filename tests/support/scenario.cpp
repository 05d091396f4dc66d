#include "scenario.h"

#include <fnmatch.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <stdexcept>

#include "plugin_host.h"
#include "process_run.h"
#include "rmsim.h"

namespace {

using Words = std::vector<std::string>;

// Words split at blanks; "..." holds blanks, \" \\ \n and \xHH inside it.
Words split(const std::string& text) {
  Words words;
  for (size_t i = 0; i < text.size();) {
    if (text[i] == ' ' || text[i] == '\t') {
      ++i;
    } else if (text[i] == '"') {
      std::string word;
      for (++i; i < text.size() && text[i] != '"'; ++i) {
        const bool escaped = text[i] == '\\' && i + 1 < text.size();
        if (escaped) ++i;
        if (escaped && text[i] == 'x' && i + 2 < text.size()) {  // a byte a scenario cannot type
          word += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
          i += 2;
          continue;
        }
        word += escaped && text[i] == 'n' ? '\n' : text[i];
      }
      if (i == text.size()) throw std::runtime_error("unterminated quote");
      ++i;
      words.push_back(word);
    } else {
      const size_t end = text.find_first_of(" \t", i);
      words.push_back(text.substr(i, end - i));
      i = end == std::string::npos ? text.size() : end;
    }
  }
  return words;
}

std::string substitute(std::string text, const std::map<std::string, std::string>& vars) {
  std::vector<std::pair<std::string, std::string>> longestFirst(vars.begin(), vars.end());
  std::sort(longestFirst.begin(), longestFirst.end(),
            [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
  for (const auto& var : longestFirst)
    for (size_t at; (at = text.find("$" + var.first)) != std::string::npos;)
      text.replace(at, var.first.size() + 1, var.second);
  return text;
}

struct Table {
  Words columns;
  std::vector<Words> rows;  // name first
};

}  // namespace

std::vector<Scenario> readScenarios(const std::string& path) {
  std::ifstream in(path);
  std::vector<Scenario> scenarios;
  std::map<std::string, Table> tables;
  std::map<std::string, std::string> defines;
  Table* table = nullptr;
  std::vector<std::pair<int, std::string>> body;
  Scenario pending;
  const Table* expandWith = nullptr;
  auto finish = [&] {
    if (pending.name.empty()) return;
    const std::vector<Words> one{{""}};
    for (const Words& row : expandWith ? expandWith->rows : one) {
      Scenario made{pending.name + (expandWith ? "_" + row[0] : ""), path, {}};
      std::map<std::string, std::string> vars;
      for (size_t i = 0; expandWith && i < expandWith->columns.size(); ++i)
        vars[expandWith->columns[i]] = row.at(i + 1);
      if (expandWith) vars["ROW"] = row[0];
      for (const auto& line : body) {
        const std::string text = substitute(substitute(line.second, vars), defines);
        Words words = split(text);
        if (!words.empty()) made.lines.push_back({line.first, words, text});  // a table's empty value
      }
      scenarios.push_back(made);
    }
    pending.name.clear();
    body.clear();
  };
  try {
    if (!in) throw std::runtime_error("cannot read " + path);
    int number = 0;
    for (std::string text; std::getline(in, text);) {
      ++number;
      const size_t start = text.find_first_not_of(" \t");
      if (start == std::string::npos || text[start] == '#') continue;
      const Words words = split(text);
      if (words[0] == "define") {  // define NAME TEXT: $NAME stands for TEXT from here on
        finish();
        const size_t name = text.find(words.at(1));
        defines[words[1]] =
            substitute(text.substr(text.find_first_not_of(" \t", name + words[1].size())), defines);
      } else if (words[0] == "table") {
        finish();
        table = &tables[words.at(1)];
        table->columns.assign(words.begin() + 2, words.end());
      } else if (words[0] == "|") {
        if (table == nullptr || words.size() != table->columns.size() + 2)
          throw std::runtime_error("line " + std::to_string(number) + ": a row that fits no table");
        table->rows.emplace_back(words.begin() + 1, words.end());
      } else if (words[0] == "scenario") {
        finish();
        table = nullptr;
        pending.name = words.at(1);
        expandWith = words.size() == 4 && words[2] == "for" ? &tables.at(words[3]) : nullptr;
      } else if (!pending.name.empty()) {
        body.emplace_back(number, text);
      } else {
        throw std::runtime_error("line " + std::to_string(number) + ": outside a scenario");
      }
    }
    finish();
  } catch (const std::exception& e) {
    return {Scenario{"Unreadable", path, {{0, {"unreadable", e.what()}, ""}}}};
  }
  return scenarios;
}

void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }
std::string scenarioName(const testing::TestParamInfo<Scenario>& info) { return info.param.name; }

namespace {

const std::map<std::string, int> kPairStates = {{"SMPL", 1}, {"COPY", 2}, {"PAIR", 3}, {"PSUS", 4},
                                                {"PSUE", 5}, {"PDUB", 6}, {"RCPY", 7}, {"UNKN", 255}};

int pairState(const std::string& name) {
  const auto found = kPairStates.find(name);
  if (found == kPairStates.end()) throw std::runtime_error("no pair state " + name);
  return found->second;
}

std::string stateName(int status) {
  for (const auto& state : kPairStates)
    if (state.second == status) return state.first;
  return std::to_string(status);
}

unsigned nodeFlags(const std::string& text) {
  unsigned flags = 0;
  std::stringstream list(text);
  for (std::string flag; std::getline(list, flag, '|');) {
    if (flag != "0" && flag != "READY" && flag != "MADE") throw std::runtime_error("no node flag " + flag);
    flags |= flag == "READY" ? ZFI_NODE_READY : flag == "MADE" ? ZFI_NODE_MADE : 0;
  }
  return flags;
}

int number(const std::string& text) { return static_cast<int>(std::strtol(text.c_str(), nullptr, 0)); }

// "name=value" options among `words` from `from` on.
std::map<std::string, std::string> options(const Words& words, size_t from) {
  std::map<std::string, std::string> found;
  for (size_t i = from; i < words.size(); ++i)
    if (words[i].find('=') != std::string::npos)
      found[words[i].substr(0, words[i].find('='))] = words[i].substr(words[i].find('=') + 1);
  return found;
}

int field(const rmsim::CallRecord& call, const std::string& name) {
  const std::map<std::string, int> fields = {
      {"mun", call.mun},       {"option", call.option}, {"csize", call.csize},   {"ldev", call.ldevArg},
      {"lun", call.lun},       {"port", call.port},     {"targid", call.targid}, {"porttype", call.porttype},
      {"ldevno", call.ldevno}, {"ope", call.ope},       {"result", call.result}, {"instance", call.instance}};
  const auto found = fields.find(name);
  if (found == fields.end()) throw std::runtime_error("no call field " + name);
  return found->second;
}

// "function(k=v,...)" against a call: "" when it matches, else what differs.
std::string mismatch(const std::string& pattern, const rmsim::CallRecord& call) {
  const size_t open = pattern.find('(');
  if (pattern.substr(0, open) != call.function) return "function " + call.function;
  if (open == std::string::npos) return "";
  std::stringstream list(pattern.substr(open + 1, pattern.size() - open - 2));
  std::string differs;
  for (std::string pin; std::getline(list, pin, ',');) {
    const std::string name = pin.substr(0, pin.find('='));
    const int want = number(pin.substr(pin.find('=') + 1)), got = field(call, name);
    if (want != got) differs += " " + name + "=" + std::to_string(got);
  }
  return differs;
}

std::string joined(const Words& words, size_t from = 0, const char* between = " ") {
  std::string text;
  for (size_t i = from; i < words.size(); ++i) text += (i > from ? between : "") + words[i];
  return text;
}

// A text as expected: equal, or starting with what comes before a last '*'.
bool matches(const std::string& want, const std::string& seen) {
  return want.back() == '*' ? seen.compare(0, want.size() - 1, want, 0, want.size() - 1) == 0 : seen == want;
}

// TEXT against what was seen: "=" all of it, "has" or "lacks" a part.
void compare(const std::string& how, const std::string& want, const std::string& seen) {
  if (how != "=" && how != "has" && how != "lacks") throw std::runtime_error("=|has|lacks TEXT, not " + how);
  if (how == "=")
    EXPECT_EQ(want, seen);
  else
    EXPECT_EQ(how == "lacks", seen.find(want) == std::string::npos) << how << " " << want << " in:\n" << seen;
}

Words lines(const std::vector<HostMessage>& messages) {
  Words made;
  for (const HostMessage& message : messages) made.push_back(message.str());
  return made;
}

class Runner {
 public:
  explicit Runner(const Scenario& scenario) : m_scenario(scenario) {}
  ~Runner() {
    for (const std::string& name : m_env) ::unsetenv(name.c_str());
  }

  void run() {
    for (const ScenarioLine& line : m_scenario.lines) {
      m_line = line.number;
      m_text = line.text;
      SCOPED_TRACE(m_scenario.file + ":" + std::to_string(line.number) + ": " + joined(line.words));
      try {
        Words words = line.words;
        for (std::string& word : words)  // the host's folder, this process, one that has ended
          if (word.find('$') != std::string::npos)
            word = substitute(word, {{"DIR", host().dir()},
                                     {"PID", std::to_string(::getpid())},
                                     {"SIMROOT", SIM_ROOT},
                                     {"ENDED", ended(word)}});
        perform(words);
      } catch (const std::exception& e) {
        ADD_FAILURE() << e.what();
        return;
      }
      if (::testing::Test::HasFatalFailure() || ::testing::Test::IsSkipped()) return;
    }
    closeStep();
  }

 private:
  using Body = int (Runner::*)(const Words&, size_t);
  PluginHost& host() {
    if (!m_host)
      m_host.reset(new PluginHost(
          m_model.empty() ? "" : (m_ownModel ? "" : rmsim::Simulator::defaultModel()) + m_model));
    return *m_host;
  }
  std::string ended(const std::string& word) {
    if (m_ended == 0 && word.find("$ENDED") != std::string::npos) {
      m_ended = ::fork();
      if (m_ended == 0) ::_exit(0);
      ::waitpid(m_ended, nullptr, 0);
    }
    return std::to_string(m_ended);
  }
  HostNode* node(const std::string& id) {
    if (id == "null") return nullptr;
    const auto found = m_nodes.find(id);
    if (found == m_nodes.end()) throw std::runtime_error("no node " + id);
    return found->second;
  }
  std::vector<HostNode*> nodes(const Words& words, size_t from, size_t to) {
    std::vector<HostNode*> list;
    for (size_t i = from; i < to; ++i) list.push_back(node(words[i]));
    return list;
  }
  static std::string expand(const std::string& name) {
    return name[0] == '@' ? PluginHost::marked(name.substr(1)) : name;
  }

  // The words before "->", and the result after it.
  static size_t arrow(const Words& words) {
    for (size_t i = 0; i < words.size(); ++i)
      if (words[i] == "->") {
        if (i + 2 != words.size()) throw std::runtime_error("one result after ->");
        return i;
      }
    throw std::runtime_error("a step ends with -> RESULT");
  }

  // Checks what the step before left unchecked: its messages are exactly the
  // ones expected.
  void closeStep() {
    if (!m_inStep) return;
    m_inStep = false;
    const Words got = lines(m_messages);
    bool same = got.size() == m_expectedMessages.size();
    for (size_t i = 0; same && i < got.size(); ++i) {
      const std::string& want = m_expectedMessages[i];
      same = want.find('*') == std::string::npos ? want == got[i]
                                                 : ::fnmatch(want.c_str(), got[i].c_str(), 0) == 0;
    }
    EXPECT_TRUE(same) << "messages of the step at line " << m_stepLine << "\nexpected:\n  "
                      << joined(m_expectedMessages, 0, "\n  ") << "\nreported:\n  " << joined(got, 0, "\n  ");
    m_expectedMessages.clear();
  }

  void step(const Words& words, Body body) {
    closeStep();
    const size_t end = arrow(words);
    PluginHost& h = host();
    h.calls();
    const size_t traceFrom = h.traceSize();
    m_names.clear();
    const int rc = (this->*body)(words, end);
    m_calls = h.calls();
    m_trace = h.traceLines(traceFrom);
    m_messages = h.messages();
    m_inStep = true;
    m_stepLine = m_line;
    EXPECT_EQ(number(words[end + 1]), rc) << "messages: " << joined(lines(m_messages));
  }

  int doSelect(const Words& w, size_t end) { return host().select(w.at(1), nodes(w, 2, end)); }
  int doPrepare(const Words& w, size_t end) { return host().prepare(w.at(1), nodes(w, 2, end)); }
  int doIsready(const Words& w, size_t end) {
    if (end == 2 && w[1].compare(0, 6, "nulls=") == 0)  // no list, with a count
      return host().entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int)>("isready")(
          nullptr, nullptr, nullptr, number(w[1].substr(6)));
    return host().isready(nodes(w, 1, end));
  }
  int doMake(const Words& w, size_t end) { return host().make(w.at(1), nodes(w, 2, end), &m_names); }
  int doRestore(const Words& w, size_t end) {
    std::vector<std::pair<std::string, std::string>> pairs;
    long flags = 0;
    if (end == 2 && w[1].compare(0, 6, "nulls=") == 0)  // no lists, with a count
      return host().restore(nullptr, nullptr, number(w[1].substr(6)));
    for (size_t i = 1; i < end; ++i) {
      if (w[i].compare(0, 6, "flags=") == 0) {
        flags = std::strtol(w[i].c_str() + 6, nullptr, 0);
      } else {
        pairs.emplace_back(w[i], w.at(i + 1));
        ++i;
      }
    }
    return host().restore(pairs, flags);
  }
  int doSetState(const Words& w, size_t) {
    const auto opts = options(w, 3);
    HostNode* n = node(w.at(1));
    return host().setState(n ? &n->domain : nullptr, w.at(2),
                           opts.count("length") ? number(opts.at("length")) : 0);
  }
  // providerstate ID get|set|OP null|nobytes|kept: a block that is none, one
  // of 10 bytes without their place, or one that must come back as it went.
  int doProviderState(const Words& w, size_t) {
    const int op = w.at(2) == "get" ? ZFI_GET_PROVIDERSTATE
                   : w[2] == "set"  ? ZFI_SET_PROVIDERSTATE
                                    : number(w[2]);
    int marker = 0;
    const bool kept = w.at(3) == "kept";
    zfi_blob block{kept ? 5u : 10u, kept ? &marker : nullptr, kept ? 7u : 0u};
    const int rc = host().providerState(&node(w[1])->domain, w[3] == "null" ? nullptr : &block, op);
    EXPECT_TRUE(!kept || (block.length == 5 && block.data == &marker && block.flags == 7))
        << "the block changed";
    return rc;
  }
  int doImport(const Words& w, size_t) {
    return host().import(w.at(1) == "null" ? "" : expand(w[1]), w.at(2) == "null" ? "" : w[2],
                         number(w.at(3)));
  }

  // config XML -> RC: the framework's config set with XML as written (`null`: none).
  int doConfig(const Words&, size_t) {
    const size_t from = m_text.find("config") + 7, to = m_text.rfind(" -> ");
    std::string xml = m_text.substr(from, to - from);
    return host().entry<int (*)(zfi_domain*, int, char*, zfi_confspec*)>("config")(
        nullptr, ZFI_CONFIG_SET, xml == "null" ? nullptr : &xml[0], nullptr);
  }

  int doCacheDisable(const Words&, size_t) {
    return host().entry<int (*)(zfi_domain*)>("cache_disable")(nullptr);
  }

  // fihost, rmsim or `run PROGRAM` in the host's folder, `input="TEXT"` its
  // standard input, `stop=KILL|INT` sent once the array has seen a resync;
  // its exit code (128 + a signal's number) is the result.
  int doProgram(const Words& w, size_t end) {
    std::vector<std::string> args;
    std::string input;
    int signal = 0;
    for (size_t i = w[0] == "run" ? 2 : 1; i < end; ++i) {
      if (w[i].compare(0, 6, "input=") == 0)
        input = w[i].substr(6);
      else if (w[i].compare(0, 5, "stop=") == 0)
        signal = w[i] == "stop=KILL" ? SIGKILL : SIGINT;
      else
        args.push_back(w[i]);
    }
    const auto resynced = [this] {
      for (const rmsim::CallRecord& call : host().sim().journal())
        if (call.function == "pairresync") return true;
      return false;
    };
    m_run = runProgram(w[0] == "fihost"  ? FIHOST_PATH
                       : w[0] == "rmsim" ? RMSIM_PATH
                                         : w.at(1),
                       args, input, host().dir(), signal, resynced);
    return m_run.status;
  }

  // init_node of the node (all arguments null for "null"), or init_altnode /
  // init_remnode of it and its alternate; deinit_node of the node or its
  // alternate (it returns nothing: 0).
  int doInitNode(const Words& w, size_t) {
    HostNode* n = node(w.at(1));
    if (w[0] == "deinitnode" || w[0] == "deinitaltnode") {
      host().entry<void (*)(zfi_domain*)>("deinit_node")(n == nullptr           ? nullptr
                                                         : w[0] == "deinitnode" ? &n->domain
                                                                                : &n->alt);
      return 0;
    }
    if (w[0] == "initnode")
      return host().entry<int (*)(zfi_domain*, zfi_domain**, int, frim_objid*)>("init_node")(
          n ? &n->domain : nullptr, nullptr, 0, n ? &n->objid : nullptr);
    return host().entry<int (*)(zfi_domain*, zfi_domain*, zfi_domain*)>(
        w[0] == "initaltnode" ? "init_altnode" : "init_remnode")(n ? &n->domain : nullptr,
                                                                 n ? &n->alt : nullptr, nullptr);
  }

  // clang-format off
  const std::map<std::string, Body> kSteps = {
      {"select", &Runner::doSelect},           {"prepare", &Runner::doPrepare},
      {"isready", &Runner::doIsready},         {"make", &Runner::doMake},
      {"restore", &Runner::doRestore},         {"setstate", &Runner::doSetState},
      {"import", &Runner::doImport},           {"cachedisable", &Runner::doCacheDisable},
      {"fihost", &Runner::doProgram},          {"rmsim", &Runner::doProgram},
      {"run", &Runner::doProgram},             {"providerstate", &Runner::doProviderState},
      {"initnode", &Runner::doInitNode},       {"initaltnode", &Runner::doInitNode},
      {"initremnode", &Runner::doInitNode},    {"deinitnode", &Runner::doInitNode},
      {"deinitaltnode", &Runner::doInitNode},  {"config", &Runner::doConfig}};
  // clang-format on

  void perform(const Words& w) {
    const std::string& verb = w[0];
    PluginHost* h = m_host.get();
    if (verb == "unreadable") {
      throw std::runtime_error(w.at(1));
    } else if (verb == "model") {
      if (m_host) throw std::runtime_error("model before anything that loads the plugin");
      if (w.size() == 2 && w[1] == "none")
        m_ownModel = true;  // the lines that follow are the whole model
      else
        m_model += joined(w, 1) + "\n";
      for (size_t at; (at = m_model.find(" ; ")) != std::string::npos;)
        m_model.replace(at, 3, "\n");  // separates model lines
    } else if (verb == "env") {
      host();  // the host starts without configured targets
      ::setenv(w.at(1).c_str(), joined(w, 2).c_str(), 1);
      m_env.push_back(w[1]);
    } else if (verb == "setting") {
      host().sim().setSetting(w.at(1), w.at(2));
    } else if (verb == "setpair") {
      host().sim().setPairStatus(number(w.at(1)), number(w.at(2)), number(w.at(3)), pairState(w.at(4)));
    } else if (verb == "suspend") {
      host().sim().suspendPair(number(w.at(1)), number(w.at(2)), number(w.at(3)), rmsim::Suspend::AtCopyEnd);
    } else if (verb == "fault") {
      rmsim::FaultSpec fault;
      fault.function = w.at(1);
      fault.errorNumber = number(w.at(2));
      fault.message = w.at(3);
      const auto opts = options(w, 4);
      if (opts.count("count")) fault.count = number(opts.at("count"));
      if (opts.count("after")) fault.after = number(opts.at("after"));
      host().sim().addFault(fault);
    } else if (verb == "clearfaults") {
      host().sim().clearFaults();
    } else if (verb == "reload") {
      closeStep();
      host().reload();
    } else if (verb == "node" && w.at(2) == "hole") {  // a split node without a node
      HostNode& made = host().node("", "", true);
      made.split = zfi_splitnode{};
      m_nodes[w[1]] = &made;
    } else if (verb == "node") {
      const auto opts = options(w, 4);
      HostNode& made =
          host().node(expand(w.at(2)), w.at(3), (w.size() > 4 && w[4] == "bare") || opts.count("objid"));
      if (opts.count("objid")) {  // a node whose object is named otherwise
        made.objidName = opts.at("objid");
        made.objid.name = &made.objidName[0];
      }
      m_nodes[w[1]] = &made;
    } else if (verb == "repeat") {  // repeat N STEP...: $i counts from 0
      for (int i = 0; i < number(w.at(1)); ++i) {
        Words again;
        for (size_t k = 2; k < w.size(); ++k) again.push_back(substitute(w[k], {{"i", std::to_string(i)}}));
        perform(again);
      }
    } else if (kSteps.count(verb)) {
      step(w, kSteps.at(verb));
    } else if (verb == "records") {  // records FILE NUMBER:HOLDER...: an instance-number file
      std::filesystem::create_directories(std::filesystem::path(host().dir() + "/" + w.at(1)).parent_path());
      std::ofstream file(host().dir() + "/" + w[1], std::ios::binary);
      for (size_t i = 2; i < w.size(); ++i) {
        const size_t to = w[i].find('-', 1),
                     colon = w[i].find(':');  // FROM-TO:HOLDER: each number of the range
        const int32_t holder = number(w[i].substr(colon + 1));
        for (int32_t n = number(w[i]); n <= number(w[i].substr(to < colon ? to + 1 : 0)); ++n)
          file.write(reinterpret_cast<const char*>(&n), 4).write(reinterpret_cast<const char*>(&holder), 4);
      }
    } else if (verb == "truncate") {  // truncate FILE SIZE
      std::filesystem::resize_file(host().dir() + "/" + w.at(1), std::stoull(w.at(2)));
    } else if (verb == "link") {  // link NAME TARGET
      std::filesystem::create_symlink(w.at(2), host().dir() + "/" + w.at(1));
    } else if (verb == "copyfihost") {  // copyfihost NAME: a copy of fihost's binary
      std::filesystem::copy_file(FIHOST_PATH, host().dir() + "/" + w.at(1));
    } else if (verb == "owner") {  // owner NAME UID GID MODE (-1: unchanged)
      const std::string path = host().dir() + "/" + w.at(1);
      if (::chown(path.c_str(), number(w.at(2)), number(w.at(3))) != 0 ||
          ::chmod(path.c_str(), number(w.at(4))))
        throw std::runtime_error("cannot give away " + path);
    } else if (verb == "root") {  // the rest only when run as root
      closeStep();
      if (::geteuid() != 0) GTEST_SKIP() << "the rest of the scenario needs root";
    } else if (verb == "file") {  // file NAME TEXT: a file in the host's folder, TEXT as written
      const size_t name = m_text.find(w.at(1)) + w[1].size();
      const size_t text = m_text.find_first_not_of(" \t", name);
      std::ofstream(host().dir() + "/" + w[1]) << (text == std::string::npos ? "" : m_text.substr(text));
    } else if (!m_inStep || h == nullptr) {
      throw std::runtime_error("'" + verb + "' is neither a setting nor follows a step");
    } else {
      expect(w, *h);
    }
  }

  // The expectations about the step just run.
  void expect(const Words& w, PluginHost& h) {
    const std::string& verb = w[0];
    if (verb == "msg") {
      m_expectedMessages.push_back(joined(w, 1));
    } else if (verb == "said") {  // said WHERE "TEXT": a message of the step, alike in every language
      bool found = false;
      std::string seen;
      for (const HostMessage& m : m_messages) {
        found = found || (m.where == w.at(1) && m.index > 6000 && m.localeTexts == Words{m.text, m.text} &&
                          matches(w.at(2), m.text));
        seen += "\n  " + m.where + " " + std::to_string(m.index) + " " + m.text + " | " +
                joined(m.localeTexts, 0, " | ");
      }
      EXPECT_TRUE(found) << "no message at " << w[1] << " says " << w[2] << "; reported:" << seen;
    } else if (verb == "trace") {  // LEVEL: exactly this line; "-": no line holds it; "*": some line does
      const std::string& level = w.at(1);
      bool found = false;
      for (const std::string& traced : m_trace)
        found = found || (level == "-" || level == "*" ? traced.find(w.at(2)) != std::string::npos
                                                       : matches(level + " " + w.at(2), traced));
      EXPECT_EQ(level != "-", found) << "trace " << level << " " << w[2] << "\ntraced:\n"
                                     << joined(m_trace, 0, "\n");
    } else if (verb == "traces") {  // every line holding the text, in order
      Words found;
      for (const std::string& traced : m_trace)
        if (traced.find(w.at(1)) != std::string::npos) found.push_back(traced);
      Words want;
      for (size_t i = 2; i + 1 < w.size(); i += 2) want.push_back(w[i] + " " + w[i + 1]);
      EXPECT_EQ(want, found);
    } else if (verb == "reads") {  // the traced pair-status reads
      Words found;
      for (const std::string& traced : m_trace)
        if (traced.compare(0, 17, "L3 Pair status  :") == 0) found.push_back(traced.substr(17, 4));
      EXPECT_EQ(joined(w, 1), joined(found));
    } else if (verb == "calls") {
      const bool none = w.size() == 2 && w[1] == "none";  // no call at all
      std::set<std::string> named;
      for (size_t i = 1; i < w.size() && !none; ++i) named.insert(w[i].substr(0, w[i].find('(')));
      std::vector<rmsim::CallRecord> made;
      Words got;
      for (const auto& call : m_calls)
        if (none || named.count(call.function)) made.push_back(call), got.push_back(call.function);
      ASSERT_EQ(none ? 0 : w.size() - 1, made.size()) << "calls: " << joined(got);
      for (size_t i = 0; i < made.size(); ++i) EXPECT_EQ("", mismatch(w[i + 1], made[i])) << w[i + 1];
    } else if (verb == "nocalls") {
      for (const auto& call : m_calls)
        for (size_t i = 1; i < w.size(); ++i) EXPECT_NE(w[i], call.function);
    } else if (verb == "count") {
      int n = 0;
      for (const auto& call : m_calls) n += w.at(1) == "*" || call.function == w[1];
      EXPECT_EQ(number(w.at(2)), n) << w[1];
    } else if (verb == "allcalls") {  // every call addressing a volume, with its pins
      for (const auto& call : m_calls) {
        if (call.porttype == -1) continue;
        std::string pins;
        for (size_t i = 1; i < w.size(); ++i)
          if (w[i].compare(0, 4, "lun=") != 0 || call.function != "getldev")
            pins += (pins.empty() ? "" : ",") + w[i];
        EXPECT_EQ("", mismatch(call.function + "(" + pins + ")", call));
      }
    } else if (verb == "ids") {
      EXPECT_EQ(w.size() == 2 && w[1] == "none" ? "" : joined(w, 1), joined(m_names));
    } else if (verb == "flags" || verb == "altflags") {
      HostNode* n = node(w.at(1));
      EXPECT_EQ(nodeFlags(w.at(2)), verb == "flags" ? n->domain.flags : n->alt.flags) << w[1];
    } else if (verb == "out" || verb == "err" ||
               verb == "man") {  // what the program printed, or the man page
      compare(w.at(1), w.at(2), verb == "out" ? m_run.out : verb == "err" ? m_run.err : slurp(FIHOST_MAN));
    } else if (verb == "json") {  // json PATH = VALUE | != VALUE | has|lacks "TEXT" | size N
      const nlohmann::json doc = nlohmann::json::parse(m_run.out, nullptr, false);
      ASSERT_FALSE(doc.is_discarded()) << "not JSON: " << m_run.out << m_run.err;
      const nlohmann::json* value = &doc;
      const std::string& path = w.at(1);
      for (size_t at = 1; value && at < path.size();) {
        const size_t end = path[at] == '[' ? path.find(']', at) + 1 : path.find('/', at);
        const std::string key = path.substr(at, end - at);
        at = end == std::string::npos ? path.size() : end + 1;
        if (key[0] == '[') {  // [FIELD=TEXT]: the first element of the array with that text
          const size_t is = key.find('=');
          const std::string field = key.substr(1, is - 1), want = key.substr(is + 1, key.size() - is - 2);
          const nlohmann::json* found = nullptr;
          for (const auto& element : *value)
            if (!found && element.is_object() && element.contains(field) && element[field] == want)
              found = &element;
          value = found;
        } else if (value->is_array()) {
          const size_t index = static_cast<size_t>(number(key));
          value = index < value->size() ? &(*value)[index] : nullptr;
        } else {
          value = value->is_object() && value->contains(key) ? &(*value)[key] : nullptr;
        }
      }
      ASSERT_NE(nullptr, value) << "no " << path << " in " << m_run.out;
      // A string is compared as text; anything else as JSON.
      const std::string text = value->is_string() ? value->get<std::string>() : value->dump();
      const std::string want = w.size() > 3 ? w[3] : "";
      const bool same =
          value->is_string() ? text == want : *value == nlohmann::json::parse(want, nullptr, false);
      if (w.at(2) == "=" || w[2] == "!=")
        EXPECT_EQ(w[2] == "=", same) << path << " is " << text;
      else if (w[2] == "size")
        EXPECT_EQ(static_cast<size_t>(number(want)), value->size()) << text;
      else
        compare(w[2], want, text);
    } else if (verb == "private" || verb == "altprivate") {  // the node's private data: set or none
      HostNode* n = node(w.at(1));
      EXPECT_EQ(w.at(2) == "set",
                (verb == "private" ? n->domain.private_data : n->alt.private_data) != nullptr)
          << w[1];
    } else if (verb == "holds") {  // holds FILE NUMBER:HOLDER...: the records of an instance-number file
      std::ifstream file(h.dir() + "/" + w.at(1), std::ios::binary);
      Words found;
      for (int32_t r[2]; file.read(reinterpret_cast<char*>(r), 8);)
        found.push_back(std::to_string(r[0]) + ":" + std::to_string(r[1]));
      EXPECT_EQ(joined(w, 2), joined(found));
    } else if (verb == "pair") {
      EXPECT_EQ(w.at(4), stateName(h.sim().pairStatus(number(w.at(1)), number(w.at(2)), number(w.at(3)))));
    } else if (verb == "state") {
      std::string text;
      const size_t traceFrom = h.traceSize();
      EXPECT_EQ(0, h.getState(&node(w.at(1))->domain, &text));
      for (const std::string& line : h.traceLines(traceFrom)) m_trace.push_back(line);  // what the get traced
      compare(w.at(2), w.at(3), text);
    } else {
      throw std::runtime_error("no such line: " + verb);
    }
  }

  const Scenario& m_scenario;
  pid_t m_ended = 0;  // a reaped child's process id
  std::string m_model;
  bool m_ownModel = false;
  RunResult m_run;  // of the last program step
  Words m_env;
  std::unique_ptr<PluginHost> m_host;
  std::map<std::string, HostNode*> m_nodes;
  bool m_inStep = false;
  int m_stepLine = 0, m_line = 0;
  std::string m_text;  // of the line being performed
  std::vector<rmsim::CallRecord> m_calls;
  Words m_trace, m_names, m_expectedMessages;
  std::vector<HostMessage> m_messages;
};

}  // namespace

void runScenario(const Scenario& scenario) { Runner(scenario).run(); }
