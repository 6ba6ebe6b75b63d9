// katag serve: hosts items in this process until interrupted, so that get, put and monitor (here
// or on other machines across a broker) have something to talk to.

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ItemSession.h"
#include "ServedItems.h"
#include "gxhost/GxVariant.h"

namespace katag {

namespace {

struct Options {
    std::vector<std::string> items;
    std::string file;
    std::string process = "katag";
    std::string machine;
    std::string broker;
};

int Run(Options o, std::ostream& out) {
    SelectBroker(o.broker);
    std::vector<ItemDefinition> definitions;
    if (!o.file.empty()) {
        std::ifstream in(o.file, std::ios::binary);
        if (!in) {
            throw UsageError("cannot read '" + o.file + "'");
        }
        const std::string text((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
        definitions = ParseItemFile(text, &o.process, &o.machine);
    }
    for (const std::string& item : o.items) {
        definitions.push_back(ParseItemDefinition(item));
    }
    if (definitions.empty()) {
        throw UsageError("no items: give ITEM... or --file FILE");
    }

    {
        const StopOnSignals signals;
        ItemServer server(definitions, o.process, o.machine, &out);
        out << "serving " << server.url() << " (" << definitions.size()
            << (definitions.size() == 1 ? " item" : " items") << "; Ctrl-C ends)\n";
        const char* provider = std::getenv("KA_VESTA_URL");
        if (provider == nullptr || *provider == '\0') {
            // The embedded provider's items never leave this process: worth a word, since a
            // second katag started beside this one would see nothing.
            std::cerr << "katag serve: no broker given: only this process sees the items "
                         "(--broker URL or KA_VESTA_URL)\n";
        }
        for (const ItemDefinition& item : definitions) {
            const char* type = GxVarTypeName(item.elementType != 0 ? item.elementType : item.type);
            out << "  " << server.url() << '\\' << item.path << ' '
                << (type != nullptr ? type : "?") << (item.elementType != 0 ? "[]" : "") << ' '
                << (item.writable ? "rw" : "ro") << " = " << item.value;
            const std::string simulation = SimulationText(item);
            if (!simulation.empty()) {
                out << " (" << simulation << ')';
            }
            out << '\n';
        }
        out.flush();
        while (!StopOnSignals::requested()) {
            server.tick(Clock::now());
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    out << "stopped\n";
    return 0;
}

}  // namespace

Action DefineServeCommand(CLI::App& app) {
    auto o = std::make_shared<Options>();
    app.add_option("ITEM", o->items, "an item: PATH[:TYPE][:ro|rw][:SIM[@SECONDS]]=VALUE");
    app.add_option("-f,--file", o->file, "read items from a JSON file")->option_text("FILE");
    app.add_option("--process", o->process, "the process name the items live in (default katag)")
        ->option_text("NAME");
    app.add_option("--machine", o->machine, "the machine name (default: this computer's host name)")
        ->option_text("NAME");
    AddBrokerOption(app, &o->broker);
    app.footer(
        "Hosts the items at \\\\MACHINE\\PROCESS\\PATH until SIGINT or SIGTERM; then their "
        "subscribers see \"process failure\". An ITEM is PATH, optional words after colons, '=' "
        "and the first value. Words: a type (F64, I32, UI8, Bool, AString, UTF16, Time ...; T[] "
        "for an array of T, value like 1,2,3); ro (the default) or rw (clients may write; each "
        "write is logged); a simulation: sine (the first value plus a sine of amplitude 1 over 20 "
        "changes), ramp (the first value plus 0 to 9, again and again), counter (+1 per change, "
        "from the current value), walk (a random step of up to 1 per change), each every second "
        "or @SECONDS. Without a type: true/false is Bool, an integer I32, a number F64, other "
        "text AString. Example: katag serve 'tank.level:F64:sine@0.5=10' 'pump.on:rw=false'. "
        "A JSON file holds {\"process\": ..., \"machine\": ..., \"items\": [{\"path\": ..., "
        "\"value\": ..., \"type\": ..., \"access\": \"rw\", \"description\": ..., \"simulate\": "
        "\"sine\", \"period\": 0.5}]} or just the array of items.");
    return [o](std::ostream& out) { return Run(*o, out); };
}

}  // namespace katag
