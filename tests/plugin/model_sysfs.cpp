#include "model_sysfs.h"

#include <cstdlib>

#include "rmsim.h"

int writeModelSysfs(const std::string& root) {
  const char* db = std::getenv("RMSIM_DB");
  rmsim::Simulator sim(db ? db : "");
  return sim.writeSysfs(root);
}
