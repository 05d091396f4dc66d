#ifndef HITACHI_TRACE_H
#define HITACHI_TRACE_H

#include "cficontextsingleton.h"
#include "cfitracelog.h"

// The process's trace log (created on first use).
inline frim_pdk_4_4::CFiTraceLogPtr hitachiTraceLog() {
  return frim_pdk_4_4::CFiContextSingleton<frim_pdk_4_4::CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
}

// Writes one trace line at `level` (printf-style).
#define HITACHI_TRACE(level, ...) hitachiTraceLog()->trace(level, __VA_ARGS__)

// Marks entry and exit of the enclosing function under `name`.
#define HITACHI_TRACE_FUNCTION(name) \
  frim_pdk_4_4::CFiTraceLogFunction hitachiFunctionTrace(hitachiTraceLog(), name, __LINE__, __FILE__)

#endif
