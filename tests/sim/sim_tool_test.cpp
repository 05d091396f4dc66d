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
  // A pair ready for a snapshot of each method: ShadowImage and Copy-on-Write on either array.
  for (const char* expected :
       {"410001 HITACHI", "520002 HP", "/dev/sdb", "/dev/sdi", "410001 0 0 db1", "520002 0 0 db1",
        "4100010100", "410001 256 0 512 si PSUS", "410001 259 3 770 cow PSUS", "520002 300 0 600 si PSUS",
        "520002 301 3 601 cow PSUS"}) {
    EXPECT_NE(std::string::npos, show.output.find(expected)) << expected << "\n" << show.output;
  }

  ASSERT_EQ(0, rmsim("pair 410001 257 0 PSUE").status);
  ASSERT_EQ(0, rmsim("fault getldev 206 1 command device I/O error").status);
  rmsim::Simulator state(db);  // what the library reads
  cmddevinfo cmd{};
  ASSERT_EQ(0, state.attachcmddev(&cmd, "/dev/sdb", 601));
  targdev t = volume(2, 0);
  EXPECT_EQ(206, state.getldev(&cmd, &t));
  EXPECT_EQ(RMSIM_PSUE, state.pairStatus(kHitachi, 257, 0));
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
}

}  // namespace
}  // namespace simtest
