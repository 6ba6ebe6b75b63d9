// The provider thread that delivers notifications: subscriptions with queued changes wait in one
// ready list and are served round-robin, one change per turn, so every item keeps its order and
// no busy item starves the others. Deliveries run on this thread only and under no lock.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace vesta {

class Subscription;

class Dispatcher {
  public:
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
    };

    static void Run(std::shared_ptr<Core> core);

    std::shared_ptr<Core> core_;
    std::thread thread_;
    std::thread::id threadId_;
};

}  // namespace vesta
