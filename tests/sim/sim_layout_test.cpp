// The RMLIB records byte by byte, read as raw bytes rather than through structs.
#include <cstring>
#include <vector>

#include "sim_fixture.h"

namespace simtest {
namespace {

// The library zero-fills records by their size.
static_assert(sizeof(cmddevinfo) == 1128 && sizeof(targdev) == 336 && sizeof(pairstatinfo) == 60 &&
                  sizeof(dkc_limit) == 60,
              "record sizes");

// Distinct values in every field, so that a field written at the wrong
// offset cannot pass. LDEV 0x1234 is seen through five host groups.
const char kLayoutModel[] = R"(
array 7001 maxmmun=8 unit=5
cmddev 7001 /dev/sdx
port 7001 3 fibre
port 7001 4 scsi
hostgroup 7001 3 2 db1
hostgroup 7001 3 5 second
hostgroup 7001 3 6 third
hostgroup 7001 4 1 fourth
hostgroup 7001 4 7 fifth
ldev 7001 0x1234 emulation=OPEN-9 size=0x01020304 props=cmd,tc,cow ssid=0x0ABC
ldev 7001 0x0456 ssid=0x0DEF
lun 7001 3 2 17 0x1234
lun 7001 3 2 33 0x0456
lun 7001 3 5 1 0x1234
lun 7001 3 6 1 0x1234
lun 7001 4 1 1 0x1234
lun 7001 4 7 1 0x1234
pair 7001 0x1234 1 0x0456 si status=PAIR ctg=42 csize=7
)";

template <class T>
T at(const void* record, size_t offset) {
  T value;
  std::memcpy(&value, static_cast<const unsigned char*>(record) + offset, sizeof value);
  return value;
}
const auto int32At = at<int32_t>;
const auto uint16At = at<uint16_t>;

uint32_t bigEndianAt(const unsigned char* buffer, size_t offset, size_t width) {
  uint32_t value = 0;
  for (size_t i = 0; i < width; ++i) value = (value << 8) | buffer[offset + i];
  return value;
}

class RecordLayout : public SimulatorTest {
 protected:
  void SetUp() override {
    SimulatorTest::SetUp();
    sim->loadModel(kLayoutModel, "db1");
    ASSERT_EQ(0, attach(&block, "/dev/sdx", 605)) << lib.errmsg(&block);
  }
  cmddevinfo block{};
};

TEST_F(RecordLayout, AttachLimitsAndGetldevWriteTheirFieldsAtTheirOffsets) {
  EXPECT_STREQ("/dev/sdx", reinterpret_cast<const char*>(&block));
  EXPECT_EQ(605, int32At(&block, 1024));
  EXPECT_EQ(RMSIM_ATTACHED, int32At(&block, 1028));
  EXPECT_EQ(7001, int32At(&block, 1048));

  unsigned char limits[60];
  std::memset(limits, 0xEE, sizeof limits);
  ASSERT_EQ(0, lib.limit(&block, reinterpret_cast<dkc_limit*>(limits)));
  EXPECT_EQ(8, int32At(limits, 8));

  // getldev writes serial, LDEV, Fibre flag and count, and nothing else.
  targdev t = volume(17, 0, 3, 2);
  std::memset(reinterpret_cast<unsigned char*>(&t) + 32, 0x5A, sizeof t - 32);
  ASSERT_EQ(0, lib.ldev(&block, &t));
  EXPECT_EQ(7001, int32At(&t, 20));
  EXPECT_EQ(0x1234, uint16At(&t, 26));
  EXPECT_EQ(1, reinterpret_cast<unsigned char*>(&t)[28]);
  EXPECT_EQ(1, uint16At(&t, 30));
  EXPECT_EQ(std::vector<unsigned char>(sizeof t - 32, 0x5A),
            std::vector<unsigned char>(reinterpret_cast<unsigned char*>(&t) + 32,
                                       reinterpret_cast<unsigned char*>(&t + 1)));

  targdev scsi = volume(1, 0, 4, 1);
  ASSERT_EQ(0, lib.ldev(&block, &scsi));
  EXPECT_EQ(0, reinterpret_cast<unsigned char*>(&scsi)[28]);
  EXPECT_EQ(0x1234, uint16At(&scsi, 26));
}

TEST_F(RecordLayout, PairStatusPutsEveryFieldAtItsOffset) {
  targdev t = volume(17, 1, 3, 2);
  unsigned char bytes[60];
  std::memset(bytes, 0xEE, sizeof bytes);
  ASSERT_EQ(0, lib.volstat(&block, &t, reinterpret_cast<pairstatinfo*>(bytes)));
  EXPECT_EQ(42, bytes[0]);
  EXPECT_EQ(7, bytes[1]);
  EXPECT_EQ(std::string("OPEN-9"), std::string(reinterpret_cast<const char*>(bytes + 2)));
  EXPECT_EQ(0, bytes[21]);  // NUL-padded to the end of the 20 characters
  EXPECT_EQ(RMSIM_VOL_PVOL, bytes[22]);
  EXPECT_EQ(RMSIM_PAIR, bytes[23]);
  EXPECT_EQ(100, int32At(bytes, 28));
  EXPECT_EQ(0, bytes[32]);
  EXPECT_EQ(7001, int32At(bytes, 36));
  EXPECT_EQ(0x0DEF, int32At(bytes, 40));
  EXPECT_EQ(0x0456, uint16At(bytes, 44));
  EXPECT_EQ(3, int32At(bytes, 48));
  EXPECT_EQ(2, int32At(bytes, 52));
  EXPECT_EQ(33, int32At(bytes, 56));

  // The split mode and pace, after a split.
  ASSERT_EQ(0, lib.split(&block, &t, 1, 9));
  ASSERT_EQ(0, lib.volstat(&block, &t, reinterpret_cast<pairstatinfo*>(bytes)));
  EXPECT_EQ(1, bytes[32]);
  EXPECT_EQ(9, bytes[1]);
  EXPECT_EQ(RMSIM_PSUS, bytes[23]);
}

TEST_F(RecordLayout, LuInformationIsABigEndianHeaderWithHostGroupsFrom384) {
  unsigned char buffer[RMSIM_RMINFO_SIZE];
  std::memset(buffer, 0xEE, sizeof buffer);
  ASSERT_EQ(0, lib.rminfo(&block, 0x21, 0x1234, 0, buffer));
  EXPECT_EQ(17u, bigEndianAt(buffer, 0, 2));  // the first LU path: port 3, host group 2, LUN 17
  EXPECT_EQ(5, buffer[7]);
  EXPECT_EQ(7001u, bigEndianAt(buffer, 8, 4));
  EXPECT_STREQ("OPEN-9", reinterpret_cast<const char*>(buffer + 14));
  EXPECT_EQ(0x01020304u, bigEndianAt(buffer, 32, 4));
  EXPECT_EQ(RMSIM_PROP0_CMDDEV, buffer[36]);
  EXPECT_EQ(RMSIM_PROP1_TRUECOPY | RMSIM_PROP1_SNAPSHOT, buffer[37]);
  // Five host groups see the LDEV; four entries fit, and the count says so.
  ASSERT_EQ(4u, bigEndianAt(buffer, 40, 2));
  const unsigned char* first = buffer + 384;
  EXPECT_EQ(3, first[0]);
  EXPECT_EQ(1, first[1]);  // Fibre Channel
  EXPECT_EQ(2, first[2]);
  EXPECT_EQ(2, first[3]);  // LUNs 17 and 33
  EXPECT_STREQ("db1", reinterpret_cast<const char*>(first + 4));
  EXPECT_STREQ("fourth", reinterpret_cast<const char*>(buffer + 384 + 3 * 32 + 4));

  ASSERT_EQ(0, lib.rminfo(&block, 0x21, 0x0999, 0, buffer));  // not defined
  EXPECT_STREQ("NOT DEFINE", reinterpret_cast<const char*>(buffer + 14));
  EXPECT_EQ(7001u, bigEndianAt(buffer, 8, 4));
  EXPECT_EQ(0u, bigEndianAt(buffer, 36, 2));
}

}  // namespace
}  // namespace simtest
