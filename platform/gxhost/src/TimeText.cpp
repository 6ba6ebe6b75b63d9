#include "TimeText.h"

#include <cstdio>

namespace gxhost {

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
// Days from 1970-01-01 back to 1904-01-01, the time stamps' epoch.
constexpr std::int64_t kEpochDays = -24107;

// Days since 1970-01-01 of a civil date, and back (Howard Hinnant's algorithms, valid for the
// whole proleptic Gregorian calendar within 64 bits).
std::int64_t DaysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2 ? 1 : 0;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const std::int64_t yoe = y - era * 400;
    const std::int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const std::int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

void CivilFromDays(std::int64_t z, std::int64_t& y, unsigned& m, unsigned& d) {
    z += 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const std::int64_t doe = z - era * 146097;
    const std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const std::int64_t mp = (5 * doy + 2) / 153;
    d = static_cast<unsigned>(doy - (153 * mp + 2) / 5 + 1);
    m = static_cast<unsigned>(mp < 10 ? mp + 3 : mp - 9);
    y = yoe + era * 400 + (m <= 2 ? 1 : 0);
}

bool IsLeap(std::int64_t y) {
    return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0);
}

unsigned DaysInMonth(std::int64_t y, unsigned m) {
    static const unsigned kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && IsLeap(y) ? 29 : kDays[m - 1];
}

// round(fraction x 10^9 / 2^64) without 128-bit arithmetic (none on i386): splitting the
// fraction into 32-bit halves makes t exactly floor(fraction x 10^9 / 2^32).
std::uint64_t Nanoseconds(std::uint64_t fraction) {
    const std::uint64_t billion = 1000000000u;
    const std::uint64_t t =
        (fraction >> 32) * billion + (((fraction & 0xFFFFFFFFu) * billion) >> 32);
    return (t >> 32) + ((t >> 31) & 1u);
}

// round(digits x 2^64 / 10^n) for digits < 10^n <= 10^18, by binary long division; carry is set
// when the result rounds up to a whole second.
std::uint64_t FractionOf(std::uint64_t digits, std::uint64_t denominator, bool& carry) {
    std::uint64_t q = 0;
    std::uint64_t r = digits;
    for (int i = 0; i < 64; ++i) {
        r <<= 1;  // r < 10^18 < 2^63: no overflow
        q <<= 1;
        if (r >= denominator) {
            r -= denominator;
            q |= 1;
        }
    }
    carry = false;
    if (2 * r >= denominator) {
        ++q;
        carry = q == 0;
    }
    return q;
}

bool Digits(const std::string& s, std::size_t& at, std::size_t min, std::size_t max,
            std::uint64_t& value, std::size_t* count = nullptr) {
    value = 0;
    std::size_t n = 0;
    while (at < s.size() && n < max && s[at] >= '0' && s[at] <= '9') {
        value = value * 10 + static_cast<unsigned>(s[at] - '0');
        ++at;
        ++n;
    }
    if (count != nullptr) {
        *count = n;
    }
    return n >= min && !(at < s.size() && s[at] >= '0' && s[at] <= '9');
}

bool Expect(const std::string& s, std::size_t& at, char c) {
    if (at < s.size() && s[at] == c) {
        ++at;
        return true;
    }
    return false;
}

}  // namespace

std::string FormatTime(std::int64_t seconds, std::uint64_t fraction) {
    std::uint64_t ns = Nanoseconds(fraction);
    if (ns == 1000000000u) {
        if (seconds == INT64_MAX) {
            ns = 999999999u;  // the last representable second: never wrap to the far past
        } else {
            ns = 0;
            ++seconds;
        }
    }
    std::int64_t days = seconds / kSecondsPerDay;
    std::int64_t rest = seconds % kSecondsPerDay;
    if (rest < 0) {
        rest += kSecondsPerDay;
        --days;
    }
    std::int64_t y;
    unsigned m;
    unsigned d;
    CivilFromDays(days + kEpochDays, y, m, d);
    char text[80];
    const unsigned long long absYear =
        y < 0 ? 0ull - static_cast<unsigned long long>(y) : static_cast<unsigned long long>(y);
    int n = std::snprintf(text, sizeof text, "%s%04llu-%02u-%02uT%02u:%02u:%02u", y < 0 ? "-" : "",
                          absYear, m, d, static_cast<unsigned>(rest / 3600),
                          static_cast<unsigned>(rest / 60 % 60), static_cast<unsigned>(rest % 60));
    if (ns != 0) {
        int digits = 9;
        while (ns % 10 == 0) {
            ns /= 10;
            --digits;
        }
        n += std::snprintf(text + n, sizeof text - static_cast<std::size_t>(n), ".%0*llu", digits,
                           static_cast<unsigned long long>(ns));
    }
    return std::string(text, static_cast<std::size_t>(n)) + "Z";
}

bool ParseTime(const std::string& s, std::int64_t& seconds, std::uint64_t& fraction) {
    std::size_t at = 0;
    const bool negative = Expect(s, at, '-');
    std::uint64_t year, month, day, hour, minute, second;
    if (!Digits(s, at, 4, 9, year) || !Expect(s, at, '-') || !Digits(s, at, 2, 2, month) ||
        !Expect(s, at, '-') || !Digits(s, at, 2, 2, day)) {
        return false;
    }
    if (!Expect(s, at, 'T') && !Expect(s, at, ' ')) {
        return false;
    }
    if (!Digits(s, at, 2, 2, hour) || !Expect(s, at, ':') || !Digits(s, at, 2, 2, minute) ||
        !Expect(s, at, ':') || !Digits(s, at, 2, 2, second)) {
        return false;
    }
    std::uint64_t digits = 0;
    std::size_t count = 0;
    if (Expect(s, at, '.') && !Digits(s, at, 1, 18, digits, &count)) {
        return false;
    }
    Expect(s, at, 'Z');
    const std::int64_t y =
        negative ? -static_cast<std::int64_t>(year) : static_cast<std::int64_t>(year);
    if (at != s.size() || month < 1 || month > 12 || day < 1 ||
        day > DaysInMonth(y, static_cast<unsigned>(month)) || hour > 23 || minute > 59 ||
        second > 59) {
        return false;
    }
    const std::int64_t days =
        DaysFromCivil(y, static_cast<unsigned>(month), static_cast<unsigned>(day)) - kEpochDays;
    seconds = days * kSecondsPerDay + static_cast<std::int64_t>(hour * 3600 + minute * 60 + second);
    fraction = 0;
    if (count > 0) {
        std::uint64_t denominator = 1;
        for (std::size_t i = 0; i < count; ++i) {
            denominator *= 10;
        }
        bool carry;
        fraction = FractionOf(digits, denominator, carry);
        seconds += carry ? 1 : 0;
    }
    return true;
}

}  // namespace gxhost
