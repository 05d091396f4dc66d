#include "sysfs_text.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <memory>
#include <sstream>

namespace scsitool {

namespace {

bool isBlank(char c) { return c == '\0' || std::isspace(static_cast<unsigned char>(c)); }

struct DirCloser {
  void operator()(DIR* dir) const { ::closedir(dir); }
};

}  // namespace

bool readAttribute(const std::string& path, std::string& text) {
  text.clear();
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream content;
  content << in.rdbuf();
  text = content.str();
  return true;
}

std::string trim(const std::string& text) {
  size_t first = 0, last = text.size();
  while (first < last && isBlank(text[first])) ++first;
  while (last > first && isBlank(text[last - 1])) --last;
  return text.substr(first, last - first);
}

std::string withoutNewline(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\0')) text.pop_back();
  return text;
}

std::vector<std::string> directoryEntries(const std::string& dir) {
  std::vector<std::string> names;
  std::unique_ptr<DIR, DirCloser> handle(::opendir(dir.c_str()));
  if (!handle) return names;
  while (struct dirent* entry = ::readdir(handle.get())) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string linkTargetName(const std::string& path) {
  std::string target(4096, '\0');
  ssize_t length = ::readlink(path.c_str(), &target[0], target.size());
  if (length <= 0 || static_cast<size_t>(length) >= target.size()) return std::string();
  target.resize(static_cast<size_t>(length));
  while (!target.empty() && target.back() == '/') target.pop_back();
  return target.substr(target.find_last_of('/') + 1);
}

}  // namespace scsitool
