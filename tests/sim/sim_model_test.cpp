// The model file and the rmsim tool: bad lines are named, and what the tool
// sets reaches the state file that the library uses.
#include <fstream>
#include <string>

#include "sim_fixture.h"

namespace simtest {
namespace {

struct BadModel {
  const char* text;
  const char* error;
};

class ModelErrors : public ::testing::TestWithParam<BadModel> {
 protected:
  TempDir dir;
};

TEST_P(ModelErrors, NameTheLineAndTheFault) {
  rmsim::Simulator sim(dir.path + "/state.db");
  try {
    sim.loadModel(GetParam().text, "db1");
    FAIL() << "accepted: " << GetParam().text;
  } catch (const rmsim::ModelError& e) {
    EXPECT_STREQ(GetParam().error, e.what());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ModelErrors,
    ::testing::Values(
        BadModel{"# comment\n\narray\n",
                 "model line 3: expected: array SERIAL [vendor=] [product=] [maxmmun=] [unit=]"},
        BadModel{"array 1\nldev 1 5\nldev 1 6\npair 1 5 3 6 si\n",
                 "model line 4: a ShadowImage pair uses mirror unit 0, 1 or 2"},
        BadModel{"array 1\nldev 1 5\nldev 1 6\nldev 1 7\npair 1 5 0 6 si\npair 1 6 0 7 si\n",
                 "model line 5: LDEV 6 of array 1 is a primary too (no cascades)"}));

class ModelLoading : public SimulatorTest {};

TEST_F(ModelLoading, ABadModelLeavesTheStateAsItWas) {
  ASSERT_EQ(0, split(2, 0));
  EXPECT_THROW(sim->loadModel("array 9\nport 9 0 fibre\nport 9 0 fibre\n", "db1"), rmsim::ModelError);
  EXPECT_EQ(RMSIM_PSUS, sim->pairStatus(kHitachi, 257, 0));
  EXPECT_EQ(RMSIM_PSUS, status(2, 0).pairstat);
}

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
