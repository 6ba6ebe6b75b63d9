#include "ka/kor/osdep/MakeGUID.h"

#include <gtest/gtest.h>

#include <sys/time.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace ka::kor;

std::uint64_t TimeOf(const Guid& g) {
    return (std::uint64_t{g.data3() & 0x0FFFu} << 48) | (std::uint64_t{g.data2()} << 32) |
           g.data1();
}

std::string Key(const Guid& g) {
    return std::string(reinterpret_cast<const char*>(g.bytes()), 16);
}

TEST(MakeGUID, IsATimeBasedIdentifierOfThisMoment) {
    const Guid g = osdep::MakeGUID();
    EXPECT_FALSE(g.isNull());
    EXPECT_EQ(0x1000, g.data3() & 0xF000);  // version 1
    EXPECT_EQ(0x80, g.data4()[0] & 0xC0);   // variant 10xx

    // 100-ns intervals since 1582-10-15; the identifier's time is the system time give or take
    // the counter's drift, far below an hour.
    timeval now;
    ASSERT_EQ(0, gettimeofday(&now, nullptr));
    const std::uint64_t expected = static_cast<std::uint64_t>(now.tv_sec) * 10000000 +
                                   static_cast<std::uint64_t>(now.tv_usec) * 10 +
                                   0x01B21DD213814000ull;
    const std::uint64_t hour = 36000000000ull;
    EXPECT_LT(TimeOf(g), expected + hour);
    EXPECT_GT(TimeOf(g), expected - hour);
}

TEST(MakeGUID, KeepsTheNodeAndNeverRepeatsInOneThread) {
    const Guid first = osdep::MakeGUID();
    std::set<std::string> seen{Key(first)};
    std::uint64_t previous = TimeOf(first);
    for (int i = 0; i < 20000; ++i) {
        const Guid g = osdep::MakeGUID();
        ASSERT_TRUE(seen.insert(Key(g)).second) << i;
        ASSERT_EQ(0, std::memcmp(first.data4() + 2, g.data4() + 2, 6));
        ASSERT_GE(TimeOf(g), previous);  // times never go back within the process
        previous = TimeOf(g);
    }
}

TEST(MakeGUID, GuidMakeFillsANewIdentifier) {
    Guid a;
    Guid b;
    a.make();
    b.make();
    EXPECT_FALSE(a.isNull());
    EXPECT_NE(a, b);
}

TEST(MakeGUID, ThreadsMakingIdentifiersAtOnceNeverCollide) {
    constexpr int kThreads = 6;
    constexpr int kEach = 5000;
    std::vector<std::vector<Guid>> made(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&made, t] {
            made[t].reserve(kEach);
            for (int i = 0; i < kEach; ++i) {
                made[t].push_back(osdep::MakeGUID());
            }
        });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    std::set<std::string> seen;
    for (const std::vector<Guid>& list : made) {
        ASSERT_EQ(static_cast<std::size_t>(kEach), list.size());
        for (const Guid& g : list) {
            EXPECT_EQ(0x1000, g.data3() & 0xF000);
            ASSERT_TRUE(seen.insert(Key(g)).second);
        }
    }
    EXPECT_EQ(static_cast<std::size_t>(kThreads * kEach), seen.size());
}

}  // namespace
