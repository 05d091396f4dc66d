// Snapshot creation: name each snapshot and split its pair.
#include "hitachi_plugin.h"

using namespace frim_pdk_4_4;

int CHitachiPlugin::makeSnapshots(CFiSessionPtr& session) {
  return CFiPluginInterposer::makeSnapshots(session);
}
