#ifndef RMSIM_SIM_MODEL_H
#define RMSIM_SIM_MODEL_H

// The array model: what a model file describes, its parser, its rules and
// its loading into the state store. Every record keeps the line it came
// from, so that a rule broken anywhere names that line.

#include <cstdint>
#include <string>
#include <vector>

namespace rmsim {

class Db;

struct ModelArray {
  int line = 0;
  int serial = 0;
  std::string vendor;
  std::string product;
  int maxmmun = 64;
  int unit = 0;
};

struct ModelCmdDev {
  int line = 0;
  int serial = 0;
  std::string path;
  int ldev = -1;  // -1: the model names no LDEV for it
};

struct ModelPort {
  int line = 0;
  int serial = 0;
  int port = 0;
  bool fibre = true;
};

struct ModelHostGroup {
  int line = 0;
  int serial = 0;
  int port = 0;
  int number = 0;
  std::string name;
};

struct ModelLdev {
  int line = 0;
  int serial = 0;
  int ldev = 0;
  std::string emulation;
  int64_t size = 0;
  int property = 0;
  int ssid = 0;
  std::string device;      // the host's disk name ("sdc"), "" when the host has none
  std::string vendor;      // inquiry vendor, "" for the array's vendor
  std::string product;     // inquiry product, "" for the emulation
  std::string unitSerial;  // inquiry unit serial number, "" for serial + LDEV in hex
};

struct ModelLun {
  int line = 0;
  int serial = 0;
  int port = 0;
  int hostgroup = 0;
  int lun = 0;
  int ldev = 0;
};

struct ModelPair {
  int line = 0;
  int serial = 0;
  int pvol = 0;
  int mu = 0;
  int svol = 0;
  std::string kind;
  int status = 0;
  int ctgid = 0;
  int csize = 0;
};

struct ModelSetting {
  int line = 0;
  std::string key;
  std::string value;
};

struct Model {
  std::vector<ModelArray> arrays;
  std::vector<ModelCmdDev> cmddevs;
  std::vector<ModelPort> ports;
  std::vector<ModelHostGroup> hostgroups;
  std::vector<ModelLdev> ldevs;
  std::vector<ModelLun> luns;
  std::vector<ModelPair> pairs;
  std::vector<ModelSetting> settings;
};

// Reads a model text; "@HOST@" becomes `hostName` (cut to the longest
// host-group name). Throws ModelError "model line N: ..." for a line that
// does not parse.
Model parseModel(const std::string& text, const std::string& hostName);

// Throws ModelError "model line N: ..." for the first record that breaks a
// rule of the arrays (unknown references, duplicates, mirror units).
void checkModel(const Model& model);

// Replaces the state's arrays, pairs, LDEV data, attachments, faults and
// settings with the model (counters and the journal stay), in one
// transaction.
void storeModel(Db& db, const Model& model);

// The inquiry data the arrays report for an LDEV when the model sets none.
std::string defaultUnitSerial(int serial, int ldev);

}  // namespace rmsim

#endif
