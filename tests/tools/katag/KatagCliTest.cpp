// katag as a user runs it: the built program is started as a process and its output and exit
// status are compared with known texts (0 success, 1 a failure the library reports, 2 a command
// line that cannot be understood).

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tools/katag/KatagProcess.h"

namespace {

using ka_test::KatagRun;
using ka_test::RunKatag;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

struct OutputCase {
    std::vector<std::string> args;
    std::string input;
    int status;
    std::string out;
    std::string err;
};

// clang-format off
const OutputCase kOutputCases[] = {
    {{"quality", "0x41"}, "", 0,
     "quality:    0x00000041\n"
     "conditions: stale, no known value\n"
     "verdict:    warning\n"
     "host code:  0x8BBB0006 (-1950679034) (Vesta quality bad)\n", ""},
    {{"quality", "--json", "0x41"}, "", 0,
     R"({"conditions":["stale","no known value"],"host_code":-1950679034,)"
     R"("host_text":"Vesta quality bad","quality":65,"quality_text":"stale, no known value",)"
     R"("verdict":"warning"})" "\n", ""},
    {{"error", "0x8ABC7007"}, "", 0,
     "code 0x8ABC7007 (-1967362041)\n"
     "  ka::kor::exception::OutOfRange: \"Out of range\"\n"
     "  ka::kor::exception::OutOfRange2: \"Out of range: <description>\"\n"
     "  ka::kor::exception::BoundExceeded: \"unspecified exception\"\n"
     "  ka::kor::exception::BoundExceeded2: \"A request was made that would exceed the bounds: "
     "<description>\"\n"
     "  (ka::kor::exception::COMError and ka::kor::gx::GXErrorException report whatever code "
     "they carry)\n", ""},
    // A negative decimal code is a value, not an option.
    {{"error", "-1950679034"}, "", 0,
     "code 0x8BBB0006 (-1950679034)\n"
     "  ka::tagger::gx::VestaQualityException for quality 0x00000040 (no known value, when no "
     "higher-ranked condition is set): \"Vesta quality bad\"\n"
     "  (ka::kor::exception::COMError and ka::kor::gx::GXErrorException report whatever code "
     "they carry)\n", ""},
    {{"url", R"(\\m1\proc\a.b)"}, "", 0,
     "render type: 1 (Absolute)\n"
     "status:      0 (complete)\n"
     "components:  4\n"
     "  [0] name \"m1\", separator none, parent no, first yes\n"
     "  [1] name \"proc\", separator backslash, parent no, first no\n"
     "  [2] name \"a\", separator backslash, parent no, first no\n"
     "  [3] name \"b\", separator dot, parent no, first no\n"
     "rendered:    \\\\m1\\proc\\a.b\n", ""},
    // After -- a text that starts with a dash is an address, not an option.
    {{"url", "--", "-x"}, "", 0,
     "render type: 4 (Relative)\n"
     "status:      0 (complete)\n"
     "components:  1\n"
     "  [0] name \"-x\", separator none, parent no, first yes\n"
     "rendered:    -x\n", ""},
    {{"url", R"(\\\x)"}, "", 1, "",
     "katag url: SyntaxError: \\\\\\x (status 5: three leading backslashes)\n"},
    {{"archive-url", R"(\\db1\archive\m1\proc\x)"}, "", 0,
     "render type: 1 (Absolute)\n"
     "components:  5\n"
     "  [0] \"db1\" (machine)\n"
     "  [1] \"archive\" (database)\n"
     "  [2] \"m1\" (item)\n"
     "  [3] \"proc\" (item)\n"
     "  [4] \"x\" (item)\n"
     "rendered:    \\\\db1\\archive\\m1\\proc\\x\n"
     "item:        \\\\m1\\proc\\x\n", ""},
    {{"base64", "encode"}, "hello", 0, "aGVsbG8=\n", ""},
    {{"base64", "decode"}, "aGVsbG8=\n", 0, "hello", ""},
    {{"base64", "decode"}, "aGVsb!8=", 1, "", "katag base64: Failed to deserialize\n"},
    {{"packet", "--example", "named"}, "", 0,
     "hex: 28000000 02401C00 00000340 0E000000 00090400 0000756E 69740009 01000000\n"
     "     56000003 2A000000\n"
     "packet 40 bytes: MD 32, data 4\n"
     "  attribute \"unit\" (0x4002, 30 bytes)\n"
     "    AString (0x0900): \"V\"\n"
     "  I32 (0x0300): 42\n", ""},
    {{"packet", "--example", "utf16"}, "", 0,
     "hex: 12000000 000A0400 00006300 61006600 E900\n"
     "packet 18 bytes: MD 2, data 12\n"
     "  UTF16 (0x0A00): \"caf\u00E9\"\n", ""},
    {{"packet", "16000000", "0008", "0100", "06000000", "0001", "03000000", "010203", "00"}, "", 0,
     "packet 22 bytes: MD 10, data 8\n"
     "  Array (0x0800) of I8 (0x0100), dims [3], 3 elements\n"
     "    [0] 1\n"
     "    [1] 2\n"
     "    [2] 3\n", ""},
    // The same packet as raw bytes on standard input.
    {{"packet", "-"}, std::string("\x16\0\0\0\0\x08\x01\0\x06\0\0\0\0\x01\x03\0\0\0\x01\x02\x03\0", 22), 0,
     "packet 22 bytes: MD 10, data 8\n"
     "  Array (0x0800) of I8 (0x0100), dims [3], 3 elements\n"
     "    [0] 1\n"
     "    [1] 2\n"
     "    [2] 3\n", ""},
    {{"packet", "0A000000 0108 2A00 0000"}, "", 1, "", "katag packet: SyntaxError\n"},
    {{"packet", "xyz"}, "", 2, "", "katag packet: invalid hex digit 'x'\n"},
    {{"packet", "0A0"}, "", 2, "", "katag packet: odd number of hex digits\n"},
    // An address the product refuses is named with what the parser found wrong.
    {{"get", R"(\\\x)"}, "", 1, "",
     "katag get: \\\\\\x: invalid URL (three leading backslashes)\n"},
    {{"monitor", "-W", "1", R"(\\\x)", R"(\\m\a)"}, "", 1, "",
     "katag monitor: \\\\\\x: invalid URL (three leading backslashes)\n"
     "katag monitor: \\\\m\\a: invalid URL (no item path below the process)\n"},
    {{"nosuch"}, "", 2, "", "katag: unknown command 'nosuch' (try katag help)\n"},
    {{}, "", 2, "", "katag: missing command (try katag help)\n"},
};
// clang-format on

std::string Describe(const std::vector<std::string>& args) {
    std::string text = "katag";
    for (const std::string& a : args) {
        text += " '" + a + "'";
    }
    return text;
}

TEST(KatagCli, CommandsPrintTheirKnownOutput) {
    for (const OutputCase& c : kOutputCases) {
        SCOPED_TRACE(Describe(c.args));
        const KatagRun run = RunKatag(c.args, c.input);
        EXPECT_EQ(run.status, c.status);
        EXPECT_EQ(run.out, c.out);
        EXPECT_EQ(run.err, c.err);
    }
}

// Every command line that cannot be understood exits 2 with one line on stderr that names the
// command (so a script's log shows what went wrong) and prints nothing on stdout.
TEST(KatagCli, UsageErrorsExitTwoWithOneLine) {
    const struct {
        std::vector<std::string> args;
        std::string message;
    } kCases[] = {
        {{"--nosuch"}, "katag: unknown command '--nosuch'"},
        {{"help", "nosuch"}, "katag: unknown command 'nosuch'"},
        {{"quality"}, "katag quality: WORD is required"},
        {{"quality", "zz"}, "katag quality: invalid quality word 'zz'"},
        {{"quality", "0x1FFFFFFFF"}, "katag quality: invalid quality word '0x1FFFFFFFF'"},
        {{"quality", "0x41", "0x42"}, "katag quality: unexpected argument '0x42'"},
        {{"quality", "--bogus", "0x41"}, "katag quality: unknown option '--bogus'"},
        {{"error", "x"}, "katag error: invalid error code 'x'"},
        {{"url", "-x"}, "katag url: unknown option '-x'"},
        {{"base64", "both"}, "katag base64: DIRECTION: both not in {encode,decode}"},
        {{"guid", "0"}, "katag guid: N: Value 0 not in range 1 to 1000000"},
        {{"guid", "1000001"}, "katag guid: N: Value 1000001 not in range"},
        {{"time", "--utc", "--local"}, "katag time: --utc excludes --local"},
        {{"time", "--zone=x"}, "katag time: --zone: invalid zone offset in minutes 'x'"},
        {{"time", "--digits=4"}, "katag time: --digits: Value 4 not in range 0 to 3"},
        {{"time", "--date=gg"}, "katag time: --date: the era letter 'g' is not supported"},
        {{"packet"}, "katag packet: usage: katag packet HEX... | - | --example"},
        {{"packet", "--example", "nope"}, "katag packet: --example: nope not in {i32,"},
        {{"packet", "--example", "i32", "00"}, "katag packet: HEX excludes --example"},
        {{"packet", "-"}, "katag packet: no packet bytes given"},
        {{"get"}, "katag get: URL is required"},
        {{"get", "--broker", "http://h:1", "x"},
         "katag get: --broker: 'http://h:1' is not mqtt://host:port or mqtts://host:port"},
        {{"get", "-w", "-1", "x"}, "katag get: -w: seconds must be from 0 to 1000000"},
        {{"put", "x"}, "katag put: VALUE is required"},
        {{"monitor", "-W", "-2", "x"}, "katag monitor: -W: seconds must be from 0"},
        {{"info"}, "katag info: URL is required"},
        {{"serve"}, "katag serve: no items: give ITEM... or --file FILE"},
        {{"serve", "a:Nope=1"}, "katag serve: item 'a:Nope=1': 'Nope' is no type"},
        {{"serve", "--file", "/nonexistent/items.json"},
         "katag serve: cannot read '/nonexistent/items.json'"},
        {{"demo", "--broker", "x"}, "katag demo: --broker: 'x' is not mqtt://"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(Describe(c.args));
        const KatagRun run = RunKatag(c.args);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.out, "");
        EXPECT_THAT(run.err, StartsWith(c.message));
        EXPECT_THAT(run.err, MatchesRegex("[^\n]*\n"));
    }
}

// The three ways to ask for the command list print the same text, naming every command; the three
// ways to ask for one command's usage print the same text, naming its arguments.
TEST(KatagCli, HelpFormsAgree) {
    const KatagRun list = RunKatag({"help"});
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(list.err, "");
    EXPECT_THAT(list.out, StartsWith("usage: katag COMMAND [ARGS]\n"));
    for (const char* command :
         {"get", "put", "monitor", "info", "serve", "demo", "quality", "error", "url",
          "archive-url", "base64", "guid", "time", "packet"}) {
        EXPECT_THAT(list.out, HasSubstr(std::string("\n  ") + command + " ")) << command;
    }
    for (const char* form : {"--help", "-h"}) {
        SCOPED_TRACE(form);
        const KatagRun run = RunKatag({form});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out, list.out);
    }

