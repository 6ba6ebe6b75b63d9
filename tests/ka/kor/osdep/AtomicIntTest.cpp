#include "ka/kor/osdep/AtomicInt.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "ka/kor/osdep/ThreadTestSupport.h"

namespace {

using ka::kor::osdep::AtomicInt;

constexpr int kThreads = 8;
constexpr int kPerThread = 5000;

TEST(AtomicInt, ConcurrentIncrementsReturnEveryValueOnce) {
    AtomicInt count;
    std::vector<std::atomic<int>> seen(kThreads * kPerThread);
    ka_test::RunOnThreads(kThreads, [&] {
        for (int i = 0; i < kPerThread; ++i) {
            seen[count.increment() - 1].fetch_add(1);
        }
    });
    EXPECT_TRUE(count == kThreads * kPerThread);
    for (std::size_t v = 0; v < seen.size(); ++v) {
        ASSERT_EQ(1, seen[v].load()) << "value " << v + 1;
    }
}

TEST(AtomicInt, CompareExchangeLoopsLoseNoUpdate) {
    AtomicInt count(-kThreads * kPerThread);
    std::atomic<int> zeroWinners(0);
    ka_test::RunOnThreads(kThreads, [&] {
        for (int i = 0; i < kPerThread; ++i) {
            std::int32_t v = count.getCount(), found;
            while ((found = count.compareExchange(v, v + 1)) != v) {
                v = found;
            }
        }
        // Only one thread can find the final 0.
        if (count.compareExchange(0, 1000000) == 0) {
            zeroWinners.fetch_add(1);
        }
    });
    EXPECT_EQ(1, zeroWinners.load());
    EXPECT_EQ(1000000, count.getCount());
}

}  // namespace
