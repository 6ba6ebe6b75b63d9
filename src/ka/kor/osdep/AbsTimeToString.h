// Time stamps rendered as text through strftime patterns, in UTC, local time or a given zone,
// with up to three digits of fractional seconds. Patterns in the Windows letter style are
// translated first with ConvertWin32DateTimeFormatString.
#pragma once

#include "ka/kor/AbsTime.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/TimeZone.h"

namespace ka {
namespace kor {
namespace osdep {

// 0 is UTC; every other value is local time.
enum TimeStringType {
    kUTCTime = 0,
    kLocalTime = 1,
};

// Renders t with strftime in the current locale (LC_TIME for names, LC_NUMERIC for the decimal
// separator, LC_CTYPE for the narrow encoding):
// - fractionDigits above 3 throw InvalidArgument; AbsTime::min (no time) gives "".
// - A null pattern stands for the system's (GetSystemDateFormat, GetSystemTimeFormat); an empty
//   one leaves that part out.
// - A non-empty zoneName is appended to a non-empty time pattern after a blank; it becomes part
//   of the pattern, so "%" in it is a conversion.
// - With fraction digits, the separator and digits follow every seconds field of the time
//   pattern (see HandleFractionalSeconds) and the seconds are truncated; without, the seconds
//   are rounded to nearest.
// - The parts are joined with one blank when both are non-empty, the time first if timeFirst.
// - "%#" before a numeric conversion means "without leading zero", as in the Windows letters.
// Throws OutOfRange for times the calendar break-down cannot handle (see AbsTimeToDateTime.h).
// A result longer than 511 bytes comes back empty.
String AbsTimeToString(AbsTime t, const wchar_t* datePattern, const wchar_t* timePattern,
                       unsigned int fractionDigits, TimeStringType type, bool timeFirst,
                       const wchar_t* zoneName);

// t shown in zone: moved by the zone's offset, rendered as UTC and labelled with the zone's name.
// AbsTime::min still gives "".
String AbsTimeToStringForTimeZone(AbsTime t, const TimeZone& zone, const wchar_t* datePattern,
                                  const wchar_t* timePattern, unsigned int fractionDigits,
                                  bool timeFirst);

// Prepares pattern and t for showing digits (1 to 3) of fractional seconds: the fraction is
// rounded to digits places; when that gives a whole second, t moves on by one second and the
// digits are zeros. The locale's decimal separator and the digits are inserted after every "S"
// that follows "%" or "%#". A "%%S" (a literal percent sign, then S) gets them too: other
// components do the same, so this is kept deliberately. digits 0 changes nothing; above 3 throws
// InvalidArgument.
void HandleFractionalSeconds(String& pattern, AbsTime& t, unsigned int digits);

}  // namespace osdep
}  // namespace kor
}  // namespace ka
