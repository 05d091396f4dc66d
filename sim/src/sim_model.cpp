// The simulator's model: loading a described set of arrays, and the
// controls that tests and the rmsim tool use (faults, pair states, counters,
// settings).
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <vector>

#include "rmsim.h"
#include "sim_db.h"

namespace rmsim {

namespace {

const std::map<std::string, int> kStatusNames = {{"SMPL", RMSIM_SMPL}, {"COPY", RMSIM_COPY}, {"PAIR", RMSIM_PAIR},
                                                 {"PSUS", RMSIM_PSUS}, {"PSUE", RMSIM_PSUE}, {"PDUB", RMSIM_PDUB},
                                                 {"RCPY", RMSIM_RCPY}, {"UNKN", RMSIM_UNKN}};

std::string statusName(int status) {
  for (const auto& entry : kStatusNames) {
    if (entry.second == status) return entry.first;
  }
  return std::to_string(status);
}

// One line of a model file: a keyword, positional words and key=value options.
struct Line {
  int number = 0;
  std::string keyword;
  std::vector<std::string> words;
  std::map<std::string, std::string> options;

  [[noreturn]] void error(const std::string& what) const {
    throw ModelError("model line " + std::to_string(number) + ": " + what);
  }
  int integer(size_t index, const char* name) const {
    if (index >= words.size()) error(std::string("missing ") + name);
    return parseInt(words[index], name);
  }
  std::string word(size_t index, const char* name) const {
    if (index >= words.size()) error(std::string("missing ") + name);
    return words[index];
  }
  int option(const std::string& key, int fallback) const {
    auto found = options.find(key);
    return found == options.end() ? fallback : parseInt(found->second, key.c_str());
  }
  std::string option(const std::string& key, const std::string& fallback) const {
    auto found = options.find(key);
    return found == options.end() ? fallback : found->second;
  }
  int parseInt(const std::string& text, const char* name) const {
    char* end = nullptr;
    long value = std::strtol(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || value < -1 || value > 0x7FFFFFFF) {
      error(std::string("bad number for ") + name + ": '" + text + "'");
    }
    return static_cast<int>(value);
  }
};

std::string replaceHost(std::string text, const std::string& host) {
  for (size_t at = text.find("@HOST@"); at != std::string::npos; at = text.find("@HOST@", at + host.size())) {
    text.replace(at, 6, host);
  }
  return text;
}

int propertyBits(const Line& line) {
  int bits = 0;
  std::stringstream list(line.option("props", std::string("si,cow")));
  for (std::string item; std::getline(list, item, ',');) {
    if (item == "cmd") bits |= 1;
    else if (item == "tc") bits |= 2;
    else if (item == "si") bits |= 4;
    else if (item == "cow") bits |= 8;
    else if (!item.empty() && item != "none") line.error("unknown property '" + item + "'");
  }
  return bits;
}

}  // namespace

Simulator::Simulator(const std::string& dbPath) : m_db(new Db(dbPath)) {}
Simulator::~Simulator() = default;

std::string Simulator::hostName() {
  const char* override = std::getenv("RMSIM_HOSTNAME");
  if (override && *override) return override;
  char host[256] = {0};
  if (::gethostname(host, sizeof(host) - 1) != 0) return "localhost";
  std::string name(host);
  return name.substr(0, name.find('.'));
}

void Simulator::loadModelFile(const std::string& path, const std::string& hostName) {
  std::ifstream in(path);
  if (!in) throw ModelError("cannot read model file " + path);
  std::stringstream text;
  text << in.rdbuf();
  loadModel(text.str(), hostName);
}

void Simulator::loadModel(const std::string& text, const std::string& hostName) {
  std::vector<Line> lines;
  std::stringstream in(replaceHost(text, hostName));
  int number = 0;
  for (std::string raw; std::getline(in, raw);) {
    ++number;
    std::string content = raw.substr(0, raw.find('#'));
    std::stringstream words(content);
    Line line;
    line.number = number;
    for (std::string word; words >> word;) {
      size_t equals = word.find('=');
      if (line.keyword.empty()) line.keyword = word;
      else if (equals != std::string::npos) line.options[word.substr(0, equals)] = word.substr(equals + 1);
      else line.words.push_back(word);
    }
    if (!line.keyword.empty()) lines.push_back(line);
  }

  Transaction tx(*m_db);
  for (const char* table : {"arrays", "cmddevs", "ports", "hostgroups", "ldevs", "luns", "pairs", "lasterr", "faults"}) {
    m_db->exec(std::string("DELETE FROM ") + table);
  }
  auto insert = [this](const Line& line, const std::string& sql, std::vector<std::string> values) {
    try {
      Statement s = m_db->prepare(sql);
      for (const std::string& v : values) {
        char* end = nullptr;
        long long n = std::strtoll(v.c_str(), &end, 10);
        if (!v.empty() && *end == '\0') s.bind(static_cast<int64_t>(n));
        else s.bind(v);
      }
      s.run();
    } catch (const DbError& e) {
      line.error(std::string("rejected (") + e.what() + ")");
    }
  };
  auto n = [](int value) { return std::to_string(value); };
  for (const Line& line : lines) {
    if (line.keyword == "array") {
      std::string vendor = line.option("vendor", std::string("HITACHI"));
      if (vendor != "HITACHI" && vendor != "HP") line.error("vendor must be HITACHI or HP");
      insert(line, "INSERT INTO arrays(serial, vendor, product, maxmmun, unit_id) VALUES(?, ?, ?, ?, ?)",
             {n(line.integer(0, "serial")), vendor, line.option("product", std::string("OPEN-V")),
              n(line.option("maxmmun", 64)), n(line.option("unit", 0))});
    } else if (line.keyword == "cmddev") {
      insert(line, "INSERT INTO cmddevs(path, serial, ldev) VALUES(?, ?, ?)",
             {line.word(1, "path"), n(line.integer(0, "serial")), n(line.option("ldev", 0))});
    } else if (line.keyword == "port") {
      std::string kind = line.word(2, "port kind");
      if (kind != "fibre" && kind != "scsi") line.error("port kind must be fibre or scsi");
      insert(line, "INSERT INTO ports(serial, port, fibre) VALUES(?, ?, ?)",
             {n(line.integer(0, "serial")), n(line.integer(1, "port")), kind == "fibre" ? "1" : "0"});
    } else if (line.keyword == "hostgroup") {
      insert(line, "INSERT INTO hostgroups(serial, port, number, name) VALUES(?, ?, ?, ?)",
             {n(line.integer(0, "serial")), n(line.integer(1, "port")), n(line.integer(2, "number")),
              line.word(3, "name")});
    } else if (line.keyword == "ldev") {
      insert(line, "INSERT INTO ldevs(serial, ldev, emulation, size, property, device) VALUES(?, ?, ?, ?, ?, ?)",
             {n(line.integer(0, "serial")), n(line.integer(1, "ldev")), line.option("emulation", std::string("OPEN-V")),
              n(line.option("size", 2097152)), n(propertyBits(line)), line.option("device", std::string(""))});
    } else if (line.keyword == "lun") {
      insert(line, "INSERT INTO luns(serial, port, hostgroup, lun, ldev) VALUES(?, ?, ?, ?, ?)",
             {n(line.integer(0, "serial")), n(line.integer(1, "port")), n(line.integer(2, "hostgroup")),
              n(line.integer(3, "lun")), n(line.integer(4, "ldev"))});
    } else if (line.keyword == "pair") {
      std::string kind = line.word(4, "pair kind");
      if (kind != "si" && kind != "cow") line.error("pair kind must be si or cow");
      auto status = kStatusNames.find(line.option("status", std::string("PAIR")));
      if (status == kStatusNames.end()) line.error("unknown pair status");
      insert(line, "INSERT INTO pairs(serial, pvol, mu, svol, kind, status, ctgid, csize) VALUES(?, ?, ?, ?, ?, ?, ?, ?)",
             {n(line.integer(0, "serial")), n(line.integer(1, "primary ldev")), n(line.integer(2, "mirror unit")),
              n(line.integer(3, "secondary ldev")), kind, n(status->second), n(line.option("ctg", 0)),
              n(line.option("csize", 3))});
    } else if (line.keyword == "setting") {
      insert(line, "INSERT OR REPLACE INTO settings(key, value) VALUES(?, ?)", {line.word(0, "key"), line.word(1, "value")});
    } else {
      line.error("unknown keyword '" + line.keyword + "'");
    }
  }
  tx.commit();
}

std::string Simulator::defaultModel() {
  return R"(# The default model: one HITACHI and one HP array, each with a command
# device, two source LDEVs, ShadowImage secondaries at mirror unit 0 and
# Copy-on-Write secondaries at mirror unit 3, all seen by this host through
# host group 0 of Fibre Channel port 0 (named after this host).
array 410001 vendor=HITACHI product=OPEN-V maxmmun=64 unit=1
cmddev 410001 /dev/sdb ldev=4095
port 410001 0 fibre
port 410001 1 scsi
hostgroup 410001 0 0 @HOST@
hostgroup 410001 1 0 backup-server
ldev 410001 4095 emulation=OPEN-V-CM props=cmd device=sdb
ldev 410001 256 props=si,cow device=sdc
ldev 410001 257 props=si,cow device=sdd
ldev 410001 512 props=si,cow device=sde
ldev 410001 513 props=si,cow device=sdf
ldev 410001 768 props=si,cow device=sdg
ldev 410001 769 props=si,cow device=sdh
lun 410001 0 0 0 4095
lun 410001 0 0 1 256
lun 410001 0 0 2 257
lun 410001 0 0 3 512
lun 410001 0 0 4 513
lun 410001 0 0 5 768
lun 410001 0 0 6 769
lun 410001 1 0 0 256
pair 410001 256 0 512 si status=PSUS
pair 410001 257 0 513 si status=PAIR
pair 410001 256 3 768 cow status=PSUS
pair 410001 257 3 769 cow status=PAIR

array 520002 vendor=HP product=OPEN-V maxmmun=64 unit=2
cmddev 520002 /dev/sdi ldev=4095
port 520002 0 fibre
hostgroup 520002 0 0 @HOST@
ldev 520002 4095 emulation=OPEN-V-CM props=cmd device=sdi
ldev 520002 300 props=si,cow device=sdj
ldev 520002 301 props=si,cow device=sdk
ldev 520002 600 props=si,cow device=sdl
ldev 520002 601 props=si,cow device=sdm
lun 520002 0 0 0 4095
lun 520002 0 0 1 300
lun 520002 0 0 2 301
lun 520002 0 0 3 600
lun 520002 0 0 4 601
pair 520002 300 0 600 si status=PSUS
pair 520002 301 3 601 cow status=PSUS
)";
}

