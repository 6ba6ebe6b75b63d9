#include "ka/kor/osdep/AbsTimeToDateTime.h"

#include <cstdint>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/CriticalSection.h"
#include "ka/kor/tSSTimeAbsolute.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/AbsTimeToDateTime";

// Never destroyed, so that break-downs from other threads or static destructors at exit still
// find it.
CriticalSection& TimeConversionLock() {
    static CriticalSection* const lock = new CriticalSection();
    return *lock;
}

void BreakDown(const AbsTime& t, std::tm& fields, bool roundToNearest, bool local) {
    CriticalSection::Guard guard(TimeConversionLock());
    std::int32_t status = 0;
    const std::int32_t seconds =
        nKASS100::tSSTimeAbsolute(t.value())
            .sinceEpoch(nKASS100::kEpoch1970, &status)
            .getI32ByUnits(nKASS100::kTimeUnitSeconds,
                           roundToNearest ? nKASS100::kRoundToNearest : nKASS100::kRoundTowardZero,
                           &status);
    if (status < 0) {
        throw exception::OutOfRange(__LINE__, kSourceFile);
    }
    const std::time_t time = static_cast<std::time_t>(seconds);
    const std::tm* result = local ? std::localtime(&time) : std::gmtime(&time);
    if (result == nullptr) {
        throw exception::OutOfRange(__LINE__, kSourceFile);
    }
    fields = *result;
}

AbsTime SecondsSince1970(std::int64_t seconds) {
    std::int32_t status = 0;
    return AbsTime(nKASS100::tSSTimeAbsolute(seconds, nKASS100::kTimeUnitSeconds,
                                             nKASS100::kEpoch1970, &status)
                       .getValue());
}

}  // namespace

void AbsTimeToUTCDateTime(const AbsTime& t, std::tm& fields, bool roundToNearest) {
    BreakDown(t, fields, roundToNearest, false);
}

void AbsTimeToLocalDateTime(const AbsTime& t, std::tm& fields, bool roundToNearest) {
    BreakDown(t, fields, roundToNearest, true);
}

const AbsTime& GetMinTime_T() {
    static const AbsTime bound = SecondsSince1970(0);
    return bound;
}

const AbsTime& GetMaxTime_T() {
    static const AbsTime bound = SecondsSince1970(0x7FFFFFFF);
    return bound;
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
