// Instance numbers shared between processes through the instance-number files.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "hitachi_instanceManager.h"

namespace {

using Record = std::pair<int32_t, int32_t>;  // number, owner

class InstanceNumbers : public ::testing::Test {
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
  static std::vector<Record> range(int32_t owner) {
    std::vector<Record> all;
    for (int n = 601; n <= 699; ++n) all.push_back({n, owner});
    return all;
  }
  void writeRecords(const std::vector<Record>& all) {
    std::ofstream out(CInstanceManager::getFilePath("key"), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(all.data()),
              static_cast<std::streamsize>(all.size() * sizeof(Record)));
  }
  static std::string thrown(const std::function<void()>& action) {
    try {
      action();
    } catch (const ErrorInstanceNo& e) {
      return e.getMessage();
    }
    return "";
  }
  std::string dir;
};

TEST_F(InstanceNumbers, NumbersGoInFileOrderAndComeBackOnReleaseOrDestruction) {
  CInstanceNumber kept;
  {
    CInstanceNumber dropped;
    EXPECT_EQ(601, dropped.get("key"));
    EXPECT_EQ(602, kept.get("key"));
    EXPECT_EQ(dir + "//key", CInstanceManager::getFilePath("key"));
    struct stat info;
    ASSERT_EQ(0, ::stat(CInstanceManager::getFilePath("key").c_str(), &info));
    EXPECT_EQ(0644u, info.st_mode & 0777);
    std::vector<Record> expected = range(-1);
    expected[0].second = expected[1].second = ::getpid();
    EXPECT_TRUE(records() == expected);
  }
  EXPECT_EQ(-1, records()[0].second);
  kept.release();
  EXPECT_EQ(-1, kept.getNumber());
  EXPECT_TRUE(records() == range(-1));
  EXPECT_EQ("Didn't find the file", thrown([] { CInstanceManager::releaseInstanceNo("absent", 601); }));
}

TEST_F(InstanceNumbers, ReclaimWithTheKeyFreesOnlyNumbersOfEndedProcesses) {
  std::vector<Record> all = range(-1);
  all[1].second = ::getppid();  // a running process
  writeRecords(all);
  pid_t killed = ::fork();
  if (killed == 0) {
    CInstanceNumber held;
    held.get("key");
    ::raise(SIGKILL);
  }
  ::waitpid(killed, nullptr, 0);
  CInstanceNumber mine;
  EXPECT_EQ(603, mine.get("key"));
  EXPECT_EQ(killed, records()[0].second);
  EXPECT_EQ(0, CInstanceManager::reclaimInstanceNo("key"));
  std::vector<Record> after = records();
  EXPECT_EQ(-1, after[0].second);
  EXPECT_EQ(::getppid(), after[1].second);
  EXPECT_EQ(::getpid(), after[2].second);
}

TEST_F(InstanceNumbers, DamagedFilesNeverCorruptOtherRecords) {
  // A number before the range, or a record claiming one, has no place in
  // the file: nothing else may be overwritten in its stead.
  // Nor may a number far past the range grow the file to where it claims
  // to be, or one near the lowest int wrap around into the range.
  std::vector<Record> full = range(::getpid());
  full[1] = {500, 0x7ffffff0};
  full[2] = {INT32_MAX, 0x7ffffff0};
  full[3] = {INT32_MIN, 0x7ffffff0};
  writeRecords(full);
  EXPECT_EQ("Read failed with error", thrown([] { CInstanceManager::releaseInstanceNo("key", 600); }));
  EXPECT_EQ("Read failed with error", thrown([] { CInstanceManager::releaseInstanceNo("key", INT32_MIN); }));
  EXPECT_EQ("Write failed with error", thrown([] { CInstanceManager::reclaimInstanceNo("key"); }));
  EXPECT_TRUE(records() == full);
  EXPECT_EQ(99u * 8, std::filesystem::file_size(CInstanceManager::getFilePath("key")));
}

// The files are often rewritten by root: a link planted where a file goes,
// or a folder someone else may change, must not make it write elsewhere.
TEST_F(InstanceNumbers, NoFileIsWrittenThroughALinkOrInAFolderOthersCanChange) {
  const std::string victim = dir + "/victim";
  std::ofstream(victim) << "root's";
  const std::string aside = CInstanceManager::getFilePath("key") + ".new." + std::to_string(::getpid());
  ASSERT_EQ(0, ::symlink(victim.c_str(), aside.c_str()));  // where a new file is filled
  EXPECT_EQ(601, CInstanceNumber().get("key"));
  ASSERT_EQ(0, ::symlink(victim.c_str(), CInstanceManager::getFilePath("linked").c_str()));
  EXPECT_EQ("Unable to open file", thrown([] { CInstanceNumber().get("linked"); }));
  EXPECT_EQ("Unable to open file", thrown([this] { CInstanceManager::readInstanceNoFile(dir + "/linked"); }));
  std::ifstream kept(victim);
  EXPECT_EQ("root's", std::string(std::istreambuf_iterator<char>(kept), {}));

  const struct {
    mode_t mode;
    uid_t owner;  // -1: as created
    std::string refusal;
  } folders[] = {
      {0777, static_cast<uid_t>(-1), "Refused: the folder " + dir + " is writable by group or others"},
      {0755, 65534,
       "Refused: the folder " + dir + " belongs to user 65534, neither root nor this process's user"},
  };
  for (const auto& f : folders) {
    if (f.owner != static_cast<uid_t>(-1) && ::geteuid() != 0) continue;  // only root can give a folder away
    ASSERT_EQ(0, ::chmod(dir.c_str(), f.mode));
    ASSERT_EQ(0, ::chown(dir.c_str(), f.owner, static_cast<gid_t>(-1)));
    EXPECT_EQ(f.refusal, thrown([] { CInstanceNumber().get("key"); }));
    EXPECT_EQ(f.refusal, thrown([] { CInstanceManager::reclaimInstanceNo("key"); }));
    ASSERT_EQ(0, ::chmod(dir.c_str(), 0700));
    ASSERT_EQ(0, ::chown(dir.c_str(), ::geteuid(), static_cast<gid_t>(-1)));
  }
}

}  // namespace
