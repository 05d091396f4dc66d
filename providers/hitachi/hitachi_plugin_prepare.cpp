// Snapshot preparation: narrow each node to its chosen pair and resynchronise
// a split pair.
#include "hitachi_plugin.h"

using namespace frim_pdk_4_4;

int CHitachiPlugin::prepareSnapshots(CFiSessionPtr& session) {
  return CFiPluginInterposer::prepareSnapshots(session);
}