    const struct {
        const char* command;
        const char* usage;
    } kCommands[] = {
        {"quality", "usage: katag quality [OPTIONS] WORD\n"},
        {"guid", "usage: katag guid [OPTIONS] [N]\n"},
        {"time", "usage: katag time [OPTIONS]\n"},
        {"packet", "usage: katag packet [OPTIONS] [HEX...]\n"},
        {"get", "usage: katag get [OPTIONS] URL...\n"},
        {"serve", "usage: katag serve [OPTIONS] [ITEM...]\n"},
    };
    for (const auto& c : kCommands) {
        SCOPED_TRACE(c.command);
        const KatagRun help = RunKatag({"help", c.command});
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.err, "");
        EXPECT_THAT(help.out, HasSubstr(c.usage));
        EXPECT_THAT(help.out, Not(HasSubstr(list.out)));
        for (const char* form : {"--help", "-h"}) {
            const KatagRun run = RunKatag({c.command, form});
            EXPECT_EQ(run.status, 0) << form;
            EXPECT_EQ(run.out, help.out) << form;
        }
    }
}

// Lines are cut at 100 columns in every help text, the ones CLI11 lays out included.
TEST(KatagCli, HelpLinesFitOneHundredColumns) {
    std::vector<std::vector<std::string>> forms = {{"help"}};
    for (const char* command :
         {"get", "put", "monitor", "info", "serve", "demo", "quality", "error", "url",
          "archive-url", "base64", "guid", "time", "packet", "help"}) {
        forms.push_back({"help", command});
    }
    for (const auto& args : forms) {
        SCOPED_TRACE(Describe(args));
        const KatagRun run = RunKatag(args);
        std::istringstream lines(run.out);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), 100u) << line;
        }
    }
}

