#include "sim_control.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "rmsim.h"

struct SimControl::Impl {
  rmsim::Simulator sim;
};

SimControl::SimControl(const std::string& root) {
  char pattern[] = "/tmp/hitachifi-test.XXXXXX";
  if (::mkdtemp(pattern) == nullptr) throw std::runtime_error("cannot create a temporary directory");
  m_dir = pattern;
  std::string db = m_dir + "/rmsim.db";
  ::setenv("RMSIM_DB", db.c_str(), 1);
  ::setenv("FRIM_DLOPEN_ROOT", root.c_str(), 1);
  ::setenv("RMSIM_HOSTNAME", "db1", 1);
  // Host names come from a file of the test's own: no test asks DNS.
  std::string hosts = m_dir + "/hosts";
  if (FILE* file = std::fopen(hosts.c_str(), "w")) {
    std::fputs("127.0.0.1 localhost\n10.0.0.7 db1.example.test db1\n", file);
    std::fclose(file);
  }
  ::setenv("HITACHIFI_HOSTS_FILE", hosts.c_str(), 1);
  m_impl.reset(new Impl{rmsim::Simulator(db)});
  m_impl->sim.loadModel(rmsim::Simulator::defaultModel(), "db1");
}

SimControl::~SimControl() {
  m_impl.reset();
  std::error_code ignored;
  std::filesystem::remove_all(m_dir, ignored);
}

int64_t SimControl::calls(const std::string& function) { return m_impl->sim.counter(function); }
void SimControl::resetCounters() { m_impl->sim.resetCounters(); }
void SimControl::setFault(const std::string& function, int errorNumber, const std::string& message,
                          int count) {
  m_impl->sim.setFault(function, errorNumber, message, count);
}
void SimControl::setPairStatus(int serial, int pvol, int mu, int status) {
  m_impl->sim.setPairStatus(serial, pvol, mu, status);
}
int SimControl::pairStatus(int serial, int pvol, int mu) { return m_impl->sim.pairStatus(serial, pvol, mu); }
void SimControl::setMaxMirrorUnits(int serial, int maxmmun) {
  m_impl->sim.setMaxMirrorUnits(serial, maxmmun);
}
void SimControl::loadModel(const std::string& text) { m_impl->sim.loadModel(text, "db1"); }
std::vector<rmsim::CallRecord> SimControl::journal() { return m_impl->sim.journal(); }
void SimControl::clearJournal() { m_impl->sim.clearJournal(); }
void SimControl::addFault(const rmsim::FaultSpec& fault) { m_impl->sim.addFault(fault); }
void SimControl::writeSysfs(const std::string& root) { m_impl->sim.writeSysfs(root); }
