#include "hitachi_plugin_guard.h"

#include "hitachi_clierror.h"
#include "zfi.h"

using namespace frim_pdk_4_4;

namespace hitachi_guard {

int reportExecPipe(const EFiExecPipe& e, const char* file, int line) {
  pushHitachiMessage(MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION,
                     {messageText(execPipeErrorName(e.getError())), messageText(e.getText()),
                      messageText(file), messageNumber(line)});
  return ZFI_E_REPORTED;
}

int reportHitachi(const CHitachiException& e) {
  e.push();
  return ZFI_E_REPORTED;
}

int reportFiError(const CFiError& e) {
  pushHitachiMessage(MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION,
                     {messageText(e.getText()), messageText(e.getComponent()), messageText(e.getOperation()),
                      messageNumber(e.getCode())});
  return ZFI_E_REPORTED;
}

int reportUdid(const CFiUdidException& e) {
  pushHitachiMessage(MSG_ERROR_UDID_PARSING_EXCEPTION,
                     {messageText(e.getText()), messageNumber(e.getReason())});
  return ZFI_E_REPORTED;
}

int reportRuntime(const std::runtime_error& e, const char* file, int line) {
  pushHitachiMessage(
      MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION,
      {messageText("std::runtime_error"), messageText(e.what()), messageText(file), messageNumber(line)});
  return ZFI_E_REPORTED;
}

int reportInt(int value, const char* file, int line) {
  pushHitachiMessage(MSG_ERROR_UNHANDLED_INT_EXCEPTION,
                     {messageNumber(value), messageText(file), messageNumber(line)});
  return ZFI_E_REPORTED;
}

}  // namespace hitachi_guard
