#ifndef TESTS_FIHOST_FIHOST_RUN_H
#define TESTS_FIHOST_FIHOST_RUN_H

// fihost and rmsim run as separate processes in a private simulated host:
// its own simulator state, sysfs tree, cache, trace folder and host name.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

struct RunResult {
  int status = -1;  // exit code, or -1 when the process did not exit normally
  std::string out, err;
};

inline std::string slurp(const std::string& path) {
  std::ifstream in(path);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline RunResult runProgram(const std::string& program, const std::vector<std::string>& args,
                            const std::string& input, const std::string& scratch) {
  const std::string in = scratch + "/stdin", out = scratch + "/stdout", err = scratch + "/stderr";
  std::ofstream(in) << input;
  const pid_t child = ::fork();
  if (child == 0) {
    int fds[3] = {::open(in.c_str(), O_RDONLY), ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644),
                  ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644)};
    for (int i = 0; i < 3; ++i) ::dup2(fds[i], i);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(out), slurp(err)};
}

class SimHost {
 public:
  // Loads `model` (rmsim's model text; the default model when empty) and
  // writes the sysfs tree of its host disks.
  explicit SimHost(const std::string& model = "") {
    char pattern[] = "/tmp/fihost-test.XXXXXX";
    if (!::mkdtemp(pattern)) throw std::runtime_error("mkdtemp failed");
    m_dir = pattern;
    ::mkdir(cacheDir().c_str(), 0755);
    ::mkdir((m_dir + "/log").c_str(), 0755);
    ::setenv("RMSIM_DB", (m_dir + "/rmsim.db").c_str(), 1);
    ::setenv("FRIM_DLOPEN_ROOT", SIM_ROOT, 1);
    ::setenv("HITACHIFI_SYSFS_ROOT", (m_dir + "/sys").c_str(), 1);
    ::setenv("HITACHIFI_CACHE_DIR", cacheDir().c_str(), 1);
    ::setenv("HITACHIFI_TRACE_DIR", (m_dir + "/log").c_str(), 1);
    ::setenv("HITACHIFI_HOSTNAME", "fihost-test", 1);
    ::unsetenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC");
    std::ofstream(m_dir + "/model") << model;
    const RunResult loaded =
        model.empty() ? rmsim({"init", "fihost-test"}) : rmsim({"load", m_dir + "/model", "fihost-test"});
    if (loaded.status != 0) throw std::runtime_error("rmsim cannot load the model: " + loaded.err);
    if (rmsim({"sysfs", m_dir + "/sys"}).status != 0) throw std::runtime_error("rmsim sysfs failed");
  }
  ~SimHost() {
    const int rc = std::system(("rm -rf '" + m_dir + "'").c_str());
    (void)rc;  // a folder left in /tmp harms no later test
  }
  SimHost(const SimHost&) = delete;
  SimHost& operator=(const SimHost&) = delete;

  const std::string& dir() const { return m_dir; }
  std::string cacheDir() const { return m_dir + "/cache"; }
  std::string instanceDir() const { return m_dir + "/cache/hitachi"; }
  RunResult fihost(const std::vector<std::string>& args, const std::string& input = "") const {
    return runProgram(FIHOST_PATH, args, input, m_dir);
  }
  RunResult rmsim(const std::vector<std::string>& args) const {
    return runProgram(RMSIM_PATH, args, "", m_dir);
  }

 private:
  std::string m_dir;
};

#endif
