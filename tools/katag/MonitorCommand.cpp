// katag monitor URL...: one line per change of each item, as camonitor prints process variables.
// Built on the front-panel binding: the host runtime's notifications (value, quality, connection
// state) arrive on provider threads, are queued, and drive the output on this thread.

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ItemCommands.h"
#include "ItemSession.h"
#include "JsonOutput.h"
#include "gxhost/GxHost.h"
#include "vesta/VestaRealTime.h"

namespace katag {

namespace {

// Qualities that say the item's host or the broker is out of reach.
constexpr std::uint32_t kLost = VESTA_QUALITY_DISCONNECTED | VESTA_QUALITY_PROCESS_FAILURE;

struct Event {
    enum Kind { Data, Quality, Status } kind;
    std::uint32_t context;
    std::vector<unsigned char> packet;  // Data
    std::uint32_t quality;              // Quality
    std::int32_t state, code;           // Status
};

// Notifications from the provider's threads to the printing thread, in the order they came.
class EventQueue {
  public:
    void push(Event e) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            events_.push_back(std::move(e));
        }
        ready_.notify_one();
    }
    // The next event, waiting until `until` at most; false when none came.
    bool pop(Clock::time_point until, Event* e) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!ready_.wait_until(lock, until, [this] { return !events_.empty(); })) {
            return false;
        }
        *e = std::move(events_.front());
        events_.pop_front();
        return true;
    }
    // The next event when it is the value of `context` that may follow its quality at once.
    bool popDataOf(std::uint32_t context, Clock::time_point until, Event* e) {
        std::unique_lock<std::mutex> lock(mutex_);
        ready_.wait_until(lock, until, [this] { return !events_.empty(); });
        if (events_.empty() || events_.front().kind != Event::Data ||
            events_.front().context != context) {
            return false;
        }
        *e = std::move(events_.front());
        events_.pop_front();
        return true;
    }

  private:
    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<Event> events_;
};

void OnData(void* user, std::uint32_t context, const unsigned char* begin,
            const unsigned char* end) {
    static_cast<EventQueue*>(user)->push(
        Event{Event::Data, context, std::vector<unsigned char>(begin, end), 0, 0, 0});
}
void OnQuality(void* user, std::uint32_t context, std::uint32_t quality) {
    static_cast<EventQueue*>(user)->push(Event{Event::Quality, context, {}, quality, 0, 0});
}
void OnStatus(void* user, std::uint32_t context, std::int32_t state, std::int32_t code,
              std::int32_t) {
    static_cast<EventQueue*>(user)->push(Event{Event::Status, context, {}, 0, state, code});
}

// One bound item and what its output so far implies.
struct Watched {
    std::string url;
    ka_tagger_gx_Refnum refnum = 0;
    std::uint32_t quality = VESTA_QUALITY_NO_VALUE;
    Variant value;
    bool hadValue = false;
    bool lost = false;      // "*** disconnected" printed, "*** reconnected" not yet
    std::string announced;  // the last "***" reason printed for an item never seen
};

class Monitor {
  public:
    Monitor(const MonitorOptions& o, std::ostream& out, std::ostream& err)
        : o_(o), out_(out), err_(err) {}

    // Binds every item; false when none could be bound.
    bool bind() {
        const GxPSPListener listener = {OnData, OnQuality, OnStatus, &queue_};
        for (const std::string& url : o_.urls) {
            auto w = std::make_unique<Watched>();
            w->url = url;
            const std::uint32_t context = static_cast<std::uint32_t>(watched_.size() + 1);
            GxHostSetPSPListener(context, &listener);
            ITEMSTATE state{};
            state.mask = 0x1;
            state.accessFlags = 0x01;  // read only
            LStrHandle text = GxHostNewLStr(url.c_str(), static_cast<std::int32_t>(url.size()));
            const std::int32_t code = ka_tagger_gx_fpb_Connect(text, context, &state, &w->refnum);
            DSDisposeHandle(reinterpret_cast<UHandle>(text));
            if (code != 0) {
                err_ << "katag monitor: " << url << ": " << ConnectFailure(url, code) << '\n';
                failed_ = true;
                w->refnum = 0;
            }
            watched_.push_back(std::move(w));
        }
        for (const auto& w : watched_) {
            if (w->refnum != 0) {
                return true;
            }
        }
        return false;
    }

    void unbind() {
        for (std::size_t i = 0; i < watched_.size(); ++i) {
            if (watched_[i]->refnum != 0) {
                ka_tagger_gx_fpb_Disconnect(watched_[i]->refnum);
            }
            GxHostSetPSPListener(static_cast<std::uint32_t>(i + 1), nullptr);
        }
    }

    // Prints changes until the count, the time or a signal says to stop.
    void run() {
        const Clock::time_point end =
            o_.seconds > 0 ? Clock::now() + Seconds(o_.seconds, "-W") : Clock::time_point::max();
        while (!StopOnSignals::requested() && (o_.count <= 0 || changes_ < o_.count)) {
            const Clock::time_point now = Clock::now();
            if (now >= end) {
                break;
            }
            // Short waits, so that a signal is seen soon.
            Event e;
            if (queue_.pop(std::min(end, now + std::chrono::milliseconds(50)), &e)) {
                handle(e);
            }
        }
        out_.flush();
    }

