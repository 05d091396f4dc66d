#ifndef TESTS_SCSITOOL_SYSFS_TREE_H
#define TESTS_SCSITOOL_SYSFS_TREE_H

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

// A prepared sysfs tree, laid out as the kernel lays out SCSI disks:
//   devices/H:C:T:L/{vendor,model,state,vpd_pg80}
//   block/sdX/device -> ../../devices/H:C:T:L
//   block/sdX/holders/dm-N -> ../../dm-N,  block/dm-N/dm/uuid
// Without a root it lives in a fresh directory that goes with the object.
class SysfsTree {
 public:
  explicit SysfsTree(const std::string& root = "") : m_root(root) {
    char pattern[] = "/tmp/sysfs-tree.XXXXXX";
    if (m_root.empty() && ::mkdtemp(pattern)) m_root = m_scratch = pattern;
  }
  ~SysfsTree() {
    std::error_code ignored;
    if (!m_scratch.empty()) std::filesystem::remove_all(m_scratch, ignored);
  }
  const std::string& root() const { return m_root; }

  void disk(const std::string& name, const std::string& address, const std::string& vendor,
            const std::string& model, const std::string& unitSerial, const std::string& state = "running") {
    make(m_root + "/devices/" + address);
    make(m_root + "/block/" + name + "/holders");
    ::symlink(("../../devices/" + address).c_str(), (m_root + "/block/" + name + "/device").c_str());
    attribute(name, "vendor", vendor + "\n");
    attribute(name, "model", model + "\n");
    attribute(name, "state", state + "\n");
    attribute(name, "vpd_pg80", std::string("\0\x80\0", 3) + char(unitSerial.size()) + unitSerial);
  }
  void attribute(const std::string& name, const std::string& file, const std::string& content) {
    std::ofstream(m_root + "/block/" + name + "/device/" + file, std::ios::binary) << content;
  }
  void removeAttribute(const std::string& name, const std::string& file) {
    ::unlink((m_root + "/block/" + name + "/device/" + file).c_str());
  }
  // Stacks device-mapper device `map` (by default a multipath map) on `name`.
  void holder(const std::string& name, const std::string& map = "dm-0",
              const std::string& uuid = "mpath-360060e8007c38b000030c38b00000100") {
    make(m_root + "/block/" + map + "/dm");
    std::ofstream(m_root + "/block/" + map + "/dm/uuid") << uuid << "\n";
    ::symlink(("../../" + map).c_str(), (m_root + "/block/" + name + "/holders/" + map).c_str());
  }

 private:
  static void make(const std::string& path) {
    std::error_code ignored;
    std::filesystem::create_directories(path, ignored);
  }
  std::string m_root;
  std::string m_scratch;
};

#endif
