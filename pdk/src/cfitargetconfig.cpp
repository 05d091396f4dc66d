#include "cfitargetconfig.h"

#include <algorithm>
#include <cctype>

#include "cfiudid.h"

namespace frim_pdk_4_4 {

namespace {

const char kUdidPrefix[] = "UDID##";
const char kSeparator[] = "##";

std::string trim(const std::string& text) {
  size_t first = 0, last = text.size();
  while (first < last && std::isspace(static_cast<unsigned char>(text[first]))) ++first;
  while (last > first && std::isspace(static_cast<unsigned char>(text[last - 1]))) --last;
  return text.substr(first, last - first);
}

// The key a device is known by: its UDID from "UDID##" on.
std::string udidKey(const std::string& name) {
  size_t at = name.find(kUdidPrefix);
  return at == std::string::npos ? name : name.substr(at);
}

// Cuts a comment off a line. UDIDs hold "##" and SCSI vendor and product
// names may end in blanks ("HITACHI ##"), so a comment starts only with a
// "#" that opens the line or follows a blank and is not followed by another
// "#".
std::string withoutComment(const std::string& line) {
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] != '#') continue;
    bool opens = trim(line.substr(0, i)).empty();
    bool afterBlank = i > 0 && std::isspace(static_cast<unsigned char>(line[i - 1]));
    bool doubled = i + 1 < line.size() && line[i + 1] == '#';
    if (opens || (afterBlank && !doubled)) return line.substr(0, i);
    if (doubled) ++i;
  }
  return line;
}

bool endsInDeviceId(const std::string& target) {
  size_t marker = target.rfind(kSeparator);
  if (marker == std::string::npos || marker + 2 >= target.size()) return false;
  return std::all_of(target.begin() + static_cast<std::ptrdiff_t>(marker + 2), target.end(),
                     [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; });
}

// A part of a text and the offset of its first byte in that text.
struct Part {
  std::string text;
  size_t at;
};

std::vector<Part> split(const std::string& text, char separator) {
  std::vector<Part> parts;
  size_t start = 0;
  for (size_t end; (end = text.find(separator, start)) != std::string::npos; start = end + 1)
    parts.push_back({text.substr(start, end - start), start});
  if (start < text.size() || (!text.empty() && text.back() == separator))
    parts.push_back({text.substr(start), start});
  return parts;
}

// Offset of the first non-blank byte of `part` (the end when there is none).
size_t firstNonBlank(const Part& part) {
  size_t i = 0;
  while (i < part.text.size() && std::isspace(static_cast<unsigned char>(part.text[i]))) ++i;
  return part.at + i;
}

}  // namespace

void CFiTargetConfig::parse(const std::string& text) {
  std::map<std::string, std::vector<std::string>> parsed;
  int number = 0;
  for (const Part& line : split(text, '\n')) {
    ++number;
    size_t column = 0;  // of the entry or target at fault, from 0
    auto fail = [&number, &column](const std::string& what) {
      throw CFiTargetConfigError("snapshot_resource_spec line " + std::to_string(number) + ": " + what,
                                 number, static_cast<int>(column) + 1);
    };
    for (const Part& part : split(withoutComment(line.text), ';')) {
      const std::string entry = trim(part.text);
      if (entry.empty()) continue;
      column = firstNonBlank(part);
      size_t equals = entry.find('=');
      if (equals == std::string::npos)
        fail("expected '<source UDID> = <target>[, <target>...]', found '" + entry + "'");
      std::string source = trim(entry.substr(0, equals));
      if (source.empty()) fail("no source device before '='");
      try {
        CFiUdid udid(source.c_str());
      } catch (const CFiUdidException& e) {
        fail("source '" + source + "' is not a device UDID (reason " + std::to_string(e.getReason()) + ")");
      }
      std::vector<std::string>& targets = parsed[udidKey(source)];
      const size_t listAt = part.text.find('=') + 1;
      const std::vector<Part> listed = split(part.text.substr(listAt), ',');
      column = part.at + listAt;
      if (listed.empty()) fail("no target after '=' for '" + source + "'");
      for (const Part& listedTarget : listed) {
        column = part.at + listAt + firstNonBlank(listedTarget);
        const std::string target = trim(listedTarget.text);
        if (target.empty()) fail("missing target for '" + source + "'");
        if (!endsInDeviceId(target)) fail("target '" + target + "' does not end in '##<device id>'");
        if (std::find(targets.begin(), targets.end(), target) != targets.end()) {
          fail("target '" + target + "' is listed twice for '" + source + "'");
        }
        targets.push_back(target);
      }
    }
  }
  m_targets.swap(parsed);
}

std::vector<std::string> CFiTargetConfig::targetsFor(const std::string& nodeName) const {
  auto found = m_targets.find(udidKey(nodeName));
  return found == m_targets.end() ? std::vector<std::string>() : found->second;
}

std::string CFiTargetConfig::deviceIdOf(const std::string& target) {
  size_t marker = target.rfind(kSeparator);
  return marker == std::string::npos ? std::string() : target.substr(marker + 2);
}

}  // namespace frim_pdk_4_4
