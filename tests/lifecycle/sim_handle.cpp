#include "sim_handle.h"

#include "rmsim.h"

struct SimHandle::Impl {
  explicit Impl(const std::string& db) : sim(db) {}
  rmsim::Simulator sim;
};

SimHandle::SimHandle(const std::string& db) : m_impl(new Impl(db)) {
  m_impl->sim.loadModel(rmsim::Simulator::defaultModel(), "db1");
}
SimHandle::~SimHandle() = default;

void SimHandle::writeSysfs(const std::string& root) { m_impl->sim.writeSysfs(root); }
void SimHandle::setPairStatus(int serial, int pvol, int mu, int status) {
  m_impl->sim.setPairStatus(serial, pvol, mu, status);
}
void SimHandle::clearJournal() { m_impl->sim.clearJournal(); }
size_t SimHandle::calls() { return m_impl->sim.journal().size(); }
size_t SimHandle::calls(const std::string& function, int option) {
  size_t n = 0;
  for (const auto& call : m_impl->sim.journal()) n += call.function == function && call.option == option;
  return n;
}