void Simulator::setFault(const std::string& function, int errorNumber, const std::string& message, int count) {
  m_db->prepare("INSERT OR REPLACE INTO faults(func, errno, message, remaining) VALUES(?, ?, ?, ?)")
      .bind(function).bind(errorNumber).bind(message).bind(count).run();
}

void Simulator::clearFaults() { m_db->exec("DELETE FROM faults"); }

void Simulator::setPairStatus(int serial, int pvol, int mu, int status) {
  Statement s = m_db->prepare("UPDATE pairs SET status = ?, reads_left = 0 WHERE serial = ? AND pvol = ? AND mu = ?");
  s.bind(status).bind(serial).bind(pvol).bind(mu).run();
  if (sqlite3_changes(m_db->handle()) == 0) throw ModelError("no pair of LDEV " + std::to_string(pvol) + " at mirror unit " + std::to_string(mu));
}

int Simulator::pairStatus(int serial, int pvol, int mu) {
  Statement q = m_db->prepare("SELECT status FROM pairs WHERE serial = ? AND pvol = ? AND mu = ?");
  q.bind(serial).bind(pvol).bind(mu);
  return q.step() ? static_cast<int>(q.integer(0)) : RMSIM_SMPL;
}

std::map<std::string, int64_t> Simulator::counters() {
  std::map<std::string, int64_t> out;
  Statement q = m_db->prepare("SELECT func, count FROM counters");
  while (q.step()) out[q.text(0)] = q.integer(1);
  return out;
}

