#include "ka/kor/osdep/AbsTimeToDateTime.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;
using namespace ka::kor::osdep;

TEST(AbsTimeToDateTime, OutsideThirtyTwoBitsThrowsAndKeepsTheFields) {
    std::tm fields;
    fields.tm_sec = 61;
    AbsTime late = GetMaxTime_T();
    late += AbsTime::Value(1);
    EXPECT_THROW(AbsTimeToUTCDateTime(late, fields, false), exception::OutOfRange);
    EXPECT_EQ(61, fields.tm_sec);
    EXPECT_THROW(AbsTimeToLocalDateTime(AbsTime(AbsTime::Value(-60052752000LL)), fields, false),
                 exception::OutOfRange);
    EXPECT_EQ(61, fields.tm_sec);
    // Rounding to nearest carries 0x7FFFFFFF.5 past the bound; truncating does not.
    const AbsTime edge(0u, 2082844800u + 0x7FFFFFFFu, 0x80000000u, 0u);
    EXPECT_THROW(AbsTimeToUTCDateTime(edge, fields, true), exception::OutOfRange);
    EXPECT_NO_THROW(AbsTimeToUTCDateTime(edge, fields, false));
}

// gmtime and localtime share one static result; threads breaking down different times at once
// must each get their own day back.
TEST(AbsTimeToDateTime, ConcurrentBreakDownsKeepTheirResults) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([i, &wrong] {
            // 1970-01-(2 + i) 12:00:00 UTC.
            const AbsTime t(0u, 2082844800u + 86400u * (1 + i) + 43200u, 0u, 0u);
            for (int round = 0; round < kRounds; ++round) {
                std::tm fields;
                if (round % 2 == 0) {
                    AbsTimeToUTCDateTime(t, fields, true);
                } else {
                    AbsTimeToLocalDateTime(t, fields, false);
                }
                // Local time is within a day of UTC, so the day can differ by at most one.
                const int day = fields.tm_mday - (2 + i);
                if (round % 2 == 0 ? day != 0 : (day < -1 || day > 1)) {
                    wrong.fetch_add(1);
                }
            }
        });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    EXPECT_EQ(0, wrong.load());
}

}  // namespace
