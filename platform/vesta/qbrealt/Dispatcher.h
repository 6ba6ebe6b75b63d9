// The provider thread that delivers notifications: subscriptions with queued changes wait in one
// ready list and are served round-robin, one change per turn, so every item keeps its order and
// no busy item starves the others. Deliveries run on this thread only and under no lock.
//
// While changes come close together, the thread stays awake for a short while once the list is
// empty, rather than sleeping. A sleeping thread takes tens of microseconds to wake (more on a
// virtual machine), which would be most of an update's way from one process to another; a change
// that comes while it is awake goes out at once, and the posting thread makes no wake-up call.
// It stays awake only while changes come closer together than kStayAwake: it goes straight to
// sleep after four idle spells in a row that were longer, so the time it spends awake and idle is
// bounded by the changes' own pace, plus four kStayAwake each time they stop. (A few long spells
// are hiccups within a stream more often than its end: on a virtual machine, sleeping after two
// left 10 of 24 runs of the latency benchmark above their p99 goal, sleeping after four 2 of 24.)
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace vesta {

class Subscription;

class Dispatcher {
  public:
    // How long the thread stays awake for more after delivering everything there was: a few
    // wake-ups' worth, and short enough not to slow a stream that keeps every processor busy
    // (where the thread, awake, takes time from the network thread: on two processors, twice
    // this cut the values a saturated client saw by half).
    static constexpr std::chrono::microseconds kStayAwake{100};

    // Starts the thread (with every signal blocked, so that the host process's signals go to
    // its own threads). std::system_error when it cannot be started.
    Dispatcher();
    // Stops the thread once the current delivery returns. Called on the thread itself (the last
    // reference to a provider dropped inside a notification) it cannot wait for itself, so the
    // thread is left to end on its own.
    ~Dispatcher();
    Dispatcher(const Dispatcher&) = delete;
    Dispatcher& operator=(const Dispatcher&) = delete;

    // Queues a subscription that has changes waiting; it must not be queued already (the
    // subscription keeps that mark).
    void schedule(std::shared_ptr<Subscription> subscription);
    // Whether the caller is the delivering thread.
    bool onDispatcherThread() const noexcept;

  private:
    struct Core {
        std::mutex mutex;
        std::condition_variable wake;
        std::vector<std::shared_ptr<Subscription>> ready;
        bool stop = false;
        bool sleeping = false;  // waiting on `wake`: only then does a new entry need a call
        // Set with every new entry (and stop) under the mutex; read without it while awake.
        std::atomic<bool> pending{false};
    };

    // Waits with the lock until there is work or stop: awake for up to kStayAwake unless the
    // last few waits were all longer than that (`longIdles` counts those, and is updated), then
    // asleep.
    static void WaitForWork(Core& core, std::unique_lock<std::mutex>& lock, int& longIdles);

    static void Run(std::shared_ptr<Core> core);

    std::shared_ptr<Core> core_;
    std::thread thread_;
    std::thread::id threadId_;
};

}  // namespace vesta
