// Front-panel notifications: OnPSP... calls routed to the listener of their context, else to the
// catch-all listener, else counted and dropped.

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "gxhost/GxHost.h"

namespace {

struct Entry {
    GxPSPListener listener;
    int running = 0;  // calls of this listener in progress, guarded by the table's lock
};

struct Listeners {
    std::mutex lock;
    std::condition_variable idle;  // some entry's running count dropped to 0
    std::unordered_map<uint32_t, std::shared_ptr<Entry>> byContext;
    std::shared_ptr<Entry> catchAll;
};

Listeners& Table() {
    static Listeners* t = new Listeners;
    return *t;
}

std::atomic<std::uint32_t> g_dropped{0};

// The listener calls in progress on this thread, innermost first: replacing a listener waits for
// its calls to end, except for one this thread is inside, which would never end.
struct Frame {
    const Entry* entry;
    const Frame* outer;
};
thread_local const Frame* t_frames = nullptr;

bool InsideOnThisThread(const Entry* e) {
    for (const Frame* f = t_frames; f != nullptr; f = f->outer) {
        if (f->entry == e) {
            return true;
        }
    }
    return false;
}

// Calls call(listener) on the listener for context, or counts the notification as dropped when
// there is none or has(listener) is false (it lacks the function of this kind).
template <typename Has, typename Call>
void Deliver(uint32_t context, Has has, Call call) {
    Listeners& t = Table();
    std::shared_ptr<Entry> e;
    {
        std::lock_guard<std::mutex> hold(t.lock);
        const auto it = t.byContext.find(context);
        e = it != t.byContext.end() ? it->second : t.catchAll;
        if (e == nullptr || !has(e->listener)) {
            g_dropped.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        ++e->running;
    }
    const Frame frame{e.get(), t_frames};
    t_frames = &frame;
    try {
        call(e->listener);
    } catch (...) {
        // A listener behind a C interface has no business throwing; the caller never sees it.
    }
    t_frames = frame.outer;
    std::lock_guard<std::mutex> hold(t.lock);
    if (--e->running == 0) {
        t.idle.notify_all();
    }
}

// Puts a copy of listener (or nothing, for null) in the place of context's listener, or of the
// catch-all one, and waits until no call of the entry it replaced is in progress on another thread.
MgErr Replace(uint32_t context, bool isCatchAll, const GxPSPListener* listener) {
    Listeners& t = Table();
    std::shared_ptr<Entry> made;
    if (listener != nullptr) {
        made = std::make_shared<Entry>();
        made->listener = *listener;
    }
    std::unique_lock<std::mutex> hold(t.lock);
    std::shared_ptr<Entry>* slot = isCatchAll ? &t.catchAll : &t.byContext[context];
    std::shared_ptr<Entry> old = std::move(*slot);
    *slot = std::move(made);
    if (!isCatchAll && *slot == nullptr) {
        t.byContext.erase(context);
    }
    if (old != nullptr && !InsideOnThisThread(old.get())) {
        t.idle.wait(hold, [&old] { return old->running == 0; });
    }
    return mgNoErr;
}

}  // namespace

extern "C" {

void OnPSPDataUpdate(uint32_t context, const unsigned char* begin, const unsigned char* end) {
    try {
        Deliver(
            context, [](const GxPSPListener& l) { return l.data != nullptr; },
            [&](const GxPSPListener& l) { l.data(l.user, context, begin, end); });
    } catch (...) {
    }
}

void OnPSPQualityUpdate(uint32_t context, uint32_t quality) {
    try {
        Deliver(
            context, [](const GxPSPListener& l) { return l.quality != nullptr; },
            [&](const GxPSPListener& l) { l.quality(l.user, context, quality); });
    } catch (...) {
    }
}

void OnPSPStatusUpdate(uint32_t context, int32_t state, int32_t code, int32_t detail) {
    try {
        Deliver(
            context, [](const GxPSPListener& l) { return l.status != nullptr; },
            [&](const GxPSPListener& l) { l.status(l.user, context, state, code, detail); });
    } catch (...) {
    }
}

MgErr GxHostSetPSPListener(uint32_t context, const GxPSPListener* listener) {
    try {
        return Replace(context, false, listener);
    } catch (...) {
        return mFullErr;
    }
}

MgErr GxHostSetPSPCatchAllListener(const GxPSPListener* listener) {
    try {
        return Replace(0, true, listener);
    } catch (...) {
        return mFullErr;
    }
}

uint32_t GxHostDroppedPSPNotifications(void) {
    return g_dropped.load(std::memory_order_relaxed);
}

}  // extern "C"
