#include "ka/kor/osdep/GetCurrentAbsTime.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <clocale>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ka/kor/osdep/GetCurrentTimeZone.h"
#include "ka/kor/osdep/OSException.h"
#include "ka/kor/osdep/ScopedEnv.h"
#include "ka/kor/osdep/SetCurrentSystemTime.h"
#include "ka/kor/tSSTimeAbsolute.h"

namespace {

using namespace ka::kor;
using namespace ka::kor::osdep;

std::int64_t SystemClockMicroseconds() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

TEST(GetCurrentAbsTime, LiesBetweenTwoReadingsOfTheSystemClock) {
    const std::int64_t before = SystemClockMicroseconds();
    const AbsTime now = GetCurrentAbsTime();
    const std::int64_t after = SystemClockMicroseconds();
    std::int32_t status = 0;
    const std::int64_t us =
        nKASS100::tSSTimeAbsolute(now.value())
            .sinceEpoch(nKASS100::kEpoch1970, &status)
            .getI64ByUnits(nKASS100::kTimeUnitMicroseconds, nKASS100::kRoundToNearest, &status);
    EXPECT_EQ(0, status);
    EXPECT_LE(before, us);
    EXPECT_GE(after, us);
}

TEST(GetCurrentTimeZone, FollowsTZ) {
    std::setlocale(LC_ALL, "C");
    struct Case {
        const char* tz;
        const wchar_t* name;
        std::int16_t offset;
    };
    const Case cases[] = {{"EST5", L"EST", -300},
                          {"UTC0", L"UTC", 0},
                          {"IST-5:30", L"IST", 330},
                          {"NST3:30", L"NST", -210}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.tz);
        ScopedEnv tz("TZ", c.tz);
        const TimeZone zone = GetCurrentTimeZone();
        EXPECT_EQ(c.offset, zone.offset());
        EXPECT_EQ(std::wstring(c.name), std::wstring(zone.name().begin(), zone.name().end()));
    }
}

// Whether CAP_SYS_TIME (bit 25) is in this process's effective set, or cannot be told.
bool MaySetTheClock() {
    std::ostringstream status;
    status << std::ifstream("/proc/self/status").rdbuf();
    const std::size_t caps = status.str().find("CapEff:");
    return caps == std::string::npos ||
           ((std::stoull(status.str().substr(caps + 7), nullptr, 16) >> 25) & 1u) != 0;
}

TEST(SetCurrentSystemTime, EveryFailureIsAnOSExceptionWithErrno) {
    // Each refused whatever the process's rights: the system never takes a time before 1970.
    struct Case {
        AbsTime t;
        int error;
    };
    std::vector<Case> cases = {
        {AbsTime(), EINVAL},                   // 1904
        {AbsTime(2082844799.0, 0.5), EINVAL},  // half a second before 1970
        {AbsTime::max, EOVERFLOW},
        {AbsTime::min, EOVERFLOW},
    };
    if (sizeof(time_t) == 4) {
        cases.push_back({AbsTime(2082844800.0 + 2208988800.0, 0.0), EOVERFLOW});  // 2040
    }
    // The present is tried only without the right to set the clock, so it is never really set.
    if (!MaySetTheClock()) {
        cases.push_back({GetCurrentAbsTime(), EPERM});
    }
    for (const Case& c : cases) {
        SCOPED_TRACE(c.error);
        try {
            SetCurrentSystemTime(c.t);
            ADD_FAILURE() << "the clock took the time";
        } catch (const OSException& e) {
            EXPECT_EQ(static_cast<std::uint32_t>(c.error), e.whatcode());
            EXPECT_EQ(0u, std::string(e.what()).find("settimeofday: "));
        }
    }
}

}  // namespace
