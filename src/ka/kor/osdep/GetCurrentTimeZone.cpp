#include "ka/kor/osdep/GetCurrentTimeZone.h"

#include <ctime>

#include "ka/kor/osdep/PosixError.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {
constexpr const char* kSourceFile = "ka/kor/osdep/GetCurrentTimeZone";
}

TimeZone GetCurrentTimeZone() {
    // localtime_r need not look at TZ again; tzset makes a changed TZ count, as the calendar
    // break-downs (through localtime) do.
    ::tzset();
    const std::time_t now = std::time(nullptr);
    std::tm fields;
    if (::localtime_r(&now, &fields) == nullptr) {
        throw PosixError::FromCall(__LINE__, kSourceFile, "localtime_r");
    }
    const String name = fields.tm_zone != nullptr ? String(fields.tm_zone) : String();
    return TimeZone(name, static_cast<std::int16_t>(fields.tm_gmtoff / 60));
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
