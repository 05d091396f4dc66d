#ifndef TESTS_SUPPORT_PROCESS_RUN_H
#define TESTS_SUPPORT_PROCESS_RUN_H

// A program run as a separate process (fihost, rmsim), its standard input
// given, its output and errors kept; and a whole file read as text.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

struct RunResult {
  int status = -1;  // exit code, 128 + the signal that ended it, or -1
  std::string out, err;
};

// The whole text of a file ("" when it cannot be read).
inline std::string slurp(const std::string& path) {
  std::ifstream in(path);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Runs `program` with `args`; its standard streams go through files in
// `scratch`. With a `signal`, sends it once `stopNow` says so while it runs.
inline RunResult runProgram(const std::string& program, const std::vector<std::string>& args,
                            const std::string& input, const std::string& scratch, int signal = 0,
                            const std::function<bool()>& stopNow = {}) {
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
  while (signal != 0 && ::waitpid(child, &status, WNOHANG) == 0)
    if (stopNow()) ::kill(child, signal), signal = 0;
  if (signal == 0) ::waitpid(child, &status, 0);
  return {WIFEXITED(status)     ? WEXITSTATUS(status)
          : WIFSIGNALED(status) ? 128 + WTERMSIG(status)
                                : -1,
          slurp(out), slurp(err)};
}

#endif
