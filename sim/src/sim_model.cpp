// The rules a model must keep, and its loading into the state store.
#include "sim_model.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <tuple>

#include "rmsim.h"
#include "sim_data.h"
#include "sim_db.h"
#include "sim_settings.h"

namespace rmsim {

namespace {

[[noreturn]] void broken(int line, const std::string& what) {
  throw ModelError("model line " + std::to_string(line) + ": " + what);
}

std::string ldevName(int serial, int ldev) {
  return "LDEV " + std::to_string(ldev) + " of array " + std::to_string(serial);
}

void checkPairs(const Model& model, const std::map<int, const ModelArray*>& arrays,
                const std::set<std::pair<int, int>>& ldevs) {
  std::set<std::tuple<int, int, int>> mirrorUnits;
  std::map<std::pair<int, int>, int> secondaries;  // secondary -> the line that pairs it
  std::set<std::pair<int, int>> primaries;
  for (const ModelPair& p : model.pairs) primaries.insert({p.serial, p.pvol});
  for (const ModelPair& p : model.pairs) {
    auto array = arrays.find(p.serial);
    if (array == arrays.end()) broken(p.line, "no array " + std::to_string(p.serial));
    if (!ldevs.count({p.serial, p.pvol})) broken(p.line, "no " + ldevName(p.serial, p.pvol));
    if (!ldevs.count({p.serial, p.svol})) broken(p.line, "no " + ldevName(p.serial, p.svol));
    if (p.pvol == p.svol) broken(p.line, "a volume cannot be paired with itself");
    const int maxmmun = array->second->maxmmun;
    if (p.kind == "si" && p.mu > 2) broken(p.line, "a ShadowImage pair uses mirror unit 0, 1 or 2");
    if (p.kind == "cow" && p.mu < 3) broken(p.line, "a Copy-on-Write pair uses mirror unit 3 or higher");
    if (p.mu >= maxmmun) {
      broken(p.line, "mirror unit " + std::to_string(p.mu) + " is beyond the array's maxmmun " +
                         std::to_string(maxmmun));
    }
    if (!mirrorUnits.insert(std::make_tuple(p.serial, p.pvol, p.mu)).second) {
      broken(p.line,
             ldevName(p.serial, p.pvol) + " already has a pair at mirror unit " + std::to_string(p.mu));
    }
    auto earlier = secondaries.emplace(std::make_pair(p.serial, p.svol), p.line);
    if (!earlier.second) {
      broken(p.line, ldevName(p.serial, p.svol) + " is already the secondary of line " +
                         std::to_string(earlier.first->second));
    }
    if (primaries.count({p.serial, p.svol}))
      broken(p.line, ldevName(p.serial, p.svol) + " is a primary too (no cascades)");
  }
}

}  // namespace

std::string defaultUnitSerial(int serial, int ldev) {
  char text[32];
  std::snprintf(text, sizeof text, "%d%04X", serial, static_cast<unsigned>(ldev) & 0xFFFF);
  return text;
}

void checkModel(const Model& model) {
  std::map<int, const ModelArray*> arrays;
  for (const ModelArray& a : model.arrays) {
    if (!arrays.emplace(a.serial, &a).second)
      broken(a.line, "array " + std::to_string(a.serial) + " is defined twice");
  }
  auto needArray = [&](int line, int serial) {
    if (!arrays.count(serial)) broken(line, "no array " + std::to_string(serial));
  };
  std::set<std::pair<int, int>> ldevs;
  std::set<std::string> disks;  // one host sees every array: its disk names are unique across them
  for (const ModelLdev& l : model.ldevs) {
    needArray(l.line, l.serial);
    if (!ldevs.insert({l.serial, l.ldev}).second)
      broken(l.line, ldevName(l.serial, l.ldev) + " is defined twice");
    if (!l.device.empty() && !disks.insert(l.device).second)
      broken(l.line, "host disk " + l.device + " is given to two LDEVs");
  }
  std::set<std::string> paths;
  for (const ModelCmdDev& c : model.cmddevs) {
    needArray(c.line, c.serial);
    if (!paths.insert(c.path).second) broken(c.line, "command device " + c.path + " is defined twice");
    if (c.ldev >= 0 && !ldevs.count({c.serial, c.ldev})) broken(c.line, "no " + ldevName(c.serial, c.ldev));
  }
  std::set<std::pair<int, int>> ports;
  for (const ModelPort& p : model.ports) {
    needArray(p.line, p.serial);
    if (!ports.insert({p.serial, p.port}).second)
      broken(p.line, "port " + std::to_string(p.port) + " is defined twice");
  }
  std::set<std::tuple<int, int, int>> groups;
  for (const ModelHostGroup& h : model.hostgroups) {
    if (!ports.count({h.serial, h.port}))
      broken(h.line, "no port " + std::to_string(h.port) + " on array " + std::to_string(h.serial));
    if (!groups.insert(std::make_tuple(h.serial, h.port, h.number)).second) {
      broken(h.line, "host group " + std::to_string(h.number) + " of port " + std::to_string(h.port) +
                         " is defined twice");
    }
  }
  std::set<std::tuple<int, int, int, int>> addresses;
  for (const ModelLun& u : model.luns) {
    if (!groups.count(std::make_tuple(u.serial, u.port, u.hostgroup))) {
      broken(u.line, "no host group " + std::to_string(u.hostgroup) + " on port " + std::to_string(u.port) +
                         " of array " + std::to_string(u.serial));
    }
    if (!ldevs.count({u.serial, u.ldev})) broken(u.line, "no " + ldevName(u.serial, u.ldev));
    if (!addresses.insert(std::make_tuple(u.serial, u.port, u.hostgroup, u.lun)).second) {
      broken(u.line, "LUN " + std::to_string(u.lun) + " of that host group is mapped twice");
    }
  }
  checkPairs(model, arrays, ldevs);
}

void storeModel(Db& db, const Model& model) {
  Transaction tx(db);
  for (const char* table : {"arrays", "cmddevs", "ports", "hostgroups", "ldevs", "luns", "pairs",
                            "attachments", "faults", "settings", "ldev_data"}) {
    db.exec(std::string("DELETE FROM ") + table);
  }
  std::map<int, std::string> vendors;
  for (const ModelArray& a : model.arrays) {
    vendors[a.serial] = a.vendor;
    db.prepare("INSERT INTO arrays(serial, vendor, product, maxmmun, unit_id) VALUES(?, ?, ?, ?, ?)")
        .bind(a.serial)
        .bind(a.vendor)
        .bind(a.product)
        .bind(a.maxmmun)
        .bind(a.unit)
        .run();
  }
  for (const ModelCmdDev& c : model.cmddevs) {
    db.prepare("INSERT INTO cmddevs(path, serial, ldev) VALUES(?, ?, ?)")
        .bind(c.path)
        .bind(c.serial)
        .bind(c.ldev)
        .run();
  }
  for (const ModelPort& p : model.ports) {
    db.prepare("INSERT INTO ports(serial, port, fibre) VALUES(?, ?, ?)")
        .bind(p.serial)
        .bind(p.port)
        .bind(p.fibre ? 1 : 0)
        .run();
  }
  for (const ModelHostGroup& h : model.hostgroups) {
    db.prepare("INSERT INTO hostgroups(serial, port, number, name) VALUES(?, ?, ?, ?)")
        .bind(h.serial)
        .bind(h.port)
        .bind(h.number)
        .bind(h.name)
        .run();
  }
  for (const ModelLdev& l : model.ldevs) {
    db.prepare(
          "INSERT INTO ldevs(serial, ldev, emulation, size, property, ssid, device, inq_vendor, inq_product, "
          "inq_serial) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bind(l.serial)
        .bind(l.ldev)
        .bind(l.emulation)
        .bind(l.size)
        .bind(l.property)
        .bind(l.ssid)
        .bind(l.device)
        .bind(l.vendor.empty() ? vendors[l.serial] : l.vendor)
        .bind(l.product.empty() ? l.emulation.substr(0, 16) : l.product)
        .bind(l.unitSerial.empty() ? defaultUnitSerial(l.serial, l.ldev) : l.unitSerial)
        .run();
  }
  for (const ModelLun& u : model.luns) {
    db.prepare("INSERT INTO luns(serial, port, hostgroup, lun, ldev) VALUES(?, ?, ?, ?, ?)")
        .bind(u.serial)
        .bind(u.port)
        .bind(u.hostgroup)
        .bind(u.lun)
        .bind(u.ldev)
        .run();
  }
  for (const ModelSetting& s : model.settings) {
    db.prepare("INSERT OR REPLACE INTO settings(key, value) VALUES(?, ?)").bind(s.key).bind(s.value).run();
  }
  // A pair that the model puts in COPY or RCPY copies from now on, as a resync would.
  const Settings settings = readSettings(db);
  const double now = wallClock();
  for (const ModelPair& p : model.pairs) {
    const bool copying = p.status == RMSIM_COPY || p.status == RMSIM_RCPY;
    db.prepare(
          "INSERT INTO pairs(serial, pvol, mu, svol, kind, status, ctgid, csize, smod, copyrate, reads_left, "
          "copy_started, suspend_at_end) VALUES(?, ?, ?, ?, ?, ?, ?, ?, 0, ?, ?, ?, 0)")
        .bind(p.serial)
        .bind(p.pvol)
        .bind(p.mu)
        .bind(p.svol)
        .bind(p.kind)
        .bind(p.status)
        .bind(p.ctgid)
        .bind(p.csize)
        .bind(copying ? 0 : 100)
        .bind(copying ? std::max(settings.copyReads, 1) : 0)
        .bind(now)
        .run();
  }
  seedData(db);
  tx.commit();
}

void Simulator::loadModel(const std::string& text, const std::string& hostName) {
  Model model = parseModel(text, hostName);
  checkModel(model);
  storeModel(*m_db, model);
}

void Simulator::loadModelFile(const std::string& path, const std::string& hostName) {
  std::ifstream in(path);
  if (!in) throw ModelError("cannot read model file " + path);
  std::stringstream text;
  text << in.rdbuf();
  loadModel(text.str(), hostName);
}

}  // namespace rmsim
