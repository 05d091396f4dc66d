// The plugin's exported entry points, hitachifi_fi_pgn_*.
//
// The public header comes first: every definition below (and every V_*
// function, declared again by V_strings.h as vstring defines it) must match
// its declaration there, or this file does not compile.
#include "V_strings.h"
#include "cfiapiexport.h"
#include "hitachi_plugin.h"
#include "hitachifi.h"

CFI_API_EXPORT_ALL(hitachifi, CHitachiPlugin)
