// The model file's syntax: one statement per line, "#" to the end of a line
// is a comment, a keyword, positional values and key=value options.
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>

#include "rmsim.h"
#include "sim_model.h"
#include "sim_pairs.h"
#include "sim_settings.h"

namespace rmsim {

namespace {

// One statement: a keyword, positional words and key=value options.
class Line {
 public:
  Line(int number, const std::string& content) : m_number(number) {
    std::stringstream words(content);
    for (std::string word; words >> word;) {
      size_t equals = word.find('=');
      if (m_keyword.empty()) {
        m_keyword = word;
      } else if (equals == std::string::npos) {
        m_words.push_back(word);
      } else if (!m_options.emplace(word.substr(0, equals), word.substr(equals + 1)).second) {
        error("option '" + word.substr(0, equals) + "' is given twice");
      }
    }
  }

  int number() const { return m_number; }
  const std::string& keyword() const { return m_keyword; }

  [[noreturn]] void error(const std::string& what) const {
    throw ModelError("model line " + std::to_string(m_number) + ": " + what);
  }

  // Checks the statement's shape: exactly the positional values named in
  // `usage` and only the options in `allowed`.
  void expect(size_t count, const std::string& usage, const std::set<std::string>& allowed) const {
    if (m_words.size() != count) error("expected: " + m_keyword + " " + usage);
    for (const auto& option : m_options) {
      if (!allowed.count(option.first)) error("unknown option '" + option.first + "' for " + m_keyword);
    }
  }

  std::string word(size_t index) const { return m_words.at(index); }

  int64_t integer(size_t index, const char* name, int64_t lowest, int64_t highest) const {
    return parse(m_words.at(index), name, lowest, highest);
  }

  bool has(const std::string& key) const { return m_options.count(key) != 0; }

  std::string option(const std::string& key, const std::string& fallback) const {
    auto found = m_options.find(key);
    return found == m_options.end() ? fallback : found->second;
  }

  int64_t option(const std::string& key, int64_t fallback, int64_t lowest, int64_t highest) const {
    auto found = m_options.find(key);
    return found == m_options.end() ? fallback : parse(found->second, key.c_str(), lowest, highest);
  }

 private:
  int64_t parse(const std::string& text, const char* name, int64_t lowest, int64_t highest) const {
    char* end = nullptr;
    errno = 0;
    long long value = text.empty() ? 0 : std::strtoll(text.c_str(), &end, 0);
    if (text.empty() || errno != 0 || *end != '\0' || value < lowest || value > highest) {
      error(std::string("bad ") + name + " '" + text + "' (" + std::to_string(lowest) + " to " +
            std::to_string(highest) + ")");
    }
    return value;
  }

