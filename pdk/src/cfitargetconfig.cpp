#include "cfitargetconfig.h"

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace frim_pdk_4_4 {

namespace {

std::string trim(const std::string& text) {
  size_t first = 0, last = text.size();
  while (first < last && std::isspace(static_cast<unsigned char>(text[first]))) ++first;
  while (last > first && std::isspace(static_cast<unsigned char>(text[last - 1]))) --last;
  return text.substr(first, last - first);
}

bool isTarget(const std::string& target) {
  size_t marker = target.rfind("##");
  if (marker == std::string::npos || marker + 2 >= target.size()) return false;
  for (size_t i = marker + 2; i < target.size(); ++i) {
    if (!std::isdigit(static_cast<unsigned char>(target[i]))) return false;
  }
  return true;
}

}  // namespace

void CFiTargetConfig::parse(const std::string& text) {
  std::map<std::string, std::vector<std::string>> parsed;
  std::istringstream lines(text);
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    if (trim(line).rfind("#", 0) == 0) continue;  // UDIDs hold "##", so only whole lines are comments
    std::istringstream entries(line);
    for (std::string entry; std::getline(entries, entry, ';');) {
      entry = trim(entry);
      if (entry.empty()) continue;
      auto fail = [&](const std::string& what) {
        throw CFiTargetConfigError("snapshot_resource_spec line " + std::to_string(number) + ": " + what);
      };
      size_t equals = entry.find('=');
      if (equals == std::string::npos) fail("expected '<source> = <target>[, <target>...]'");
      std::string source = trim(entry.substr(0, equals));
      if (source.empty()) fail("no source device before '='");
      if (parsed.count(source)) fail("source '" + source + "' is listed twice");
      std::vector<std::string>& targets = parsed[source];
      std::istringstream list(entry.substr(equals + 1));
      for (std::string target; std::getline(list, target, ',');) {
        target = trim(target);
        if (!isTarget(target)) fail("target '" + target + "' does not end in '##<device id>'");
        targets.push_back(target);
      }
      if (targets.empty()) fail("no target for '" + source + "'");
    }
  }
  m_targets.swap(parsed);
}

std::vector<std::string> CFiTargetConfig::targetsFor(const std::string& source) const {
  auto found = m_targets.find(source);
  return found == m_targets.end() ? std::vector<std::string>() : found->second;
}

CFiTargetConfig& CFiTargetConfig::current() {
  static CFiTargetConfig config = [] {
    CFiTargetConfig loaded;
    const char* value = std::getenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC");
    if (value == nullptr || *value == '\0') return loaded;
    std::string text = value;
    if (text[0] == '@') {
      std::ifstream in(text.substr(1));
      std::stringstream content;
      content << in.rdbuf();
      text = content.str();
    }
    try {
      loaded.parse(text);
    } catch (const CFiTargetConfigError& e) {
      loaded.m_error = e.what();
    }
    return loaded;
  }();
  return config;
}

}  // namespace frim_pdk_4_4
