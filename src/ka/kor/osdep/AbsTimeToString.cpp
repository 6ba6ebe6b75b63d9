#include "ka/kor/osdep/AbsTimeToString.h"

#include <clocale>
#include <cstring>
#include <ctime>
#include <cwchar>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/AbsTimeToDateTime.h"
#include "ka/kor/osdep/SystemDateTimeFormat.h"
#include "ka/kor/osdep/WideToAnsi.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/AbsTimeToString";

// strftime writes into a buffer of this size.
constexpr std::size_t kResultBytes = 512;

bool IsNumericConversion(wchar_t c) {
    return c != 0 && std::wcschr(L"dHIjmMSUwWyY", c) != nullptr;
}

// glibc's strftime ignores "#" on numbers; its "-" flag drops the leading zero, which is what
// "#" means in patterns translated from the Windows letters.
String ToPosixFlags(const String& pattern) {
    String out;
    out.reserve(pattern.length());
    const unsigned int n = pattern.length();
    for (unsigned int i = 0; i < n; ++i) {
        const wchar_t c = pattern[i];
        out += c;
        if (c != L'%' || i + 1 >= n) {
            continue;
        }
        if (pattern[i + 1] == L'%') {
            out += L'%';
            ++i;
        } else if (pattern[i + 1] == L'#' && i + 2 < n && IsNumericConversion(pattern[i + 2])) {
            out += L'-';
            ++i;
        }
    }
    return out;
}

String Join(const String& first, const String& second) {
    if (first.empty()) {
        return second;
    }
    if (second.empty()) {
        return first;
    }
    return first + L" " + second;
}

String Format(const String& pattern, const std::tm& fields) {
    const String posix = ToPosixFlags(pattern);
    char* narrow = WideToAnsi(posix.begin(), posix.end(), "");
    char buffer[kResultBytes];
    // The buffer's content is undefined when the result does not fit: return "" then.
    const std::size_t n = std::strftime(buffer, sizeof buffer, narrow, &fields);
    delete[] narrow;
    if (n == 0) {
        return String();
    }
    return String(buffer, buffer + n);
}

}  // namespace

void HandleFractionalSeconds(String& pattern, AbsTime& t, unsigned int digits) {
    static const double kScale[] = {1.0, 10.0, 100.0, 1000.0};
    if (digits > 3) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    if (digits == 0) {
        return;
    }
    double n = t.getFraction() * kScale[digits] + 0.5;
    if (n >= kScale[digits]) {
        t += AbsTime::Value(1);
        n = 0;
    }

    char separator[6] = {0};
    std::strncpy(separator, std::localeconv()->decimal_point, 5);
    wchar_t format[20];
    if (std::swprintf(format, 20, L"%s%%0%ud", separator, digits) < 0) {
        // A separator that the narrow encoding cannot read: fall back to the C locale's.
        std::swprintf(format, 20, L".%%0%ud", digits);
    }
    wchar_t text[20];
    std::swprintf(text, 20, format, static_cast<int>(n));
    const String fraction(text);

    for (unsigned int p = pattern.find(L'S'); p != String::npos; p = pattern.find(L'S', p + 1)) {
        const bool afterPercent = p > 0 && pattern[p - 1] == L'%';
        const bool afterFlag = p >= 2 && pattern[p - 2] == L'%' && pattern[p - 1] == L'#';
        if (afterPercent || afterFlag) {
            pattern.replace(p + 1, 0, fraction);
        }
    }
}

String AbsTimeToString(AbsTime t, const wchar_t* datePattern, const wchar_t* timePattern,
                       unsigned int fractionDigits, TimeStringType type, bool timeFirst,
                       const wchar_t* zoneName) {
    if (fractionDigits > 3) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    if (t == AbsTime::min) {
        return String();
    }
    const String date = datePattern != nullptr ? String(datePattern) : GetSystemDateFormat();
    String time = timePattern != nullptr ? String(timePattern) : GetSystemTimeFormat();
    if (zoneName != nullptr && *zoneName != 0 && !time.empty()) {
        time += L" ";
        time += zoneName;
    }
    if (fractionDigits != 0 && !time.empty()) {
        HandleFractionalSeconds(time, t, fractionDigits);
    }
    const String pattern = timeFirst ? Join(time, date) : Join(date, time);

    std::tm fields;
    const bool roundToNearest = fractionDigits == 0;
    if (type == kUTCTime) {
        AbsTimeToUTCDateTime(t, fields, roundToNearest);
    } else {
        AbsTimeToLocalDateTime(t, fields, roundToNearest);
    }
    return Format(pattern, fields);
}

String AbsTimeToStringForTimeZone(AbsTime t, const TimeZone& zone, const wchar_t* datePattern,
                                  const wchar_t* timePattern, unsigned int fractionDigits,
                                  bool timeFirst) {
    // The mark of no time stays a mark, whatever the zone.
    if (t != AbsTime::min) {
        t += AbsTime::Value(static_cast<int>(zone.offset()) * 60);
    }
    return AbsTimeToString(t, datePattern, timePattern, fractionDigits, kUTCTime, timeFirst,
                           zone.name().c_str());
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
