#include "ka/kor/osdep/AbsTimeToString.h"

#include <gtest/gtest.h>

#include <clocale>
#include <ctime>
#include <string>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/AbsTimeToDateTime.h"
#include "ka/kor/osdep/ConvertWin32DateTimeFormatString.h"
#include "ka/kor/osdep/DateTimeFormat.h"
#include "ka/kor/osdep/ScopedEnv.h"

namespace {

using namespace ka::kor;
using namespace ka::kor::osdep;

// 2024-03-05 07:08:09 UTC (a Tuesday) and 2024-07-05 07:08:09 UTC, in seconds since 1904.
constexpr std::uint32_t kMarch = 3792467289u;
constexpr std::uint32_t kJuly = 3803008089u;

AbsTime At(std::uint32_t seconds, double fraction = 0.0) {
    return AbsTime(static_cast<double>(seconds), fraction);
}

std::wstring W(const String& s) {
    return std::wstring(s.begin(), s.end());
}

// Every test renders in the C locale, whatever the caller's environment says.
class AbsTimeToStringTest : public ::testing::Test {
  protected:
    void SetUp() override { std::setlocale(LC_ALL, "C"); }
    void TearDown() override { std::setlocale(LC_ALL, "C"); }

    static std::wstring Utc(AbsTime t, const wchar_t* date, const wchar_t* time,
                            unsigned digits = 0, bool timeFirst = false,
                            const wchar_t* zone = nullptr) {
        return W(AbsTimeToString(t, date, time, digits, kUTCTime, timeFirst, zone));
    }
};

TEST_F(AbsTimeToStringTest, PatternsInUtc) {
    struct Case {
        const wchar_t* date;
        const wchar_t* time;
        unsigned digits;
        bool timeFirst;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {L"%Y-%m-%d", L"%H:%M:%S", 0, false, L"2024-03-05 07:08:09"},
        {L"%Y-%m-%d", L"%H:%M:%S", 0, true, L"07:08:09 2024-03-05"},
        {L"%Y-%m-%d", L"", 3, true, L"2024-03-05"},
        {L"%Y-%m-%d", L"%H:%M:%S", 3, false, L"2024-03-05 07:08:09.250"},
        {L"", L"%H:%M:%S", 1, false, L"07:08:09.3"},  // 2.5 tenths round up
        {L"", L"%S|%#S", 2, false, L"09.25|9.25"},
        {L"", L"%H %%S", 1, false, L"07 %S.3"},  // the escaped percent sign gets digits too
        {L"%#d.%#m.%#y", L"%#H:%#M", 0, false, L"5.3.24 7:8"},
        {L"%#a %#p", L"", 0, false, L"TUE am"},  // "#" on names keeps glibc's meaning
        {L"%%#d", L"", 0, false, L"%#d"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << std::wstring(c.date) << " | " << c.time);
        EXPECT_EQ(c.expected, Utc(At(kMarch, 0.25), c.date, c.time, c.digits, c.timeFirst));
    }
}

TEST_F(AbsTimeToStringTest, TranslatedWindowsPatterns) {
    const String date = ConvertWin32DateTimeFormatString("dddd, MMMM dd, yyyy", 20);
    const String time = ConvertWin32DateTimeFormatString("h:mm:ss tt", 11);
    EXPECT_EQ(L"Tuesday, March 05, 2024 7:08:09 ", Utc(At(kMarch), date.c_str(), time.c_str()));
    const String ampm = ConvertWin32DateTimeFormatString("hh 'o''clock' t", 16);
    EXPECT_EQ(L"07 oclock AM", Utc(At(kMarch), L"", ampm.c_str()));
}

TEST_F(AbsTimeToStringTest, FractionsRoundAndCarryIntoTheSeconds) {
    struct Case {
        double fraction;
        unsigned digits;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {0.9996, 3, L"07:08:10.000"},  // the digits would be 1000: the seconds advance
        {0.9996, 0, L"07:08:10"},      // no digits: seconds round to nearest
        {0.9994, 3, L"07:08:09.999"},  // shown digits never round the seconds field
        {0.4, 0, L"07:08:09"},        {0.5, 0, L"07:08:10"},  // a tie goes to the even second
        {0.96, 1, L"07:08:10.0"},     {0.0, 3, L"07:08:09.000"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.fraction << " with " << c.digits);
        EXPECT_EQ(c.expected, Utc(At(kMarch, c.fraction), L"", L"%H:%M:%S", c.digits));
    }
    EXPECT_EQ(L"07:08:10", Utc(At(kMarch + 1, 0.5), L"", L"%H:%M:%S"));  // 10.5 -> 10
}

TEST_F(AbsTimeToStringTest, ArgumentChecksAndTheAbsentTime) {
    EXPECT_THROW(AbsTimeToString(At(kMarch), L"", L"%S", 4, kUTCTime, false, nullptr),
                 exception::InvalidArgument);
    // Checked before the absent time is recognised.
    EXPECT_THROW(AbsTimeToString(AbsTime::min, L"", L"%S", 4, kUTCTime, false, nullptr),
                 exception::InvalidArgument);
    EXPECT_EQ(L"", Utc(AbsTime::min, L"%Y", L"%H:%M:%S", 3, true, L"UTC"));
    EXPECT_EQ(L"",
              W(AbsTimeToString(AbsTime::min, nullptr, nullptr, 0, kLocalTime, false, nullptr)));
    EXPECT_EQ(L"", W(AbsTimeToStringForTimeZone(AbsTime::min, TimeZone(L"EST", -300), L"%Y", L"%H",
                                                0, false)));
}

TEST_F(AbsTimeToStringTest, ZoneNamesJoinTheTimePattern) {
    EXPECT_EQ(L"2024-03-05 07:08:09 UTC",
              Utc(At(kMarch), L"%Y-%m-%d", L"%H:%M:%S", 0, false, L"UTC"));
    // The name joins the time pattern, so it comes before the date when the time is first.
    EXPECT_EQ(L"07:08:09 UTC 2024-03-05",
              Utc(At(kMarch), L"%Y-%m-%d", L"%H:%M:%S", 0, true, L"UTC"));
    EXPECT_EQ(L"2024-03-05", Utc(At(kMarch), L"%Y-%m-%d", L"", 0, false, L"UTC"));
    // The name is part of the pattern.
    EXPECT_EQ(L"07 at 08", Utc(At(kMarch), L"", L"%H", 0, false, L"at %M"));

    EXPECT_EQ(L"2024-03-05 02:08:09.500 EST",
              W(AbsTimeToStringForTimeZone(At(kMarch, 0.5), TimeZone(L"EST", -300), L"%Y-%m-%d",
                                           L"%H:%M:%S", 3, false)));
    EXPECT_EQ(L"2024-03-05 12:38:09",
              W(AbsTimeToStringForTimeZone(At(kMarch), TimeZone(L"", 330), L"%Y-%m-%d", L"%H:%M:%S",
                                           0, false)));
}

TEST_F(AbsTimeToStringTest, LocalTimeFollowsTZ) {
    ScopedEnv tz("TZ", "EST5EDT,M3.2.0,M11.1.0");
    EXPECT_EQ(L"2024-03-05 02:08:09 EST", W(AbsTimeToString(At(kMarch), L"%Y-%m-%d", L"%H:%M:%S %Z",
                                                            0, kLocalTime, false, nullptr)));
    // Any type other than UTC is local time.
    EXPECT_EQ(L"2024-07-05 03:08:09 EDT",
              W(AbsTimeToString(At(kJuly), L"%Y-%m-%d", L"%H:%M:%S %Z", 0,
                                static_cast<TimeStringType>(7), false, nullptr)));
}

TEST_F(AbsTimeToStringTest, NullPatternsTakeTheSystemFormats) {
    ScopedEnv all("LC_ALL", "C");
    EXPECT_EQ(L"03/05/24 07:08:09", Utc(At(kMarch), nullptr, nullptr));
    EXPECT_EQ(L"07:08:09", Utc(At(kMarch), L"", nullptr));

    // DateTimeFormat's bools say whether its own patterns apply.
    const DateTimeFormat system;
    EXPECT_FALSE(system.useDatePattern);
    EXPECT_EQ(kLocalTime, system.type);
    const DateTimeFormat custom(true, L"%d.%m.%Y", false, L"ignored", 2, kUTCTime);
    // "%X" holds no seconds field, so no digits are added.
    EXPECT_EQ(L"07:08:09 05.03.2024", W(custom.format(At(kMarch, 0.25), true)));
    const DateTimeFormat dateOnly(true, L"%Y", true, L"", 0, kUTCTime);
    EXPECT_EQ(L"2024", W(dateOnly.format(At(kMarch), false, L"UTC")));
}

TEST_F(AbsTimeToStringTest, OverlongResultsAreEmpty) {
    const std::wstring fits(511, L'x');
    const std::wstring tooLong(512, L'x');
    EXPECT_EQ(fits, Utc(At(kMarch), fits.c_str(), L""));
    EXPECT_EQ(L"", Utc(At(kMarch), tooLong.c_str(), L""));
}

TEST_F(AbsTimeToStringTest, HandleFractionalSecondsOnItsOwn) {
    // Only an S right after "%" or "%#" is a seconds field.
    String pattern(L"S %S %#S %-S %");
    AbsTime t = At(kMarch, 0.5);
    HandleFractionalSeconds(pattern, t, 1);
    EXPECT_EQ(L"S %S.5 %#S.5 %-S %", W(pattern));
    EXPECT_EQ(At(kMarch, 0.5), t);
    // No digits: nothing changes, not even a fraction that would round up.
    AbsTime u = At(kMarch, 0.9996);
    HandleFractionalSeconds(pattern, u, 0);
    EXPECT_EQ(At(kMarch, 0.9996), u);
    EXPECT_THROW(HandleFractionalSeconds(pattern, u, 4), exception::InvalidArgument);
}

TEST_F(AbsTimeToStringTest, CalendarBreakDownRange) {
    EXPECT_EQ(At(2082844800u), GetMinTime_T());
    EXPECT_EQ(At(2082844800u + 0x7FFFFFFFu), GetMaxTime_T());
    EXPECT_EQ(L"2038-01-19 03:14:07", Utc(GetMaxTime_T(), L"%Y-%m-%d", L"%H:%M:%S"));
    // Before 1970, within 32 bits, glibc breaks times down.
    EXPECT_EQ(L"1969-12-31", Utc(At(2082844800u - 86400u), L"%Y-%m-%d", L""));

    // Beyond 32 bits either way: OutOfRange, and the fields stay as they were.
    std::tm fields;
    fields.tm_sec = 61;
    AbsTime late = GetMaxTime_T();
    late += AbsTime::Value(1);
    EXPECT_THROW(AbsTimeToUTCDateTime(late, fields, false), exception::OutOfRange);
    EXPECT_EQ(61, fields.tm_sec);
    EXPECT_THROW(AbsTimeToLocalDateTime(AbsTime(AbsTime::Value(-60052752000LL)), fields, false),
                 exception::OutOfRange);
    // Rounding to nearest carries 0x7FFFFFFF.5 past the bound; truncating does not.
    const AbsTime edge = At(2082844800u + 0x7FFFFFFFu, 0.5);
    EXPECT_THROW(AbsTimeToUTCDateTime(edge, fields, true), exception::OutOfRange);
    EXPECT_NO_THROW(AbsTimeToUTCDateTime(edge, fields, false));
}

}  // namespace
