#include "sim_state_path.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "rmsim.h"
#include "sim_db.h"

namespace rmsim {

namespace {

// Why the file or folder described by `info` is not the user's alone, or "".
std::string notOwnReason(const struct stat& info) {
  if (info.st_uid != ::geteuid())
    return "belongs to user " + std::to_string(info.st_uid) + ", not to user " + std::to_string(::geteuid());
  if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0) return "is writable by group or others";
  return "";
}

std::string homeFolder() {
  const char* home = ::secure_getenv("HOME");
  if (home != nullptr && home[0] == '/') return home;
  const struct passwd* entry = ::getpwuid(::geteuid());
  if (entry == nullptr || entry->pw_dir == nullptr || entry->pw_dir[0] != '/')
    throw DbError("no home folder for the simulator state: set RMSIM_DB");
  return entry->pw_dir;
}

// Makes `folder` (mode 0700) when missing and checks that it is the user's alone.
void ownFolder(const std::string& folder) {
  if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
    throw DbError("cannot make the simulator's folder " + folder + ": " + std::strerror(errno));
  struct stat info {};
  if (::lstat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
    throw DbError("the simulator's folder " + folder + " is not a folder");
  const std::string reason = notOwnReason(info);
  if (!reason.empty()) throw DbError("the simulator's folder " + folder + " " + reason + ": refused");
}

}  // namespace

std::string defaultStatePath() {
  const char* path = ::secure_getenv("RMSIM_DB");
  if (path != nullptr && *path != '\0') return path;
  const char* runtime = ::secure_getenv("XDG_RUNTIME_DIR");
  std::string folder;
  if (runtime != nullptr && runtime[0] == '/') {
    folder = std::string(runtime) + "/rmsim";
  } else {
    const std::string cache = homeFolder() + "/.cache";
    if (::mkdir(cache.c_str(), 0700) != 0 && errno != EEXIST)
      throw DbError("cannot make " + cache + ": " + std::strerror(errno));
    folder = cache + "/rmsim";
  }
  ownFolder(folder);
  return folder + "/state.db";
}

void checkStateFile(const std::string& path) {
  for (const char* suffix : {"", "-wal", "-shm"}) {
    const std::string file = path + suffix;
    struct stat info {};
    if (::stat(file.c_str(), &info) != 0) continue;
    const std::string reason = notOwnReason(info);
    if (!reason.empty()) throw DbError("simulator state " + file + " " + reason + ": refused");
  }
}

void checkPathComponent(const std::string& name, const char* what) {
  bool control = false;
  for (unsigned char c : name) control = control || c < 0x20 || c == 0x7f;
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos || control)
    throw ModelError(std::string(what) + " '" + (control ? std::string("(control bytes)") : name) +
                     "' cannot name a file");
}

}  // namespace rmsim
