// katag: the command-line face of the library. Item commands that read, write, monitor and host
// live items through the product, and commands that look into the library's codes.
//
// Exit status: 0 success, 1 a failure reported by the library (its exception text on stderr),
// 2 a command line that cannot be understood (one line on stderr).

#include <algorithm>
#include <cctype>
#include <clocale>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "Help.h"

namespace {

using katag::Command;

// One command per line, in the order of the command list. A new command is a source file with
// its Define function (declared in Commands.h) and a line here.
// clang-format off
const Command kCommands[] = {
    {"get", "URL...",
     "the current value of items",
     katag::DefineGetCommand},
    {"put", "URL VALUE",
     "write a value to an item and show the old and the new value",
     katag::DefinePutCommand},
    {"monitor", "URL...",
     "one line per change of items until stopped",
     katag::DefineMonitorCommand},
    {"info", "URL",
     "an item's type, access rights, description, host state and quality",
     katag::DefineInfoCommand},
    {"serve", "[ITEM...]",
     "host items in this process (simulated if wished) until interrupted",
     katag::DefineServeCommand},
    {"demo", "",
     "host, get, put and monitor a few items for a few seconds, no setup",
     katag::DefineDemoCommand},
    {"quality", "WORD",
     "what a quality word means: its conditions, good/warning/error, host code",
     katag::DefineQualityCommand},
    {"error", "CODE",
     "which exception classes report a host error code, with their texts",
     katag::DefineErrorCommand},
    {"url", "TEXT",
     "how an item address is read: render type, components, rendering",
     katag::DefineUrlCommand},
    {"archive-url", "TEXT",
     "how an archive address is read: components, item address, rendering",
     katag::DefineArchiveUrlCommand},
    {"base64", "encode|decode",
     "Base64 of standard input on standard output",
     katag::DefineBase64Command},
    {"guid", "[N]",
     "N new time-based identifiers (default 1), one per line",
     katag::DefineGuidCommand},
    {"time", "[OPTIONS]",
     "the current time stamp, its words and its text in a chosen time zone",
     katag::DefineTimeCommand},
    {"packet", "HEX...|-|--example NAME",
     "walk a flex packet (hex, stdin or an example) and print its tree",
     katag::DefinePacketCommand},
};
// clang-format on

// CLI11's sentences start with a capital letter; ours follow "katag COMMAND: " in lower case.
// Names of arguments ("WORD is required", "N: ...") keep theirs.
std::string LowerFirst(std::string text) {
    if (text.size() > 1 && std::islower(static_cast<unsigned char>(text[1]))) {
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    }
    return text;
}

// One line for a command line that CLI11 refused while parsing command's arguments. An argument
// nobody took is the clearest thing to name, even when CLI11 complains first of a missing one.
std::string ParseErrorText(const CLI::App& command, const CLI::ParseError& e) {
    const std::vector<std::string> left = command.remaining();
    if (!left.empty()) {
        const std::string& arg = left.front();
        return (arg.size() > 1 && arg[0] == '-' ? "unknown option '" : "unexpected argument '") +
               arg + "'";
    }
    return LowerFirst(e.what());
}

// The subcommand the command line named (CLI11 counts it as parsed as soon as it meets its name,
// so this holds after a parse error too), or null.
CLI::App* NamedCommand(const std::vector<CLI::App*>& subcommands) {
    for (CLI::App* sub : subcommands) {
        if (sub->parsed()) {
            return sub;
        }
    }
    return nullptr;
}

int UnknownCommand(const std::string& name) {
    std::cerr << "katag: unknown command '" << name << "' (try katag help)\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    // Command-line text and output are in the user's code set.
    std::setlocale(LC_ALL, "");
    if (argc < 2) {
        std::cerr << "katag: missing command (try katag help)\n";
        return 2;
    }

    CLI::App app("the command-line tool over the ka tagger library", "katag");
    app.formatter(std::make_shared<katag::HelpFormatter>());
    app.require_subcommand(0, 1);
    CLI::App* help = app.add_subcommand("help", "the command list, or one command's usage");
    std::string topic;
    help->add_option("COMMAND", topic, "the command to describe");

    std::vector<CLI::App*> subcommands;
    std::vector<katag::Action> actions;
    for (const Command& c : kCommands) {
        CLI::App* sub = app.add_subcommand(c.name, c.summary);
        subcommands.push_back(sub);
        actions.push_back(c.define(*sub));
    }
    subcommands.push_back(help);

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        const CLI::App* named = NamedCommand(subcommands);
        std::cout << (named != nullptr ? named->help("katag")
                                       : katag::CommandList(kCommands, std::size(kCommands)));
        return 0;
    } catch (const CLI::ParseError& e) {
        const CLI::App* named = NamedCommand(subcommands);
        if (named == nullptr) {
            return UnknownCommand(argv[1]);
        }
        std::cerr << "katag " << named->get_name() << ": " << ParseErrorText(*named, e)
                  << " (try katag help " << named->get_name() << ")\n";
        return 2;
    }
    CLI::App* parsed = NamedCommand(subcommands);
    if (parsed == nullptr) {
        return UnknownCommand(argv[1]);
    }
    if (parsed == help) {
        if (topic.empty()) {
            std::cout << katag::CommandList(kCommands, std::size(kCommands));
            return 0;
        }
        for (const CLI::App* sub : subcommands) {
            if (sub->get_name() == topic) {
                std::cout << sub->help("katag");
                return 0;
            }
        }
        return UnknownCommand(topic);
    }

    const std::size_t index = static_cast<std::size_t>(
        std::find(subcommands.begin(), subcommands.end(), parsed) - subcommands.begin());
    const char* name = kCommands[index].name;
    try {
        return actions[index](std::cout);
    } catch (const katag::UsageError& e) {
        std::cerr << "katag " << name << ": " << e.what() << '\n';
        return 2;
    } catch (const std::exception& e) {
        std::cerr << "katag " << name << ": " << e.what() << '\n';
        return 1;
    }
}
