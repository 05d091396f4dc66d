// The plugin's exported entry points, hitachifi_fi_pgn_*.
#include "cfiapiexport.h"
#include "hitachi_plugin.h"

CFI_API_EXPORT_ALL(hitachifi, CHitachiPlugin)
