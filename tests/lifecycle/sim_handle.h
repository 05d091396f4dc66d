#ifndef TESTS_LIFECYCLE_SIM_HANDLE_H
#define TESTS_LIFECYCLE_SIM_HANDLE_H

// The simulator with the default model, for tests that compile the plugin's
// own headers (whose RMLIB record names the simulator's would clash with).

#include <cstddef>
#include <memory>
#include <string>

class SimHandle {
 public:
  explicit SimHandle(const std::string& db);
  ~SimHandle();
  void writeSysfs(const std::string& root);
  void setPairStatus(int serial, int pvol, int mu, int status);
  void clearJournal();
  // Calls in the journal: all, or of `function` with that split/resync option.
  size_t calls();
  size_t calls(const std::string& function, int option);

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

#endif
