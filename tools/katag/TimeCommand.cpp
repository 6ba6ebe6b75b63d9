// katag time [--utc | --local | --zone=MINUTES[,NAME]] [--date=PATTERN] [--time=PATTERN]
//            [--digits=N]
// The current time stamp as the library holds it (whole seconds since 1904, fraction and the four
// words) and formatted with date and time patterns in the Windows letter style.

#include <cinttypes>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Commands.h"
#include "ka/kor/AbsTime.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/TimeZone.h"
#include "ka/kor/osdep/AbsTimeToString.h"
#include "ka/kor/osdep/ConvertWin32DateTimeFormatString.h"
#include "ka/kor/osdep/GetCurrentAbsTime.h"

namespace katag {

namespace {

const char kTimeUsage[] =
    "usage: katag time [--utc | --local | --zone=MINUTES[,NAME]] [--date=PATTERN] "
    "[--time=PATTERN] [--digits=0..3]";

enum class Mode { kUtc, kLocal, kZone };

struct Options {
    Mode mode = Mode::kUtc;
    bool modeGiven = false;
    int zoneMinutes = 0;
    std::string zoneName;
    std::string datePattern = "yyyy-MM-dd";
    std::string timePattern = "HH:mm:ss";
    unsigned int digits = 3;
};

bool TakeValue(const std::string& arg, const char* option, std::string& value) {
    const std::string prefix = std::string(option) + "=";
    if (arg.compare(0, prefix.size(), prefix) != 0) {
        return false;
    }
    value = arg.substr(prefix.size());
    return true;
}

void SetMode(Options& o, Mode mode) {
    if (o.modeGiven) {
        throw UsageError("give only one of --utc, --local and --zone");
    }
    o.mode = mode;
    o.modeGiven = true;
}

// The translation never ends on an era letter outside quotes, so such patterns are refused here.
void CheckPattern(const std::string& pattern, const char* option) {
    bool quoted = false;
    for (char c : pattern) {
        if (c == '\'') {
            quoted = !quoted;
        } else if (c == 'g' && !quoted) {
            throw UsageError(std::string(option) + ": the era letter 'g' is not supported");
        }
    }
}

int ParseInt(const std::string& text, const char* what, long min, long max) {
    char* end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || v < min || v > max) {
        throw UsageError(std::string("invalid ") + what + " '" + text + "': expected " +
                         std::to_string(min) + " to " + std::to_string(max));
    }
    return static_cast<int>(v);
}

Options Parse(const Args& args) {
    Options o;
    for (const std::string& arg : args) {
        std::string value;
        if (arg == "--utc") {
            SetMode(o, Mode::kUtc);
        } else if (arg == "--local") {
            SetMode(o, Mode::kLocal);
        } else if (TakeValue(arg, "--zone", value)) {
            SetMode(o, Mode::kZone);
            const std::string::size_type comma = value.find(',');
            // A day either way covers every zone in use.
            o.zoneMinutes = ParseInt(value.substr(0, comma), "zone offset in minutes", -1440, 1440);
            if (comma != std::string::npos) {
                o.zoneName = value.substr(comma + 1);
            }
        } else if (TakeValue(arg, "--date", value)) {
            CheckPattern(value, "--date");
            o.datePattern = value;
        } else if (TakeValue(arg, "--time", value)) {
            CheckPattern(value, "--time");
            o.timePattern = value;
        } else if (TakeValue(arg, "--digits", value)) {
            o.digits = static_cast<unsigned int>(ParseInt(value, "fraction digits", 0, 3));
        } else {
            throw UsageError(kTimeUsage);
        }
    }
    return o;
}

ka::kor::String Translate(const std::string& pattern) {
    return ka::kor::osdep::ConvertWin32DateTimeFormatString(
        pattern.c_str(), static_cast<unsigned int>(pattern.size() + 1));
}

}  // namespace

int TimeCommand(const Args& args, std::ostream& out) {
    using namespace ka::kor;
    const Options o = Parse(args);
    // Month and day names, the decimal separator and the output encoding follow the user's
    // locale.
    std::setlocale(LC_ALL, "");

    const AbsTime now = osdep::GetCurrentAbsTime();
    const String date = Translate(o.datePattern);
    const String time = Translate(o.timePattern);
    String text;
    const char* label = "utc:      ";
    switch (o.mode) {
        case Mode::kUtc:
            text = osdep::AbsTimeToString(now, date.c_str(), time.c_str(), o.digits,
                                          osdep::kUTCTime, false, nullptr);
            break;
        case Mode::kLocal:
            label = "local:    ";
            text = osdep::AbsTimeToString(now, date.c_str(), time.c_str(), o.digits,
                                          osdep::kLocalTime, false, nullptr);
            break;
        case Mode::kZone:
            label = "zone:     ";
            text = osdep::AbsTimeToStringForTimeZone(
                now, TimeZone(String(o.zoneName.c_str()), static_cast<std::int16_t>(o.zoneMinutes)),
                date.c_str(), time.c_str(), o.digits, false);
            break;
    }

    char line[128];
    std::snprintf(line, sizeof line, "seconds:  %" PRId64 "\nfraction: %.9f\n", now.getSeconds(),
                  now.getFraction());
    out << line;
    std::snprintf(line, sizeof line,
                  "words:    %08" PRIX32 " %08" PRIX32 " %08" PRIX32 " %08" PRIX32
                  " (most significant first)\n",
                  now.word(3), now.word(2), now.word(1), now.word(0));
    out << line << label << AString(text).c_str() << '\n';
    return 0;
}

}  // namespace katag
