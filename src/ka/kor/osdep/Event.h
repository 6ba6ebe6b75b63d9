// An in-process event with the behaviour of its Win32 namesake: manual-reset events stay
// signalled until reset and release every waiter; auto-reset events release one waiter (or one
// successful check) per set and then clear themselves.
#pragma once

#include <cstdint>

namespace ka {
namespace kor {
namespace osdep {

struct EventData;

class Event {
  public:
    Event(bool manualReset, bool initialState);
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    // Signals the event: a manual-reset event wakes every waiter, an auto-reset one wakes one.
    // Setting an event that is already signalled changes nothing.
    void set() noexcept;
    void reset() noexcept;
    // Whether the event is signalled; a signalled auto-reset event is cleared by the check.
    bool check() noexcept;
    // Whether the event is signalled, never clearing it.
    bool checkOnly() noexcept;
    // Clears the event when it is auto-reset; a manual-reset event keeps its state.
    void resetIfAuto() noexcept;

    // Blocks until the event is signalled; an auto-reset event is then cleared.
    void wait() noexcept;
    // Waits at most ms milliseconds: true when the event was signalled in time (an auto-reset
    // event is then cleared), false once the deadline has passed, never before. wait(0) is
    // check(). The deadline is on the realtime clock, so setting the clock moves it.
    bool wait(std::uint32_t ms) noexcept;

  private:
    EventData* data_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
