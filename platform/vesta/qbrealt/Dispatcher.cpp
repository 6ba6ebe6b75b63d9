#include "qbrealt/Dispatcher.h"

#include <pthread.h>
#include <signal.h>

#include <utility>

#include "qbrealt/Subscription.h"

namespace vesta {

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
    }
    core_->wake.notify_one();
    if (onDispatcherThread()) {
        thread_.detach();  // the thread holds its own reference to the core
    } else {
        thread_.join();
    }
}

void Dispatcher::schedule(std::shared_ptr<Subscription> subscription) {
    bool wasIdle;
    {
        std::lock_guard<std::mutex> lock(core_->mutex);
        wasIdle = core_->ready.empty();
        core_->ready.push_back(std::move(subscription));
    }
    if (wasIdle) {
        core_->wake.notify_one();
    }
}

bool Dispatcher::onDispatcherThread() const noexcept {
    return std::this_thread::get_id() == threadId_;
}

void Dispatcher::Run(std::shared_ptr<Core> core) {
    std::vector<std::shared_ptr<Subscription>> batch;
    std::vector<std::shared_ptr<Subscription>> again;
    std::unique_lock<std::mutex> lock(core->mutex);
    for (;;) {
        core->wake.wait(lock, [&] { return core->stop || !core->ready.empty(); });
        if (core->stop) {
            return;
        }
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
