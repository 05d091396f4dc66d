// Precise faults: the k-th call, one volume, one command device, one
// process, a request carried out but reported failed, and getrmerrmsg's
// null or empty text.
#include <unistd.h>

#include <string>
#include <vector>

#include "sim_fixture.h"

namespace simtest {
namespace {

const int kLun256 = 1;  // SI mu 0 -> 512 (PSUS)
const int kLun257 = 2;  // SI mu 0 -> 513 (PAIR)

rmsim::FaultSpec fault(const std::string& function, int errorNumber, int count = 1) {
  rmsim::FaultSpec spec;
  spec.function = function;
  spec.errorNumber = errorNumber;
  spec.message = function + " injected";
  spec.count = count;
  return spec;
}

class PreciseFaults : public SimulatorTest {
 protected:
  int volstat(int lun) {
    targdev t = volume(lun, 0);
    pairstatinfo info;
    return lib.volstat(&cmd, &t, &info);
  }
  int rminfo(int ldev) {
    unsigned char buffer[RMSIM_RMINFO_SIZE];
    return lib.rminfo(&cmd, RMSIM_OPE_LUINFO, ldev, 0, buffer);
  }
};

TEST_F(PreciseFaults, AfterNSuccessesTheNextCountCallsFail) {
  rmsim::FaultSpec spec = fault("pairvolstat", 231, 2);
  spec.after = 2;  // the third and fourth calls fail
  sim->addFault(spec);
  std::vector<int> results;
  for (int i = 0; i < 5; ++i) results.push_back(volstat(kLun257));
  EXPECT_EQ((std::vector<int>{0, 0, 231, 231, 0}), results);
  EXPECT_STREQ("pairvolstat injected", lib.errmsg(&cmd));
}

TEST_F(PreciseFaults, ANarrowedFaultMeetsOnlyItsVolumeCommandDeviceOrProcess) {
  cmddevinfo hp;
  ASSERT_EQ(0, attach(&hp, "/dev/sdi", 601));
  unsigned char buffer[RMSIM_RMINFO_SIZE];

  rmsim::FaultSpec spec = fault("pairvolstat", 232, -1);
  spec.serial = kHitachi;
  spec.ldev = 257;
  sim->addFault(spec);
  spec.function = "getrminfo";  // addresses its LDEV argument
  sim->addFault(spec);
  EXPECT_EQ(0, volstat(kLun256));
  EXPECT_EQ(232, volstat(kLun257));
  EXPECT_EQ(0, rminfo(256));
  EXPECT_EQ(232, rminfo(257));
  EXPECT_EQ(0, lib.rminfo(&hp, RMSIM_OPE_LUINFO, 257, 0, buffer));  // LDEV 257 of the other array

  sim->clearFaults();
  spec = fault("getrminfo", RMSIM_E_IO, -1);
  spec.cmddev = "/dev/sdi";
  sim->addFault(spec);
  EXPECT_EQ(0, rminfo(256));
  EXPECT_EQ(RMSIM_E_IO, lib.rminfo(&hp, RMSIM_OPE_LUINFO, 300, 0, buffer));
  EXPECT_STREQ("getrminfo injected", lib.errmsg(&hp));

  sim->clearFaults();
  spec = fault("pairvolstat", 233, -1);
  spec.pid = 1;  // another process
  sim->addFault(spec);
  EXPECT_EQ(0, volstat(kLun257));
  spec.pid = static_cast<int>(::getpid());
  sim->addFault(spec);
  EXPECT_EQ(233, volstat(kLun257));
}

TEST_F(PreciseFaults, ACarriedOutRequestChangesThePairAndStillReportsFailure) {
  rmsim::FaultSpec spec = fault("pairsplit", 234);
  spec.carriedOut = true;
  sim->addFault(spec);
  EXPECT_EQ(234, split(kLun257, 0));
  EXPECT_EQ(RMSIM_PSUS, sim->pairStatus(kHitachi, 257, 0));
  EXPECT_STREQ("pairsplit injected", lib.errmsg(&cmd));

  // A request the pair refuses by itself keeps its own error.
  sim->addFault(spec);
  sim->setPairStatus(kHitachi, 257, 0, RMSIM_PDUB);
  EXPECT_EQ(RMSIM_E_INVSTAT, split(kLun257, 0));
}

TEST_F(PreciseFaults, GetrmerrmsgCanReturnANullOrAnEmptyText) {
  ASSERT_EQ(RMSIM_E_NOPAIR, split(kLun257, 1));
  rmsim::FaultSpec spec;
  spec.function = "getrmerrmsg";
  spec.nullText = true;
  sim->addFault(spec);
  spec.nullText = false;
  spec.emptyText = true;
  sim->addFault(spec);
  EXPECT_EQ(nullptr, lib.errmsg(&cmd));
  const char* empty = lib.errmsg(&cmd);
  ASSERT_NE(nullptr, empty);
  EXPECT_STREQ("", empty);
  EXPECT_STREQ("volume is SMPL at this mirror unit", lib.errmsg(&cmd));
  EXPECT_EQ(3, sim->counter("getrmerrmsg"));
}

TEST_F(PreciseFaults, SeveralFaultsCountEveryCallAndTheEarliestArmedWins) {
  sim->addFault(fault("pairvolstat", 235, 1));
  rmsim::FaultSpec later = fault("pairvolstat", 236, 1);
  later.after = 1;  // its first matching call is the one the earlier fault fails
  sim->addFault(later);
  EXPECT_EQ(235, volstat(kLun257));
  EXPECT_EQ(236, volstat(kLun257));
  EXPECT_EQ(0, volstat(kLun257));

  sim->addFault(fault("pairvolstat", 237, -1));
  sim->setFault("pairvolstat", 238, "replaced", 1);  // replaces every fault of the function
  EXPECT_EQ(238, volstat(kLun257));
  EXPECT_EQ(0, volstat(kLun257));
}

TEST_F(PreciseFaults, RequestsThatCannotBeFaultsAreRefused) {
  std::vector<rmsim::FaultSpec> bad(9, fault("getldev", 206));
  bad[0].function = "pairdisplay";
  bad[1].errorNumber = 0;
  bad[2].count = 0;
  bad[3].count = -2;
  bad[4].after = -1;
  bad[5].serial = kHitachi;         // an LDEV is needed too
  bad[6].nullText = true;           // a text fault of another function
  bad[7].function = "getrmerrmsg";  // neither null nor empty
  bad[8].ldev = 0x10000;
  bad[8].serial = kHitachi;
  for (size_t i = 0; i < bad.size(); ++i) EXPECT_THROW(sim->addFault(bad[i]), rmsim::ModelError) << i;
  EXPECT_NE(std::string::npos, sim->describe().find("faults (0)"));
}

TEST_F(PreciseFaults, RmsimArmsEveryKindOfFault) {
  const std::string rmsim = std::string(RMSIM_BIN) + " --db " + dir.path + "/state.db ";
  Outcome armed = run(rmsim + "fault pairvolstat 239 1 path lost --after 1 --volume 410001 257");
  ASSERT_EQ(0, armed.status) << armed.output;
  ASSERT_EQ(0, run(rmsim + "fault getrmerrmsg null 1 --cmddev /dev/sdb").status);
  ASSERT_EQ(0, run(rmsim + "fault pairsplit 240 1 --carried-out --pid " + std::to_string(::getpid())).status);
  const std::string shown = run(rmsim + "show").output;
  EXPECT_NE(std::string::npos, shown.find("pairvolstat 239 1 1 410001:257 any any refused path lost"))
      << shown;
  EXPECT_NE(std::string::npos, shown.find("getrmerrmsg 0 1 0 any /dev/sdb any null-text")) << shown;

  EXPECT_EQ(0, volstat(kLun257));
  EXPECT_EQ(0, volstat(kLun256));
  EXPECT_EQ(239, volstat(kLun257));
  EXPECT_EQ(nullptr, lib.errmsg(&cmd));
  EXPECT_EQ(240, split(kLun257, 0));
  EXPECT_EQ(RMSIM_PSUS, sim->pairStatus(kHitachi, 257, 0));

  EXPECT_EQ(1, run(rmsim + "fault getrmerrmsg 206 1").status);
  EXPECT_EQ(1, run(rmsim + "fault getldev 206 1 --volume 410001").status);
  EXPECT_EQ(1, run(rmsim + "fault getldev 206 1 --bogus").status);
}

}  // namespace
}  // namespace simtest
