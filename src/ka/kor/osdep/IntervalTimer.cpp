#include "ka/kor/osdep/IntervalTimer.h"

#include "ka/kor/exception.h"
#include "ka/kor/osdep/Event.h"
#include "ka/kor/osdep/OutputAssertion.h"
#include "ka/kor/osdep/Thread.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/IntervalTimer";

std::uint32_t CheckedInterval(std::uint32_t intervalMs) {
    if (intervalMs <= 9) {
        throw exception::InvalidArgument2(__LINE__, kSourceFile,
                                          "interval cannot be less than 10 milliseconds");
    }
    return intervalMs;
}

}  // namespace

// The timer's worker: sleeps for the interval and calls the callback, until told to finish.
class MilliSleepTimer : public Thread {
  public:
    typedef void (*Callback)(void* argument);

    MilliSleepTimer(std::uint32_t sleepMs, void* argument, Callback callback)
        : sleepMs_(sleepMs),
          argument_(argument),
          callback_(callback),
          running_(false),
          wake_(true, false),
          deleteWhenDone_(false) {}

    // Finishes and joins the thread; on the thread itself (a timer stopped from its own tick)
    // the thread is left to end on its own.
    ~MilliSleepTimer() override {
        finish();
        waitForThreadToTerminate();
    }

    void begin() {
        running_ = true;
        start(0);
    }

    // Ends the loop after the current tick, if any, and cuts the current sleep short.
    void finish() noexcept {
        running_ = false;
        wake_.set();
    }

    // For a stop from the worker's own tick: the worker deletes itself once the tick returns.
    void finishAndDeleteWhenDone() noexcept {
        finish();
        deleteWhenDone_ = true;
    }

  protected:
    std::uint32_t run() override {
        while (running_) {
            // An event rather than a plain sleep, so that stop() need not wait out the interval.
            wake_.wait(sleepMs_);
            if (!running_) {
                break;
            }
            callback_(argument_);
        }
        if (deleteWhenDone_) {
            delete this;  // nothing of this object is touched after this point
        }
        return 0;
    }

  private:
    std::uint32_t sleepMs_;
    void* argument_;
    Callback callback_;
    std::atomic<bool> running_;
    Event wake_;
    bool deleteWhenDone_;  // only touched on the worker thread
};

IntervalTimer::IntervalTimer(std::uint32_t intervalMs)
    : qpc_(), intervalMs_(CheckedInterval(intervalMs)), previousReading_(0), worker_(nullptr) {
    getElapsedTime();
}

IntervalTimer::~IntervalTimer() {
    if (worker_ != nullptr) {
        OutputAssertion("worker_ == nullptr",
                        "IntervalTimer destroyed while running; stop() must be called first",
                        kSourceFile, __LINE__);
        stop();
    }
}

void IntervalTimer::start() {
    if (worker_ != nullptr) {
        return;
    }
    // Published before the thread starts, since a tick may already call stop().
    worker_ = new MilliSleepTimer(intervalMs_, this, &IntervalTimer::Tick);
    try {
        worker_->begin();
    } catch (...) {
        delete worker_;
        worker_ = nullptr;
        throw;
    }
}

void IntervalTimer::stop() {
    MilliSleepTimer* worker = worker_;
    if (worker == nullptr) {
        return;
    }
    worker_ = nullptr;
    if (worker->isCurrentThread()) {
        worker->finishAndDeleteWhenDone();
    } else {
        delete worker;
    }
}

std::uint32_t IntervalTimer::getElapsedTime() {
    const auto now = static_cast<std::uint32_t>(qpc_.hires(CallQPC::k_MICRO));
    return now - previousReading_.exchange(now);
}

std::uint32_t IntervalTimer::getElapsedTimeNoReset() const {
    const auto now = static_cast<std::uint32_t>(qpc_.hires(CallQPC::k_MICRO));
    return now - previousReading_.load();
}

void IntervalTimer::onTick(std::uint32_t) {}

void IntervalTimer::Tick(void* timer) {
    auto* self = static_cast<IntervalTimer*>(timer);
    self->onTick(self->getElapsedTime());
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
