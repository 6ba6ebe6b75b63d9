// A periodic timer: once started, a worker thread of its own sleeps for the interval and then
// calls onTick with the microseconds since the previous tick, until the timer is stopped. The
// period is the interval plus the handler's run time; missed ticks are not made up.
#pragma once

#include <atomic>
#include <cstdint>

#include "ka/kor/osdep/CallQPC.h"

namespace ka {
namespace kor {
namespace osdep {

class MilliSleepTimer;

class IntervalTimer {
  public:
    // Throws InvalidArgument2 "interval cannot be less than 10 milliseconds" for an interval of
    // 9 ms or less. The elapsed-time reference starts at construction.
    explicit IntervalTimer(std::uint32_t intervalMs);
    // The owner must call stop() first, and a subclass in its own destructor, because the worker
    // may be running onTick on the subclass. A timer still running here is reported on the
    // standard error stream as a failed assertion and then stopped, rather than left to call
    // into freed memory.
    virtual ~IntervalTimer();
    IntervalTimer(const IntervalTimer&) = delete;
    IntervalTimer& operator=(const IntervalTimer&) = delete;

    // Starts the worker; does nothing when it runs already. Throws PosixError when the system
    // cannot create the thread. start() and stop() are called by the owner, not concurrently.
    void start();
    // Stops the worker and waits for it: once stop() returns no tick runs or follows, a tick
    // in progress having finished first. Called from onTick itself, it returns at once and the
    // worker ends after that tick. Does nothing when the timer is not running.
    void stop();

    std::uint32_t getInterval() const noexcept { return intervalMs_; }
    // Microseconds since the previous reading (or construction), which this reading replaces.
    // The value is a difference of 32-bit readings and wraps after about 71 minutes, harmless
    // for periodic use.
    std::uint32_t getElapsedTime();
    // The same without replacing the reference.
    std::uint32_t getElapsedTimeNoReset() const;

  protected:
    // Called on the worker thread after each interval with getElapsedTime()'s answer, so
    // elapsedMicroseconds is the time since the previous tick (or the start of the timer or
    // the last reading by the owner). Does nothing unless overridden. It must not throw: an
    // exception escaping it is a release assertion, which ends the process.
    virtual void onTick(std::uint32_t elapsedMicroseconds);

  private:
    static void Tick(void* timer);

    CallQPC qpc_;
    std::uint32_t intervalMs_;
    std::atomic<std::uint32_t> previousReading_;  // read by the worker and the owner
    MilliSleepTimer* worker_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
