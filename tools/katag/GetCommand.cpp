// katag get URL...: the current value of each item, as caget prints process variables.

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ItemCommands.h"
#include "ItemSession.h"
#include "JsonOutput.h"

namespace katag {

namespace {

void Print(const GetOptions& o, const ConnectedItem& item, std::ostream& out) {
    if (o.json) {
        nlohmann::json j = QualityJson(item.quality());
        j["url"] = item.url();
        j["value"] = ValueJson(item.value());
        j["type"] = TypeName(item.value());
        j["time"] = IsoTimeText(item.time());
        WriteJsonLine(out, j);
    } else if (o.terse) {
        out << ValueText(item.value()) << '\n';
    } else if (o.all) {
        out << item.url() << ' ' << LocalTimeText(item.time()) << ' ' << ValueText(item.value())
            << ' ' << QualityText(item.quality()) << '\n';
    } else {
        out << item.url() << ' ' << ValueText(item.value()) << '\n';
    }
}

}  // namespace

int RunGet(const GetOptions& o, std::ostream& out, std::ostream& err) {
    const Clock::time_point deadline = Clock::now() + Seconds(o.wait, "-w");
    // Every item is subscribed before any is waited for, so their subscriptions come alive
    // together and the whole command waits at most once.
    std::vector<std::unique_ptr<ConnectedItem>> items;
    for (const std::string& url : o.urls) {
        items.push_back(std::make_unique<ConnectedItem>(url, false));
    }
    int status = 0;
    for (const auto& item : items) {
        if (item->waitForValue(deadline)) {
            Print(o, *item, out);
        } else {
            out.flush();
            err << "katag get: " << item->url() << ": " << item->failure() << '\n';
            status = 1;
        }
    }
    out.flush();
    return status;
}

Action DefineGetCommand(CLI::App& app) {
    auto o = std::make_shared<GetOptions>();
    app.add_option("URL", o->urls, "item addresses, e.g. \\\\machine\\process\\path")->required();
    app.add_option("-w", o->wait, "seconds to wait for each subscription and value (default 1.0)")
        ->option_text("SECONDS");
    app.add_flag("-t", o->terse, "print the value only");
    app.add_flag("-a", o->all, "print URL, time stamp, value and quality");
    app.add_flag("--json", o->json,
                 "one JSON object per item: url, value, type, quality, quality_text, time");
    AddBrokerOption(app, &o->broker);
    app.footer(
        "Prints one line per item in the order given. Exit status 1 when any item has no good "
        "value in time; stderr names it and the reason: not found, no host, timed out or the "
        "item's quality.");
    return [o](std::ostream& out) {
        SelectBroker(o->broker);
        const ProductSession session;
        return RunGet(*o, out, std::cerr);
    };
}

}  // namespace katag
