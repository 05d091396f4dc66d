// The model file: lines that break its syntax or the arrays' rules are named.
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
        BadModel{"array 1\nport 1 0 fibre\nldev 1 5\nlun 1 0 3 1 5\n",
                 "model line 4: no host group 3 on port 0 of array 1"},
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

}  // namespace
}  // namespace simtest
