#include "ka/kor/osdep/AbsTimeToString.h"

#include <gtest/gtest.h>

#include <clocale>
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

    static std::wstring Utc(AbsTime t, const wchar_t* date, const wchar_t* time,
                            unsigned digits = 0, bool timeFirst = false,
                            const wchar_t* zone = nullptr) {
        return W(AbsTimeToString(t, date, time, digits, kUTCTime, timeFirst, zone));
    }
};

TEST_F(AbsTimeToStringTest, PatternsDigitsAndZoneNamesInUtc) {
    struct Case {
        const wchar_t* date;
        const wchar_t* time;
        unsigned digits;
        bool timeFirst;
        const wchar_t* zone;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {L"%Y-%m-%d", L"%H:%M:%S", 0, true, nullptr, L"07:08:09 2024-03-05"},
        {L"%Y-%m-%d", L"", 3, true, nullptr, L"2024-03-05"},
        {L"%Y-%m-%d", L"%H:%M:%S", 3, false, nullptr, L"2024-03-05 07:08:09.250"},
        {L"", L"%H:%M:%S", 1, false, nullptr, L"07:08:09.3"},  // 2.5 tenths round up
        {L"", L"%S|%#S", 2, false, nullptr, L"09.25|9.25"},
        {L"", L"%H %%S", 1, false, nullptr, L"07 %S.3"},  // an escaped "%" gets digits too
        {L"%#d.%#m.%#y", L"%#H:%#M", 0, false, nullptr, L"5.3.24 7:8"},
        {L"%#a %#p", L"%I %p", 0, false, nullptr, L"TUE am 07 AM"},  // "#" on names: glibc's
        {L"%%#d", L"", 0, false, nullptr, L"%#d"},
        {L"%Y-%m-%d", L"%H:%M:%S", 0, false, L"UTC", L"2024-03-05 07:08:09 UTC"},
        // The name joins the time pattern, so it comes before the date when the time is first,
        // it is left out with the time, and "%" in it is a conversion.
        {L"%Y-%m-%d", L"%H:%M:%S", 0, true, L"UTC", L"07:08:09 UTC 2024-03-05"},
        {L"%Y-%m-%d", L"", 0, false, L"UTC", L"2024-03-05"},
        {L"", L"%H", 0, false, L"at %M", L"07 at 08"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << std::wstring(c.date) << " | " << c.time);
        EXPECT_EQ(c.expected, Utc(At(kMarch, 0.25), c.date, c.time, c.digits, c.timeFirst, c.zone));
    }
    const String date = ConvertWin32DateTimeFormatString("dddd, MMMM dd, yyyy", 20);
    const String time = ConvertWin32DateTimeFormatString("h:mm:ss tt", 11);
    EXPECT_EQ(L"Tuesday, March 05, 2024 7:08:09 ", Utc(At(kMarch), date.c_str(), time.c_str()));
}

TEST_F(AbsTimeToStringTest, FractionsRoundAndCarryIntoTheSeconds) {
    const auto time = [](std::uint32_t seconds, double fraction, unsigned digits) {
        return Utc(At(seconds, fraction), L"", L"%H:%M:%S", digits);
    };
    EXPECT_EQ(L"07:08:10.000", time(kMarch, 0.9996, 3));  // 1000 thousandths: the seconds advance
    EXPECT_EQ(L"07:08:10", time(kMarch, 0.9996, 0));      // no digits: seconds round to nearest
    EXPECT_EQ(L"07:08:09.999", time(kMarch, 0.9994, 3));  // digits never round the seconds field
    EXPECT_EQ(L"07:08:10.0", time(kMarch, 0.96, 1));
    EXPECT_EQ(L"07:08:10", time(kMarch, 0.5, 0));  // a tie goes to the even second
    EXPECT_EQ(L"07:08:10", time(kMarch + 1, 0.5, 0));
    // Only an S right after "%" or "%#" is a seconds field.
    String pattern(L"S %S %#S %-S %");
    AbsTime t = At(kMarch, 0.5);
    HandleFractionalSeconds(pattern, t, 1);
    EXPECT_EQ(L"S %S.5 %#S.5 %-S %", W(pattern));
    EXPECT_EQ(At(kMarch, 0.5), t);
    // No digits: nothing changes, not even a fraction that would round up.
    t = At(kMarch, 0.9996);
    HandleFractionalSeconds(pattern, t, 0);
    EXPECT_EQ(At(kMarch, 0.9996), t);
    EXPECT_THROW(HandleFractionalSeconds(pattern, t, 4), exception::InvalidArgument);
}

