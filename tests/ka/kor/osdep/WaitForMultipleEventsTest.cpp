#include "ka/kor/osdep/WaitForMultipleEvents.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "ka/kor/osdep/Event.h"
#include "ka/kor/osdep/ThreadTestSupport.h"

namespace {

using ka::kor::osdep::Event;
using ka::kor::osdep::kWaitInfinite;
using ka::kor::osdep::kWaitTimedOut;
using ka::kor::osdep::WaitForMultipleEvents;

TEST(WaitForMultipleEvents, AnyConsumesOnlyTheLowestSetAndAllThatTimesOutConsumesNothing) {
    Event a(false, true), b(false, true), c(false, true), never(false, false);
    Event* events[] = {&a, &b, &c};
    EXPECT_EQ(0, WaitForMultipleEvents(3, events, false, 100, 10));
    EXPECT_FALSE(a.checkOnly());
    EXPECT_TRUE(b.checkOnly() && c.checkOnly());
    EXPECT_EQ(1, WaitForMultipleEvents(3, events, false, kWaitInfinite, 10));
    Event* withNever[] = {&c, &never};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(kWaitTimedOut, WaitForMultipleEvents(2, withNever, true, 50, 20));
    EXPECT_GE(ka_test::MillisecondsSince(start), 50);
    EXPECT_TRUE(c.checkOnly());
}

TEST(WaitForMultipleEvents, SeesEventsSetLaterAndConsumesAutoResetOnesOnSuccess) {
    for (std::uint32_t timeout : {kWaitInfinite, 60000u}) {
        Event a(false, true), b(false, false), manual(true, true);
        Event* events[] = {&a, &b, &manual};
        std::thread setter([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            b.set();
        });
        EXPECT_EQ(0, WaitForMultipleEvents(3, events, true, timeout, 5));
        setter.join();
        EXPECT_FALSE(a.checkOnly() || b.checkOnly());
        EXPECT_TRUE(manual.checkOnly());
    }
}

// Counts how often the wait looks at it; never signalled.
struct CountingEvent {
    bool check() { return ++checks, false; }
    bool checkOnly() { return ++checks, false; }
    void resetIfAuto() { ++resets; }
    int checks = 0, resets = 0;
};

TEST(WaitForMultipleEvents, ScansAtStartEveryPollAndAtTheEnd) {
    struct Case {
        unsigned timeout, poll;
        int scans;
    } cases[] = {
        {15, 1000, 2},  // at once, then after sleeping the whole timeout
        {0, 10, 2},    {30, 10, 5},
        {25, 10, 4},   {3, 0, 5},  // a poll interval of 0 polls every millisecond
    };
    for (const Case& c : cases) {
        for (bool all : {false, true}) {
            SCOPED_TRACE(testing::Message() << c.timeout << "/" << c.poll << " all=" << all);
            CountingEvent e;
            CountingEvent* events[] = {&e};
            const auto start = std::chrono::steady_clock::now();
            EXPECT_EQ(kWaitTimedOut, ka::kor::osdep::detail::MultipleEventWait<CountingEvent>::Wait(
                                         1, events, all, c.timeout, c.poll));
            EXPECT_GE(ka_test::MillisecondsSince(start), c.timeout);
            EXPECT_EQ(c.scans, e.checks);
            EXPECT_EQ(0, e.resets);
        }
    }
}

TEST(WaitForMultipleEvents, NoEventsAreAllSeenAtOnceAndNoneFoundByTheTimeout) {
    Event** none = nullptr;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, WaitForMultipleEvents(0, none, true, kWaitInfinite, 10));
    EXPECT_EQ(0, WaitForMultipleEvents(0, none, true, 60000, 10));
    EXPECT_LT(ka_test::MillisecondsSince(start), 30000);
    EXPECT_EQ(kWaitTimedOut, WaitForMultipleEvents(0, none, false, 30, 10));
    EXPECT_GE(ka_test::MillisecondsSince(start), 30);
}

TEST(WaitForMultipleEvents, RejectsNullListsAndAnEndlessWaitForNothing) {
    Event a(false, false);
    Event* withNull[] = {&a, nullptr};
    using ka::kor::exception::InvalidArgument2;
    EXPECT_THROW(WaitForMultipleEvents(0, withNull, false, kWaitInfinite, 1), InvalidArgument2);
    EXPECT_THROW(WaitForMultipleEvents(2, withNull, true, 0, 1), InvalidArgument2);
    EXPECT_THROW(WaitForMultipleEvents(1, static_cast<Event**>(nullptr), false, 0, 1),
                 InvalidArgument2);
}

}  // namespace
