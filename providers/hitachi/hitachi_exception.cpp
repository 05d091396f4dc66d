#include "hitachi_exception.h"

#include <unicode/fmtable.h>

#include <vector>

#include "cficontextsingleton.h"
#include "cfierrormanager.h"
#include "cfimessage.h"
#include "cfitracelog.h"
#include "hitachi_clierror.h"

using namespace frim_pdk_4_4;

icu::Formattable messageText(const std::string& value) {
  return icu::Formattable(icu::UnicodeString::fromUTF8(value));
}
icu::Formattable messageNumber(int value) { return icu::Formattable(static_cast<int32_t>(value)); }

namespace {

void pushMessage(const char* id, const std::vector<icu::Formattable>& args, int line) {
  CFiMessagePtr message(new CFiIcuMessage(id, args.data(), static_cast<int>(args.size()),
                                          static_cast<zfi_eseverity>(3), HITACHI_CLIERROR_HEADER, line));
  CFiErrorManagerPtr errors = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false);
  errors->pushError(message);
}

icu::Formattable text(const std::string& value) { return messageText(value); }
icu::Formattable number(int value) { return messageNumber(value); }

}  // namespace

void throwNoCommandDevice(const std::string& enclosureId, const char* file, int line) {
  CHitachiException e;
  e.m_kind = HITACHI_EXC_COMMAND;
  e.m_errorNumber = HITACHI_ERROR_NO_COMMAND_DEVICE;
  e.m_reason = "no command device of this array is known on this host";
  e.m_apiName = "attachcmddev";
  e.m_enclosureId = enclosureId;
  e.m_file = file;
  e.m_line = line;
  throw e;
}

void pushHitachiMessage(const char* id, const std::vector<icu::Formattable>& args) {
  pushMessage(id, args, HITACHI_CLIERROR_LINE_OTHER);
}

void CHitachiException::push() const {
  const char* id = nullptr;
  int line = 0;
  std::vector<icu::Formattable> args;
  switch (m_kind) {
    case HITACHI_EXC_COMMAND:
    case HITACHI_EXC_ARRAY: {
      CFiTraceLogPtr log = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
      log->trace(
          FI_TRACE_ERROR, "API call %s on enclosure %s failed with error %d due to %s. FILE=%s LINE=%d",
          m_apiName.c_str(), m_enclosureId.c_str(), m_errorNumber, m_reason.c_str(), m_file.c_str(), m_line);
      id = MSG_ERROR_HITACHI_COMMAND_FAILED;
      line = HITACHI_CLIERROR_LINE_COMMAND_FAILED;
      args = {text(m_apiName), text(m_enclosureId), number(m_errorNumber),
              text(m_reason),  text(m_file),        number(m_line)};
      break;
    }
    case HITACHI_EXC_INVALID_INPUT:
      id = MSG_ERROR_HITACHI_INVALID_INPUT;
      line = HITACHI_CLIERROR_LINE_INVALID_INPUT;
      args = {text(m_apiName), text(m_reason), text(m_file), number(m_line)};
      break;
    case HITACHI_EXC_SYMBOL:
      id = MSG_ERROR_HITACHI_SYMBOL;
      line = HITACHI_CLIERROR_LINE_SYMBOL;
      args = {text(m_apiName), text(m_reason), text(m_file), number(m_line)};
      break;
    case HITACHI_EXC_BAD_PAIR:
      id = MSG_ERROR_HITACHI_BAD_PAIR_STATUS;
      line = HITACHI_CLIERROR_LINE_BAD_PAIR_STATUS;
      args = {text(m_vdisk),      text(m_vdiskCopy), text(m_enclosureId),
              text(m_pairStatus), text(m_file),      number(m_line)};
      break;
    default:
      return;
  }
  pushMessage(id, args, line);
}
