#ifndef TESTS_SCSITOOL_SYSFS_TREE_H
#define TESTS_SCSITOOL_SYSFS_TREE_H

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

// A prepared sysfs tree, laid out as the kernel lays out SCSI disks:
//   devices/H:C:T:L/{vendor,model,state,vpd_pg80}
//   block/sdX/device -> ../../devices/H:C:T:L
//   block/sdX/holders/dm-N -> ../../dm-N,  block/dm-N/dm/uuid
class SysfsTree {
 public:
  explicit SysfsTree(const std::string& root) : m_root(root) {
    make(root + "/block");
    make(root + "/devices");
  }
  const std::string& root() const { return m_root; }

  // A disk "sdX" at SCSI address "H:C:T:L" with its inquiry data.
  void disk(const std::string& name, const std::string& address, const std::string& vendor,
            const std::string& model, const std::string& unitSerial, const std::string& state = "running") {
    const std::string device = m_root + "/devices/" + address;
    make(device);
    write(device + "/vendor", vendor + "\n");
    write(device + "/model", model + "\n");
    write(device + "/state", state + "\n");
    std::string page("\0\x80\0", 3);
    page += static_cast<char>(unitSerial.size());
    write(device + "/vpd_pg80", page + unitSerial);
    make(m_root + "/block/" + name + "/holders");
    ::symlink(("../../devices/" + address).c_str(), (m_root + "/block/" + name + "/device").c_str());
  }
  // Replaces (or adds) one attribute file of a disk's SCSI device.
  void attribute(const std::string& name, const std::string& file, const std::string& content) {
    write(m_root + "/block/" + name + "/device/" + file, content);
  }
  void removeAttribute(const std::string& name, const std::string& file) {
    ::unlink((m_root + "/block/" + name + "/device/" + file).c_str());
  }
  // Stacks device-mapper device `map` with the given uuid on disk `name`.
  void holder(const std::string& name, const std::string& map, const std::string& uuid) {
    make(m_root + "/block/" + map + "/dm");
    write(m_root + "/block/" + map + "/dm/uuid", uuid + "\n");
    ::symlink(("../../" + map).c_str(), (m_root + "/block/" + name + "/holders/" + map).c_str());
  }
  // Makes disk `name` a path of the dm-multipath map dm-0.
  void multipathHolder(const std::string& name) {
    holder(name, "dm-0", "mpath-360060e8007c38b000030c38b00000100");
  }

 private:
  static void make(const std::string& path) {
    for (size_t at = 1; at <= path.size(); ++at) {
      if (at == path.size() || path[at] == '/') ::mkdir(path.substr(0, at).c_str(), 0755);
    }
  }
  static void write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
  }
  std::string m_root;
};

#endif
