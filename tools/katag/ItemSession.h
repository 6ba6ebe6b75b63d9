// What the item commands of katag share: the product's life in this process (start-up, idle
// clean-up, shutdown), the choice of broker, items connected through the exported functions and
// waited for, and the texts a user reads (values, qualities, time stamps, failure reasons).
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "gxhost/GxVariant.h"
#include "gxhost/gxhost.h"
#include "ka/tagger/gx/ka_tagger_gx.h"

namespace CLI {
class App;
}

namespace katag {

typedef std::chrono::steady_clock Clock;

// Adds --broker URL to an item command; the text lands in *url.
void AddBrokerOption(CLI::App& app, std::string* url);

// Makes the provider use the broker at url for this process (empty: keep the configuration of
// the environment). Must run before any session starts. UsageError for a text that is not
// mqtt://... or mqtts://...
void SelectBroker(const std::string& url);

// The product in this process: one start-up while it lives; when it ends the program goes idle
// (every item still connected is disconnected), the start-up is undone and the host runtime runs
// what is left of its clean-up, as a host does before it unloads the product.
class ProductSession {
  public:
    ProductSession();
    ~ProductSession();
    ProductSession(const ProductSession&) = delete;
    ProductSession& operator=(const ProductSession&) = delete;
};

// While it lives, SIGINT and SIGTERM only ask the command to stop: requested() turns true and the
// command ends in its own time, cleaning up as usual. The default actions come back afterwards.
class StopOnSignals {
  public:
    StopOnSignals();
    ~StopOnSignals();
    StopOnSignals(const StopOnSignals&) = delete;
    StopOnSignals& operator=(const StopOnSignals&) = delete;

    static bool requested();
};

// A host error cluster that owns its source text.
class Cluster {
  public:
    Cluster();
    ~Cluster();
    Cluster(const Cluster&) = delete;
    Cluster& operator=(const Cluster&) = delete;

    ErrorCluster* ptr() { return &error_; }
    bool failed() const { return error_.status != 0; }
    std::int32_t code() const { return error_.code; }
    // Clears status and code for the next call.
    void reset();

  private:
    ErrorCluster error_;
};

// A host variant owned here (null until a call makes it).
class Variant {
  public:
    Variant() = default;
    ~Variant();
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;

    GxVariant** ptr() { return &var_; }
    const GxVariant* get() const { return var_; }
    // The flex type code of the value; 0 when there is none.
    std::uint16_t type() const;

  private:
    GxVariant* var_ = nullptr;
};

// The text of a host or provider error code: "access denied (0x80A50004)".
std::string CodeText(std::int32_t code);
// "0x00400000".
std::string QualityWord(std::uint32_t quality);
// "good", or the names of the quality's conditions joined by ", ".
std::string QualityText(std::uint32_t quality);
// The name of the value's type: "F64", "Array of I32"; "none" without a value.
std::string TypeName(const GxVariant* value);
// The value as text (packets as hex), and as JSON.
std::string ValueText(const GxVariant* value);
nlohmann::json ValueJson(const GxVariant* value);

// A time stamp as local time to the microsecond ("2026-11-23 22:30:01.123456") or as ISO 8601
// UTC ("2026-11-23T22:30:01.123456Z"); "<no time>" / null-like "" for the stamp that means none.
std::string LocalTimeText(const ka_tagger_gx_TimeStamp& time);
std::string IsoTimeText(const ka_tagger_gx_TimeStamp& time);

// One item subscribed through ka_tagger_gx_Connect, with an occurrence that wakes the wait when
// its attributes arrive. Disconnected when destroyed.
class ConnectedItem {
  public:
    // A URL the product refuses leaves the item failed, with the reason.
    ConnectedItem(const std::string& url, bool write);
    ~ConnectedItem();
    ConnectedItem(const ConnectedItem&) = delete;
    ConnectedItem& operator=(const ConnectedItem&) = delete;

    // Waits until the item has a value with good quality (true) or a quality that will not
    // change by waiting ("not found", "no host"), or until deadline; then failure() says why not.
    bool waitForValue(Clock::time_point deadline);
    // Reads the current state into value(), quality() and time(); true when the value is good.
    bool read();

    const std::string& url() const { return url_; }
    ka_tagger_gx_Refnum refnum() const { return refnum_; }
    const GxVariant* value() const { return value_.get(); }
    std::uint32_t quality() const { return quality_; }
    const ka_tagger_gx_TimeStamp& time() const { return time_; }
    // Why the last wait or read did not give a value: "not found", "no host", "timed out", a
    // quality text or the product's error; empty when it did.
    const std::string& failure() const { return failure_; }
    // Whether the item's attributes (and so its subscription) have arrived.
    bool subscribed();

  private:
    std::string url_;
    GxRefnum occurrence_ = 0;
    ka_tagger_gx_Refnum refnum_ = 0;
    Variant value_;
    std::uint32_t quality_ = 0;
    ka_tagger_gx_TimeStamp time_{};
    std::string failure_;
};

// Why the product refused to connect to url: "invalid URL (three leading backslashes)" for an
// address that does not parse, else "cannot connect: " and the code's text.
std::string ConnectFailure(const std::string& url, std::int32_t code);

// Failure reasons a user reads for a quality that will not turn good by waiting: "not found"
// (the host has no such item), "no host" (the item's process is gone); empty for any other.
std::string FinalQualityReason(std::uint32_t quality);

// Seconds from the command line as a duration; UsageError for negative or absurd values.
Clock::duration Seconds(double seconds, const char* option);

}  // namespace katag
