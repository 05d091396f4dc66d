// Snapshot selection: the source device, its target, and the checks that the
// target suits the snapshot method and lies in the same array.
#include "hitachi_plugin.h"

using namespace frim_pdk_4_4;

int CHitachiPlugin::selectSnapshots(CFiSessionPtr& session) {
  return CFiPluginInterposer::selectSnapshots(session);
}