int64_t Simulator::counter(const std::string& function) {
  Statement q = m_db->prepare("SELECT count FROM counters WHERE func = ?");
  q.bind(function);
  return q.step() ? q.integer(0) : 0;
}

void Simulator::resetCounters() { m_db->exec("DELETE FROM counters"); }

void Simulator::setSetting(const std::string& key, const std::string& value) {
  m_db->prepare("INSERT OR REPLACE INTO settings(key, value) VALUES(?, ?)").bind(key).bind(value).run();
}

std::string Simulator::setting(const std::string& key, const std::string& fallback) {
  Statement q = m_db->prepare("SELECT value FROM settings WHERE key = ?");
  q.bind(key);
  return q.step() ? q.text(0) : fallback;
}

void Simulator::setMaxMirrorUnits(int serial, int maxmmun) {
  m_db->prepare("UPDATE arrays SET maxmmun = ? WHERE serial = ?").bind(maxmmun).bind(serial).run();
}

std::string Simulator::describe() {
  std::ostringstream out;
  auto table = [&](const char* title, const std::string& sql, int columns) {
    out << title << "\n";
    Statement q = m_db->prepare(sql);
    while (q.step()) {
      out << " ";
      for (int c = 0; c < columns; ++c) out << " " << q.text(c);
      out << "\n";
    }
  };
  table("arrays (serial vendor product maxmmun):", "SELECT serial, vendor, product, maxmmun FROM arrays ORDER BY serial", 4);
  table("command devices (path serial):", "SELECT path, serial FROM cmddevs ORDER BY path", 2);
  table("host groups (serial port number name):", "SELECT serial, port, number, name FROM hostgroups ORDER BY 1, 2, 3", 4);
  table("ldevs (serial ldev emulation size property device):",
        "SELECT serial, ldev, emulation, size, property, device FROM ldevs ORDER BY 1, 2", 6);
  table("luns (serial port hostgroup lun ldev):", "SELECT serial, port, hostgroup, lun, ldev FROM luns ORDER BY 1, 2, 3, 4", 5);
  out << "pairs (serial pvol mu svol kind status):\n";
  Statement pairs = m_db->prepare("SELECT serial, pvol, mu, svol, kind, status FROM pairs ORDER BY 1, 2, 3");
  while (pairs.step()) {
    out << "  " << pairs.text(0) << " " << pairs.text(1) << " " << pairs.text(2) << " " << pairs.text(3) << " "
        << pairs.text(4) << " " << statusName(static_cast<int>(pairs.integer(5))) << "\n";
  }
  table("faults (function errno remaining message):", "SELECT func, errno, remaining, message FROM faults ORDER BY 1", 4);
  table("counters (function calls):", "SELECT func, count FROM counters ORDER BY 1", 2);
  return out.str();
}

}  // namespace rmsim
