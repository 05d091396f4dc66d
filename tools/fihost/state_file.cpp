#include "state_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>

#include "problem.h"

namespace fihost {

namespace {

constexpr int kFormat = 1;

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

// A text that is only shown: control bytes go, so that a state file cannot
// send a terminal its escape sequences.
std::string printable(std::string text) {
  text.erase(std::remove_if(text.begin(), text.end(), isControl), text.end());
  return text;
}

std::string text(const nlohmann::json& object, const char* key, const std::string& where) {
  auto found = object.find(key);
  if (found == object.end() || !found->is_string() || found->get<std::string>().empty())
    throw Problem(where + ": \"" + key + "\" is missing or not a text");
  return found->get<std::string>();
}

// A text handed to the plugin and shown as well: one with control bytes is
// refused rather than changed.
std::string name(const nlohmann::json& object, const char* key, const std::string& where) {
  std::string value = text(object, key, where);
  if (std::any_of(value.begin(), value.end(), isControl))
    throw Problem(where + ": \"" + key + "\" holds control bytes");
  return value;
}

// A UDID whose last field, the device number, is decimal and fits an int:
// a number that wraps (4294967552 read as 256) would name another device.
std::string udid(const nlohmann::json& object, const char* key, const std::string& where) {
  std::string value = name(object, key, where);
  const size_t marker = value.rfind("##");
  const std::string number = marker == std::string::npos ? "" : value.substr(marker + 2);
  char* end = nullptr;
  errno = 0;
  const long long parsed = std::strtoll(number.c_str(), &end, 10);
  const bool digits = !number.empty() &&
                      std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; });
  if (!digits || errno != 0 || *end != '\0' || parsed > INT_MAX)
    throw Problem(where + ": \"" + key + "\" does not end in \"##\" and a device number");
  return value;
}

// The state file, opened without following a link. Run as root, fihost
// reads only a file of root's that no one else may write: a state file
// names the devices a restore overwrites.
int openStateFile(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) throw Problem("cannot read the state file " + path + ": " + std::strerror(errno));
  struct stat info {};
  std::string refusal;
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode))
    refusal = "the state file " + path + " is not a regular file";
  else if (::geteuid() == 0 && info.st_uid != 0)
    refusal = "the state file " + path + " belongs to user " + std::to_string(info.st_uid) +
              "; run as root, fihost reads only a state file of root's";
  else if (::geteuid() == 0 && (info.st_mode & (S_IWGRP | S_IWOTH)) != 0)
    refusal = "the state file " + path +
              " is writable by group or others; run as root, fihost reads it only "
              "when no one else may change it";
  if (!refusal.empty()) {
    ::close(fd);
    throw Problem(refusal);
  }
  return fd;
}

std::string readAll(int fd, const std::string& path) {
  std::string bytes;
  char chunk[65536];
  for (ssize_t got; (got = ::read(fd, chunk, sizeof chunk)) != 0;) {
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw Problem("cannot read the state file " + path + ": " + std::strerror(errno));
    bytes.append(chunk, static_cast<size_t>(got));
  }
  return bytes;
}

}  // namespace

void writeStateFile(const std::string& path, const StateFile& state) {
  nlohmann::json list = nlohmann::json::array();
  for (const SnapshotEntry& e : state.snapshots)
    list.push_back({{"device", e.device},
                    {"node", e.node},
                    {"source", e.source},
                    {"snapshot", e.snapshot},
                    {"method", e.method},
                    {"provider_state", e.providerState}});
  nlohmann::json document = {
      {"fihost_state", kFormat}, {"created", state.created}, {"session", state.session}, {"snapshots", list}};
  // Written beside the target under a name no one can foresee (mkstemp
  // creates it exclusively), then renamed over it.
  const size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  std::string temporary = (slash == std::string::npos ? "" : folder) + ".fihost-state.XXXXXX";
  const int fd = ::mkstemp(&temporary[0]);
  if (fd < 0) throw Problem("cannot write a file in " + folder + ": " + std::strerror(errno));
  const std::string bytes = document.dump(2) + "\n";
  bool written = ::fchmod(fd, 0644) == 0;
  for (size_t done = 0; written && done < bytes.size();) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    written = n > 0;
    if (written) done += static_cast<size_t>(n);
  }
  const std::string writeError = std::strerror(errno);
  if (::close(fd) != 0) written = false;
  if (!written) {
    ::unlink(temporary.c_str());
    throw Problem("cannot write " + temporary + ": " + writeError);
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    std::string why = std::strerror(errno);
    ::unlink(temporary.c_str());
    throw Problem("cannot write " + path + ": " + why);
  }
}

StateFile readStateFile(const std::string& path) {
  const int fd = openStateFile(path);
  std::string bytes;
  try {
    bytes = readAll(fd, path);
  } catch (...) {
    ::close(fd);
    throw;
  }
  ::close(fd);
  nlohmann::json document = nlohmann::json::parse(bytes, nullptr, false);
  if (document.is_discarded() || !document.is_object())
    throw Problem(path + " is not a state file written by fihost snapshot (not a JSON object)");
  auto format = document.find("fihost_state");
  if (format == document.end() || !format->is_number_integer() || format->get<int>() != kFormat)
    throw Problem(path + " is not a state file of this fihost (\"fihost_state\" is not " +
                  std::to_string(kFormat) + ")");
  auto list = document.find("snapshots");
  if (list == document.end() || !list->is_array() || list->empty())
    throw Problem(path + ": \"snapshots\" is missing or empty");
  StateFile state;
  if (document.contains("created") && document["created"].is_string())
    state.created = printable(document["created"]);
  if (document.contains("session") && document["session"].is_string())
    state.session = printable(document["session"]);
  for (size_t i = 0; i < list->size(); ++i) {
    const nlohmann::json& item = (*list)[i];
    const std::string where = path + ": snapshot " + std::to_string(i + 1);
    if (!item.is_object()) throw Problem(where + " is not an object");
    SnapshotEntry entry;
    entry.device = printable(text(item, "device", where));
    entry.node = name(item, "node", where);
    entry.source = udid(item, "source", where);
    entry.snapshot = udid(item, "snapshot", where);
    entry.method = name(item, "method", where);
    entry.providerState = text(item, "provider_state", where);
    state.snapshots.push_back(entry);
  }
  return state;
}

}  // namespace fihost
