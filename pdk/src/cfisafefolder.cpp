#include "cfisafefolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace frim_pdk_4_4 {

std::string unsafeFolderReason(int descriptor, const std::string& path) {
  struct stat info {};
  if (::fstat(descriptor, &info) != 0)
    return "cannot examine the folder " + path + ": " + std::strerror(errno);
  if (!S_ISDIR(info.st_mode)) return path + " is not a folder";
  if (info.st_uid != 0 && info.st_uid != ::geteuid())
    return "the folder " + path + " belongs to user " + std::to_string(info.st_uid) +
           ", neither root nor this process's user";
  if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0)
    return "the folder " + path + " is writable by group or others";
  return "";
}

std::string unsafeFolderReason(const std::string& path) {
  int descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return "cannot open the folder " + path + ": " + std::strerror(errno);
  std::string reason = unsafeFolderReason(descriptor, path);
  ::close(descriptor);
  return reason;
}

}  // namespace frim_pdk_4_4
