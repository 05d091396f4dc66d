#ifndef FIHOST_PROVIDER_STATE_H
#define FIHOST_PROVIDER_STATE_H

#include <string>
#include <vector>

namespace fihost {

// What fihost reads from a node's provider state: the plugin's "VdiskList"
// text with the source device's record and its snapshot's. Only what an
// administrator is shown is read; the text itself is kept verbatim for the
// plugin.
struct DeviceRecord {
  std::string deviceId;     // LDEV number
  std::string enclosureId;  // array serial
  bool isSnap = false;
  bool supportsShadowImage = false;
  bool supportsSnapshot = false;
  int port = 0;
  int hostGroup = 0;
  std::string hostGroupName;
};

struct ProviderState {
  DeviceRecord source;
  DeviceRecord snapshot;
};

// Throws Problem when the text is not a provider state of this plugin.
ProviderState parseProviderState(const std::string& text);

}  // namespace fihost

#endif
