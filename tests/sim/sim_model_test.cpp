// The model file: lines that break its syntax or the arrays' rules are named,
// and the default model carries a full snapshot cycle for each method.
#include <fstream>
#include <iterator>
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
    ::testing::Values(BadModel{"frobnicate 1\n", "model line 1: unknown keyword 'frobnicate'"},
                      BadModel{
                          "# comment\n\narray\n",
                          "model line 3: expected: array SERIAL [vendor=] [product=] [maxmmun=] [unit=]"},
                      BadModel{"array 0x\n", "model line 1: bad serial '0x' (1 to 2147483647)"},
                      BadModel{"array 1\nport 1 0 fibre\nldev 1 5\nlun 1 0 3 1 5\n",
                               "model line 4: no host group 3 on port 0 of array 1"},
                      BadModel{"array 1\nldev 1 5\nldev 1 6\npair 1 5 3 6 si\n",
                               "model line 4: a ShadowImage pair uses mirror unit 0, 1 or 2"},
                      BadModel{"array 1\nldev 1 5\nldev 1 6\npair 1 5 1 6 cow\n",
                               "model line 4: a Copy-on-Write pair uses mirror unit 3 or higher"},
                      BadModel{"array 1\nldev 1 5\nldev 1 6\nldev 1 7\npair 1 5 0 6 si\npair 1 7 0 6 si\n",
                               "model line 6: LDEV 6 of array 1 is already the secondary of line 5"},
                      BadModel{"array 1\nldev 1 5\nldev 1 6\nldev 1 7\npair 1 5 0 6 si\npair 1 6 0 7 si\n",
                               "model line 5: LDEV 6 of array 1 is a primary too (no cascades)"}));

class ModelLoading : public SimulatorTest {};

TEST_F(ModelLoading, ABadModelLeavesTheStateAsItWas) {
  ASSERT_EQ(0, split(2, 0));
  EXPECT_THROW(sim->loadModel("array 9\nport 9 0 fibre\nport 9 0 fibre\n", "db1"), rmsim::ModelError);
  EXPECT_EQ(RMSIM_PSUS, sim->pairStatus(kHitachi, 257, 0));
  EXPECT_EQ(RMSIM_PSUS, status(2, 0).pairstat);
}

TEST_F(ModelLoading, TheHostPlaceholderBecomesTheHostNameCutToTheLongestGroupName) {
  const std::string host = "a-very-long-host-name-of-forty-characters";
  sim->loadModel(rmsim::Simulator::defaultModel(), host);
  ASSERT_EQ(0, attach(&cmd, "/dev/sdi", 601));
  unsigned char buffer[RMSIM_RMINFO_SIZE];
  ASSERT_EQ(0, lib.rminfo(&cmd, 0x21, 300, 0, buffer));
  EXPECT_EQ(host.substr(0, 27), std::string(reinterpret_cast<char*>(buffer + 388)));
}

std::string fileText(const std::string& path) {
  std::ifstream in(path);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST_F(ModelLoading, TheInquiryDataOfEachHostDiskReachesTheSysfsTree) {
  sim->loadModel(std::string(rmsim::Simulator::defaultModel()) +
                     "ldev 410001 1000 device=sdz vendor=HITACHI product=DF600F unitserial=93000123\n",
                 "db1");
  const std::string root = dir.path + "/sys";  // unit serial pages: 0x80, then the length (\n 10, \b 8)
  EXPECT_EQ(19, sim->writeSysfs(root));
  EXPECT_EQ(std::string("\0\x80\0\n4100010100", 14), fileText(root + "/block/sdc/device/vpd_pg80"));
  EXPECT_EQ("DF600F          \n", fileText(root + "/block/sdz/device/model"));
  EXPECT_EQ(std::string("\0\x80\0\b93000123", 12), fileText(root + "/block/sdz/device/vpd_pg80"));
}

// One snapshot method of the plugin, on the default model.
struct Method {
  const char* name;
  const char* cmddev;
  int source;
  int property;  // the LU property bit the method needs (byte 37)
  int target;
};

class DefaultModelCycle : public SimulatorTest, public ::testing::WithParamInterface<Method> {
 protected:
  int read(const targdev& at) {  // the pair status, 0 when there is no partner with a LUN
    targdev t = at;
    pairstatinfo info{};
    EXPECT_EQ(0, lib.volstat(&array, &t, &info)) << lib.errmsg(&array);
    partner = info.pldev;
    return info.plun != 0 ? info.pairstat : 0;
  }
  cmddevinfo array{};
  int partner = 0;
};

// As the plugin drives them: LU information and host group, the LUN's LDEV,
// target by mirror unit search, resync until PAIR, split, reverse resync
// until PAIR, split.
TEST_P(DefaultModelCycle, SelectPrepareMakeAndRestoreSucceed) {
  const Method m = GetParam();
  ASSERT_EQ(0, attach(&array, m.cmddev, 610));
  unsigned char info[RMSIM_RMINFO_SIZE];
  ASSERT_EQ(0, lib.rminfo(&array, 0x21, m.source, 0, info));
  EXPECT_NE(0, info[37] & m.property);
  const unsigned char* group = info + 384;
  ASSERT_STREQ("db1", reinterpret_cast<const char*>(group + 4));
  targdev pair = volume((info[0] << 8) | info[1], 0, group[0], group[2]), at = pair;
  ASSERT_EQ(0, lib.ldev(&array, &at));
  ASSERT_EQ(m.source, at.ldevno);

  dkc_limit limits{};
  ASSERT_EQ(0, lib.limit(&array, &limits));
  while (read(pair) == 0) ASSERT_LT(++pair.mun, limits.maxmmun);
  ASSERT_EQ(m.target, partner);
  if (read(pair) == RMSIM_PSUS) {
    ASSERT_EQ(0, lib.resync(&array, &pair, 0, 15));
  }
  int reads = 0;
  while (read(pair) != RMSIM_PAIR) ASSERT_LT(++reads, 100);
  ASSERT_EQ(0, lib.split(&array, &pair, 1, 15)) << lib.errmsg(&array);
  ASSERT_EQ(0, lib.resync(&array, &pair, 1, 15)) << lib.errmsg(&array);
  while (read(pair) != RMSIM_PAIR) ASSERT_LT(++reads, 200);
  ASSERT_EQ(0, lib.split(&array, &pair, 1, 15));
  EXPECT_EQ(RMSIM_PSUS, read(pair));
}

INSTANTIATE_TEST_SUITE_P(
    FourMethods, DefaultModelCycle,
    ::testing::Values(Method{"Hitachi_ShadowImage", "/dev/sdb", 256, RMSIM_PROP1_SHADOWIMAGE, 512},
                      Method{"Hitachi_CopyOnWrite", "/dev/sdb", 259, RMSIM_PROP1_SNAPSHOT, 770},
                      Method{"HPXP_BusinessCopy", "/dev/sdi", 300, RMSIM_PROP1_SHADOWIMAGE, 600},
                      Method{"HPXP_Snapshot", "/dev/sdi", 301, RMSIM_PROP1_SNAPSHOT, 601}),
    [](const ::testing::TestParamInfo<Method>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace simtest
