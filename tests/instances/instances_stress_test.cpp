// Many processes allocating and releasing on one instance-number file while
// signals keep interrupting their lock waits. Each number held is witnessed
// by a file that only one holder can create: a number handed to two
// processes at once fails the test.
#include <fcntl.h>
#include <signal.h>
#include <sys/time.h>

#include <iterator>

#include "instance_files.h"

namespace {

const int kProcesses = 16;
const int kRounds = 1000;          // per process
const int kMin = 601, kMax = 699;  // as InstanceFiles sets them

// Exit codes of a child that saw something wrong.
enum : int { kNoNumber = 3, kHeldTwice = 4, kThrew = 5, kNoSignals = 6 };

volatile sig_atomic_t s_signals = 0;
int s_signalPipe = -1;  // where the handler reports each signal, when set

// No SA_RESTART: a signal ends a blocking fcntl with EINTR, as a framework's
// own handlers would.
void onSignal(int) {
  s_signals = s_signals + 1;
  if (s_signalPipe >= 0) (void)!::write(s_signalPipe, "s", 1);
}

void catchSignal(int signal) {
  struct sigaction action {};
  action.sa_handler = onSignal;
  ::sigemptyset(&action.sa_mask);
  action.sa_flags = 0;
  ::sigaction(signal, &action, nullptr);
}

std::string wchan(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/wchan");
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Whether the process sleeps in the kernel waiting for a file lock (the
// function name differs between kernels: fcntl_setlk, locks_lock_inode_wait,
// do_lock_file_wait).
bool inLockWait(pid_t pid) {
  const std::string where = wchan(pid);
  return where.find("lk") != std::string::npos || where.find("lock") != std::string::npos;
}

class InstanceStress : public InstanceFiles {
 protected:
  // One child's work: `kRounds` numbers taken and given back, each witnessed.
  // A timer interrupts it every half millisecond, mostly in lock waits since
  // sixteen processes queue for one lock. Reports its signal count on `out`.
  [[noreturn]] void churn(int gate, int out) {
    char byte;
    (void)!::read(gate, &byte, 1);  // returns when the parent closes the gate
    catchSignal(SIGALRM);
    const struct itimerval every {
      {0, 500}, { 0, 500 }
    };
    ::setitimer(ITIMER_REAL, &every, nullptr);
    int code = 0;
    for (int i = 0; i < kRounds && code == 0; ++i) {
      try {
        CInstanceNumber held;
        const int number = held.get("key");
        if (number < kMin || number > kMax) {
          code = kNoNumber;
          break;
        }
        const std::string witness = dir + "/held-" + std::to_string(number);
        int fd = ::open(witness.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600);
        if (fd < 0) {
          code = kHeldTwice;
          break;
        }
        ::close(fd);
        ::unlink(witness.c_str());
      } catch (const ErrorInstanceNo&) {
        code = kThrew;
      }
    }
    const struct itimerval off {};
    ::setitimer(ITIMER_REAL, &off, nullptr);
    const int64_t signals = s_signals;
    (void)!::write(out, &signals, sizeof signals);
    ::_exit(code);
  }
};

// Started together on a file nobody has created yet, so that creation races too.
TEST_F(InstanceStress, SixteenProcessesInterruptedBySignalsNeverHoldANumberTwice) {
  int gate[2], results[2];
  ASSERT_EQ(0, ::pipe(gate));
  ASSERT_EQ(0, ::pipe(results));
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    const pid_t pid = ::fork();
    if (pid == 0) {
      ::close(gate[1]);
      ::close(results[0]);
      churn(gate[0], results[1]);
    }
    children.push_back(pid);
  }
  ::close(gate[0]);
  ::close(gate[1]);
  ::close(results[1]);
  for (pid_t pid : children) EXPECT_EQ(0, exitCode(pid)) << "child " << pid;
  int64_t signals = 0;
  for (int64_t one; ::read(results[0], &one, sizeof one) == sizeof one;) signals += one;
  ::close(results[0]);
  RecordProperty("signals", std::to_string(signals));
  EXPECT_GT(signals, 0);
  EXPECT_EQ(std::vector<int32_t>(kMax - kMin + 1, -1), owners());             // every number came back
  EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(dir), {}));  // the file alone is left
}

// Every signal lands while the child waits for a lock the test holds: the
// wait goes on, and no number is taken until the lock is free.
TEST_F(InstanceStress, SignalsDuringALockWaitNeitherFailTheCallNorSkipTheLock) {
  const int kSignals = 20;
  CInstanceManager::createInstanceNoFile(CInstanceManager::getFilePath("key"));
  const int fd = ::open(CInstanceManager::getFilePath("key").c_str(), O_RDWR);
  ASSERT_GE(fd, 0);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_len = 1;
  ASSERT_EQ(0, ::fcntl(fd, F_SETLK, &lock));
  int reports[2];
  ASSERT_EQ(0, ::pipe(reports));
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(reports[0]);
    s_signalPipe = reports[1];
    catchSignal(SIGUSR1);
    CInstanceNumber held;
    int number = -1;
    try {
      number = held.get("key");
    } catch (const ErrorInstanceNo&) {
      ::_exit(kThrew);
    }
    held.release();
    ::_exit(number == kMin ? (s_signals == kSignals ? 0 : kNoSignals) : kNoNumber);
  }
  ::close(reports[1]);
  for (int i = 0; i < kSignals; ++i) {
    // Polls the child's kernel state: it is in the wait, or soon will be.
    for (int polls = 0; !inLockWait(child); ++polls) {
      if (polls == 10000) {
        ::kill(child, SIGKILL);
        exitCode(child);
        ::close(fd);
        GTEST_SKIP() << "cannot see the lock wait in /proc (wchan: '" << wchan(child) << "')";
      }
      ::usleep(1000);
    }
    ASSERT_EQ(0, ::kill(child, SIGUSR1));
    char byte;
    ASSERT_EQ(1, ::read(reports[0], &byte, 1));  // handled before the next is sent
  }
  for (int polls = 0; !inLockWait(child) && polls < 10000; ++polls) ::usleep(1000);
  // Read through the locking descriptor: closing any other one of this
  // process's descriptors of the file would drop the lock.
  int32_t first[2] = {0, 0};
  ASSERT_EQ(static_cast<ssize_t>(sizeof first), ::pread(fd, first, sizeof first, 0));
  EXPECT_EQ(-1, first[1]);  // nothing taken behind the lock
  lock.l_type = F_UNLCK;
  ASSERT_EQ(0, ::fcntl(fd, F_SETLK, &lock));
  ::close(fd);
  EXPECT_EQ(0, exitCode(child));
  ::close(reports[0]);
  EXPECT_EQ(std::vector<int32_t>(kMax - kMin + 1, -1), owners());
}

}  // namespace
