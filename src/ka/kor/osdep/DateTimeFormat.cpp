#include "ka/kor/osdep/DateTimeFormat.h"

namespace ka {
namespace kor {
namespace osdep {

DateTimeFormat::DateTimeFormat()
    : useDatePattern(false),
      datePattern(),
      useTimePattern(false),
      timePattern(),
      fractionDigits(0),
      type(kLocalTime) {}

DateTimeFormat::DateTimeFormat(bool useDatePattern, const String& datePattern, bool useTimePattern,
                               const String& timePattern, unsigned int fractionDigits,
                               TimeStringType type)
    : useDatePattern(useDatePattern),
      datePattern(datePattern),
      useTimePattern(useTimePattern),
      timePattern(timePattern),
      fractionDigits(fractionDigits),
      type(type) {}

String DateTimeFormat::format(const AbsTime& t, bool timeFirst, const wchar_t* zoneName) const {
    return AbsTimeToString(t, useDatePattern ? datePattern.c_str() : nullptr,
                           useTimePattern ? timePattern.c_str() : nullptr, fractionDigits, type,
                           timeFirst, zoneName);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
