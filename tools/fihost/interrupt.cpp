#include "interrupt.h"

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>

namespace fihost {

namespace {

volatile std::sig_atomic_t g_signal = 0;
struct sigaction g_previousInt, g_previousTerm;

void onSignal(int number) {
  g_signal = number;
  // The next one is not caught: an administrator who presses Ctrl-C twice
  // wants fihost gone.
  signal(number, SIG_DFL);
}

}  // namespace

InterruptGuard::InterruptGuard() {
  g_signal = 0;
  struct sigaction action {};
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, &g_previousInt);
  sigaction(SIGTERM, &action, &g_previousTerm);
}

InterruptGuard::~InterruptGuard() {
  sigaction(SIGINT, &g_previousInt, nullptr);
  sigaction(SIGTERM, &g_previousTerm, nullptr);
}

bool InterruptGuard::interrupted() { return g_signal != 0; }

void pauseFor(double seconds) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  while (!InterruptGuard::interrupted() && Clock::now() < end)
    std::this_thread::sleep_for(std::min<Clock::duration>(end - Clock::now(), std::chrono::milliseconds(50)));
}

}  // namespace fihost
