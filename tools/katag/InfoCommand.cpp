// katag info URL: what is known of one item: type, access rights, description, its host's state,
// the subscription's state and the quality, with the current value.

#include <chrono>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ItemSession.h"
#include "JsonOutput.h"
#include "ProviderItem.h"

namespace katag {

namespace {

struct Options {
    std::string url;
    double wait = 1.0;
    bool json = false;
    std::string broker;
};

const char* StatusText(IASTATUS status) {
    switch (status) {
        case IASTATUS_INACTIVE:
            return "inactive";
        case IASTATUS_FAILED:
            return "failed";
        case IASTATUS_RESOLVING:
            return "resolving";
        case IASTATUS_REMOVED:
            return "removed";
        case IASTATUS_ACTIVE:
            return "active";
    }
    return "unknown";
}

// The state of the item's host as the quality shows it.
const char* HostState(const ConnectedItem& item) {
    if ((item.quality() & VESTA_QUALITY_PROCESS_FAILURE) != 0) {
        return "gone (process failure)";
    }
    if ((item.quality() & VESTA_QUALITY_DISCONNECTED) != 0) {
        return "unknown (broker lost)";
    }
    if (item.failure() == "timed out") {
        return "not reached";
    }
    return "running";
}

int Run(const Options& o, std::ostream& out) {
    const Clock::time_point deadline = Clock::now() + Seconds(o.wait, "-w");
    ConnectedItem item(o.url, false);
    const bool good = item.waitForValue(deadline);
    // The product tells type, value, quality and whether the subscription is alive; access
    // rights and the description only the provider tells.
    ProviderItem details(o.url);
    // An item without a value is not waited for again: its details would not come either.
    const bool haveDetails = details.waitForDetails(good ? deadline : Clock::now());
    const ITEMDETAILS d = details.details();
    const bool hasAccess = haveDetails && (d.flags & ITEMDETAILS_HAS_ACCESS) != 0;
    const std::string access = hasAccess ? AccessText(d.accessRights) : "unknown";
    const std::string description =
        haveDetails && (d.flags & ITEMDETAILS_HAS_DESCRIPTION) != 0 ? d.description : "";
    const std::string type = good ? TypeName(item.value()) : "unknown";
    // The value can be read before the notification of the attribute record, which marks the
    // subscription good, has run; an item with a value is given until the deadline for that.
    bool established = item.subscribed();
    while (good && !established && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        established = item.subscribed();
    }
    const char* subscription = established ? "established" : "not established";

    if (o.json) {
        nlohmann::json j = QualityJson(item.quality());
        j["url"] = o.url;
        j["type"] = type;
        j["access"] = access;
        j["description"] = description;
        j["host"] = HostState(item);
        j["subscription"] = subscription;
        j["provider_status"] = StatusText(details.status());
        j["value"] = good ? ValueJson(item.value()) : nlohmann::json();
        j["time"] = IsoTimeText(item.time());
        if (!good) {
            j["failure"] = item.failure();
        }
        WriteJsonLine(out, j);
    } else {
        out << "url:          " << o.url << '\n'
            << "type:         " << type << '\n'
            << "access:       " << access << '\n'
            << "description:  " << description << '\n'
            << "host:         " << HostState(item) << '\n'
            << "subscription: " << subscription << " (provider: " << StatusText(details.status())
            << ")\n"
            << "quality:      " << QualityWord(item.quality()) << " ("
            << QualityText(item.quality()) << ")\n";
        if (good) {
            out << "value:        " << ValueText(item.value()) << '\n'
                << "time:         " << LocalTimeText(item.time()) << '\n';
        }
    }
    out.flush();
    if (!good) {
        std::cerr << "katag info: " << o.url << ": " << item.failure() << '\n';
        return 1;
    }
    return 0;
}

}  // namespace

Action DefineInfoCommand(CLI::App& app) {
    auto o = std::make_shared<Options>();
    app.add_option("URL", o->url, "the item's address")->required();
    app.add_option("-w", o->wait, "seconds to wait for the item (default 1.0)")
        ->option_text("SECONDS");
    app.add_flag("--json", o->json, "one JSON object instead");
    AddBrokerOption(app, &o->broker);
    app.footer("Exit status 1 when the item has no good value in time (the reason on stderr).");
    return [o](std::ostream& out) {
        SelectBroker(o->broker);
        const ProductSession session;
        return Run(*o, out);
    };
}

}  // namespace katag
