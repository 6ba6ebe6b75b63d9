#include "ka/kor/osdep/Event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <initializer_list>
#include <thread>

#include "ka/kor/osdep/ThreadTestSupport.h"
#include "ka/kor/osdep/TimedWaitDeadline.h"

namespace {

using ka::kor::osdep::Event;
using ka_test::MillisecondsSince;
using ka_test::WaitUntil;

TEST(Event, WaitZeroConsumesASetAutoResetEvent) {
    Event e(false, true);
    EXPECT_TRUE(e.checkOnly());
    EXPECT_TRUE(e.wait(0));
    EXPECT_FALSE(e.wait(0));
}

// Sets the event while n threads wait() on it and checks how many woke after each set.
void ExpectWokenPerSet(bool manualReset, int n, std::initializer_list<int> wokenAfter) {
    Event e(manualReset, false);
    std::atomic<int> woken(0);
    std::thread waiters([&] {
        ka_test::RunOnThreads(n, [&] {
            e.wait();
            woken.fetch_add(1);
        });
    });
    for (int want : wokenAfter) {
        e.set();
        EXPECT_TRUE(WaitUntil([&] { return woken.load() >= want; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(30));  // time for extra wake-ups
        EXPECT_EQ(want, woken.load());
    }
    waiters.join();
}

TEST(Event, ASetReleasesEveryWaiterWhenManualResetAndExactlyOneWhenAutoReset) {
    ExpectWokenPerSet(true, 4, {4});
    ExpectWokenPerSet(false, 3, {1, 2, 3});
}

TEST(Event, TimedWaitNeverEndsEarly) {
    // A set undone at once may wake the waiter, which must then either report the set or wait
    // out its whole timeout.
    Event e(true, false);
    for (unsigned ms : {1u, 40u, 40u, 40u, 1001u}) {
        std::thread setter([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            e.set();
            e.reset();
        });
        const auto start = std::chrono::steady_clock::now();
        const bool signalled = e.wait(ms);
        const double elapsed = MillisecondsSince(start);
        setter.join();
        // The deadline is counted in whole microseconds of the realtime clock.
        EXPECT_TRUE(signalled || elapsed >= ms - 0.001) << ms << " ms: " << elapsed;
    }
}

TEST(TimeoutToTimespec, CarriesMicrosecondsIntoSeconds) {
    struct Case {
        long sec, usec;
        unsigned ms;
        long wantSec, wantNsec;
    } cases[] = {
        {5, 999999, 1, 6, 999000},
        {5, 500000, 1500, 7, 0},
        {5, 0, 0xFFFFFFFFu, 5 + 4294967, 295000000},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.ms);
        const timeval now{c.sec, c.usec};
        const timespec t = ka::kor::osdep::TimeoutToTimespec(now, c.ms);
        EXPECT_EQ(c.wantSec, static_cast<long>(t.tv_sec));
        EXPECT_EQ(c.wantNsec, t.tv_nsec);
    }
}

}  // namespace
