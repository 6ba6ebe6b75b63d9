// Occurrences: refnums naming a flag that Occur sets and a wait consumes.

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>

#include "gxhost/GxHost.h"

namespace {

struct Occurrence {
    std::mutex lock;
    std::condition_variable changed;
    bool fired = false;
    bool disposed = false;
    std::uint32_t fires = 0;
};

struct Table {
    std::mutex lock;
    std::unordered_map<GxRefnum, std::shared_ptr<Occurrence>> occurrences;
    GxRefnum last = 0;
};

// Never destroyed: clean-up procedures run while the library unloads may still fire occurrences.
Table& Occurrences() {
    static Table* t = new Table;
    return *t;
}

// The occurrence of a refnum, held so that a dispose on another thread cannot free it under us.
std::shared_ptr<Occurrence> Find(GxRefnum occ) {
    Table& t = Occurrences();
    std::lock_guard<std::mutex> hold(t.lock);
    const auto it = t.occurrences.find(occ);
    return it != t.occurrences.end() ? it->second : nullptr;
}

}  // namespace

extern "C" {

GxRefnum GxHostNewOccurrence(void) {
    try {
        auto made = std::make_shared<Occurrence>();
        Table& t = Occurrences();
        std::lock_guard<std::mutex> hold(t.lock);
        // 0 names no occurrence; refnums are not reused, so a stale one is never someone else's.
        GxRefnum refnum = t.last + 1;
        while (refnum == 0 || t.occurrences.count(refnum) != 0) {
            ++refnum;
        }
        t.occurrences.emplace(refnum, std::move(made));
        t.last = refnum;
        return refnum;
    } catch (...) {
        return 0;
    }
}

MgErr GxHostDisposeOccurrence(GxRefnum occ) {
    try {
        std::shared_ptr<Occurrence> o;
        {
            Table& t = Occurrences();
            std::lock_guard<std::mutex> hold(t.lock);
            const auto it = t.occurrences.find(occ);
            if (it == t.occurrences.end()) {
                return mgArgErr;
            }
            o = std::move(it->second);
            t.occurrences.erase(it);
        }
        std::lock_guard<std::mutex> hold(o->lock);
        o->disposed = true;
        o->changed.notify_all();
        return mgNoErr;
    } catch (...) {
        return mgArgErr;
    }
}

MgErr Occur(GxRefnum occ) {
    try {
        const std::shared_ptr<Occurrence> o = Find(occ);
        if (o == nullptr) {
            return mgArgErr;
        }
        std::lock_guard<std::mutex> hold(o->lock);
        o->fired = true;
        ++o->fires;
        o->changed.notify_one();
        return mgNoErr;
    } catch (...) {
        // Only a failing lock can throw here; the product must never see an exception.
        return mgArgErr;
    }
}

int32_t GxHostWaitOccurrence(GxRefnum occ, int32_t timeoutMs) {
    try {
        const std::shared_ptr<Occurrence> o = Find(occ);
        if (o == nullptr) {
            return GX_WAIT_NO_OCCURRENCE;
        }
        std::unique_lock<std::mutex> hold(o->lock);
        const auto ready = [&o] { return o->fired || o->disposed; };
        if (timeoutMs < 0) {
            o->changed.wait(hold, ready);
        } else {
            // A steady deadline: spurious wake-ups and clock changes never shorten the wait.
            const auto deadline =
                std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
            o->changed.wait_until(hold, deadline, ready);
        }
        if (o->fired) {
            o->fired = false;
            return GX_WAIT_FIRED;
        }
        return o->disposed ? GX_WAIT_NO_OCCURRENCE : GX_WAIT_TIMED_OUT;
    } catch (...) {
        return GX_WAIT_NO_OCCURRENCE;
    }
}

uint32_t GxHostOccurrenceFireCount(GxRefnum occ) {
    try {
        const std::shared_ptr<Occurrence> o = Find(occ);
        if (o == nullptr) {
            return 0;
        }
        std::lock_guard<std::mutex> hold(o->lock);
        return o->fires;
    } catch (...) {
        return 0;
    }
}

}  // extern "C"
