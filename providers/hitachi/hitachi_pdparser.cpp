#include "hitachi_pdparser.h"

#include <cstdlib>
#include <cstring>
#include <vector>

#include "V_strings.h"

namespace {

ACE_CString node(const std::string& name, const char* contents, size_t length) {
  ACE_CString out("<");
  out += name.c_str();
  out += ">";
  out += ACE_CString(contents, length);
  out += "</";
  out += name.c_str();
  out += ">";
  return out;
}

// A zero-terminated private copy of at most `length` characters.
std::vector<char> copyOf(const char* text, int length) {
  size_t size = length > 0 ? static_cast<size_t>(length) + 1 : 1;
  std::vector<char> copy(size, '\0');
  if (text != nullptr && length > 0) V_strlncpy(copy.data(), text, static_cast<size_t>(length), size);
  return copy;
}

bool find(const std::string& name, const char* text, const char** open, const char** close) {
  if (text == nullptr) return false;
  const std::string openTag = "<" + name + ">";
  const std::string closeTag = "</" + name + ">";
  *open = std::strstr(text, openTag.c_str());
  if (*open == nullptr) return false;
  // Searched from the opening tag itself, not from its end.
  *close = std::strstr(*open, closeTag.c_str());
  return *close != nullptr;
}

}  // namespace

ACE_CString CPrivateDataParser::createNode(std::string name, char value) {
  return node(name, &value, value == '\0' ? 0 : 1);
}

ACE_CString CPrivateDataParser::createNode(std::string name, bool value) {
  return node(name, value ? "1" : "0", 1);
}

ACE_CString CPrivateDataParser::createNode(std::string name, int value) {
  char buffer[32];
  int length = V_snprintf(buffer, sizeof buffer, "%d", value);
  return node(name, buffer, length > 0 ? static_cast<size_t>(length) : 0);
}

ACE_CString CPrivateDataParser::createNode(std::string name, ACE_CString value) {
  return node(name, value.c_str(), value.length());
}

ACE_CString CPrivateDataParser::createNode(std::string name, std::string value) {
  return node(name, value.data(), value.size());
}

int CPrivateDataParser::getNode(std::string name, const char* text, const char** start, const char** end) {
  const char* open = nullptr;
  const char* close = nullptr;
  if (!find(name, text, &open, &close)) {
    *start = nullptr;
    *end = nullptr;
    return 1;
  }
  *start = open;
  *end = close + name.size() + 3;
  return 0;
}

int CPrivateDataParser::getNode(std::string name, char* text, char** start, char** end) {
  const char* s = nullptr;
  const char* e = nullptr;
  int rc = getNode(name, const_cast<const char*>(text), &s, &e);
  *start = const_cast<char*>(s);
  *end = const_cast<char*>(e);
  return rc;
}

int CPrivateDataParser::getNodeContents(std::string name, const char* text, const char** contents,
                                        int* length) {
  const char* open = nullptr;
  const char* close = nullptr;
  if (!find(name, text, &open, &close)) {
    *contents = nullptr;
    return 1;
  }
  const char* start = open + name.size() + 2;
  if (close < start) {  // only for names that contain tag characters
    *contents = nullptr;
    return 1;
  }
  *contents = start;
  *length = static_cast<int>(close - start);
  return 0;
}

int CPrivateDataParser::getNodeContents(std::string name, char* text, char** contents, int* length) {
  const char* c = nullptr;
  int rc = getNodeContents(name, const_cast<const char*>(text), &c, length);
  *contents = const_cast<char*>(c);
  return rc;
}

bool CPrivateDataParser::toBool(const char* text, int length) {
  std::vector<char> copy = copyOf(text, length);
  if (length == 1 && copy[0] == '1') return true;
  if (length == 1 && copy[0] == '0') return false;
  throw invalidData(ACE_CString(copy.data()));
}

char CPrivateDataParser::toChar(const char* text, int length) {
  std::vector<char> copy = copyOf(text, length);
  if (length != 1) throw invalidData(ACE_CString(copy.data()));
  return copy[0];
}

int CPrivateDataParser::toInteger(const char* text, int length) {
  std::vector<char> copy = copyOf(text, length);
  return static_cast<int>(std::strtol(copy.data(), nullptr, 10));
}

std::string CPrivateDataParser::toString(const char* text, int length) {
  std::vector<char> copy = copyOf(text, length);
  return std::string(copy.data());
}
