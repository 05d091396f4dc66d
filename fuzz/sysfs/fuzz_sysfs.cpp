// Whatever sysfs holds, the plugin's delayed initialisation (which reads
// the host's disks and their unit serial number pages, and builds the
// command-device table from them) returns 0 and throws nothing.
//
// The input is a list of fields, each one length byte followed by that many
// bytes, read in this order for up to three disks sda, sdb, sdc: SCSI
// address (the last component of block/sdX/device), vendor, model, type,
// state, vpd_pg80, and the dm/uuid of a device stacked on the disk. A field
// the input runs out before is a file that does not exist.
// Run: fuzz_sysfs corpus/
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "cficontextsingleton.h"
#include "fuzz_plugin.h"
#include "hitachi_plugin.h"

using namespace frim_pdk_4_4;

namespace {

struct Fields {
  const uint8_t* data;
  size_t size, at = 0;
  bool next(std::string& field) {
    if (at >= size) return false;
    const size_t length = std::min<size_t>(data[at], size - at - 1);
    field.assign(reinterpret_cast<const char*>(data) + at + 1, length);
    at += 1 + length;
    return true;
  }
};

void write(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

// A name the file system takes as one path component.
std::string component(std::string text) {
  for (char& c : text)
    if (c == '/' || c == '\0') c = '_';
  return (text.empty() || text == "." || text == "..") ? "0:0:0:0" : text;
}

void buildTree(const std::string& root, Fields& fields) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  fs::remove_all(root, ignored);
  static const char* const files[] = {"vendor", "model", "type", "state", "vpd_pg80"};
  for (const char* disk : {"sda", "sdb", "sdc"}) {
    std::string address;
    if (!fields.next(address)) return;
    const std::string device = root + "/devices/" + component(address);
    const std::string block = root + "/block/" + disk;
    fs::create_directories(device, ignored);
    fs::create_directories(block + "/holders", ignored);
    ::symlink(("../../devices/" + component(address)).c_str(), (block + "/device").c_str());
    std::string content;
    for (const char* file : files) {
      if (!fields.next(content)) return;
      write(device + "/" + file, content);
    }
    if (!fields.next(content)) return;
    const std::string map = std::string("dm-") + disk;
    fs::create_directories(root + "/block/" + map + "/dm", ignored);
    write(root + "/block/" + map + "/dm/uuid", content);
    ::symlink(("../../" + map).c_str(), (block + "/holders/" + map).c_str());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string root = [] {
    const std::string sysfs = fuzzScratchDir() + "/sys";
    fuzzEnvironment(sysfs);
    return sysfs;
  }();
  Fields fields{data, size};
  buildTree(root, fields);
  CFiSmartPtr<CHitachiPlugin> plugin(new CHitachiPlugin());
  try {
    if (plugin->delayedInit() != 0) __builtin_trap();
  } catch (...) {
    __builtin_trap();  // through an entry point, nothing would catch it
  }
  plugin->fini();
  return 0;
}
