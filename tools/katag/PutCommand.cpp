// katag put URL VALUE: writes one value to an item and shows it before and after, as caput does.

#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ItemCommands.h"
#include "ItemSession.h"
#include "JsonOutput.h"
#include "ProviderItem.h"
#include "gxhost/GxVariant.h"

namespace katag {

namespace {

int Fail(std::ostream& err, const std::string& url, const std::string& reason) {
    err << "katag put: " << url << ": " << reason << '\n';
    return 1;
}

bool SameValue(const GxVariant* a, const GxVariant* b) {
    return GxVarType(a) == GxVarType(b) &&
           GxVarRenderString(a, GX_RENDER_TEXT) == GxVarRenderString(b, GX_RENDER_TEXT);
}

// The product reports a refused write with a general code; the item's access rights, which only
// the provider tells, say whether the missing write right was the reason.
std::string RefusalReason(const std::string& url, std::int32_t code) {
    ProviderItem item(url);
    if (item.waitForDetails(Clock::now() + std::chrono::milliseconds(500))) {
        const ITEMDETAILS d = item.details();
        if ((d.flags & ITEMDETAILS_HAS_ACCESS) != 0 &&
            (d.accessRights & VESTA_ACCESS_WRITE) != VESTA_ACCESS_WRITE) {
            return "no write right";
        }
    }
    return CodeText(code);
}

void PrintJson(std::ostream& out, const ConnectedItem& item, const char* which) {
    nlohmann::json j = QualityJson(item.quality());
    j["url"] = item.url();
    j["which"] = which;
    j["value"] = ValueJson(item.value());
    j["type"] = TypeName(item.value());
    j["time"] = IsoTimeText(item.time());
    WriteJsonLine(out, j);
}

}  // namespace

int RunPut(const PutOptions& o, std::ostream& out, std::ostream& err) {
    const Clock::duration wait = Seconds(o.wait, "-w");
    ConnectedItem item(o.url, true);
    // The item's current value tells its type, which the text is read as.
    if (!item.waitForValue(Clock::now() + wait)) {
        return Fail(err, o.url, item.failure());
    }
    Variant old;
    GxVarCopy(*old.ptr() = GxVarNew(), item.value());
    const ka_tagger_gx_TimeStamp oldTime = item.time();

    const std::uint16_t type = GxVarType(item.value());
    if (GxVarIsPacket(item.value()) != 0) {
        return Fail(err, o.url,
                    "values of type " + TypeName(item.value()) + " cannot be written as text");
    }
    Variant next;
    *next.ptr() = GxVarNew();
    if (GxVarParse(*next.ptr(), type, GxVarElementType(item.value()), o.value.c_str(),
                   static_cast<std::int32_t>(o.value.size())) != mgNoErr) {
        return Fail(err, o.url, "'" + o.value + "' is no value of type " + TypeName(item.value()));
    }

    if (o.json) {
        PrintJson(out, item, "old");
    } else if (!o.terse) {
        out << "Old : " << o.url << ' ' << ValueText(old.get()) << '\n';
    }
    Cluster error;
    ka_tagger_gx_Write(item.refnum(), next.ptr(), error.ptr());
    if (error.failed()) {
        out.flush();
        return Fail(err, o.url, "write refused: " + RefusalReason(o.url, error.code()));
    }

    // The host applies the write and the item's new value comes back: a fresh time stamp with the
    // value written (or the host's own rendering of it, for a value it converted).
    const Clock::time_point deadline = Clock::now() + wait;
    for (;;) {
        const bool good = item.read();
        if (good && (SameValue(item.value(), next.get()) ||
                     std::memcmp(&item.time(), &oldTime, sizeof oldTime) != 0)) {
            break;
        }
        if (Clock::now() >= deadline) {
            out.flush();
            return Fail(err, o.url,
                        good ? "the written value did not come back (timed out)" : item.failure());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (o.json) {
        PrintJson(out, item, "new");
    } else if (o.terse) {
        out << ValueText(item.value()) << '\n';
    } else {
        out << "New : " << o.url << ' ' << ValueText(item.value()) << '\n';
    }
    out.flush();
    return 0;
}

Action DefinePutCommand(CLI::App& app) {
    auto o = std::make_shared<PutOptions>();
    app.add_option("URL", o->url, "the item's address")->required();
    app.add_option("VALUE", o->value, "the new value, as text of the item's type")->required();
    app.add_option("-w", o->wait,
                   "seconds to wait for the item and again for the value to come back "
                   "(default 1.0)")
        ->option_text("SECONDS");
    app.add_flag("-t", o->terse, "print the new value only");
    app.add_flag("--json", o->json, "one JSON object for the old and one for the new value");
    AddBrokerOption(app, &o->broker);
    app.footer(
        "Reads the item first: its type decides how VALUE is read (numbers, true/false, "
        "2024-05-01T12:00:00Z for times, 1,2,3 for arrays, text as it stands). Exit status 1 when "
        "the item has no good value, VALUE is no value of its type, or the write is refused (no "
        "write right, refused by the host) or does not come back in time.");
    return [o](std::ostream& out) {
        SelectBroker(o->broker);
        const ProductSession session;
        return RunPut(*o, out, std::cerr);
    };
}

}  // namespace katag
