#include "ka/kor/GuidClock.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <utility>

namespace {

using namespace ka::kor;

typedef std::pair<std::uint64_t, std::uint16_t> Pair;

Pair Issue(GuidClock& clock, std::uint64_t now) {
    Pair p;
    EXPECT_TRUE(clock.issue(now, p.first, p.second)) << "at " << now;
    return p;
}

TEST(GuidClock, StoppedTimeStepsTheSequenceThenAsksToWait) {
    GuidClock clock(0xFFFE);  // masked to 14 bits
    EXPECT_EQ(Pair(7, 0x3FFE), Issue(clock, 7));
    EXPECT_EQ(Pair(7, 0x3FFF), Issue(clock, 7));
    EXPECT_EQ(Pair(7, 0x0000), Issue(clock, 7));  // modulo 0x4000
    for (std::uint32_t i = 3; i < 0x4000; ++i) {
        Issue(clock, 7);
    }
    // Every sequence has been used with time 7: the caller must wait for the clock.
    std::uint64_t time = 0;
    std::uint16_t sequence = 0;
    EXPECT_FALSE(clock.issue(7, time, sequence));
    // An advancing clock keeps the sequence.
    EXPECT_EQ(Pair(8, 0x3FFD), Issue(clock, 8));
    EXPECT_EQ(Pair(9, 0x3FFD), Issue(clock, 9));
}

TEST(GuidClock, ClockSetBackNeverRepeatsAndNeverStalls) {
    GuidClock clock(5);
    std::set<Pair> issued;
    for (std::uint64_t t = 1000; t < 1010; ++t) {
        issued.insert(Issue(clock, t));
    }
    // The clock goes back by 500 and stays there for longer than the sequences of one time last.
    for (std::uint32_t i = 0; i < 3 * 0x4000; ++i) {
        const Pair p = Issue(clock, 500);
        ASSERT_TRUE(issued.insert(p).second) << p.first << " " << p.second;
        ASSERT_LE(p.first, 1009u + 3);
    }
    EXPECT_EQ(2000u, Issue(clock, 2000).first);  // caught up: the clock's own time again
}

}  // namespace
