// katag time [--utc | --local | --zone=MINUTES[,NAME]] [--date=PATTERN] [--time=PATTERN]
//            [--digits=N]
// The current time stamp as the library holds it (whole seconds since 1904, fraction and the four
// words) and formatted with date and time patterns in the Windows letter style.

#include <cinttypes>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ka/kor/AbsTime.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/TimeZone.h"
#include "ka/kor/osdep/AbsTimeToString.h"
#include "ka/kor/osdep/ConvertWin32DateTimeFormatString.h"
#include "ka/kor/osdep/GetCurrentAbsTime.h"

namespace katag {

namespace {

enum class Mode { kUtc, kLocal, kZone };

struct Options {
    bool utc = false;
    bool local = false;
    std::string zone;
    std::string datePattern = "yyyy-MM-dd";
    std::string timePattern = "HH:mm:ss";
    unsigned int digits = 3;
};

// The translation never ends on an era letter outside quotes, so such patterns are refused here.
std::string CheckPattern(const std::string& pattern) {
    bool quoted = false;
    for (char c : pattern) {
        if (c == '\'') {
            quoted = !quoted;
        } else if (c == 'g' && !quoted) {
            return "the era letter 'g' is not supported";
        }
    }
    return "";
}

// Reads MINUTES[,NAME]; returns an error text, empty when the zone is good.
std::string ParseZone(const std::string& text, int& minutes, std::string& name) {
    const std::string::size_type comma = text.find(',');
    const std::string number = text.substr(0, comma);
    // A day either way covers every zone in use.
    const long kLimit = 1440;
    char* end = nullptr;
    const long v = std::strtol(number.c_str(), &end, 10);
    if (number.empty() || *end != '\0' || v < -kLimit || v > kLimit) {
        return "invalid zone offset in minutes '" + number + "': expected -1440 to 1440";
    }
    minutes = static_cast<int>(v);
    name = comma == std::string::npos ? std::string() : text.substr(comma + 1);
    return "";
}

ka::kor::String Translate(const std::string& pattern) {
    return ka::kor::osdep::ConvertWin32DateTimeFormatString(
        pattern.c_str(), static_cast<unsigned int>(pattern.size() + 1));
}

int Run(const Options& o, std::ostream& out) {
    using namespace ka::kor;
    const Mode mode = o.local ? Mode::kLocal : (!o.zone.empty() ? Mode::kZone : Mode::kUtc);
    int zoneMinutes = 0;
    std::string zoneName;
    ParseZone(o.zone, zoneMinutes, zoneName);
    // Month and day names, the decimal separator and the output encoding follow the user's
    // locale.
    std::setlocale(LC_ALL, "");

    const AbsTime now = osdep::GetCurrentAbsTime();
    const String date = Translate(o.datePattern);
    const String time = Translate(o.timePattern);
    String text;
    const char* label = "utc:      ";
    switch (mode) {
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
                now, TimeZone(String(zoneName.c_str()), static_cast<std::int16_t>(zoneMinutes)),
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

}  // namespace

Action DefineTimeCommand(CLI::App& app) {
    auto o = std::make_shared<Options>();
    const CLI::Validator pattern(CheckPattern, "PATTERN");
    const CLI::Validator zone(
        [](std::string& text) {
            int minutes;
            std::string name;
            return ParseZone(text, minutes, name);
        },
        "MINUTES[,NAME]");
    CLI::Option* utc = app.add_flag("--utc", o->utc, "in UTC (the default)");
    CLI::Option* local = app.add_flag("--local", o->local, "in local time");
    CLI::Option* zoned = app.add_option("--zone", o->zone,
                                        "in a zone MINUTES from UTC (-1440 to 1440) with an "
                                        "optional NAME, e.g. --zone=-300,EST")
                             ->check(zone)
                             ->option_text("MINUTES[,NAME]");
    utc->excludes(local)->excludes(zoned);
    local->excludes(zoned);
    app.add_option("--date", o->datePattern, "date pattern (default yyyy-MM-dd)")
        ->check(pattern)
        ->option_text("PATTERN");
    app.add_option("--time", o->timePattern, "time pattern (default HH:mm:ss)")
        ->check(pattern)
        ->option_text("PATTERN");
    app.add_option("--digits", o->digits, "fraction digits of the seconds, 0 to 3 (default 3)")
        ->check(CLI::Range(0u, 3u))
        ->option_text("N");
    app.footer(
        "Prints the seconds since 1904-01-01 UTC, the fraction, the four words of the time stamp "
        "and its text. Give only one of --utc, --local and --zone. Patterns use the Windows "
        "letters, such as yyyy-MM-dd and HH:mm:ss; the era "
        "letter g is not supported.");
    return [o](std::ostream& out) { return Run(*o, out); };
}

}  // namespace katag