    bool failed() const { return failed_; }

  private:
    void handle(Event& e) {
        if (e.context == 0 || e.context > watched_.size()) {
            return;
        }
        Watched& w = *watched_[e.context - 1];
        switch (e.kind) {
            case Event::Status:
                // A lost host or broker is told by the quality that comes with it.
                if (e.state == 4 && e.code != 0 && e.code != VESTA_E_NOTCONNECTED) {
                    announce(w, "error: " + CodeText(e.code));
                }
                break;
            case Event::Quality: {
                w.quality = e.quality;
                Event data;
                // A value usually follows its quality at once: one line for both.
                if (queue_.popDataOf(e.context, Clock::now() + std::chrono::milliseconds(5),
                                     &data)) {
                    onValue(w, data);
                } else {
                    onQualityOnly(w);
                }
                break;
            }
            case Event::Data:
                onValue(w, e);
                break;
        }
    }

    void onQualityOnly(Watched& w) {
        if ((w.quality & kLost) != 0) {
            if (w.hadValue && !w.lost) {
                w.lost = true;
                announce(w, "disconnected (quality " + QualityWord(w.quality) + ": " +
                                QualityText(w.quality) + ")");
            } else if (!w.hadValue) {
                announce(w, FinalQualityReason(w.quality));
            }
        } else if ((w.quality & VESTA_QUALITY_NONEXISTENT) != 0) {
            announce(w, "not found");
        } else if (w.quality != VESTA_QUALITY_NO_VALUE && w.hadValue) {
            // A quality change of its own (stale, bad ...): the last value with the new quality.
            printValue(w);
        }
    }

    void onValue(Watched& w, const Event& e) {
        if (KORFlexToGxVar(e.packet.data(), static_cast<std::int32_t>(e.packet.size()),
                           w.value.ptr()) != mgNoErr) {
            return;
        }
        if (w.lost && (w.quality & kLost) == 0) {
            w.lost = false;
            announce(w, "reconnected");
        }
        w.hadValue = true;
        w.announced.clear();
        printValue(w);
    }

    void printValue(Watched& w) {
        // The notification carries no time stamp; the item's state holds the one of this change
        // (or of one newer still, when changes come faster than they are printed).
        Variant ignored;
        std::uint32_t quality = 0;
        ka_tagger_gx_TimeStamp time{};
        Cluster error;
        ka_tagger_gx_Read(w.refnum, ignored.ptr(), &quality, &time, error.ptr());
        if (o_.json) {
            nlohmann::json j = QualityJson(w.quality);
            j["url"] = w.url;
            j["time"] = IsoTimeText(time);
            j["value"] = ValueJson(w.value.get());
            j["type"] = TypeName(w.value.get());
            WriteJsonLine(out_, j);
        } else {
            out_ << w.url << ' ' << LocalTimeText(time) << ' ' << ValueText(w.value.get());
            if (w.quality != 0) {
                out_ << ' ' << QualityText(w.quality);
            }
            out_ << '\n';
        }
        out_.flush();
        ++changes_;
    }

    // A "***" line: the item's connection changed rather than its value.
    void announce(Watched& w, const std::string& what) {
        if (what.empty() || (!w.hadValue && what == w.announced)) {
            return;
        }
        w.announced = what;
        if (o_.json) {
            nlohmann::json j = QualityJson(w.quality);
            j["url"] = w.url;
            j["event"] = what;
            WriteJsonLine(out_, j);
        } else {
            out_ << w.url << " *** " << what << '\n';
        }
        out_.flush();
    }

    const MonitorOptions& o_;
    std::ostream& out_;
    std::ostream& err_;
    EventQueue queue_;
    std::vector<std::unique_ptr<Watched>> watched_;
    std::int64_t changes_ = 0;
    bool failed_ = false;
};

}  // namespace

int RunMonitor(const MonitorOptions& o, std::ostream& out, std::ostream& err) {
    if (o.count < 0) {
        throw UsageError("-c: the count must not be negative");
    }
    Seconds(o.seconds, "-W");
    const StopOnSignals signals;
    Monitor monitor(o, out, err);
    if (monitor.bind()) {
        monitor.run();
    }
    monitor.unbind();
    return monitor.failed() ? 1 : 0;
}

Action DefineMonitorCommand(CLI::App& app) {
    auto o = std::make_shared<MonitorOptions>();
    app.add_option("URL", o->urls, "item addresses")->required();
    app.add_option("-c", o->count, "stop after N changes (of all items together)")
        ->option_text("N");
    app.add_option("-W", o->seconds, "stop after SECONDS")->option_text("SECONDS");
    app.add_flag("--json", o->json, "one JSON object per line");
    AddBrokerOption(app, &o->broker);
    app.footer(
        "Prints URL, time stamp (local, to the microsecond), value and, when not good, the "
        "quality for every change. Lines with *** tell of the connection: \"disconnected\" (with "
        "the quality) when the item's host or the broker is lost, \"reconnected\" when values "
        "flow again, \"not found\" and \"no host\" for items not (yet) there. Runs until -c, -W, "
        "or Ctrl-C; exit status 1 when an address cannot be used.");
    return [o](std::ostream& out) {
        SelectBroker(o->broker);
        const ProductSession session;
        return RunMonitor(*o, out, std::cerr);
    };
}

}  // namespace katag
