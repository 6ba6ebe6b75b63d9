// Time stamps as text: UTC in the ISO 8601 form 2024-05-01T12:00:00.25Z. A time stamp is whole
// seconds since 1904-01-01 00:00:00 UTC and a fraction in units of 2^-64 s, on the proleptic
// Gregorian calendar.
#pragma once

#include <cstdint>
#include <string>

namespace gxhost {

// The time to the nanosecond, rounded, without trailing zeros in the fraction (none when it is
// zero). Years before 0 have a minus sign; years past 9999 more digits.
std::string FormatTime(std::int64_t seconds, std::uint64_t fraction);

// Reads [-]YYYY-MM-DD(T| )HH:MM:SS[.f{1,18}][Z] (4 to 9 year digits); false for anything else,
// an impossible date or time included.
bool ParseTime(const std::string& text, std::int64_t& seconds, std::uint64_t& fraction);

}  // namespace gxhost
