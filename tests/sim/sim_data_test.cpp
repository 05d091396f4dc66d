// Raw bytes through rmsim, the model file's named errors, and where the state
// and the sysfs tree may be written.
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>

#include "sim_db.h"
#include "sim_fixture.h"

namespace simtest {
namespace {

using LdevData = SimulatorTest;

TEST_F(LdevData, RmsimWritesReadsAndChecksumsRawBytes) {
  std::string bytes;
  for (int i = 0; i < 3000; ++i) bytes.push_back(static_cast<char>(i * 7 % 256));  // NULs and high bytes
  const std::string file = dir + "/image";
  ASSERT_TRUE(std::ofstream(file, std::ios::binary).write(bytes.data(), bytes.size()).good());

  ASSERT_EQ(0, rmsim("write 410001 256 --file " + file).status);
  EXPECT_EQ(bytes, data(256));
  Outcome read = rmsim("read 410001 256 | sha256sum");
  Outcome sum = rmsim("checksum 410001 256");
  ASSERT_EQ(0, sum.status);
  EXPECT_EQ(sim->checksum(kHitachi, 256) + "\n", sum.output);
  EXPECT_EQ(sim->checksum(kHitachi, 256) + "  -\n", read.output);

  // The host writes up to 64 KiB.
  write(256, std::string(65536, 'z'));
  EXPECT_THROW(write(256, std::string(65537, 'z')), rmsim::ModelError);
  EXPECT_EQ(65536u, data(256).size());
}

using RmsimTool = SimulatorTest;

// The state and the sysfs tree are often handled by root: nothing another
// user planted or may change steers where the simulator reads or writes.
TEST_F(RmsimTool, StateAndSysfsStayInFoldersOfTheUsersOwn) {
  const std::string runtime = dir + "/run", home = dir + "/home";
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
  const std::string sys = dir + "/sys", victim = dir + "/victim";
  ASSERT_EQ(0, rmsim("sysfs " + sys).status);
  std::ofstream(victim) << "root's";
  ASSERT_EQ(0, ::unlink((sys + "/devices/2:0:0:0/vendor").c_str()));
  ASSERT_EQ(0, ::symlink(victim.c_str(), (sys + "/devices/2:0:0:0/vendor").c_str()));
  ASSERT_EQ(0, rmsim("sysfs " + sys).status);
  std::ifstream kept(victim);
  EXPECT_EQ("root's", std::string(std::istreambuf_iterator<char>(kept), {}));
  rmsim::Db(dir + "/state.db").exec("UPDATE ldevs SET device = '../escaped' WHERE ldev = 256");
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
      {dir + "/state.db", 0666, ::geteuid(),
       "rmsim: simulator state " + dir + "/state.db is writable by group or others: refused\n"},
      {sys, 0755, 65534,
       "rmsim: the folder " + sys +
           " belongs to user 65534: write the tree in a folder of your "
           "own (mktemp -d)\n"},
      {dir + "/state.db", 0644, 65534,
       "rmsim: simulator state " + dir + "/state.db belongs to user 65534, not to user 0: refused\n"},
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
