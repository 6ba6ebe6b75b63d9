// A receiver for provider tests: records every notification with the thread it came on, lets a
// test wait (bounded) for what it expects, and runs an optional hook inside each notification,
// so that a test can block the provider's thread or release things from inside.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "vesta/CountedReceiver.h"
#include "vesta/VestaRealTime.h"

namespace vesta_test {

constexpr std::chrono::seconds kPatience(10);

struct Event {
    enum Kind { Status, Attributes, Data };
    Kind kind = Status;
    long item = 0;
    IASTATUS status = IASTATUS_INACTIVE;
    HRESULT result = S_OK;
    std::uint32_t mask = 0;
    VarData value;
    std::uint32_t quality = 0;
    FILETIME time{0};
    ITEMDETAILS details{};
    std::thread::id thread;
};

// The events as short text, e.g. "S15 S17 A D7:0" (status, attributes, data mask:quality in hex),
// for comparing orders at a glance.
inline std::string Describe(const std::vector<Event>& events) {
    std::string out;
    char part[40];
    for (const Event& e : events) {
        if (e.kind == Event::Status) {
            std::snprintf(part, sizeof part, "S%d", static_cast<int>(e.status));
        } else if (e.kind == Event::Attributes) {
            std::snprintf(part, sizeof part, "A");
        } else {
            std::snprintf(part, sizeof part, "D%X:%X", static_cast<unsigned>(e.mask),
                          static_cast<unsigned>(e.quality));
        }
        out += out.empty() ? "" : " ";
        out += part;
    }
    return out;
}

// The data events that carry a value.
inline std::vector<Event> Values(const std::vector<Event>& events) {
    std::vector<Event> out;
    for (const Event& e : events) {
        if (e.kind == Event::Data && (e.mask & VESTA_MASK_VALUE) != 0) {
            out.push_back(e);
        }
    }
    return out;
}

// A latch a notification can wait on; opens by itself after kPatience so that a failing test
// never hangs.
class Gate {
  public:
    void open() {
        std::lock_guard<std::mutex> lock(mutex_);
        open_ = true;
        cv_.notify_all();
    }
    void pass() {
        std::unique_lock<std::mutex> lock(mutex_);
        cv_.wait_for(lock, kPatience, [this] { return open_; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable cv_;
    bool open_ = false;
};

class RecordingReceiver final : public vesta::CountedReceiver {
  public:
    typedef std::function<void(const Event&)> Hook;

    // One reference for the caller. `destroyed`, when given, is set by the destructor.
    static RecordingReceiver* Create(std::atomic<bool>* destroyed = nullptr) {
        return new RecordingReceiver(destroyed);
    }

    HRESULT OnDataChange(long item, std::uint32_t mask, const VarData* value, std::uint32_t quality,
                         FILETIME time) override {
        Event e;
        e.kind = Event::Data;
        e.item = item;
        e.mask = mask;
        if ((mask & VESTA_MASK_VALUE) != 0) {
            e.value = *value;
        }
        e.quality = quality;
        e.time = time;
        return record(std::move(e));
    }
    HRESULT OnAttributeChange(long item, const ITEMDETAILS* details) override {
        Event e;
        e.kind = Event::Attributes;
        e.item = item;
        e.details = *details;
        return record(std::move(e));
    }
    HRESULT OnStatusChange(long item, IASTATUS status, HRESULT result,
                           std::uint32_t /*reserved*/) override {
        Event e;
        e.kind = Event::Status;
        e.item = item;
        e.status = status;
        e.result = result;
        return record(std::move(e));
    }

    // Runs inside every later notification, after it is recorded, under no lock of this object.
    void setHook(Hook hook) {
        std::lock_guard<std::mutex> lock(mutex_);
        hook_ = std::make_shared<Hook>(std::move(hook));
    }

    std::vector<Event> events(long item) const {
        std::lock_guard<std::mutex> lock(mutex_);
        return eventsLocked(item);
    }

    // Waits until pred holds for the item's events; false when it still does not after
    // kPatience.
    template <class Pred>
    bool waitFor(long item, Pred pred) const {
        std::unique_lock<std::mutex> lock(mutex_);
        return cv_.wait_for(lock, kPatience, [&] { return pred(eventsLocked(item)); });
    }
    // Waits for a data event with a value equal to `v`.
    bool waitForValue(long item, const VarData& v) const {
        return waitFor(item, [&](const std::vector<Event>& es) {
            for (const Event& e : es) {
                if (e.kind == Event::Data && (e.mask & VESTA_MASK_VALUE) != 0 && e.value == v) {
                    return true;
                }
            }
            return false;
        });
    }
    // Waits until the item has had `n` events.
    bool waitForCount(long item, std::size_t n) const {
        return waitFor(item, [&](const std::vector<Event>& es) { return es.size() >= n; });
    }

  private:
    explicit RecordingReceiver(std::atomic<bool>* destroyed) : destroyed_(destroyed) {}
    ~RecordingReceiver() override {
        if (destroyed_ != nullptr) {
            destroyed_->store(true);
        }
    }

    std::vector<Event> eventsLocked(long item) const {
        std::vector<Event> out;
        for (const Event& e : events_) {
            if (e.item == item) {
                out.push_back(e);
            }
        }
        return out;
    }

    HRESULT record(Event&& e) {
        e.thread = std::this_thread::get_id();
        std::shared_ptr<Hook> hook;
        Event copy = e;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            events_.push_back(std::move(e));
            hook = hook_;
        }
        cv_.notify_all();
        if (hook && *hook) {
            (*hook)(copy);
        }
        return S_OK;
    }

    std::atomic<bool>* destroyed_;
    mutable std::mutex mutex_;
    mutable std::condition_variable cv_;
    std::vector<Event> events_;
    std::shared_ptr<Hook> hook_;
};

}  // namespace vesta_test
