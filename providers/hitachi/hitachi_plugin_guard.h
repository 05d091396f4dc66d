#ifndef HITACHI_PLUGIN_GUARD_H
#define HITACHI_PLUGIN_GUARD_H

#include <stdexcept>

#include "cfierror.h"
#include "cfiudid.h"
#include "hitachi_exception.h"

// The operation guard of every snapshot operation (select, prepare, make,
// isready, restore, provider state). Exceptions never cross the exported
// entry points: what escapes an operation's body is reported to the
// framework as a message on the error manager and the operation returns 6.
//
//   CHitachiException   its own message (push())
//   EFiExecPipe         MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION
//   CFiError            MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION
//   CFiUdidException    MSG_ERROR_UDID_PARSING_EXCEPTION
//   std::runtime_error  MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION
//   int                 MSG_ERROR_UNHANDLED_INT_EXCEPTION
//
// Anything else propagates. `file` and `line` name the operation; they are
// the last arguments of the messages that carry a place.
namespace hitachi_guard {

int reportExecPipe(const frim_pdk_4_4::EFiExecPipe& e, const char* file, int line);
int reportHitachi(const CHitachiException& e);
int reportFiError(const frim_pdk_4_4::CFiError& e);
int reportUdid(const frim_pdk_4_4::CFiUdidException& e);
int reportRuntime(const std::runtime_error& e, const char* file, int line);
int reportInt(int value, const char* file, int line);

}  // namespace hitachi_guard

template <class Body>
int runGuarded(const char* file, int line, Body&& body) {
  try {
    return body();
  } catch (const frim_pdk_4_4::EFiExecPipe& e) {
    return hitachi_guard::reportExecPipe(e, file, line);
  } catch (const CHitachiException& e) {
    return hitachi_guard::reportHitachi(e);
  } catch (const frim_pdk_4_4::CFiError& e) {
    return hitachi_guard::reportFiError(e);
  } catch (const frim_pdk_4_4::CFiUdidException& e) {
    return hitachi_guard::reportUdid(e);
  } catch (const std::runtime_error& e) {
    return hitachi_guard::reportRuntime(e, file, line);
  } catch (int value) {
    return hitachi_guard::reportInt(value, file, line);
  }
}

// Runs the rest of the enclosing operation's body under the guard.
#define HITACHI_GUARDED(...) runGuarded(__FILE__, __LINE__, [&]() -> int __VA_ARGS__)

#endif
