#include "qbrealt/Dispatcher.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>

#include <algorithm>
#include <utility>

#include "qbrealt/Subscription.h"

namespace vesta {

namespace {

// Idle spells longer than kStayAwake in a row after which the thread sleeps straight away.
constexpr int kLongIdlesToSleep = 4;

}  // namespace

Dispatcher::Dispatcher() : core_(std::make_shared<Core>()) {
    // The new thread inherits the creator's mask; block everything around the start so that no
    // signal can reach the thread before it runs, then restore the creator's mask.
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    try {
        thread_ = std::thread(Run, core_);
    } catch (...) {
        pthread_sigmask(SIG_SETMASK, &previous, nullptr);
        throw;
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    threadId_ = thread_.get_id();
}

Dispatcher::~Dispatcher() {
    {
        std::lock_guard<std::mutex> lock(core_->mutex);
        core_->stop = true;
        core_->pending.store(true, std::memory_order_release);
    }
    core_->wake.notify_one();
    if (onDispatcherThread()) {
        thread_.detach();  // the thread holds its own reference to the core
    } else {
        thread_.join();
    }
}

void Dispatcher::schedule(std::shared_ptr<Subscription> subscription) {
    bool wake;
    {
        std::lock_guard<std::mutex> lock(core_->mutex);
        // Once woken, the thread takes the whole list: one call per sleep is enough.
        wake = core_->sleeping && core_->ready.empty();
        core_->ready.push_back(std::move(subscription));
        core_->pending.store(true, std::memory_order_release);
    }
    if (wake) {
        core_->wake.notify_one();
    }
}

bool Dispatcher::onDispatcherThread() const noexcept {
    return std::this_thread::get_id() == threadId_;
}

void Dispatcher::WaitForWork(Core& core, std::unique_lock<std::mutex>& lock, int& longIdles) {
    using Clock = std::chrono::steady_clock;
    if (core.stop || !core.ready.empty()) {
        longIdles = 0;
        return;
    }
    const Clock::time_point idleSince = Clock::now();
    if (longIdles < kLongIdlesToSleep) {
        lock.unlock();
        const Clock::time_point until = idleSince + kStayAwake;
        while (!core.pending.load(std::memory_order_acquire) && Clock::now() < until) {
            sched_yield();  // whatever else is ready on this processor runs meanwhile
        }
        lock.lock();
    }
    core.sleeping = true;
    core.wake.wait(lock, [&] { return core.stop || !core.ready.empty(); });
    core.sleeping = false;
    longIdles =
        Clock::now() - idleSince < kStayAwake ? 0 : std::min(longIdles + 1, kLongIdlesToSleep);
}

void Dispatcher::Run(std::shared_ptr<Core> core) {
    std::vector<std::shared_ptr<Subscription>> batch;
    std::vector<std::shared_ptr<Subscription>> again;
    int longIdles = 0;
    std::unique_lock<std::mutex> lock(core->mutex);
    for (;;) {
        WaitForWork(*core, lock, longIdles);
        if (core->stop) {
            return;
        }
        core->pending.store(false, std::memory_order_relaxed);
        batch.swap(core->ready);
        lock.unlock();
        for (std::shared_ptr<Subscription>& s : batch) {
            if (s->deliverOne()) {
                again.push_back(std::move(s));
            }
        }
        // Dropping the batch may release the last reference to a subscription, and with it its
        // provider and this dispatcher's owner; no lock of the core may be held then.
        batch.clear();
        lock.lock();
        if (!again.empty()) {
            // Items served this turn go behind those that became ready meanwhile.
            core->ready.insert(core->ready.end(), std::make_move_iterator(again.begin()),
                               std::make_move_iterator(again.end()));
            again.clear();
        }
    }
}

}  // namespace vesta
