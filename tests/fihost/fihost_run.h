#ifndef TESTS_FIHOST_FIHOST_RUN_H
#define TESTS_FIHOST_FIHOST_RUN_H

// Runs fihost and rmsim as separate processes in a private simulated host:
// its own simulator state, sysfs tree, cache, trace folder and host name.

#include <string>
#include <vector>

struct RunResult {
  int status = -1;  // exit code, or -1 when the process did not exit normally
  std::string out;
  std::string err;
};

class SimHost {
 public:
  // Loads `model` (rmsim's model text; the default model when empty) and
  // writes the sysfs tree of its host disks.
  explicit SimHost(const std::string& model = "");
  ~SimHost();
  SimHost(const SimHost&) = delete;
  SimHost& operator=(const SimHost&) = delete;

  const std::string& dir() const { return m_dir; }
  std::string cacheDir() const { return m_dir + "/cache"; }
  std::string instanceDir() const { return m_dir + "/cache/hitachi"; }

  RunResult fihost(const std::vector<std::string>& args, const std::string& input = "") const;
  RunResult rmsim(const std::vector<std::string>& args) const;

 private:
  std::string m_dir;
};

RunResult runProgram(const std::string& program, const std::vector<std::string>& args,
                     const std::string& input, const std::string& scratch);

#endif
