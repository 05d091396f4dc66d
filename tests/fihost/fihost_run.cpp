#include "fihost_run.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace {

std::string slurp(const std::string& path) {
  std::ifstream in(path);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void writeText(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

}  // namespace

RunResult runProgram(const std::string& program, const std::vector<std::string>& args,
                     const std::string& input, const std::string& scratch) {
  const std::string in = scratch + "/stdin", out = scratch + "/stdout", err = scratch + "/stderr";
  writeText(in, input);
  pid_t child = ::fork();
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
  RunResult result;
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.out = slurp(out);
  result.err = slurp(err);
  return result;
}

SimHost::SimHost(const std::string& model) {
  char pattern[] = "/tmp/fihost-test.XXXXXX";
  if (!::mkdtemp(pattern)) throw std::runtime_error("mkdtemp failed");
  m_dir = pattern;
  ::mkdir((m_dir + "/cache").c_str(), 0755);
  ::mkdir((m_dir + "/log").c_str(), 0755);
  ::setenv("RMSIM_DB", (m_dir + "/rmsim.db").c_str(), 1);
  ::setenv("FRIM_DLOPEN_ROOT", SIM_ROOT, 1);
  ::setenv("HITACHIFI_SYSFS_ROOT", (m_dir + "/sys").c_str(), 1);
  ::setenv("HITACHIFI_CACHE_DIR", cacheDir().c_str(), 1);
  ::setenv("HITACHIFI_TRACE_DIR", (m_dir + "/log").c_str(), 1);
  ::setenv("HITACHIFI_HOSTNAME", "fihost-test", 1);
  ::unsetenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC");
  RunResult loaded;
  if (model.empty()) {
    loaded = rmsim({"init", "fihost-test"});
  } else {
    writeText(m_dir + "/model", model);
    loaded = rmsim({"load", m_dir + "/model", "fihost-test"});
  }
  if (loaded.status != 0) throw std::runtime_error("rmsim cannot load the model: " + loaded.err);
  if (rmsim({"sysfs", m_dir + "/sys"}).status != 0) throw std::runtime_error("rmsim sysfs failed");
}

SimHost::~SimHost() {
  int rc = std::system(("rm -rf '" + m_dir + "'").c_str());
  (void)rc;  // a folder left in /tmp harms no later test
}

RunResult SimHost::fihost(const std::vector<std::string>& args, const std::string& input) const {
  return runProgram(FIHOST_PATH, args, input, m_dir);
}

RunResult SimHost::rmsim(const std::vector<std::string>& args) const {
  return runProgram(RMSIM_PATH, args, "", m_dir);
}
