#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "gxhost/GxHost.h"

namespace {

using Clock = std::chrono::steady_clock;

class Occurrence {
  public:
    Occurrence() : refnum_(GxHostNewOccurrence()) {}
    ~Occurrence() { GxHostDisposeOccurrence(refnum_); }
    GxRefnum get() const { return refnum_; }

  private:
    GxRefnum refnum_;
};

TEST(GxOccurrence, AFireBeforeTheWaitIsNotLostAndFiresCoalesce) {
    Occurrence occ;
    ASSERT_NE(0u, occ.get());
    EXPECT_EQ(GX_WAIT_TIMED_OUT, GxHostWaitOccurrence(occ.get(), 0));
    ASSERT_EQ(mgNoErr, Occur(occ.get()));
    ASSERT_EQ(mgNoErr, Occur(occ.get()));
    EXPECT_EQ(GX_WAIT_FIRED, GxHostWaitOccurrence(occ.get(), 0));
    EXPECT_EQ(GX_WAIT_TIMED_OUT, GxHostWaitOccurrence(occ.get(), 0));  // consumed: one flag
    EXPECT_EQ(2u, GxHostOccurrenceFireCount(occ.get()));
}

TEST(GxOccurrence, ATimedWaitNeverReturnsEarly) {
    Occurrence occ;
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(GX_WAIT_TIMED_OUT, GxHostWaitOccurrence(occ.get(), 30));
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(30));
}

TEST(GxOccurrence, AFireFromAnotherThreadWakesTheWaiter) {
    Occurrence occ;
    std::thread firer([&occ] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        Occur(occ.get());
    });
    EXPECT_EQ(GX_WAIT_FIRED, GxHostWaitOccurrence(occ.get(), -1));
    firer.join();
}

// Several waiters and a firer that keeps firing until each has been woken: every waiter sees
// its fire, and none is woken without one.
TEST(GxOccurrence, EveryWaiterIsWokenByAFire) {
    Occurrence occ;
    constexpr int kWaiters = 4;
    std::atomic<int> woken{0};
    std::atomic<int> wrong{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < kWaiters; ++i) {
        waiters.emplace_back([&] {
            const int32_t r = GxHostWaitOccurrence(occ.get(), 10000);
            (r == GX_WAIT_FIRED ? woken : wrong).fetch_add(1);
        });
    }
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(10);
    while (woken.load() + wrong.load() < kWaiters && Clock::now() < deadline) {
        Occur(occ.get());
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    for (std::thread& t : waiters) {
        t.join();
    }
    EXPECT_EQ(kWaiters, woken.load());
    EXPECT_EQ(0, wrong.load());
    EXPECT_GE(GxHostOccurrenceFireCount(occ.get()), static_cast<uint32_t>(kWaiters));
}

TEST(GxOccurrence, DisposingWakesWaitersAndForgetsTheRefnum) {
    const GxRefnum occ = GxHostNewOccurrence();
    std::atomic<int32_t> result{-1};
    std::thread waiter([&] { result = GxHostWaitOccurrence(occ, -1); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_EQ(mgNoErr, GxHostDisposeOccurrence(occ));
    waiter.join();
    EXPECT_EQ(GX_WAIT_NO_OCCURRENCE, result.load());
    EXPECT_EQ(mgArgErr, GxHostDisposeOccurrence(occ));
    EXPECT_EQ(mgArgErr, Occur(occ));
    EXPECT_EQ(mgArgErr, Occur(0));
    EXPECT_EQ(0u, GxHostOccurrenceFireCount(occ));
    EXPECT_NE(occ, GxHostNewOccurrence());  // refnums are not reused
}

}  // namespace
