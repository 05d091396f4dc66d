#ifndef RMSIM_SIM_SETTINGS_H
#define RMSIM_SIM_SETTINGS_H

// The simulator's tunables, kept in the state file's settings table.

#include <string>

namespace rmsim {

class Db;

struct Settings {
  int copyReads = 2;         // "copy_reads": status reads until a copy completes (0: at once)
  double copySeconds = 0.0;  // "copy_seconds": above 0, a copy takes this long instead
  int latencyMs = 0;         // "latency_ms": delay before every call
  int version = 10630;       // "version": what getrmver reports
};

// The current settings; keys that are not set keep the defaults above.
Settings readSettings(Db& db);

// Throws ModelError with `where` in front of the reason when `key` is not a
// setting or `value` is not a valid value for it.
void checkSetting(const std::string& key, const std::string& value, const std::string& where);

// Seconds since the epoch; copy times are compared across processes.
double wallClock();

}  // namespace rmsim

#endif
