// katag: the command-line face of the library. Subcommands that look into the library's codes
// today; reading, writing and monitoring live items as the library grows.

#include <clocale>
#include <cstring>
#include <iostream>

#include "Commands.h"

namespace {

const char kUsage[] =
    "usage: katag COMMAND [ARGS]\n"
    "commands:\n"
    "  quality WORD   what a quality word means: its conditions, good/warning/error, host code\n"
    "  error CODE     which exception classes report a host error code, with their texts\n"
    "  url TEXT       how an item address is read: render type, components, rendering\n"
    "  archive-url TEXT\n"
    "                 how an archive address is read: components, item address, rendering\n"
    "  base64 encode|decode\n"
    "                 Base64 of standard input on standard output (decode ignores a final line\n"
    "                 end and rejects anything else that is not strict Base64)\n"
    "  guid [N]       N new time-based identifiers (default 1), one per line\n"
    "  time [OPTIONS] the current time stamp, its words and its text in UTC, local time or a\n"
    "                 zone (--utc, --local, --zone=MINUTES[,NAME], --date=PATTERN,\n"
    "                 --time=PATTERN in Windows letters such as yyyy-MM-dd, --digits=0..3)\n"
    "  packet HEX|-   walk a flex packet (hex, or raw bytes on stdin) and print its tree\n"
    "  packet --example NAME\n"
    "                 build an example packet (i32, f64, astring, utf16, time, array, astrings,\n"
    "                 waveform, waves, named), print its hex and its tree\n";

struct Command {
    const char* name;
    int (*run)(const katag::Args&, std::ostream&);
};

// One command per line, in the order of the usage text.
// clang-format off
const Command kCommands[] = {
    {"quality", katag::QualityCommand},
    {"error", katag::ErrorCommand},
    {"url", katag::UrlCommand},
    {"archive-url", katag::ArchiveUrlCommand},
    {"base64", katag::Base64Command},
    {"guid", katag::GuidCommand},
    {"time", katag::TimeCommand},
    {"packet", katag::PacketCommand},
};
// clang-format on

}  // namespace

int main(int argc, char** argv) {
    // Command-line text and output are in the user's code set.
    std::setlocale(LC_ALL, "");
    if (argc < 2) {
        std::cerr << "katag: missing command (try katag help)\n";
        return 2;
    }
    if (std::strcmp(argv[1], "help") == 0 || std::strcmp(argv[1], "--help") == 0 ||
        std::strcmp(argv[1], "-h") == 0) {
        std::cout << kUsage;
        return 0;
    }
    for (const Command& c : kCommands) {
        if (std::strcmp(argv[1], c.name) == 0) {
            try {
                return c.run(katag::Args(argv + 2, argv + argc), std::cout);
            } catch (const katag::UsageError& e) {
                std::cerr << "katag " << c.name << ": " << e.what() << '\n';
                return 2;
            } catch (const std::exception& e) {
                std::cerr << "katag " << c.name << ": " << e.what() << '\n';
                return 1;
            }
        }
    }
    std::cerr << "katag: unknown command '" << argv[1] << "' (try katag help)\n";
    return 2;
}
