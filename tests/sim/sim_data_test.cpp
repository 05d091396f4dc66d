// LDEV data moved by pair transitions, byte for byte; what the host may write;
// the model file's named errors; and the rmsim tool reaching the library's state.
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "sim_db.h"
#include "sim_fixture.h"

namespace simtest {
namespace {

using LdevData = SimulatorTest;

TEST_F(LdevData, AFreshModelGivesEachLdevItsOwnContentAndTheHostWritesWithinLimits) {
  EXPECT_EQ("rmsim 410001 LDEV 256 (0x0100)\n", data(256));
  EXPECT_EQ(data(257), data(513));  // both pairs of 257 are in PAIR
  EXPECT_EQ(data(257), data(769));
  std::set<std::string> distinct;
  for (int ldev : {256, 257, 258, 259, 512, 514, 515, 768, 770, 771}) distinct.insert(data(ldev));
  EXPECT_EQ(10u, distinct.size());
  EXPECT_NE(sim->readData(520002, 300), sim->readData(520002, 600));
  EXPECT_THROW(data(1000), rmsim::ModelError);

  // What the host may write: not a mirrored secondary, not beyond 64 KiB.
  EXPECT_THROW(write(513, "x"), rmsim::ModelError);  // 257 mu 0 is PAIR
  write(512, "a split secondary is the host's");
  EXPECT_EQ("a split secondary is the host's", data(512));
  write(256, std::string(65536, 'z'));
  EXPECT_THROW(write(256, std::string(65537, 'z')), rmsim::ModelError);
  EXPECT_EQ(65536u, data(256).size());
  write(258, "");
  EXPECT_EQ("", data(258));
}

struct Kind {
  const char* name;
  int mu;
  int svol;
};

class PointInTime : public SimulatorTest, public ::testing::WithParamInterface<Kind> {};

TEST_P(PointInTime, SplitFreezesTheSecondaryAndARestoreBringsItBackByteForByte) {
  const Kind kind = GetParam();
  const std::string before = data(kind.svol);
  write(256, std::string("v1\0binary", 9));
  ASSERT_EQ(0, resync(kLun256, kind.mu, 0));
  EXPECT_EQ(before, data(kind.svol));  // nothing moves before the copy ends
  EXPECT_EQ(RMSIM_COPY, status(kLun256, kind.mu).pairstat);
  EXPECT_EQ(RMSIM_PAIR, status(kLun256, kind.mu).pairstat);
  EXPECT_EQ(std::string("v1\0binary", 9), data(kind.svol));

  write(256, "v2");  // reaches the secondary while in PAIR
  EXPECT_EQ("v2", data(kind.svol));
  ASSERT_EQ(0, split(kLun256, kind.mu));
  write(256, "v3 after the split");
  EXPECT_EQ("v2", data(kind.svol));
  EXPECT_NE(sim->checksum(kHitachi, kind.svol), sim->checksum(kHitachi, 256));

  ASSERT_EQ(0, resync(kLun256, kind.mu, 1));
  EXPECT_EQ("v3 after the split", data(256));  // until the reverse copy ends
  EXPECT_THROW(write(256, "x"), rmsim::ModelError);
  EXPECT_EQ(RMSIM_RCPY, status(kLun256, kind.mu).pairstat);
  EXPECT_EQ(RMSIM_PAIR, status(kLun256, kind.mu).pairstat);
  EXPECT_EQ("v2", data(256));
  EXPECT_EQ(sim->checksum(kHitachi, kind.svol), sim->checksum(kHitachi, 256));
  ASSERT_EQ(0, split(kLun256, kind.mu));
  EXPECT_EQ("v2", data(kind.svol));
}

INSTANTIATE_TEST_SUITE_P(BothKinds, PointInTime,
                         ::testing::Values(Kind{"ShadowImage", 0, 512}, Kind{"CopyOnWrite", 3, 768}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(LdevData, RmsimWritesReadsAndChecksumsRawBytes) {
  std::string bytes;
  for (int i = 0; i < 3000; ++i) bytes.push_back(static_cast<char>(i * 7 % 256));  // NULs and high bytes
  const std::string file = dir.path + "/image";
  ASSERT_TRUE(std::ofstream(file, std::ios::binary).write(bytes.data(), bytes.size()).good());

  ASSERT_EQ(0, rmsim("write 410001 256 --file " + file).status);
  EXPECT_EQ(bytes, data(256));
  Outcome read = rmsim("read 410001 256 | sha256sum");
  Outcome sum = rmsim("checksum 410001 256");
  ASSERT_EQ(0, sum.status);
  EXPECT_EQ(sim->checksum(kHitachi, 256) + "\n", sum.output);
  EXPECT_EQ(sim->checksum(kHitachi, 256) + "  -\n", read.output);

  ASSERT_EQ(0, rmsim("write 410001 257 hello array").status);
  EXPECT_EQ("hello array", rmsim("read 410001 257").output);
  EXPECT_EQ("hello array", data(513));  // mirrored
  Outcome refused = rmsim("write 410001 513 no");
  EXPECT_EQ(1, refused.status);
  EXPECT_NE(std::string::npos, refused.output.find("read-only")) << refused.output;
  EXPECT_EQ(1, rmsim("read 410001 9999").status);
  EXPECT_EQ(2, rmsim("write 410001 256 --file").status);

  write(256, "abc");  // the standard's test vector
  EXPECT_EQ("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad", sim->checksum(kHitachi, 256));
}

using RmsimTool = SimulatorTest;

TEST_F(RmsimTool, InitShowsTheDefaultModelAndPairStatesAndFaultsReachTheLibrary) {
  ASSERT_EQ(0, rmsim("init db1").status);
  Outcome show = rmsim("show");
  ASSERT_EQ(0, show.status) << show.output;
  // A pair ready for a snapshot of each method: ShadowImage and Copy-on-Write on either array.
  for (const char* expected :
       {"410001 HITACHI", "520002 HP", "/dev/sdb", "/dev/sdi", "410001 0 0 db1", "520002 0 0 db1",
        "4100010100", "410001 256 0 512 si PSUS", "410001 259 3 770 cow PSUS", "520002 300 0 600 si PSUS",
        "520002 301 3 601 cow PSUS"}) {
    EXPECT_NE(std::string::npos, show.output.find(expected)) << expected << "\n" << show.output;
  }

  ASSERT_EQ(0, rmsim("pair 410001 257 0 PSUE").status);
  ASSERT_EQ(0, rmsim("fault getldev 206 1 command device I/O error").status);
  ASSERT_EQ(0, attach(&cmd, "/dev/sdb", 601));
  targdev t = volume(kLun257, 0);
  EXPECT_EQ(206, lib.ldev(&cmd, &t));
  EXPECT_EQ(RMSIM_PSUE, status(kLun257, 0).pairstat);
  show = rmsim("show");
  EXPECT_NE(std::string::npos, show.output.find("/dev/sdb 601")) << show.output;  // the attachment
  EXPECT_NE(std::string::npos, show.output.find("getldev 1")) << show.output;     // the counter
}

// A bad model is named by its line and fault, and leaves the state as it was.
TEST_F(RmsimTool, ModelFilesLoadWithTheHostNameAndABadOneIsNamedAndChangesNothing) {
  const std::pair<const char*, const char*> bad[] = {
      {"# comment\n\narray\n",
       "model line 3: expected: array SERIAL [vendor=] [product=] [maxmmun=] [unit=]"},
      {"array 1\nport 1 0 copper\n", "model line 2: port kind must be fibre or scsi"},
      {"array 1\nldev 1 5\nldev 1 6\npair 1 5 3 6 si\n",
       "model line 4: a ShadowImage pair uses mirror unit 0, 1 or 2"},
      {"array 1\nldev 1 5\nldev 1 6\nldev 1 7\npair 1 5 0 6 si\npair 1 6 0 7 si\n",
       "model line 5: LDEV 6 of array 1 is a primary too (no cascades)"}};
  const std::string model = dir.path + "/test.model";
  ASSERT_EQ(0, split(kLun257, 0));
  for (const auto& [text, error] : bad) {
    std::ofstream(model) << text;
    Outcome load = rmsim("load '" + model + "'");
    EXPECT_EQ(1, load.status);
    EXPECT_EQ(std::string("rmsim: ") + error + "\n", load.output);
  }
  EXPECT_EQ(RMSIM_PSUS, status(kLun257, 0).pairstat);

  std::ofstream(model) << "array 7 vendor=HP\nport 7 0 fibre\nhostgroup 7 0 0 @HOST@\n";
  ASSERT_EQ(0, rmsim("load '" + model + "' backup1").status);
  EXPECT_NE(std::string::npos, rmsim("show").output.find("7 0 0 backup1"));
}

// The state and the sysfs tree are often handled by root: nothing another
// user planted or may change steers where the simulator reads or writes.
TEST_F(RmsimTool, StateAndSysfsStayInFoldersOfTheUsersOwn) {
  const std::string runtime = dir.path + "/run", home = dir.path + "/home";
  ASSERT_EQ(0, ::mkdir(runtime.c_str(), 0700));
  ASSERT_EQ(0, ::mkdir(home.c_str(), 0700));
  const std::string bare = "env -u RMSIM_DB -u XDG_RUNTIME_DIR HOME=" + home + " ";
  EXPECT_NE(std::string::npos, run(bare + "XDG_RUNTIME_DIR=" + runtime + " " RMSIM_BIN " init")
                                   .output.find("loaded into " + runtime + "/rmsim/state.db"));
  EXPECT_NE(std::string::npos,
            run(bare + RMSIM_BIN " init").output.find("loaded into " + home + "/.cache/rmsim/state.db"));
  struct stat folder {};
  ASSERT_EQ(0, ::stat((runtime + "/rmsim").c_str(), &folder));
  EXPECT_EQ(0700u, folder.st_mode & 0777);

  // A device name from the state file names one entry of block/, and no
  // entry already in the tree is written through.
  const std::string sys = dir.path + "/sys", victim = dir.path + "/victim";
  ASSERT_EQ(0, rmsim("sysfs " + sys).status);
  std::ofstream(victim) << "root's";
  ASSERT_EQ(0, ::unlink((sys + "/devices/2:0:0:0/vendor").c_str()));
  ASSERT_EQ(0, ::symlink(victim.c_str(), (sys + "/devices/2:0:0:0/vendor").c_str()));
  ASSERT_EQ(0, rmsim("sysfs " + sys).status);
  std::ifstream kept(victim);
  EXPECT_EQ("root's", std::string(std::istreambuf_iterator<char>(kept), {}));
  rmsim::Db(dir.path + "/state.db").exec("UPDATE ldevs SET device = '../escaped' WHERE ldev = 256");
  Outcome escaped = rmsim("sysfs " + sys);
  EXPECT_EQ("rmsim: device name '../escaped' cannot name a file\n", escaped.output);
  EXPECT_NE(0, ::access((sys + "/escaped").c_str(), F_OK));

  const struct {
    std::string path;
    mode_t mode;
    uid_t owner;  // 65534 stands for another user; only root can give a file away
    std::string refusal;
  } refused[] = {
      {sys, 0777, ::geteuid(),
       "rmsim: the folder " + sys +
           " is writable by group or others: write the tree in a "
           "folder of your own (mktemp -d)\n"},
      {dir.path + "/state.db", 0666, ::geteuid(),
       "rmsim: simulator state " + dir.path + "/state.db is writable by group or others: refused\n"},
      {sys, 0755, 65534,
       "rmsim: the folder " + sys +
           " belongs to user 65534: write the tree in a folder of your "
           "own (mktemp -d)\n"},
      {dir.path + "/state.db", 0644, 65534,
       "rmsim: simulator state " + dir.path + "/state.db belongs to user 65534, not to user 0: refused\n"},
  };
  for (const auto& r : refused) {
    if (r.owner != ::geteuid() && ::geteuid() != 0) continue;
    ASSERT_EQ(0, ::chmod(r.path.c_str(), r.mode));
    ASSERT_EQ(0, ::chown(r.path.c_str(), r.owner, static_cast<gid_t>(-1)));
    EXPECT_EQ(r.refusal, rmsim("sysfs " + sys).output);
    ASSERT_EQ(0, ::chown(r.path.c_str(), ::geteuid(), static_cast<gid_t>(-1)));
    ASSERT_EQ(0, ::chmod(r.path.c_str(), r.path == sys ? 0700 : 0644));
  }
}

}  // namespace
}  // namespace simtest
