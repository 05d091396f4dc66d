#ifndef TESTS_INSTANCES_INSTANCE_FILES_H
#define TESTS_INSTANCES_INSTANCE_FILES_H

// Numbers 601 to 699 kept in a fresh folder, and the records of file "key".
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "hitachi_instanceManager.h"

using Record = std::pair<int32_t, int32_t>;  // number, owner

class InstanceFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/instances-test.XXXXXX";
    dir = ::mkdtemp(pattern);
    ::umask(022);  // the mode asked for at creation is then the mode found
    CInstanceManager::setMinMaxInstanceNo(601, 699);
    CInstanceManager::setInstanceNoPath(dir);
  }
  void TearDown() override { std::filesystem::remove_all(dir); }
  std::vector<Record> records() {
    std::ifstream in(CInstanceManager::getFilePath("key"), std::ios::binary);
    std::vector<Record> out;
    for (Record r; in.read(reinterpret_cast<char*>(&r), sizeof r);) out.push_back(r);
    return out;
  }
  std::vector<int32_t> owners() {
    std::vector<int32_t> out;
    for (const Record& r : records()) out.push_back(r.second);
    return out;
  }
  static int exitCode(pid_t pid) {
    int status = -1;
    while (::waitpid(pid, &status, 0) == -1 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  std::string dir;
};

#endif
