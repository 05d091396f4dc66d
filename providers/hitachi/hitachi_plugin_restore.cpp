// Restore: copy snapshots back onto their sources and split them again.
#include "hitachi_plugin.h"

using namespace frim_pdk_4_4;

int CHitachiPlugin::restore(frim_objid** sources, frim_objid** snapshots, long count, char* a, char* b,
                            char*** out, long* outCount, long flags, long* status) {
  return CFiPluginInterposer::restore(sources, snapshots, count, a, b, out, outCount, flags, status);
}
