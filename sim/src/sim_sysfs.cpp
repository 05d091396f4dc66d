// A sysfs tree that matches the model: one SCSI disk per LDEV that the model
// names a host device for, with the inquiry data those arrays report.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <map>

#include "rmsim.h"
#include "sim_db.h"

namespace rmsim {

namespace {

void makeDirectories(const std::string& path) {
  for (size_t at = 1; at <= path.size(); ++at) {
    if (at == path.size() || path[at] == '/') ::mkdir(path.substr(0, at).c_str(), 0755);
  }
}

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) throw ModelError("cannot write " + path);
  out << text;
}

// Inquiry texts are fixed-width and blank-padded.
std::string padded(const std::string& text, size_t width) {
  std::string out = text.substr(0, width);
  out.resize(width, ' ');
  return out;
}

}  // namespace

int Simulator::writeSysfs(const std::string& root) {
  makeDirectories(root + "/block");
  makeDirectories(root + "/devices");
  Statement q = m_db->prepare(
      "SELECT l.serial, l.inq_vendor, l.ldev, l.inq_product, l.device, l.inq_serial FROM ldevs l "
      "WHERE l.device <> '' ORDER BY l.serial, l.ldev");
  std::map<int, int> hostOfArray;
  int written = 0;
  while (q.step()) {
    int serial = static_cast<int>(q.integer(0));
    if (!hostOfArray.count(serial)) hostOfArray[serial] = 2 + static_cast<int>(hostOfArray.size());
    const std::string name = q.text(4);
    const std::string address = std::to_string(hostOfArray[serial]) + ":0:0:" + std::to_string(written);
    const std::string device = root + "/devices/" + address;
    makeDirectories(device);
    writeFile(device + "/vendor", padded(q.text(1), 8) + "\n");
    writeFile(device + "/model", padded(q.text(3), 16) + "\n");
    writeFile(device + "/state", "running\n");
    const std::string serialText = q.text(5);  // the model's, by default serial then LDEV in hex
    std::string page("\0\x80\0", 3);
    page += static_cast<char>(serialText.size());
    writeFile(device + "/vpd_pg80", page + serialText);
    makeDirectories(root + "/block/" + name + "/holders");
    std::string link = root + "/block/" + name + "/device";
    ::unlink(link.c_str());
    if (::symlink(("../../devices/" + address).c_str(), link.c_str()) != 0)
      throw ModelError("cannot link " + link);
    ++written;
  }
  return written;
}

}  // namespace rmsim