TEST(KatagCli, GuidPrintsTheCountAskedFor) {
    const KatagRun run = RunKatag({"guid", "3"});
    EXPECT_EQ(run.status, 0);
    const std::string guid = "\\{[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\\}\n";
    EXPECT_THAT(run.out, MatchesRegex(guid + guid + guid));
}

TEST(KatagCli, TimeInAZoneNamesIt) {
    const KatagRun run = RunKatag({"time", "--zone=-300,EST", "--time=HH:mm", "--digits", "0"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out,
                MatchesRegex("seconds:  [0-9]+\n"
                             "fraction: 0\\.[0-9]{9}\n"
                             "words:    ([0-9A-F]{8} ){4}\\(most significant first\\)\n"
                             "zone:     [0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2} EST\n"));
}

// Without a broker the item commands use the embedded provider, whose items live in this process:
// an item of another process has no host here. demo hosts its own and runs every command.
TEST(KatagCli, ItemCommandsRunOnTheEmbeddedProvider) {
    KatagRun run = RunKatag({"get", "\\\\.\\elsewhere\\x"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "katag get: \\\\.\\elsewhere\\x: no host\n");

    run = RunKatag({"demo", "--seconds", "0.5"});
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, HasSubstr("\\demo\\plant.pump.setpoint 42.5\n"));
    EXPECT_THAT(run.out, HasSubstr(": write refused: no write right\n"));
    // The monitor's lines: a changing level with its time stamp.
    EXPECT_THAT(run.out, MatchesRegex("(.*\n)*\\\\\\\\[^ ]+\\\\demo\\\\plant\\.tank\\.level "
                                      "[-0-9]+ [:.0-9]+ 50\\.[0-9]+\n(.*\n)*"));
    EXPECT_THAT(run.out, HasSubstr("# done: every step behaved as expected\n"));
}

}  // namespace
