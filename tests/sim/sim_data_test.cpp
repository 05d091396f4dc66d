// LDEV data: a point-in-time copy and a restore, byte for byte, as pair
// transitions move the data; what the host may write; rmsim's data commands.
#include <set>
#include <string>
#include <vector>

#include "sim_fixture.h"

namespace simtest {
namespace {

const int kLun256 = 1;  // SI mu 0 -> 512 (PSUS), COW mu 3 -> 768 (PSUS)
const int kLun257 = 2;  // SI mu 0 -> 513 (PAIR)

class LdevData : public SimulatorTest {
 protected:
  std::string data(int ldev) { return sim->readData(kHitachi, ldev); }
  void write(int ldev, const std::string& bytes) { sim->writeData(kHitachi, ldev, bytes); }
};

TEST_F(LdevData, AFreshModelGivesEachLdevItsOwnContentAndPairsInPairTheirPrimarys) {
  EXPECT_EQ("rmsim 410001 LDEV 256 (0x0100)\n", data(256));
  EXPECT_EQ(data(257), data(513));  // both pairs of 257 are in PAIR
  EXPECT_EQ(data(257), data(769));
  std::set<std::string> distinct;
  for (int ldev : {256, 257, 258, 259, 512, 514, 515, 768, 770, 771}) distinct.insert(data(ldev));
  EXPECT_EQ(10u, distinct.size());
  EXPECT_NE(sim->readData(520002, 300), sim->readData(520002, 600));
  EXPECT_THROW(data(1000), rmsim::ModelError);
}

struct Kind {
  const char* name;
  int mu;
  int svol;
};

class PointInTime : public LdevData, public ::testing::WithParamInterface<Kind> {};

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
                         [](const ::testing::TestParamInfo<Kind>& info) {
                           return std::string(info.param.name);
                         });

TEST_F(LdevData, ASplitWhileCopyingFreezesThePrimaryAsItIsWhenTheCopyEnds) {
  write(256, "v1");
  ASSERT_EQ(0, resync(kLun256, 0, 0));
  ASSERT_EQ(0, split(kLun256, 0));
  write(256, "v2 during the copy");
  EXPECT_EQ(RMSIM_COPY, status(kLun256, 0).pairstat);
  EXPECT_EQ(RMSIM_PSUS, status(kLun256, 0).pairstat);
  write(256, "v3");
  EXPECT_EQ("v2 during the copy", data(512));
}

TEST_F(LdevData, ACopyThatEndsSuspendedMovesNothing) {
  const std::string frozen = data(512);
  sim->suspendPair(kHitachi, 256, 0, rmsim::Suspend::AtCopyEnd);
  ASSERT_EQ(0, resync(kLun256, 0, 0));
  status(kLun256, 0);
  EXPECT_EQ(RMSIM_PSUE, status(kLun256, 0).pairstat);
  EXPECT_EQ(frozen, data(512));
}

TEST_F(LdevData, TheHostCannotWriteAMirroredSecondaryNorMoreThanTheLimit) {
  EXPECT_THROW(write(513, "x"), rmsim::ModelError);  // 257 mu 0 is PAIR
  write(512, "a split secondary is the host's");
  EXPECT_EQ("a split secondary is the host's", data(512));
  write(256, std::string(65536, 'z'));
  EXPECT_THROW(write(256, std::string(65537, 'z')), rmsim::ModelError);
  EXPECT_EQ(65536u, data(256).size());
  write(258, "");
  EXPECT_EQ("", data(258));
}

TEST_F(LdevData, RmsimWritesReadsAndChecksumsRawBytes) {
  const std::string rmsim = std::string(RMSIM_BIN) + " --db " + dir.path + "/state.db ";
  std::string bytes;
  for (int i = 0; i < 3000; ++i) bytes.push_back(static_cast<char>(i * 7 % 256));  // NULs and high bytes
  const std::string file = dir.path + "/image";
  FILE* out = std::fopen(file.c_str(), "wb");
  ASSERT_NE(nullptr, out);
  std::fwrite(bytes.data(), 1, bytes.size(), out);
  std::fclose(out);

  ASSERT_EQ(0, run(rmsim + "write 410001 256 --file " + file).status);
  EXPECT_EQ(bytes, data(256));
  Outcome read = run(rmsim + "read 410001 256 | sha256sum");
  Outcome sum = run(rmsim + "checksum 410001 256");
  ASSERT_EQ(0, sum.status);
  EXPECT_EQ(sim->checksum(kHitachi, 256) + "\n", sum.output);
  EXPECT_EQ(sim->checksum(kHitachi, 256) + "  -\n", read.output);

  ASSERT_EQ(0, run(rmsim + "write 410001 257 hello array").status);
  EXPECT_EQ("hello array", run(rmsim + "read 410001 257").output);
  EXPECT_EQ("hello array", data(513));  // mirrored
  Outcome refused = run(rmsim + "write 410001 513 no");
  EXPECT_EQ(1, refused.status);
  EXPECT_NE(std::string::npos, refused.output.find("read-only")) << refused.output;
  EXPECT_EQ(1, run(rmsim + "read 410001 9999").status);
  EXPECT_EQ(2, run(rmsim + "write 410001 256 --file").status);

  write(256, "abc");  // the standard's test vector
  EXPECT_EQ("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad", sim->checksum(kHitachi, 256));
}

}  // namespace
}  // namespace simtest
