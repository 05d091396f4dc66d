#ifndef TESTS_SUPPORT_SIM_CONTROL_H
#define TESTS_SUPPORT_SIM_CONTROL_H

// The RMLIB simulator for plugin tests: a private state file with the default
// model, host names from the test's own file, and FRIM_DLOPEN_ROOT pointing
// the plugin's loader at the simulator (apart from the simulator's headers,
// whose record names are the plugin's too).

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "rmsim_records.h"

class SimControl {
 public:
  explicit SimControl(const std::string& root);  // SIM_ROOT, or a variant's
  ~SimControl();
  SimControl(const SimControl&) = delete;
  SimControl& operator=(const SimControl&) = delete;

  const std::string& dir() const { return m_dir; }  // a fresh temporary directory
  int64_t calls(const std::string& function);
  void resetCounters();
  void setFault(const std::string& function, int errorNumber, const std::string& message, int count);
  void setPairStatus(int serial, int pvol, int mu, int status);
  int pairStatus(int serial, int pvol, int mu);
  void setMaxMirrorUnits(int serial, int maxmmun);
  void loadModel(const std::string& text);
  // Every RMLIB call since the last clear, with its arguments as sent.
  std::vector<rmsim::CallRecord> journal();
  void clearJournal();
  void addFault(const rmsim::FaultSpec& fault);  // beside the faults already armed
  void writeSysfs(const std::string& root);      // the host disks of the model

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
  std::string m_dir;
};

#endif
