// A complete choice of how to show time stamps: the arguments of AbsTimeToString bundled into one
// value that settings and callers can keep and pass around.
#pragma once

#include "ka/kor/AbsTime.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/osdep/AbsTimeToString.h"

namespace ka {
namespace kor {
namespace osdep {

class DateTimeFormat {
  public:
    // The system's date and time formats, no fraction digits, local time: a time stamp as the
    // user's own settings would show it.
    DateTimeFormat();
    // Each bool says whether its pattern (strftime form) applies; when it is false the system's
    // pattern is used instead. An applied empty pattern leaves that part out.
    DateTimeFormat(bool useDatePattern, const String& datePattern, bool useTimePattern,
                   const String& timePattern, unsigned int fractionDigits, TimeStringType type);

    // AbsTimeToString with these settings.
    String format(const AbsTime& t, bool timeFirst = false,
                  const wchar_t* zoneName = nullptr) const;

    bool useDatePattern;
    String datePattern;
    bool useTimePattern;
    String timePattern;
    unsigned int fractionDigits;
    TimeStringType type;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
