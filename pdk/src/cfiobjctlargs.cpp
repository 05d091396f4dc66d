#include "cfiobjctlargs.h"

#include <cstring>

namespace frim_pdk_4_4 {

namespace {

// Control bytes (NUL, newline, ...) are escaped too, so the text is always
// one C string of printable lines.
bool needsEscape(char c) { return c == '%' || c == '=' || static_cast<unsigned char>(c) < 0x20; }

void escape(const std::string& in, std::string& out) {
  static const char hex[] = "0123456789ABCDEF";
  for (char c : in) {
    if (needsEscape(c)) {
      unsigned char byte = static_cast<unsigned char>(c);
      out += '%';
      out += hex[byte >> 4];
      out += hex[byte & 0x0F];
    } else {
      out += c;
    }
  }
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

bool unescape(const std::string& in, std::string& out) {
  out.clear();
  for (size_t i = 0; i < in.size(); ++i) {
    if (in[i] != '%') {
      out += in[i];
      continue;
    }
    if (i + 2 >= in.size()) return false;
    int high = hexValue(in[i + 1]);
    int low = hexValue(in[i + 2]);
    if (high < 0 || low < 0) return false;
    out += static_cast<char>((high << 4) | low);
    i += 2;
  }
  return true;
}

}  // namespace

int CFiObjctlArgs::importArgs(char const* text) {
  m_args.clear();
  m_error.clear();
  if (text == nullptr) return 0;
  const char* cursor = text;
  int lineNumber = 0;
  while (*cursor != '\0') {
    ++lineNumber;
    const char* end = std::strchr(cursor, '\n');
    std::string line = end ? std::string(cursor, end) : std::string(cursor);
    cursor = end ? end + 1 : cursor + line.size();
    if (line.empty()) continue;
    size_t equals = line.find('=');
    std::string name, value;
    if (equals == std::string::npos || !unescape(line.substr(0, equals), name) ||
        !unescape(line.substr(equals + 1), value)) {
      m_args.clear();
      m_error = "malformed argument on line " + std::to_string(lineNumber);
      return 3;
    }
    m_args.emplace_back(name, value);
  }
  return 0;
}

std::string CFiObjctlArgs::exportArgs() const {
  std::string out;
  for (const Argument& arg : m_args) {
    escape(arg.first, out);
    out += '=';
    escape(arg.second, out);
    out += '\n';
  }
  return out;
}

std::string CFiObjctlArgs::get(const std::string& name, const std::string& fallback) const {
  for (const Argument& arg : m_args) {
    if (arg.first == name) return arg.second;
  }
  return fallback;
}

}  // namespace frim_pdk_4_4
