#include "sim_settings.h"

#include <time.h>

#include <cerrno>
#include <cstdlib>

#include "rmsim.h"
#include "sim_db.h"

namespace rmsim {

namespace {

bool parseInt(const std::string& text, long lowest, long highest, long& out) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  out = std::strtol(text.c_str(), &end, 0);
  return errno == 0 && *end == '\0' && out >= lowest && out <= highest;
}

bool parseSeconds(const std::string& text, double& out) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  out = std::strtod(text.c_str(), &end);
  return errno == 0 && *end == '\0' && out >= 0.0 && out <= 86400.0;
}

}  // namespace

void checkSetting(const std::string& key, const std::string& value, const std::string& where) {
  long number = 0;
  double seconds = 0.0;
  if (key == "copy_reads") {
    if (!parseInt(value, 0, 1000000, number)) throw ModelError(where + "copy_reads must be 0 to 1000000");
  } else if (key == "copy_seconds") {
    if (!parseSeconds(value, seconds)) throw ModelError(where + "copy_seconds must be 0 to 86400");
  } else if (key == "latency_ms") {
    if (!parseInt(value, 0, 60000, number)) throw ModelError(where + "latency_ms must be 0 to 60000");
  } else if (key == "version") {
    if (!parseInt(value, 0, 0x7FFFFFFF, number)) throw ModelError(where + "version must be a number");
  } else {
    throw ModelError(where + "unknown setting '" + key + "' (copy_reads, copy_seconds, latency_ms, version)");
  }
}

Settings readSettings(Db& db) {
  Settings settings;
  Statement q = db.prepare("SELECT key, value FROM settings");
  while (q.step()) {
    const std::string key = q.text(0);
    const std::string value = q.text(1);
    if (key == "copy_reads")
      settings.copyReads = std::atoi(value.c_str());
    else if (key == "copy_seconds")
      settings.copySeconds = std::atof(value.c_str());
    else if (key == "latency_ms")
      settings.latencyMs = std::atoi(value.c_str());
    else if (key == "version")
      settings.version = static_cast<int>(std::strtol(value.c_str(), nullptr, 0));
  }
  return settings;
}

double wallClock() {
  struct timespec now;
  ::clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

}  // namespace rmsim
