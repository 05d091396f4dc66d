#ifndef FIHOST_STATE_FILE_H
#define FIHOST_STATE_FILE_H

#include <string>
#include <vector>

namespace fihost {

// What a restore needs of one snapshot, possibly in another process on
// another day: the node the framework knew, the devices, and the plugin's
// provider state, kept verbatim.
struct SnapshotEntry {
  std::string device;    // as given on the command line
  std::string node;      // the node name given to the plugin
  std::string source;    // source UDID
  std::string snapshot;  // snapshot (target) UDID, as make named it
  std::string method;
  std::string providerState;
};

struct StateFile {
  std::string created;  // UTC, ISO 8601
  std::string session;
  std::vector<SnapshotEntry> snapshots;
};

// Written to a temporary name and renamed, so a reader never sees half a
// file. Throws Problem.
void writeStateFile(const std::string& path, const StateFile& state);
// Throws Problem naming what is missing or malformed.
StateFile readStateFile(const std::string& path);

}  // namespace fihost

#endif
