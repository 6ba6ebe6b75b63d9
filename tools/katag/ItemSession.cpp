#include "ItemSession.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "gxhost/GxHost.h"
#include "ka/kor/VestaURL.h"
#include "ka/kor/exception.h"
#include "ka/kor/lurlparse/PathSeparator.h"
#include "ka/tagger/gx/quality.h"
#include "vesta/VestaRealTime.h"

namespace katag {

namespace {

constexpr std::uint32_t kNonexistent = 0x20;
constexpr std::uint32_t kNoValue = 0x40;
constexpr std::uint32_t kProcessFailure = 0x400000;

// Seconds from 1904-01-01 (the host's epoch) to 1970-01-01.
constexpr std::int64_t kHostEpochToUnix = 2082844800;

bool StartsWith(const std::string& text, const char* prefix) {
    return text.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

bool HasTime(const ka_tagger_gx_TimeStamp& t) {
    return !(t.words[0] == 0 && t.words[1] == 0 && t.words[2] == 0 && t.words[3] == 0x80000000u);
}

// Unix seconds and microseconds of a stamp; the fraction is rounded down so that a printed time
// never lies in the future of the stamp.
void Split(const ka_tagger_gx_TimeStamp& t, std::time_t* seconds, unsigned* micros) {
    const std::int64_t hostSeconds =
        static_cast<std::int64_t>((static_cast<std::uint64_t>(t.words[3]) << 32) | t.words[2]);
    *seconds = static_cast<std::time_t>(hostSeconds - kHostEpochToUnix);
    *micros = static_cast<unsigned>((static_cast<std::uint64_t>(t.words[1]) * 1000000u) >> 32);
}

std::string FormatStamp(const ka_tagger_gx_TimeStamp& t, bool utc) {
    std::time_t seconds = 0;
    unsigned micros = 0;
    Split(t, &seconds, &micros);
    const std::tm* parts = utc ? std::gmtime(&seconds) : std::localtime(&seconds);
    if (parts == nullptr) {
        return "?";
    }
    char text[64];
    const std::size_t n =
        std::strftime(text, sizeof text, utc ? "%Y-%m-%dT%H:%M:%S" : "%Y-%m-%d %H:%M:%S", parts);
    std::snprintf(text + n, sizeof text - n, ".%06u%s", micros, utc ? "Z" : "");
    return text;
}

// Set by SIGINT and SIGTERM while a StopOnSignals lives.
volatile std::sig_atomic_t stopRequested = 0;

extern "C" void RequestStop(int) {
    stopRequested = 1;
}

}  // namespace

StopOnSignals::StopOnSignals() {
    stopRequested = 0;
    std::signal(SIGINT, RequestStop);
    std::signal(SIGTERM, RequestStop);
}

StopOnSignals::~StopOnSignals() {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}

bool StopOnSignals::requested() {
    return stopRequested != 0;
}

void AddBrokerOption(CLI::App& app, std::string* url) {
    app.add_option("--broker", *url,
                   "use the MQTT broker at URL (mqtt://host:port, mqtts://host:port) instead of "
                   "the provider the environment chooses")
        ->option_text("URL");
}

void SelectBroker(const std::string& url) {
    if (url.empty()) {
        return;
    }
    if (!StartsWith(url, "mqtt://") && !StartsWith(url, "mqtts://")) {
        throw UsageError("--broker: '" + url + "' is not mqtt://host:port or mqtts://host:port");
    }
    // The provider reads its setting when the first session starts, which is later than this.
    ::setenv("KA_VESTA_URL", url.c_str(), 1);
}

ProductSession::ProductSession() {
    ka_tagger_gx_Startup();
}

ProductSession::~ProductSession() {
    GxHostProgramIdle(GX_ALL_PROGRAMS);
    ka_tagger_gx_Cleanup();
    GxHostShutdown();
}

Cluster::Cluster() : error_{0, 0, GxHostNewLStr("", 0)} {}

Cluster::~Cluster() {
    DSDisposeHandle(reinterpret_cast<UHandle>(error_.source));
}

void Cluster::reset() {
    error_.status = 0;
    error_.code = 0;
}

Variant::~Variant() {
    GxVarDispose(var_);
}

std::uint16_t Variant::type() const {
    return var_ != nullptr ? GxVarType(var_) : 0;
}

std::string CodeText(std::int32_t code) {
    const std::uint32_t word = static_cast<std::uint32_t>(code);
    const char* text = GxHostErrorText(code);
    // The provider's own codes (facility 0x0A5) have texts only the provider knows.
    if (text == nullptr && (word & 0xFFFF0000u) == 0x80A50000u) {
        text = VestaStrError(code);
    }
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08" PRIX32, word);
    return text != nullptr ? std::string(text) + " (" + hex + ")" : std::string("error ") + hex;
}

std::string QualityWord(std::uint32_t quality) {
    char word[16];
    std::snprintf(word, sizeof word, "0x%08" PRIX32, quality);
    return word;
}

std::string QualityText(std::uint32_t quality) {
    const ka::kor::AString text = ka::tagger::gx::RenderQuality(quality, ", ");
    return std::string(text.c_str(), text.length());
}

std::string TypeName(const GxVariant* value) {
    const std::uint16_t type = value != nullptr ? GxVarType(value) : 0;
    if (type == 0) {
        return "none";
    }
    const auto name = [](std::uint16_t code) {
        const char* n = GxVarTypeName(code);
        char hex[16];
        std::snprintf(hex, sizeof hex, "0x%04X", code);
        return n != nullptr ? std::string(n) : std::string(hex);
    };
    const std::uint16_t element = GxVarElementType(value);
    return element != 0 ? name(type) + " of " + name(element) : name(type);
}

std::string ValueText(const GxVariant* value) {
    return value != nullptr ? GxVarRenderString(value, GX_RENDER_TEXT) : std::string();
}

nlohmann::json ValueJson(const GxVariant* value) {
    if (value == nullptr) {
        return nullptr;
    }
    return nlohmann::json::parse(GxVarRenderString(value, GX_RENDER_JSON), nullptr, false);
}

std::string LocalTimeText(const ka_tagger_gx_TimeStamp& time) {
    return HasTime(time) ? FormatStamp(time, false) : "<no time>";
}

std::string IsoTimeText(const ka_tagger_gx_TimeStamp& time) {
    return HasTime(time) ? FormatStamp(time, true) : std::string();
}

std::string FinalQualityReason(std::uint32_t quality) {
    if ((quality & kNonexistent) != 0) {
        return "not found";
    }
    if ((quality & kProcessFailure) != 0) {
        return "no host";
    }
    return std::string();
}

std::string ConnectFailure(const std::string& url, std::int32_t code) {
    // The product reports every refused address with one general code; the address parser
    // says what is wrong with it.
    const ka::kor::String text = Wide(url);
    try {
        const ka::kor::VestaURL parsed(text);
        // Below the machine an item needs a process and a path.
        const unsigned int below = parsed.type() == ka::kor::RenderType::Absolute       ? 2
                                   : parsed.type() == ka::kor::RenderType::LocalMachine ? 1
                                                                                        : 0;
        if (parsed.size() < below + 1) {
            return "invalid URL (no item path below the process)";
        }
    } catch (const ka::kor::exception::SyntaxError&) {
        typedef ka::kor::lurlparse::PathSeparator<wchar_t> Parser;
        return std::string("invalid URL (") +
               ka::kor::lurlparse::GetParseStatusText(Parser::Parse(text.begin(), text.end())) +
               ")";
    }
    return "cannot connect: " + CodeText(code);
}

ConnectedItem::ConnectedItem(const std::string& url, bool write) : url_(url) {
    occurrence_ = GxHostNewOccurrence();
    GxBoolean first = 0;
    GxBoolean wantWrite = write ? 1 : 0;
    Cluster error;
    refnum_ = ka_tagger_gx_Connect(url.c_str(), &first, &wantWrite, &occurrence_, error.ptr());
    if (refnum_ == 0) {
        failure_ = ConnectFailure(url, error.code());
    }
}

ConnectedItem::~ConnectedItem() {
    if (refnum_ != 0) {
        Cluster error;
        ka_tagger_gx_Disconnect(refnum_, error.ptr());
    }
    GxHostDisposeOccurrence(occurrence_);
}

bool ConnectedItem::subscribed() {
    Cluster error;
    return refnum_ != 0 && ka_tagger_gx_IsSubscriptionGood(refnum_, error.ptr()) != 0;
}

bool ConnectedItem::read() {
    if (refnum_ == 0) {
        return false;
    }
    Cluster error;
    ka_tagger_gx_Read(refnum_, value_.ptr(), &quality_, &time_, error.ptr());
    if (error.failed() || !ka::tagger::gx::QualityIsGood(quality_)) {
        const std::string final = FinalQualityReason(quality_);
        failure_ = !final.empty()                            ? final
                   : ka::tagger::gx::QualityIsGood(quality_) ? CodeText(error.code())
                                                             : QualityText(quality_);
        return false;
    }
    // A good quality without a value: the first value is still on its way.
    if (value_.type() == 0) {
        failure_ = QualityText(kNoValue);
        return false;
    }
    failure_.clear();
    return true;
}

bool ConnectedItem::waitForValue(Clock::time_point deadline) {
    if (refnum_ == 0) {
        return false;
    }
    for (;;) {
        if (read()) {
            return true;
        }
        if (!FinalQualityReason(quality_).empty()) {
            return false;
        }
        const auto left = deadline - Clock::now();
        if (left <= Clock::duration::zero()) {
            // Still waiting for the first value (or for the item to resolve) is a time-out;
            // any other bad quality is its own reason.
            if ((quality_ & ~kNoValue) == 0) {
                failure_ = "timed out";
            } else if ((quality_ & VESTA_QUALITY_DISCONNECTED) != 0) {
                failure_ = "timed out (" + QualityText(quality_) + ")";
            }
            return false;
        }
        // The attributes fire the occurrence; the first value and qualities such as "not found"
        // come without one, so the state is looked at again after a short step in any case.
        const auto step = std::min<Clock::duration>(left, std::chrono::milliseconds(10));
        GxHostWaitOccurrence(
            occurrence_,
            static_cast<std::int32_t>(std::chrono::ceil<std::chrono::milliseconds>(step).count()));
    }
}

Clock::duration Seconds(double seconds, const char* option) {
    if (!(seconds >= 0) || seconds > 1e6) {
        throw UsageError(std::string(option) + ": seconds must be from 0 to 1000000");
    }
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

}  // namespace katag
