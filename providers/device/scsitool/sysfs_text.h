#ifndef SCSITOOL_SYSFS_TEXT_H
#define SCSITOOL_SYSFS_TEXT_H

#include <string>
#include <vector>

// Small readers of sysfs attribute files, shared by the discovery classes.
namespace scsitool {

// The whole content of `path`; false when it cannot be opened.
bool readAttribute(const std::string& path, std::string& text);
// `text` without leading and trailing white space and NUL bytes.
std::string trim(const std::string& text);
// `text` without its trailing newlines and NUL bytes (inner and trailing
// blanks kept: inquiry texts are blank-padded and reported as they are).
std::string withoutNewline(std::string text);
// The names in directory `dir` except "." and "..", in name order; empty
// when it cannot be read.
std::vector<std::string> directoryEntries(const std::string& dir);
// The last path component of what the symbolic link `path` points at; ""
// when it is no link.
std::string linkTargetName(const std::string& path);

}  // namespace scsitool

#endif
