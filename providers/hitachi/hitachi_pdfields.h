#ifndef HITACHI_PDFIELDS_H
#define HITACHI_PDFIELDS_H

#include <string>

#include "hitachi_pdparser.h"

// Field readers shared by the device records. Each looks for its node from
// `from` (the start of the enclosing node's contents) to the end of the
// whole text, as the format defines. A node that is not there leaves the
// field as it was: texts written by serialize() always hold every node, and
// for any other text this is the one reading that never works on a position
// that was not found.
namespace hitachi_pdfields {

inline void readInt(const char* from, const char* name, int& field) {
  const char* contents = nullptr;
  int length = 0;
  if (CPrivateDataParser::getNodeContents(name, from, &contents, &length) == 0) {
    field = CPrivateDataParser::toInteger(contents, length);
  }
}

inline void readString(const char* from, const char* name, std::string& field) {
  const char* contents = nullptr;
  int length = 0;
  if (CPrivateDataParser::getNodeContents(name, from, &contents, &length) == 0) {
    field = CPrivateDataParser::toString(contents, length);
  }
}

// Throws invalidData when the contents are not exactly "0" or "1".
inline void readBool(const char* from, const char* name, bool& field) {
  const char* contents = nullptr;
  int length = 0;
  if (CPrivateDataParser::getNodeContents(name, from, &contents, &length) == 0) {
    field = CPrivateDataParser::toBool(contents, length);
  }
}

}  // namespace hitachi_pdfields

#endif
