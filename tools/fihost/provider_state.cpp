#include "provider_state.h"

#include <cstdlib>

#include "problem.h"

namespace fihost {

namespace {

// The contents of the first node `name` at or after `from`, and where the
// node ends; false when there is none. The format has no escaping, so the
// first closing tag of the name ends the node.
bool contents(const std::string& text, const std::string& name, size_t from, std::string& out,
              size_t* end = nullptr) {
  const std::string open = "<" + name + ">", close = "</" + name + ">";
  size_t start = text.find(open, from);
  if (start == std::string::npos) return false;
  size_t stop = text.find(close, start);
  if (stop == std::string::npos) return false;
  out = text.substr(start + open.size(), stop - start - open.size());
  if (end) *end = stop + close.size();
  return true;
}

std::string field(const std::string& record, const std::string& name) {
  std::string value;
  if (!contents(record, name, 0, value)) throw Problem("provider state: a device record has no " + name);
  return value;
}

bool truth(const std::string& record, const std::string& name) {
  std::string value = field(record, name);
  if (value != "0" && value != "1")
    throw Problem("provider state: " + name + " is '" + value + "', not 0 or 1");
  return value == "1";
}

DeviceRecord readRecord(const std::string& vdisk) {
  DeviceRecord record;
  record.deviceId = field(vdisk, "DeviceId");
  record.enclosureId = field(vdisk, "EnclosureId");
  record.supportsShadowImage = truth(vdisk, "SupportShadowImage");
  record.supportsSnapshot = truth(vdisk, "SupportSnapshot");
  record.isSnap = truth(vdisk, "IsSnap");
  std::string host = field(vdisk, "HostInfo");
  record.port = std::atoi(field(host, "PortNo").c_str());
  record.hostGroup = std::atoi(field(host, "HostGroupNo").c_str());
  record.hostGroupName = field(host, "HostGroupName");
  return record;
}

}  // namespace

ProviderState parseProviderState(const std::string& text) {
  std::string list;
  if (!contents(text, "VdiskList", 0, list)) throw Problem("provider state: no VdiskList in the text");
  ProviderState state;
  bool haveSource = false, haveSnapshot = false;
  size_t at = 0;
  std::string vdisk;
  while (contents(list, "Vdisk", at, vdisk, &at)) {
    DeviceRecord record = readRecord(vdisk);
    if (record.isSnap) {
      state.snapshot = record;
      haveSnapshot = true;
    } else {
      state.source = record;
      haveSource = true;
    }
  }
  if (!haveSource || !haveSnapshot)
    throw Problem("provider state: the source or the snapshot record is missing");
  return state;
}

}  // namespace fihost
