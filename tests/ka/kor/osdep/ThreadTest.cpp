#include "ka/kor/osdep/Thread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/Event.h"
#include "ka/kor/osdep/Sleep.h"
#include "ka/kor/osdep/ThreadID.h"
#include "ka/kor/osdep/ThreadTestSupport.h"

namespace {

using ka::kor::osdep::Event;
using ka::kor::osdep::Thread;
using ka::kor::osdep::ThreadID;

class FunctionThread : public Thread {
  public:
    explicit FunctionThread(std::function<void(FunctionThread&)> body) : body_(std::move(body)) {}
    ~FunctionThread() override { waitForThreadToTerminate(); }

  protected:
    std::uint32_t run() override { return body_(*this), 0; }

  private:
    std::function<void(FunctionThread&)> body_;
};

TEST(Thread, BodyRunsWithEverySignalBlockedAndMayJoinItself) {
    sigset_t before, inside, after;
    pthread_sigmask(SIG_BLOCK, nullptr, &before);
    bool current = false, joinedSelf = false;
    ThreadID id;
    FunctionThread t([&](Thread& self) {
        pthread_sigmask(SIG_BLOCK, nullptr, &inside);
        current = self.isCurrentThread();
        self.waitForThreadToTerminate();
        joinedSelf = true;
        id = ThreadID::getCallingID();
    });
    t.start(0);
    t.cleanup();
    pthread_sigmask(SIG_BLOCK, nullptr, &after);
    for (int sig : {SIGHUP, SIGINT, SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGCHLD}) {
        SCOPED_TRACE(sig);
        EXPECT_TRUE(sigismember(&inside, sig));
        EXPECT_EQ(sigismember(&before, sig), sigismember(&after, sig));
    }
    EXPECT_TRUE(current && joinedSelf);
    EXPECT_FALSE(t.isCurrentThread());
    EXPECT_TRUE(id != ThreadID::getCallingID());
    EXPECT_TRUE(ThreadID::getCallingID().isCurrentThread());
    EXPECT_FALSE(ThreadID().isCurrentThread());
}

TEST(Thread, JoinFromTwoThreadsAtOnceReturnsToBothThenRestarts) {
    Event release(true, false);
    FunctionThread t([&](Thread&) { release.wait(); });
    t.start(0);
    EXPECT_THROW(t.start(0), ka::kor::exception::ObjectAlreadyExists);  // not joined yet
    std::atomic<int> returned(0);
    std::thread joiners([&] {
        ka_test::RunOnThreads(2, [&] {
            t.waitForThreadToTerminate();
            returned.fetch_add(1);
        });
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(0, returned.load());
    release.set();
    joiners.join();
    EXPECT_EQ(2, returned.load());
    t.start(0);  // joined, so it may run again
    t.cleanup();
}

std::atomic<bool> gBodyStarted(false), gBodyFinished(false);

// Uses nothing of its own, so the base destructor may join it after this part is gone.
class UnjoinedThread : public Thread {
  protected:
    std::uint32_t run() override {
        gBodyStarted = true;
        ka::kor::osdep::Sleep(30);
        return gBodyFinished = true, 0;
    }
};

TEST(Thread, DestructorJoinsARunningThread) {
    auto* t = new UnjoinedThread;
    t->start(0);
    ASSERT_TRUE(ka_test::WaitUntil([] { return gBodyStarted.load(); }));
    delete t;
    EXPECT_TRUE(gBodyFinished.load());
}

TEST(Sleep, LastsPastOneSecondAndThroughSignals) {
    struct sigaction action = {}, previous;
    action.sa_handler = [](int) {};
    sigaction(SIGUSR2, &action, &previous);
    double elapsed = 0;
    std::thread sleeper([&] {
        const auto start = std::chrono::steady_clock::now();
        ka::kor::osdep::Sleep(1050);
        elapsed = ka_test::MillisecondsSince(start);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    pthread_kill(sleeper.native_handle(), SIGUSR2);
    sleeper.join();
    sigaction(SIGUSR2, &previous, nullptr);
    EXPECT_GE(elapsed, 1050);
}

}  // namespace
