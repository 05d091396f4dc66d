// A sysfs tree that matches the model: one SCSI disk per LDEV that the model
// names a host device for, with the inquiry data those arrays report.
//
// The tree is often written by root for a plugin that runs as root, so it is
// written only below a folder of the caller's own that no one else may write
// in, every step relative to an open folder and never through a link: an
// entry someone planted cannot turn a write into one elsewhere.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>

#include "rmsim.h"
#include "sim_db.h"
#include "sim_state_path.h"

namespace rmsim {

namespace {

// An open folder, closed on destruction.
class Folder {
 public:
  explicit Folder(int fd) : m_fd(fd) {}
  ~Folder() {
    if (m_fd >= 0) ::close(m_fd);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  Folder(Folder&& other) noexcept : m_fd(other.m_fd) { other.m_fd = -1; }
  int fd() const { return m_fd; }

 private:
  int m_fd;
};

[[noreturn]] void failed(const std::string& what, const std::string& path) {
  throw ModelError("cannot " + what + " " + path + ": " + std::strerror(errno));
}

// The root of the tree, made (0755) when missing; refused unless it is the
// caller's and no one else may write in it.
Folder openRoot(const std::string& root) {
  if (::mkdir(root.c_str(), 0755) != 0 && errno != EEXIST) failed("make", root);
  Folder folder(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (folder.fd() < 0) failed("open the folder", root);
  struct stat info {};
  if (::fstat(folder.fd(), &info) != 0) failed("examine", root);
  if (info.st_uid != ::geteuid())
    throw ModelError("the folder " + root + " belongs to user " + std::to_string(info.st_uid) +
                     ": write the tree in a folder of your own (mktemp -d)");
  if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0)
    throw ModelError("the folder " + root +
                     " is writable by group or others: write the tree in a folder of "
                     "your own (mktemp -d)");
  return folder;
}

// The folder `name` inside `parent`, made (0755) when missing.
Folder subfolder(const Folder& parent, const std::string& name, const std::string& shown) {
  if (::mkdirat(parent.fd(), name.c_str(), 0755) != 0 && errno != EEXIST) failed("make", shown);
  Folder folder(::openat(parent.fd(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (folder.fd() < 0) failed("open the folder", shown);
  return folder;
}

// Replaces `name` inside `folder` with a new file holding `text`. The old
// entry is removed (never followed) and the new one is created exclusively.
void writeFile(const Folder& folder, const std::string& name, const std::string& text,
               const std::string& shown) {
  if (::unlinkat(folder.fd(), name.c_str(), 0) != 0 && errno != ENOENT) failed("replace", shown);
  const int fd =
      ::openat(folder.fd(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (fd < 0) failed("write", shown);
  const bool whole = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  ::close(fd);
  if (!whole) failed("write", shown);
}

// Inquiry texts are fixed-width and blank-padded.
std::string padded(const std::string& text, size_t width) {
  std::string out = text.substr(0, width);
  out.resize(width, ' ');
  return out;
}

}  // namespace

int Simulator::writeSysfs(const std::string& root) {
  const Folder top = openRoot(root);
  const Folder block = subfolder(top, "block", root + "/block");
  const Folder devices = subfolder(top, "devices", root + "/devices");
  Statement q = m_db->prepare(
      "SELECT l.serial, l.inq_vendor, l.ldev, l.inq_product, l.device, l.inq_serial FROM ldevs l "
      "WHERE l.device <> '' ORDER BY l.serial, l.ldev");
  std::map<int, int> hostOfArray;
  int written = 0;
  while (q.step()) {
    int serial = static_cast<int>(q.integer(0));
    if (!hostOfArray.count(serial)) hostOfArray[serial] = 2 + static_cast<int>(hostOfArray.size());
    // The device name comes from the state file: it names one entry of
    // block/, nothing above or beside it.
    const std::string name = q.text(4);
    checkPathComponent(name, "device name");
    const std::string address = std::to_string(hostOfArray[serial]) + ":0:0:" + std::to_string(written);
    const std::string shown = root + "/devices/" + address;
    const Folder device = subfolder(devices, address, shown);
    writeFile(device, "vendor", padded(q.text(1), 8) + "\n", shown + "/vendor");
    writeFile(device, "model", padded(q.text(3), 16) + "\n", shown + "/model");
    writeFile(device, "state", "running\n", shown + "/state");
    const std::string serialText = q.text(5);  // the model's, by default serial then LDEV in hex
    std::string page("\0\x80\0", 3);
    page += static_cast<char>(serialText.size());
    writeFile(device, "vpd_pg80", page + serialText, shown + "/vpd_pg80");
    const Folder disk = subfolder(block, name, root + "/block/" + name);
    subfolder(disk, "holders", root + "/block/" + name + "/holders");
    const std::string link = root + "/block/" + name + "/device";
    if (::unlinkat(disk.fd(), "device", 0) != 0 && errno != ENOENT) failed("replace", link);
    if (::symlinkat(("../../devices/" + address).c_str(), disk.fd(), "device") != 0) failed("link", link);
    ++written;
  }
  return written;
}

}  // namespace rmsim
