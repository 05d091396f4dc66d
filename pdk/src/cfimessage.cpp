#include "cfimessage.h"

namespace frim_pdk_4_4 {

CFiMessage::CFiMessage(char const* id, zfi_eseverity severity, char const* file, int line)
    : m_id(id ? id : ""), m_severity(severity), m_file(file ? file : ""), m_line(line) {}

CFiMessage::~CFiMessage() = default;

CFiIcuMessage::CFiIcuMessage(char const* id, const icu::Formattable* args, int count, zfi_eseverity severity,
                             char const* file, int line)
    : CFiMessage(id, severity, file, line) {
  if (args != nullptr && count > 0) m_arguments.assign(args, args + count);
}

CFiIcuMessage::~CFiIcuMessage() = default;

}  // namespace frim_pdk_4_4
