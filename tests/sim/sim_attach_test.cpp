// Instance numbers as RAID Manager treats them: one live process per number
// and command device, no negative numbers, and the attachments on record.
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "sim_fixture.h"

namespace simtest {
namespace {

// A child process that attaches a command device, reports the result on a
// pipe and then holds its attachment until released: a second framework
// process, without any sleep.
class Holder {
 public:
  Holder(SimulatorTest& test, const std::string& path, int instance) {
    if (::pipe(m_report) != 0 || ::pipe(m_release) != 0) return;
    m_pid = ::fork();
    if (m_pid == 0) {
      ::close(m_release[1]);  // else the child would keep its own release pending
      cmddevinfo own;
      int rc = test.attachFor(&own, path, instance);
      ssize_t ignored = ::write(m_report[1], &rc, sizeof rc);
      char done;
      ignored = ::read(m_release[0], &done, 1);
      (void)ignored;
      ::_exit(0);
    }
    if (::read(m_report[0], &m_result, sizeof m_result) != sizeof m_result) m_result = -1;
  }
  ~Holder() { release(); }
  void release() {
    if (m_pid <= 0) return;
    ::close(m_release[1]);  // the child's read ends
    int status;
    ::waitpid(m_pid, &status, 0);
    ::close(m_report[0]);
    ::close(m_report[1]);
    ::close(m_release[0]);
    m_pid = 0;
  }
  int pid() const { return m_pid; }
  int result() const { return m_result; }

 private:
  int m_report[2] = {-1, -1};
  int m_release[2] = {-1, -1};
  pid_t m_pid = -1;
  int m_result = -1;
};

class InstanceNumbers : public SimulatorTest {};

TEST_F(InstanceNumbers, ANumberHeldByAnotherLiveProcessIsRefusedUntilItEnds) {
  Holder other(*this, "/dev/sdi", 650);
  ASSERT_GT(other.pid(), 0);
  ASSERT_EQ(0, other.result());

  cmddevinfo mine;
  EXPECT_EQ(RMSIM_E_INSTUSED, attach(&mine, "/dev/sdi", 650));
  EXPECT_EQ("instance number 650 is in use on /dev/sdi by process " + std::to_string(other.pid()),
            std::string(lib.errmsg(&mine)));
  EXPECT_EQ(0, attach(&mine, "/dev/sdi", 651));  // another number
  cmddevinfo elsewhere;
  EXPECT_EQ(0, attach(&elsewhere, "/dev/sdb", 650));  // the same number on another command device

  std::vector<rmsim::Simulator::Attachment> held = sim->attachments();
  ASSERT_EQ(4u, held.size());  // sorted by path, instance, pid
  EXPECT_EQ("/dev/sdb", held[0].cmddev);
  EXPECT_EQ(601, held[0].instance);
  EXPECT_EQ("/dev/sdi", held[2].cmddev);
  EXPECT_EQ(650, held[2].instance);
  EXPECT_EQ(other.pid(), held[2].pid);
  EXPECT_TRUE(held[2].alive);

  const int ended = other.pid();
  other.release();
  held = sim->attachments();
  ASSERT_EQ(4u, held.size());
  EXPECT_EQ(ended, held[2].pid);
  EXPECT_FALSE(held[2].alive);  // still on record, no longer holding
  EXPECT_EQ(0, attach(&mine, "/dev/sdi", 650));
}

TEST_F(InstanceNumbers, TheSameProcessMayAttachAgainAndNegativeNumbersAreRefused) {
  cmddevinfo again, refused;
  EXPECT_EQ(0, attach(&again, "/dev/sdb", 601));
  EXPECT_EQ(RMSIM_E_INVINST, attach(&refused, "/dev/sdb", -1));
  EXPECT_STREQ("instance number -1 is not valid", lib.errmsg(&refused));
  EXPECT_EQ(RMSIM_E_NOCMD, attach(&refused, "/dev/nonesuch", -1));  // the path is checked first
  ASSERT_EQ(0, lib.detach(&cmd));
  ASSERT_EQ(1u, sim->attachments().size());  // `again` still holds 601
  EXPECT_EQ(601, sim->attachments()[0].instance);
  ASSERT_EQ(0, lib.detach(&again));
  EXPECT_TRUE(sim->attachments().empty());
}

}  // namespace
}  // namespace simtest
