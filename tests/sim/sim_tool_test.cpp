// The rmsim tool, run as a separate process on a state file that the
// library then uses.
#include <fstream>
#include <string>

#include "sim_fixture.h"

namespace simtest {
namespace {

class RmsimTool : public ::testing::Test {
 protected:
  Outcome rmsim(const std::string& arguments) {
    return run(std::string(RMSIM_BIN) + " --db '" + db + "' " + arguments);
  }
  TempDir dir;
  const std::string db = dir.path + "/tool.db";
};

TEST_F(RmsimTool, InitShowsTheDefaultModelAndPairStatesAndFaultsReachTheLibrary) {
  ASSERT_EQ(0, rmsim("init db1").status);
  Outcome show = rmsim("show");
  ASSERT_EQ(0, show.status) << show.output;
  for (const char* expected : {"410001 HITACHI", "520002 HP", "/dev/sdb", "/dev/sdi", "410001 0 0 db1",
                               "4100010100", "410001 257 0 513 si PAIR", "410001 259 3 770 cow PSUS"}) {
    EXPECT_NE(std::string::npos, show.output.find(expected)) << expected << "\n" << show.output;
  }

  ASSERT_EQ(0, rmsim("pair 410001 257 0 PSUE").status);
  ASSERT_EQ(0, rmsim("fault getldev 206 1 command device I/O error").status);
  ::setenv("RMSIM_DB", db.c_str(), 1);
  Svrrm lib(SIM_ROOT);
  ASSERT_NE(nullptr, lib.handle);
  cmddevinfo cmd{};
  char path[] = "/dev/sdb";
  ASSERT_EQ(0, lib.attach(&cmd, path, 601));
  targdev t = volume(2, 0);
  EXPECT_EQ(206, lib.ldev(&cmd, &t));
  EXPECT_STREQ("command device I/O error", lib.errmsg(&cmd));
  pairstatinfo info{};
  ASSERT_EQ(0, lib.volstat(&cmd, &t, &info));
  EXPECT_EQ(RMSIM_PSUE, info.pairstat);
  show = rmsim("show");
  EXPECT_NE(std::string::npos, show.output.find("/dev/sdb 601")) << show.output;  // the attachment
  EXPECT_NE(std::string::npos, show.output.find("getldev 1")) << show.output;     // the counter
}

TEST_F(RmsimTool, ModelFilesLoadWithTheHostNameAndBadInputIsNamed) {
  const std::string good = dir.path + "/good.model", bad = dir.path + "/bad.model";
  std::ofstream(good) << "array 7 vendor=HP\nport 7 0 fibre\nhostgroup 7 0 0 @HOST@\n";
  ASSERT_EQ(0, rmsim("load '" + good + "' backup1").status);
  EXPECT_NE(std::string::npos, rmsim("show").output.find("7 0 0 backup1"));

  std::ofstream(bad) << "array 1\nport 1 0 copper\n";
  Outcome load = rmsim("load '" + bad + "'");
  EXPECT_EQ(1, load.status);
  EXPECT_EQ("rmsim: model line 2: port kind must be fibre or scsi\n", load.output);
  EXPECT_EQ("rmsim: bad ldev 'x'\n", rmsim("pair 410001 x 0 PAIR").output);
  Outcome wrong = rmsim("frobnicate");
  EXPECT_EQ(2, wrong.status);
  EXPECT_EQ(0u, wrong.output.find("usage: rmsim"));
}

}  // namespace
}  // namespace simtest