  int m_number;
  std::string m_keyword;
  std::vector<std::string> m_words;
  std::map<std::string, std::string> m_options;
};

const int64_t kMaxSerial = 0x7FFFFFFF;
const int64_t kMaxLdev = 0xFEFF;  // 0xFFFF is the callers' "no LDEV" marker
const size_t kMaxHostGroupName = RMSIM_RMINFO_HG_NAME_MAX;

int propertyBits(const Line& line) {
  int bits = 0;
  std::stringstream list(line.option("props", std::string("si,cow")));
  for (std::string item; std::getline(list, item, ',');) {
    if (item == "cmd")
      bits |= 1;
    else if (item == "tc")
      bits |= 2;
    else if (item == "si")
      bits |= 4;
    else if (item == "cow")
      bits |= 8;
    else if (!item.empty() && item != "none")
      line.error("unknown property '" + item + "' (cmd, tc, si, cow, none)");
  }
  return bits;
}

bool plainName(const std::string& name) {
  if (name.empty()) return false;
  for (char c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '_' && c != '.') return false;
  }
  return true;
}

void parseStatement(const Line& line, Model& model) {
  const std::string& keyword = line.keyword();
  const int n = line.number();
  if (keyword == "array") {
    line.expect(1, "SERIAL [vendor=] [product=] [maxmmun=] [unit=]",
                {"vendor", "product", "maxmmun", "unit"});
    ModelArray a;
    a.line = n;
    a.serial = static_cast<int>(line.integer(0, "serial", 1, kMaxSerial));
    a.vendor = line.option("vendor", std::string("HITACHI"));
    if (a.vendor != "HITACHI" && a.vendor != "HP") line.error("vendor must be HITACHI or HP");
    a.product = line.option("product", std::string(a.vendor == "HP" ? "XP" : "VSP"));
    a.maxmmun = static_cast<int>(line.option("maxmmun", 64, 0, 1024));
    a.unit = static_cast<int>(line.option("unit", 0, 0, 127));
    model.arrays.push_back(a);
  } else if (keyword == "cmddev") {
    line.expect(2, "SERIAL PATH [ldev=]", {"ldev"});
    ModelCmdDev c;
    c.line = n;
    c.serial = static_cast<int>(line.integer(0, "serial", 1, kMaxSerial));
    c.path = line.word(1);
    if (c.path[0] != '/' || c.path.size() >= sizeof(cmddevinfo::path))
      line.error("path must be absolute and shorter than 1024 characters");
    c.ldev = static_cast<int>(line.option("ldev", -1, 0, kMaxLdev));
    model.cmddevs.push_back(c);
  } else if (keyword == "port") {
    line.expect(3, "SERIAL PORT fibre|scsi", {});
    ModelPort p;
    p.line = n;
    p.serial = static_cast<int>(line.integer(0, "serial", 1, kMaxSerial));
    p.port = static_cast<int>(line.integer(1, "port", 0, 127));
    if (line.word(2) != "fibre" && line.word(2) != "scsi") line.error("port kind must be fibre or scsi");
    p.fibre = line.word(2) == "fibre";
    model.ports.push_back(p);
  } else if (keyword == "hostgroup") {
    line.expect(4, "SERIAL PORT NUMBER NAME", {});
    ModelHostGroup h;
    h.line = n;
    h.serial = static_cast<int>(line.integer(0, "serial", 1, kMaxSerial));
    h.port = static_cast<int>(line.integer(1, "port", 0, 127));
    h.number = static_cast<int>(line.integer(2, "host group number", 0, 127));
    h.name = line.word(3);
    if (h.name.size() > kMaxHostGroupName) line.error("host group name longer than 27 characters");
    model.hostgroups.push_back(h);
  } else if (keyword == "ldev") {
    line.expect(
        2, "SERIAL LDEV [emulation=] [size=] [props=] [ssid=] [device=] [vendor=] [product=] [unitserial=]",
        {"emulation", "size", "props", "ssid", "device", "vendor", "product", "unitserial"});
    ModelLdev l;
    l.line = n;
    l.serial = static_cast<int>(line.integer(0, "serial", 1, kMaxSerial));
    l.ldev = static_cast<int>(line.integer(1, "ldev", 0, kMaxLdev));
    l.emulation = line.option("emulation", std::string("OPEN-V"));
    if (l.emulation.empty() || l.emulation.size() >= RMSIM_RMINFO_EMULATION_SIZE)
      line.error("emulation must be 1 to 17 characters");
    l.size = line.option("size", 2097152, 0, 0xFFFFFFFFLL);
    l.property = propertyBits(line);
    l.ssid = static_cast<int>(line.option("ssid", 0x0004 + (l.ldev >> 8), 0, 0xFFFF));
    l.device = line.option("device", std::string());
    if (line.has("device") && !plainName(l.device)) line.error("device must be a disk name such as sdc");
    l.vendor = line.option("vendor", std::string()).substr(0, 8);
    l.product = line.option("product", std::string()).substr(0, 16);
    l.unitSerial = line.option("unitserial", std::string());
    // The inquiry page carries the serial's length in one byte.
    if (l.unitSerial.size() > 255) line.error("unitserial longer than 255 characters");
    model.ldevs.push_back(l);
  } else if (keyword == "lun") {
    line.expect(5, "SERIAL PORT HOSTGROUP LUN LDEV", {});
    ModelLun u;
    u.line = n;
    u.serial = static_cast<int>(line.integer(0, "serial", 1, kMaxSerial));
    u.port = static_cast<int>(line.integer(1, "port", 0, 127));
    u.hostgroup = static_cast<int>(line.integer(2, "host group number", 0, 127));
    u.lun = static_cast<int>(line.integer(3, "lun", 0, 2047));
    u.ldev = static_cast<int>(line.integer(4, "ldev", 0, kMaxLdev));
    model.luns.push_back(u);
  } else if (keyword == "pair") {
    line.expect(5, "SERIAL PVOL MU SVOL si|cow [status=] [ctg=] [csize=]", {"status", "ctg", "csize"});
    ModelPair p;
    p.line = n;
    p.serial = static_cast<int>(line.integer(0, "serial", 1, kMaxSerial));
    p.pvol = static_cast<int>(line.integer(1, "primary ldev", 0, kMaxLdev));
    p.mu = static_cast<int>(line.integer(2, "mirror unit", 0, 1023));
    p.svol = static_cast<int>(line.integer(3, "secondary ldev", 0, kMaxLdev));
    p.kind = line.word(4);
    if (p.kind != "si" && p.kind != "cow") line.error("pair kind must be si or cow");
    p.status = statusCode(line.option("status", std::string("PAIR")));
    if (p.status < 0) line.error("unknown pair status '" + line.option("status", std::string()) + "'");
    p.ctgid = static_cast<int>(line.option("ctg", 0, 0, 255));
    p.csize = static_cast<int>(line.option("csize", 3, 0, 255));
    model.pairs.push_back(p);
  } else if (keyword == "setting") {
    line.expect(2, "KEY VALUE", {});
    checkSetting(line.word(0), line.word(1), "model line " + std::to_string(n) + ": ");
    model.settings.push_back(ModelSetting{n, line.word(0), line.word(1)});
  } else {
    line.error("unknown keyword '" + keyword + "'");
  }
}

std::string replaceHost(std::string text, std::string host) {
  host = host.substr(0, kMaxHostGroupName);
  for (size_t at = text.find("@HOST@"); at != std::string::npos; at = text.find("@HOST@", at + host.size())) {
    text.replace(at, 6, host);
  }
  return text;
}

}  // namespace

Model parseModel(const std::string& text, const std::string& hostName) {
  Model model;
  std::stringstream in(replaceHost(text, hostName));
  int number = 0;
  for (std::string raw; std::getline(in, raw);) {
    ++number;
    Line line(number, raw.substr(0, raw.find('#')));
    if (!line.keyword().empty()) parseStatement(line, model);
  }
  return model;
}

}  // namespace rmsim
