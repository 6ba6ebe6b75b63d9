#include "ka/kor/osdep/IntervalTimer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/ThreadTestSupport.h"

namespace {

using ka::kor::osdep::IntervalTimer;
using ka_test::WaitUntil;

TEST(IntervalTimer, RejectsIntervalsBelowTenMilliseconds) {
    try {
        IntervalTimer t(9);
        ADD_FAILURE() << "9 accepted";
    } catch (const ka::kor::exception::InvalidArgument2& e) {
        EXPECT_STREQ("interval cannot be less than 10 milliseconds", e.what());
    }
    EXPECT_EQ(10u, IntervalTimer(10).getInterval());
}

class CountingTimer : public IntervalTimer {
  public:
    explicit CountingTimer(bool stopOnTick) : IntervalTimer(10), stopOnTick_(stopOnTick) {}
    ~CountingTimer() override { stop(); }

    std::atomic<int> ticks{0};
    std::atomic<std::uint32_t> shortestElapsed{0xFFFFFFFFu};

  protected:
    void onTick(std::uint32_t elapsed) override {
        if (elapsed < shortestElapsed.load()) {
            shortestElapsed = elapsed;
        }
        if (stopOnTick_) {
            stop();
        }
        ticks.fetch_add(1);  // after stop(), so a test that sees the tick sees the stop too
    }

  private:
    const bool stopOnTick_;
};

TEST(IntervalTimer, TicksUntilStopped) {
    CountingTimer timer(false);
    timer.start();
    timer.start();  // already running: no second worker
    EXPECT_TRUE(WaitUntil([&] { return timer.ticks.load() >= 3; }));
    timer.stop();
    const int ticks = timer.ticks.load();
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
    EXPECT_EQ(ticks, timer.ticks.load());
    // Each tick follows a full interval since the previous reading.
    EXPECT_GE(timer.shortestElapsed.load(), 10000u);
}

TEST(IntervalTimer, StopFromTheTickEndsTheWorker) {
    CountingTimer timer(true);
    for (int run = 1; run <= 2; ++run) {
        timer.start();
        EXPECT_TRUE(WaitUntil([&] { return timer.ticks.load() == run; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        EXPECT_EQ(run, timer.ticks.load());
    }
}

TEST(IntervalTimer, DestroyingARunningTimerReportsAndStopsIt) {
    testing::internal::CaptureStderr();
    {
        IntervalTimer timer(10);
        timer.start();
        std::this_thread::sleep_for(std::chrono::milliseconds(15));
    }
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, err.find("stop() must be called first")) << err;
}

}  // namespace
