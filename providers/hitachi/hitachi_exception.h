#ifndef HITACHI_EXCEPTION_H
#define HITACHI_EXCEPTION_H

#include <unicode/fmtable.h>

#include <string>
#include <vector>

// Kinds of CHitachiException, and the message each is reported as.
enum : int {
  HITACHI_EXC_NONE = 0,
  HITACHI_EXC_COMMAND = 1,        // MSG_ERROR_HITACHI_COMMAND_FAILED
  HITACHI_EXC_ARRAY = 2,          // MSG_ERROR_HITACHI_COMMAND_FAILED
  HITACHI_EXC_INVALID_INPUT = 3,  // MSG_ERROR_HITACHI_INVALID_INPUT
  HITACHI_EXC_SYMBOL = 4,         // MSG_ERROR_HITACHI_SYMBOL
  HITACHI_EXC_BAD_PAIR = 5,       // MSG_ERROR_HITACHI_BAD_PAIR_STATUS
};

// The plugin's one exception type: what failed, with the array library's
// error number and reason. The code that throws sets the fields directly.
class CHitachiException {
 public:
  CHitachiException() = default;
  CHitachiException(const CHitachiException&) = default;
  CHitachiException& operator=(const CHitachiException&) = default;
  ~CHitachiException() = default;

  // Reports the exception as a message on the error manager (kinds 1 to 5;
  // any other kind reports nothing). Kinds 1 and 2 are also traced at level
  // 1. Each call reports once more.
  void push() const;

  int m_kind = 0;
  int m_errorNumber = 0;
  std::string m_reason;
  std::string m_apiName;
  std::string m_enclosureId;
  std::string m_file;
  int m_line = 0;
  std::string m_vdisk;
  std::string m_vdiskCopy;
  std::string m_pairStatus;
};

// The error number reported when no command device of an array is known on
// this host, so no library call was made: -ENODEV. The array library's own
// error numbers are positive.
constexpr int HITACHI_ERROR_NO_COMMAND_DEVICE = -19;

// The failure of an array operation that has no command device to go
// through: the array is not seen by this host (or not yet discovered).
// Reported as attachcmddev failing with HITACHI_ERROR_NO_COMMAND_DEVICE.
[[noreturn]] void throwNoCommandDevice(const std::string& enclosureId, const char* file, int line);

// Reports message `id` of the plugin's catalog with `args` (severity 3) on the
// error manager, for failures that are not a CHitachiException.
void pushHitachiMessage(const char* id, const std::vector<icu::Formattable>& args);
// Message arguments: a UTF-8 text, an integer.
icu::Formattable messageText(const std::string& value);
icu::Formattable messageNumber(int value);

#endif
