#ifndef FRIM_PDK_CFIERROR_H
#define FRIM_PDK_CFIERROR_H

#include <string>

namespace frim_pdk_4_4 {

// A failure of a kit service, thrown by value. Besides its text it names the
// component and the operation that failed and carries that operation's code,
// so that a plugin can report it to an administrator without knowing the
// service.
class CFiError {
 public:
  CFiError(std::string text, std::string component, std::string operation, int code)
      : m_text(std::move(text)),
        m_component(std::move(component)),
        m_operation(std::move(operation)),
        m_code(code) {}

  const std::string& getText() const { return m_text; }
  const std::string& getComponent() const { return m_component; }
  const std::string& getOperation() const { return m_operation; }
  int getCode() const { return m_code; }

 private:
  std::string m_text;
  std::string m_component;
  std::string m_operation;
  int m_code;
};

// What went wrong when the kit ran an external command through a pipe.
enum EFiExecPipeError : int {
  FI_EXEC_PIPE_CREATE = 1,  // the pipe could not be made
  FI_EXEC_PIPE_FORK = 2,    // no child process
  FI_EXEC_PIPE_EXEC = 3,    // the command could not be started
  FI_EXEC_PIPE_READ = 4,    // reading its output failed
  FI_EXEC_PIPE_WRITE = 5,   // writing its input failed
  FI_EXEC_PIPE_WAIT = 6,    // waiting for it failed
  FI_EXEC_PIPE_STATUS = 7,  // it ended with a failure status
};

// The name of a pipe error, from the kit's table; "FI_EXEC_PIPE_UNKNOWN" for
// a value the table does not have. Never null.
const char* execPipeErrorName(int error);

// A failure of an external command the kit ran, thrown by value.
class EFiExecPipe {
 public:
  EFiExecPipe(int error, std::string text) : m_error(error), m_text(std::move(text)) {}
  int getError() const { return m_error; }
  const std::string& getText() const { return m_text; }

 private:
  int m_error;
  std::string m_text;
};

}  // namespace frim_pdk_4_4

#endif
