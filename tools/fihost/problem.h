#ifndef FIHOST_PROBLEM_H
#define FIHOST_PROBLEM_H

#include <stdexcept>
#include <string>

namespace fihost {

// Exit codes, documented in the man page and the README.
enum ExitCode {
  kExitDone = 0,
  kExitProblem = 1,       // an operation failed or check found a problem
  kExitUsage = 2,         // the command line is wrong
  kExitNotConfirmed = 3,  // the administrator did not confirm a restore
  kExitTimeLimit = 124,   // --timeout or --wait ran out, as timeout(1) reports it
  kExitInterrupted = 130  // Ctrl-C or SIGTERM, as a shell reports SIGINT
};

// A failure that ends a subcommand: what went wrong, in words an
// administrator can act on, and the exit code it maps to. Plugin messages
// that explain it are printed before it is thrown.
class Problem : public std::runtime_error {
 public:
  explicit Problem(const std::string& what, int exitCode = kExitProblem)
      : std::runtime_error(what), m_exitCode(exitCode) {}
  int exitCode() const { return m_exitCode; }

 private:
  int m_exitCode;
};

}  // namespace fihost

#endif
