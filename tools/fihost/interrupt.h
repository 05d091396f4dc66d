#ifndef FIHOST_INTERRUPT_H
#define FIHOST_INTERRUPT_H

namespace fihost {

// Ctrl-C (SIGINT) and SIGTERM while a snapshot or restore changes pairs:
// instead of dying between two array calls, fihost finishes the call under
// way, stops, and tells what state it leaves each pair in. A second signal
// ends fihost at once, as without the guard.
class InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  // Whether a signal has arrived since the guard was set up.
  static bool interrupted();
};

// Waits `seconds`, or less when a signal arrives.
void pauseFor(double seconds);

}  // namespace fihost

#endif
