#ifndef TESTS_PLUGIN_SYSFS_TREE_H
#define TESTS_PLUGIN_SYSFS_TREE_H

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

// A prepared sysfs tree, laid out as the kernel lays out SCSI disks.
class SysfsTree {
 public:
  explicit SysfsTree(const std::string& root) : m_root(root) { make(root + "/block"); make(root + "/devices"); }

  // A disk "sdX" at SCSI address "H:C:T:L" with its inquiry data.
  void disk(const std::string& name, const std::string& address, const std::string& vendor,
            const std::string& model, const std::string& unitSerial, const std::string& state = "running") {
    std::string device = m_root + "/devices/" + address;
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
  void multipathHolder(const std::string& name) { make(m_root + "/block/" + name + "/holders/dm-0"); }

 private:
  static void make(const std::string& path) {
    std::string command = "mkdir -p '" + path + "'";
    (void)std::system(command.c_str());
  }
  static void write(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }
  std::string m_root;
};

#endif
