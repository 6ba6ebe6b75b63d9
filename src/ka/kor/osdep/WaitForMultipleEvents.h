// Waits until one or all of several events are signalled, by polling them: every pollMs
// milliseconds the events are scanned, and no lock is held between scans, so other threads may
// set and reset them meanwhile.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/Sleep.h"

namespace ka {
namespace kor {
namespace osdep {

class Event;
class NamedEvent;

// A timeout that never ends.
constexpr std::uint32_t kWaitInfinite = 0xFFFFFFFFu;
// The answer of a wait that timed out.
constexpr int kWaitTimedOut = -1;

// Waits for the count events in events[0..count).
//
// Wait-any (waitAll false) returns the index of the first event found signalled, the lowest
// index when several are; that event, when auto-reset, is consumed and no other is. Wait-all
// returns 0 once every event has been seen signalled, and only then consumes the auto-reset
// ones; an event seen signalled counts as seen even if it is reset before the others follow.
//
// timeoutMs kWaitInfinite waits for ever; otherwise the wait ends after about timeoutMs with
// kWaitTimedOut, having consumed nothing. The events are scanned at once, then after every
// pollMs, and a last time when the timeout ends (a timeout below pollMs is slept in one piece
// and followed by one scan). pollMs 0 polls every millisecond, so a wait never spins.
//
// No events (count 0; events may then be null): wait-all returns 0 at once, there being nothing
// left to see, and wait-any finds nothing and returns kWaitTimedOut when the timeout ends. A
// wait-any for no events with kWaitInfinite could never return and throws InvalidArgument2
// instead of hanging the calling thread for good. Throws InvalidArgument2 as well when count
// is not 0 and events or one of its entries is null.
int WaitForMultipleEvents(std::uint32_t count, Event** events, bool waitAll,
                          std::uint32_t timeoutMs, std::uint32_t pollMs);
// The same for events shared between processes; their operations may also raise the
// exceptions of NamedEvent, which end the wait.
int WaitForMultipleEvents(std::uint32_t count, NamedEvent** events, bool waitAll,
                          std::uint32_t timeoutMs, std::uint32_t pollMs);

namespace detail {

// The waits above for any event type E offering check(), checkOnly() and resetIfAuto().
template <class E>
class MultipleEventWait {
  public:
    static int Wait(std::uint32_t count, E** events, bool waitAll, std::uint32_t timeoutMs,
                    std::uint32_t pollMs) {
        Validate(count, events, waitAll, timeoutMs);
        if (pollMs == 0) {
            pollMs = 1;
        }
        return waitAll ? WaitAll(count, events, timeoutMs, pollMs)
                       : WaitAny(count, events, timeoutMs, pollMs);
    }

  private:
    static constexpr const char* kSourceFile = "ka/kor/osdep/WaitForMultipleEvents.h";

    static void Validate(std::uint32_t count, E** events, bool waitAll, std::uint32_t timeoutMs) {
        if (count == 0) {
            if (!waitAll && timeoutMs == kWaitInfinite) {
                throw exception::InvalidArgument2(__LINE__, kSourceFile,
                                                  "no events to wait for without a timeout");
            }
            return;
        }
        if (events == nullptr) {
            throw exception::InvalidArgument2(__LINE__, kSourceFile, "no event list");
        }
        if (std::find(events, events + count, nullptr) != events + count) {
            throw exception::InvalidArgument2(__LINE__, kSourceFile, "null event in the list");
        }
    }

    // The index of the first signalled event, consuming it; kWaitTimedOut when none is.
    static int ScanAny(std::uint32_t count, E** events) {
        for (std::uint32_t i = 0; i < count; ++i) {
            if (events[i]->check()) {
                return static_cast<int>(i);
            }
        }
        return kWaitTimedOut;
    }

    static int WaitAny(std::uint32_t count, E** events, std::uint32_t timeoutMs,
                       std::uint32_t pollMs) {
        if (timeoutMs == kWaitInfinite) {
            for (;;) {
                const int found = ScanAny(count, events);
                if (found != kWaitTimedOut) {
                    return found;
                }
                Sleep(pollMs);
            }
        }
        std::uint32_t remaining = timeoutMs;
        for (;;) {
            const int found = ScanAny(count, events);
            if (found != kWaitTimedOut) {
                return found;
            }
            if (remaining < pollMs) {
                break;
            }
            Sleep(pollMs);
            remaining -= pollMs;
        }
        Sleep(remaining);
        return ScanAny(count, events);
    }

    // Drops the events now signalled from pending, consuming none; true when none is left.
    static bool PassAll(std::vector<E*>& pending) {
        pending.erase(
            std::remove_if(pending.begin(), pending.end(), [](E* e) { return e->checkOnly(); }),
            pending.end());
        return pending.empty();
    }

    static int WaitAll(std::uint32_t count, E** events, std::uint32_t timeoutMs,
                       std::uint32_t pollMs) {
        std::vector<E*> pending(events, events + count);
        bool done = PassAll(pending);
        if (timeoutMs == kWaitInfinite) {
            while (!done) {
                Sleep(pollMs);
                done = PassAll(pending);
            }
        } else {
            std::uint32_t remaining = timeoutMs;
            while (!done && remaining >= pollMs) {
                Sleep(pollMs);
                remaining -= pollMs;
                done = PassAll(pending);
            }
            if (!done) {
                Sleep(remaining);
                done = PassAll(pending);
            }
        }
        if (!done) {
            return kWaitTimedOut;
        }
        // Auto-reset events are consumed only now that all have been seen, so a wait that
        // times out leaves every event as it found it.
        for (std::uint32_t i = 0; i < count; ++i) {
            events[i]->resetIfAuto();
        }
        return 0;
    }
};

}  // namespace detail

}  // namespace osdep
}  // namespace kor
}  // namespace ka
