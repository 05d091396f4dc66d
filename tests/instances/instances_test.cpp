// Instance numbers shared between processes through the instance-number files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "hitachi_instanceManager.h"

namespace {

struct Record {
  int32_t number;
  int32_t owner;
};

class InstanceNumbers : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/instances-test.XXXXXX";
    dir = ::mkdtemp(pattern);
    CInstanceManager::setMinMaxInstanceNo(601, 699);
    CInstanceManager::setInstanceNoPath(dir);
  }
  void TearDown() override {
    std::string command = "rm -rf " + dir;
    (void)std::system(command.c_str());
  }
  std::vector<Record> records(const std::string& key) {
    std::ifstream in(CInstanceManager::getFilePath(key), std::ios::binary);
    std::vector<Record> out;
    Record r;
    while (in.read(reinterpret_cast<char*>(&r), sizeof r)) out.push_back(r);
    return out;
  }
  void writeRecords(const std::string& key, const std::vector<Record>& all) {
    std::ofstream out(CInstanceManager::getFilePath(key), std::ios::binary | std::ios::trunc);
    for (const Record& r : all) out.write(reinterpret_cast<const char*>(&r), sizeof r);
  }
  std::string expectThrow(const std::function<void()>& action) {
    try {
      action();
    } catch (const ErrorInstanceNo& e) {
      return e.getMessage();
    }
    return "";
  }

  std::string dir;
};

TEST_F(InstanceNumbers, FirstUseCreatesAFullFreeFileAndHandsOut601) {
  int number = 0;
  ASSERT_EQ(0, CInstanceManager::getInstanceNo("UDID##HITACHI##HDS##410001##4095", number));
  EXPECT_EQ(601, number);
  std::vector<Record> all = records("UDID##HITACHI##HDS##410001##4095");
  ASSERT_EQ(99u, all.size());
  EXPECT_EQ(getpid(), all[0].owner);
  for (size_t i = 1; i < all.size(); ++i) {
    EXPECT_EQ(static_cast<int>(601 + i), all[i].number);
    EXPECT_EQ(-1, all[i].owner);
  }
  struct stat info;
  ASSERT_EQ(0, ::stat(CInstanceManager::getFilePath("UDID##HITACHI##HDS##410001##4095").c_str(), &info));
  EXPECT_EQ(0644u, info.st_mode & 0777);
  EXPECT_NE(std::string::npos, CInstanceManager::getFilePath("k").find("//k"));
}

TEST_F(InstanceNumbers, NumbersAreTakenInFileOrderAndReleased) {
  CInstanceNumber first, second;
  EXPECT_EQ(601, first.get("key"));
  EXPECT_EQ(602, second.get("key"));
  first.release();
  EXPECT_EQ(-1, first.getNumber());
  EXPECT_EQ(-1, records("key")[0].owner);
  CInstanceNumber third;
  EXPECT_EQ(601, third.get("key"));
}

TEST_F(InstanceNumbers, DestructionGivesTheNumberBack) {
  { CInstanceNumber held; held.get("key"); }
  EXPECT_EQ(-1, records("key")[0].owner);
}

TEST_F(InstanceNumbers, ReleasingANumberNeverTakenIsHarmless) {
  CInstanceManager::createInstanceNoFile(CInstanceManager::getFilePath("key"));
  EXPECT_EQ(0, CInstanceManager::releaseInstanceNo("key", 650));
  EXPECT_EQ(-1, records("key")[49].owner);
  EXPECT_EQ("Didn't find the file", expectThrow([] { CInstanceManager::releaseInstanceNo("absent", 601); }));
}

TEST_F(InstanceNumbers, ReclaimFreesOnlyNumbersOfEndedProcesses) {
  pid_t dead = ::fork();
  if (dead == 0) ::_exit(0);
  ::waitpid(dead, nullptr, 0);
  pid_t alive = ::fork();
  if (alive == 0) {
    ::pause();
    ::_exit(0);
  }
  std::vector<Record> all;
  for (int n = 601; n <= 699; ++n) all.push_back({n, -1});
  all[0].owner = dead;
  all[1].owner = alive;
  all[2].owner = getpid();
  writeRecords("key", all);
  EXPECT_EQ(0, CInstanceManager::reclaimInstanceNo("key"));
  std::vector<Record> after = records("key");
  EXPECT_EQ(-1, after[0].owner);
  EXPECT_EQ(alive, after[1].owner);
  EXPECT_EQ(getpid(), after[2].owner);
  ::kill(alive, SIGKILL);
  ::waitpid(alive, nullptr, 0);
}

TEST_F(InstanceNumbers, KilledHoldersNumberIsFreedByReclaim) {
  int ready[2];
  ASSERT_EQ(0, ::pipe(ready));
  pid_t child = ::fork();
  if (child == 0) {
    CInstanceNumber held;
    int number = held.get("key");
    (void)!::write(ready[1], &number, sizeof number);
    ::pause();
    ::_exit(0);
  }
  int childNumber = 0;
  ASSERT_EQ(static_cast<ssize_t>(sizeof childNumber), ::read(ready[0], &childNumber, sizeof childNumber));
  EXPECT_EQ(601, childNumber);
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_EQ(child, records("key")[0].owner);
  CInstanceManager::reclaimInstanceNo("key");
  EXPECT_EQ(-1, records("key")[0].owner);
  ::close(ready[0]);
  ::close(ready[1]);
}

TEST_F(InstanceNumbers, FullFileEndsInDidntFindTheFile) {
  std::vector<Record> all;
  for (int n = 601; n <= 699; ++n) all.push_back({n, getpid()});
  writeRecords("key", all);
  int number = 0;
  EXPECT_EQ("Didn't find the file", expectThrow([&] { CInstanceManager::getInstanceNo("key", number); }));
  EXPECT_EQ(-1, number);
}

TEST_F(InstanceNumbers, ShortFileEndsTheScanWithoutANumber) {
  writeRecords("key", {{601, getpid()}, {602, getpid()}});
  int number = 0;
  EXPECT_EQ(0, CInstanceManager::getInstanceNo("key", number));
  EXPECT_EQ(-1, number);
}

TEST_F(InstanceNumbers, UnreadableDirectoryReportsTheSystemError) {
  CInstanceManager::setInstanceNoPath(dir + "/missing");
  int number = 0;
  EXPECT_EQ("Unable to create file", expectThrow([&] { CInstanceManager::getInstanceNo("key", number); }));
}

TEST_F(InstanceNumbers, ConcurrentProcessesNeverShareANumber) {
  const int kProcesses = 6, kRounds = 150;
  CInstanceManager::createInstanceNoFile(CInstanceManager::getFilePath("key"));
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    pid_t pid = ::fork();
    if (pid == 0) {
      for (int i = 0; i < kRounds; ++i) {
        CInstanceNumber held;
        int number = held.get("key");
        if (number < 601) ::_exit(2);
        // A witness file per number: creating it fails if another process holds the same number.
        std::string witness = dir + "/held-" + std::to_string(number);
        int fd = ::open(witness.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600);
        if (fd < 0) ::_exit(3);
        ::close(fd);
        ::unlink(witness.c_str());
      }
      ::_exit(0);
    }
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = -1;
    ::waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child status " << status;
  }
  std::vector<Record> all = records("key");
  ASSERT_EQ(99u, all.size());
  for (size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(static_cast<int>(601 + i), all[i].number);
    EXPECT_EQ(-1, all[i].owner);
  }
}

}  // namespace
