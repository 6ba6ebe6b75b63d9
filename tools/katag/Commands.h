// Subcommands of katag. Each takes the arguments after its name, writes its report to out and
// returns the process exit status; a usage error throws UsageError.
#pragma once

#include <cstdint>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "ka/kor/StringBase.h"

namespace katag {

typedef std::vector<std::string> Args;

// A command line that cannot be understood; main() prints its text on one line and exits with 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

int QualityCommand(const Args& args, std::ostream& out);
int ErrorCommand(const Args& args, std::ostream& out);
int UrlCommand(const Args& args, std::ostream& out);
int ArchiveUrlCommand(const Args& args, std::ostream& out);
// Reads standard input.
int Base64Command(const Args& args, std::ostream& out);
int GuidCommand(const Args& args, std::ostream& out);
int PacketCommand(const Args& args, std::ostream& out);
int TimeCommand(const Args& args, std::ostream& out);

// Parses a 32-bit word written in hex ("0x41") or decimal ("65", or "-2147467259" for a code the
// host shows as signed); throws UsageError naming what for anything else.
std::uint32_t ParseWord(const std::string& text, const char* what);

// "0x8BBB0006 (-1950679034)": a code as the host shows it, in hex and as a signed number.
std::string FormatCode(std::uint32_t code);

// Command-line text (in the locale's code set) as wide text, and back.
ka::kor::String Wide(const std::string& text);
std::string Narrow(const ka::kor::String& text);
// Text in double quotes with quotes, backslashes and control characters escaped C-style.
std::string Quoted(const ka::kor::String& text);
// The text as it stands, or Quoted when it holds control characters that would break the line.
std::string Printable(const ka::kor::String& text);

}  // namespace katag
