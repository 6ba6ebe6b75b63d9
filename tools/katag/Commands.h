// Subcommands of katag. Each declares its arguments on its own CLI11 subcommand and hands back the
// action that runs once they are parsed; main() keeps the table of commands, prints help and turns
// failures into exit statuses.
#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>

#include "ka/kor/StringBase.h"

namespace CLI {
class App;
}

namespace katag {

// Runs a parsed command: writes its report to out and returns the process exit status. A usage
// error throws UsageError; any other exception is a failure of the library (exit status 1).
typedef std::function<int(std::ostream& out)> Action;

// Declares a command's arguments and options on app and returns its action, which reads what the
// parser stored (so the storage must be owned by the action, not by the defining function).
typedef Action (*DefineCommand)(CLI::App& app);

// One entry of the command table.
struct Command {
    const char* name;      // as typed after "katag"
    const char* synopsis;  // its arguments for the command list, e.g. "WORD"; may be empty
    const char* summary;   // one line for the command list and the head of its own help
    DefineCommand define;
};

// A command line that cannot be understood; main() prints its text on one line and exits with 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

Action DefineQualityCommand(CLI::App& app);
Action DefineErrorCommand(CLI::App& app);
Action DefineUrlCommand(CLI::App& app);
Action DefineArchiveUrlCommand(CLI::App& app);
// Its action reads standard input.
Action DefineBase64Command(CLI::App& app);
Action DefineGuidCommand(CLI::App& app);
Action DefinePacketCommand(CLI::App& app);
Action DefineTimeCommand(CLI::App& app);
// The item commands: they run the product in this process.
Action DefineGetCommand(CLI::App& app);
Action DefinePutCommand(CLI::App& app);
Action DefineMonitorCommand(CLI::App& app);
Action DefineInfoCommand(CLI::App& app);
Action DefineServeCommand(CLI::App& app);
Action DefineDemoCommand(CLI::App& app);

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
