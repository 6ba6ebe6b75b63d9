#include "ka/kor/osdep/CallQPC.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "ka/kor/Timer.h"
#include "ka/kor/exception.h"

namespace {

using ka::kor::osdep::CallQPC;

TEST(CallQPC, ScaleIsExactWhereTheFullProductWouldOverflow) {
    struct Case {
        std::uint64_t counter, multiplier, frequency, want;
    } cases[] = {
        {18000000000999999ull, 1000000000, 1000000, 18000000000999999000ull},
        {1844674407370955161ull, 10000000, 1000000, 18446744073709551610ull},
        {123456789, 1000, 1000000, 123456},
        {7, 3, 2, 10},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.counter);
        EXPECT_EQ(c.want, CallQPC::Scale(c.counter, c.multiplier, c.frequency));
    }
}

TEST(CallQPC, UnitsAgreeWithEachOther) {
    const CallQPC& qpc = ka::kor::Timer::qpc_;
    EXPECT_EQ(1000000, qpc.frequency());
    const std::uint64_t before = qpc.hires(CallQPC::k_MICRO);
    const std::uint64_t milli = qpc(CallQPC::k_MILLI), seconds = qpc.hires(CallQPC::k_SECONDS);
    const std::uint64_t filetime = qpc.hires(CallQPC::k_FILETIME);
    const std::uint64_t after = qpc.hires(CallQPC::k_MICRO);
    EXPECT_TRUE(before / 1000 <= milli && milli <= after / 1000);
    EXPECT_TRUE(before / 1000000 <= seconds && seconds <= after / 1000000);
    EXPECT_TRUE(before * 10 <= filetime && filetime <= after * 10 + 9);
    EXPECT_GT(seconds, 1600000000u);  // a time since 1970, not since boot
    EXPECT_THROW(qpc.hires(0), ka::kor::exception::InvalidArgument2);
    // Units longer than a second have no whole tick per second.
    EXPECT_EQ(0u, qpc(CallQPC::k_SECONDS + 1));
    EXPECT_EQ(0u, qpc.hires(0xFFFFFFFFu));
    const std::uint64_t halves = qpc.hires(CallQPC::k_SECONDS / 2);
    EXPECT_TRUE(seconds * 2 <= halves && halves <= qpc.hires(CallQPC::k_SECONDS) * 2 + 1);
}

}  // namespace
