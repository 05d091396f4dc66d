#ifndef HITACHI_PDPARSER_H
#define HITACHI_PDPARSER_H

#include <ace/SString.h>

#include <string>

// Contents that do not hold the value asked for (a truth value or a
// character); carries the offending contents.
class invalidData {
 public:
  explicit invalidData(const ACE_CString& contents) : m_contents(contents) {}
  const ACE_CString& getContents() const { return m_contents; }

 private:
  ACE_CString m_contents;
};

// Writes and reads the plugin's private-data text: named nodes
// "<Name>contents</Name>", concatenated without separators or escaping.
// A node is found by the first opening tag of its name and the first closing
// tag after it, at any depth; contents that hold "<", ">" or a closing tag
// of an enclosing node cannot be read back, so writers never produce them.
class CPrivateDataParser {
 public:
  static ACE_CString createNode(std::string name, char value);
  static ACE_CString createNode(std::string name, bool value);
  static ACE_CString createNode(std::string name, int value);
  static ACE_CString createNode(std::string name, ACE_CString value);
  static ACE_CString createNode(std::string name, std::string value);

  // 0 and the whole node ([*start, *end)), or 1 and both null.
  static int getNode(std::string name, const char* text, const char** start, const char** end);
  static int getNode(std::string name, char* text, char** start, char** end);
  // 0, the contents and their length, or 1 with the contents null (length untouched).
  static int getNodeContents(std::string name, const char* text, const char** contents, int* length);
  static int getNodeContents(std::string name, char* text, char** contents, int* length);

  // Conversions of `length` characters of contents (not zero-terminated).
  static bool toBool(const char* text, int length);    // "1" or "0", else invalidData
  static char toChar(const char* text, int length);    // one character, else invalidData
  static int toInteger(const char* text, int length);  // base 10, 0 when not a number
  static std::string toString(const char* text, int length);
};

#endif
