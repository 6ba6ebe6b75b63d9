#include "ka/kor/AbsTime.h"

#include <gtest/gtest.h>

#include <cstring>

#include "ka/kor/exception.h"

namespace {

using ka::kor::AbsTime;

TEST(AbsTime, ConstructionFromSecondsAndFraction) {
    EXPECT_EQ(AbsTime(0x80000000u, 0u, 0u, 0u), AbsTime::min);
    // seconds + fraction, each converted, then added.
    EXPECT_EQ(AbsTime(0u, 3600u, 0x40000000u, 0u), AbsTime(3600.0, 0.25));
    EXPECT_EQ(AbsTime(~0u, 0xFFFFFFFEu, 0xC0000000u, 0u), AbsTime(-1.0, -0.25));
}

TEST(AbsTime, FractionNearOneCountsAsAWholeSecond) {
    struct Case {
        AbsTime t;
        std::int64_t seconds;
        double fraction;
    };
    const Case cases[] = {
        // 1 - 2^-64 and 1 - 2^-52 are within a double epsilon of one; 1 - 2^-51 is not.
        {AbsTime(0u, 41u, 0xFFFFFFFFu, 0xFFFFFFFFu), 42, 0.0},
        {AbsTime(0u, 41u, 0xFFFFFFFFu, 0xFFFFF000u), 42, 0.0},
        {AbsTime(0u, 41u, 0xFFFFFFFFu, 0xFFFFE000u), 41, 1.0 - 0x1p-51},
        // A negative time: the whole part toward zero (-4 for -4.75), and a near-one fraction
        // moves it one further away from zero.
        {AbsTime(0xFFFFFFFFu, 0xFFFFFFFBu, 0x40000000u, 0u), -4, 0.25},
        {AbsTime(0xFFFFFFFFu, 0xFFFFFFFBu, 0xFFFFFFFFu, 0xFFFFFFFFu), -5, 0.0},
        {AbsTime::max, INT64_MAX, 0.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << std::hex << c.t.word(3) << ' ' << c.t.word(2) << ' '
                                          << c.t.word(1) << ' ' << c.t.word(0));
        EXPECT_EQ(c.seconds, c.t.getSeconds());
        EXPECT_EQ(c.fraction, c.t.getFraction());
    }
}

TEST(AbsTime, Ranges) {
    const AbsTime one(1.0, 0.0), two(2.0, 0.0), three(3.0, 0.0), four(4.0, 0.0);
    EXPECT_TRUE(AbsTime::doRangesIntersect(one, two, two, three));  // touching ends intersect
    EXPECT_FALSE(AbsTime::doRangesIntersect(three, four, one, two));
    EXPECT_FALSE(AbsTime::doRangesIntersect(one, two, three, four));
    EXPECT_TRUE(AbsTime::isSubRange(one, two, one, two));  // a range is a sub-range of itself
    EXPECT_TRUE(AbsTime::isSubRange(two, three, one, four));
    EXPECT_FALSE(AbsTime::isSubRange(one, four, two, three));
}

TEST(AbsTime, SerializesLittleEndianWordsAtAnyAlignment) {
    const AbsTime t(0x80112233u, 0x44556677u, 0x8899AABBu, 0xCCDDEEFFu);
    const unsigned char expected[16] = {0xFF, 0xEE, 0xDD, 0xCC, 0xBB, 0xAA, 0x99, 0x88,
                                        0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11, 0x80};
    for (int offset = 0; offset < 5; ++offset) {
        SCOPED_TRACE(offset);
        unsigned char buffer[21];
        std::memset(buffer, 0xA5, sizeof buffer);
        unsigned char* p = buffer + offset;
        t.serialize(p, buffer + offset + 16);
        EXPECT_EQ(buffer + offset + 16, p);
        EXPECT_EQ(0, std::memcmp(expected, buffer + offset, 16));

        AbsTime back;
        const unsigned char* q = buffer + offset;
        back.deserialize(q, buffer + offset + 16);
        EXPECT_EQ(buffer + offset + 16, q);
        EXPECT_EQ(t, back);
    }
}

TEST(AbsTime, ShortBuffersFailWithoutSideEffects) {
    unsigned char buffer[16] = {0};
    unsigned char* p = buffer + 1;
    EXPECT_THROW(AbsTime::max.serialize(p, buffer + 16), ka::kor::exception::BufferOverflow);
    EXPECT_EQ(buffer + 1, p);
    EXPECT_EQ(0, buffer[15]);
    AbsTime target = AbsTime::max;
    const unsigned char* q = buffer + 1;
    EXPECT_THROW(target.deserialize(q, buffer + 16), ka::kor::exception::DeserializationError);
    EXPECT_EQ(buffer + 1, q);
    EXPECT_EQ(AbsTime::max, target);
}

}  // namespace
