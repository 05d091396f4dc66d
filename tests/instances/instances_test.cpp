// Instance numbers shared between processes through the instance-number files.
#include <signal.h>

#include <functional>
#include <iterator>

#include "instance_files.h"

namespace {

class InstanceNumbers : public InstanceFiles {
 protected:
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

// Holders of a number, resolved when a row runs.
enum Holder : int32_t { kSelf = -100, kLive = -101, kEnded = -102, kFree = -1 };

struct Row {
  const char* name;
  std::vector<int32_t> owners;  // of 601, 602, ...; every later number held by this process
  bool relative;                // the directory given as "."
  const char* action;           // "get", "reclaim", or "reclaim as nobody"
  std::string outcome;          // the number got, 0, or the message thrown
  std::vector<int32_t> after;   // owners of the same numbers afterwards
};

class Reclaims : public InstanceNumbers, public ::testing::WithParamInterface<Row> {
 protected:
  int32_t pidOf(int32_t holder) {
    if (holder == kSelf) return ::getpid();
    if (holder == kLive) return ::getppid();
    if (holder != kEnded) return holder;
    if (ended == 0 && (ended = ::fork()) == 0) ::_exit(0);
    ::waitpid(ended, nullptr, 0);
    return ended;
  }
  // A reclaim in a child that runs as nobody: to it every holder here is a
  // process it may not signal.
  std::string reclaimAsNobody() {
    ::chmod(dir.c_str(), 0755);
    ::chmod(CInstanceManager::getFilePath("key").c_str(), 0666);
    const pid_t child = ::fork();
    if (child == 0)
      ::_exit(::setuid(65534) == 0 && thrown([] { CInstanceManager::reclaimInstanceNo("key"); }).empty() ? 0
                                                                                                         : 1);
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? "0" : "child failed";
  }
  pid_t ended = 0;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

TEST_P(Reclaims, FreeOnlyWhatTheirRuleFrees) {
  const Row& row = GetParam();
  if (std::string(row.action) == "reclaim as nobody" && ::geteuid() != 0)
    GTEST_SKIP() << "running a reclaim as another user needs root";
  std::vector<Record> all = range(::getpid());
  for (size_t i = 0; i < row.owners.size(); ++i) all[i].second = pidOf(row.owners[i]);
  char cwd[4096];
  ASSERT_NE(nullptr, ::getcwd(cwd, sizeof cwd));
  if (row.relative) {
    ASSERT_EQ(0, ::chdir(dir.c_str()));
    CInstanceManager::setInstanceNoPath(".");
  }
  writeRecords(all);
  const std::string action = row.action;
  std::string outcome;
  if (action == "reclaim as nobody") {
    outcome = reclaimAsNobody();
  } else {
    const std::string message = thrown([&] {
      int number = 0;
      outcome = std::to_string(action == "get" ? (CInstanceManager::getInstanceNo("key", number), number)
                                               : CInstanceManager::reclaimInstanceNo("key"));
    });
    if (!message.empty()) outcome = message;
  }
  std::vector<Record> now = records();
  ASSERT_EQ(0, ::chdir(cwd));
  std::vector<int32_t> expected, found;
  for (size_t i = 0; i < row.after.size(); ++i) {
    expected.push_back(pidOf(row.after[i]));
    found.push_back(now[i].second);
  }
  EXPECT_EQ(row.outcome, outcome);
  EXPECT_EQ(expected, found);
}

// Any negative owner marks a free number. A reclaim frees every number whose
// holder is not the caller and is not reported running: an ended process,
// or one the caller may not signal.
INSTANTIATE_TEST_SUITE_P(
    Rules, Reclaims,
    ::testing::Values(
        Row{"ANegativeOwnerIsFree", {kLive, -5}, false, "get", "602", {kLive, kSelf}},
        Row{"ReclaimFreesEndedHoldersOnly",
            {kEnded, kLive, kSelf, kFree},
            false,
            "reclaim",
            "0",
            {kFree, kLive, kSelf, kFree}},
        Row{"ReclaimFreesHoldersItCannotSignal",
            {kLive, kSelf},
            false,
            "reclaim as nobody",
            "0",
            {kFree, kFree}},
        // Exhausted: the reclaim is handed the file path as a key, so with an
        // absolute directory it finds no file and throws.
        Row{"ExhaustedTheReclaimFindsNoFile", {kEnded}, false, "get", "Didn't find the file", {kEnded}},
        Row{"ExhaustedTheReclaimFreesAnEndedHolder", {kSelf, kEnded}, true, "get", "602", {kSelf, kSelf}},
        Row{"ExhaustedAfterAReclaimNoNumberAndNoFailure", {kSelf, kLive}, true, "get", "-1", {kSelf, kLive}}),
    [](const auto& info) { return std::string(info.param.name); });

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