TEST_F(AbsTimeToStringTest, ArgumentChecksTheAbsentTimeAndOverlongResults) {
    // Checked before the absent time is recognised.
    EXPECT_THROW(AbsTimeToString(AbsTime::min, L"", L"%S", 4, kUTCTime, false, nullptr),
                 exception::InvalidArgument);
    EXPECT_EQ(L"", Utc(AbsTime::min, L"%Y", L"%H:%M:%S", 3, true, L"UTC"));
    EXPECT_EQ(L"", W(AbsTimeToStringForTimeZone(AbsTime::min, TimeZone(L"EST", -300), L"%Y", L"%H",
                                                0, false)));
    const std::wstring fits(511, L'x');
    EXPECT_EQ(fits, Utc(At(kMarch), fits.c_str(), L""));
    EXPECT_EQ(L"", Utc(At(kMarch), (fits + L"x").c_str(), L""));
}

TEST_F(AbsTimeToStringTest, OtherZones) {
    const auto in = [](AbsTime t, const TimeZone& zone, unsigned digits) {
        return W(AbsTimeToStringForTimeZone(t, zone, L"%Y-%m-%d", L"%H:%M:%S", digits, false));
    };
    const auto local = [](AbsTime t, TimeStringType type) {
        return W(AbsTimeToString(t, L"%Y-%m-%d", L"%H:%M:%S %Z", 0, type, false, nullptr));
    };
    EXPECT_EQ(L"2024-03-05 02:08:09.500 EST", in(At(kMarch, 0.5), TimeZone(L"EST", -300), 3));
    EXPECT_EQ(L"2024-03-05 12:38:09", in(At(kMarch), TimeZone(L"", 330), 0));
    ScopedEnv tz("TZ", "EST5EDT,M3.2.0,M11.1.0");
    EXPECT_EQ(L"2024-03-05 02:08:09 EST", local(At(kMarch), kLocalTime));
    // Any type other than UTC is local time.
    EXPECT_EQ(L"2024-07-05 03:08:09 EDT", local(At(kJuly), static_cast<TimeStringType>(7)));
}

TEST_F(AbsTimeToStringTest, NullPatternsTakeTheSystemFormats) {
    ScopedEnv all("LC_ALL", "C");
    EXPECT_EQ(L"03/05/24 07:08:09", Utc(At(kMarch), nullptr, nullptr));
    EXPECT_EQ(L"07:08:09", Utc(At(kMarch), L"", nullptr));
    // DateTimeFormat's bools say whether its own patterns apply; "%X" holds no seconds field,
    // so no digits are added.
    const DateTimeFormat custom(true, L"%d.%m.%Y", false, L"ignored", 2, kUTCTime);
    EXPECT_EQ(L"07:08:09 05.03.2024", W(custom.format(At(kMarch, 0.25), true)));
}

TEST_F(AbsTimeToStringTest, CalendarBreakDownRange) {
    EXPECT_EQ(At(2082844800u), GetMinTime_T());
    EXPECT_EQ(At(2082844800u + 0x7FFFFFFFu), GetMaxTime_T());
    EXPECT_EQ(L"2038-01-19 03:14:07", Utc(GetMaxTime_T(), L"%Y-%m-%d", L"%H:%M:%S"));
    // Before 1970, within 32 bits, glibc breaks times down.
    EXPECT_EQ(L"1969-12-31", Utc(At(2082844800u - 86400u), L"%Y-%m-%d", L""));
}

}  // namespace
