// Readiness check: is each node's pair in the state in which a split gives
// a consistent copy?
#include "hitachi_plugin.h"

using namespace frim_pdk_4_4;

int CHitachiPlugin::isReady(char* fimName, zfi_splitnode** nodes, int count) {
  return CFiPluginInterposer::isReady(fimName, nodes, count);
}
