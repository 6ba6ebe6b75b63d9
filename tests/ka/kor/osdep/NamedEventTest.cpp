#include "ka/kor/osdep/NamedEvent.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "ka/kor/osdep/ProcessTestSupport.h"
#include "ka/kor/osdep/ThreadTestSupport.h"

namespace {

using ka::kor::osdep::NamedEvent;
using ka_test::FileExists;
using ka_test::Pipe;
using ka_test::Wide;

struct EventName {
    std::string name = ka_test::UniqueName("event");
    std::string file = "/tmp/ka_kor_osdep_NamedEvent_" + name;
};

// Runs body in a child once go() is called. The child is forked before this process opens the
// events it shares with it: a child forked later would inherit this process's table of named
// objects and their descriptors instead of opening its own.
class LaterChild {
  public:
    template <class Body>
    explicit LaterChild(Body body)
        : pid_(ka_test::Spawn([this, body] { return toChild_.receive() == 'g' ? body() : 2; })) {}
    int go() {
        toChild_.send('g');
        return ka_test::WaitForChild(pid_);
    }

  private:
    Pipe toChild_;
    pid_t pid_;
};

TEST(NamedEvent, OnlyTheFirstProcessSetsTheInitialState) {
    for (bool firstState : {false, true}) {
        EventName e;
        LaterChild child([&] { return NamedEvent(Wide(e.name), true, !firstState).checkOnly(); });
        NamedEvent ev(Wide(e.name), true, firstState);
        EXPECT_EQ(firstState ? 1 : 0, child.go());
    }
}

TEST(NamedEvent, ResetModeBelongsToEachProcess) {
    EventName e;
    LaterChild child([&] { return NamedEvent(Wide(e.name), false, false).check(); });
    NamedEvent manual(Wide(e.name), true, true);
    NamedEvent ignored(Wide(e.name), false, false);  // this process's mode is already chosen
    EXPECT_TRUE(ignored.check());
    EXPECT_EQ(1, child.go());  // the child opened it auto-reset and consumed the set
    EXPECT_FALSE(manual.checkOnly());
}

TEST(NamedEvent, ASetIsSeenByOneWaiterInAnotherProcessWhenAutoReset) {
    EventName e;
    Pipe toParent;
    auto waiter = [&] {
        NamedEvent ev(Wide(e.name), false, false);
        toParent.send('w');
        return ev.wait(1500) ? 1 : 0;
    };
    const pid_t a = ka_test::Spawn(waiter), b = ka_test::Spawn(waiter);
    ASSERT_EQ('w', toParent.receive());
    ASSERT_EQ('w', toParent.receive());
    NamedEvent ev(Wide(e.name), true, false);
    ev.set();
    EXPECT_EQ(1, ka_test::WaitForChild(a) + ka_test::WaitForChild(b));
    EXPECT_FALSE(ev.checkOnly());
}

TEST(NamedEvent, TimedWaitOnAnUnsignalledEventTakesItsWholeTime) {
    EventName e;
    NamedEvent ev(Wide(e.name), false, false);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(ev.wait(120));
    EXPECT_GE(ka_test::MillisecondsSince(start), 120.0);
}

TEST(NamedEvent, TheFileStaysUntilEveryProcessHasLetGo) {
    for (bool killed : {false, true}) {
        SCOPED_TRACE(killed ? "other user killed" : "other user lets go last");
        EventName e;
        Pipe toParent, toChild;
        const pid_t child = ka_test::Spawn([&] {
            NamedEvent ev(Wide(e.name), true, false);
            toParent.send('o');
            return toChild.receive() == 'q' ? 0 : 2;
        });
        ASSERT_EQ('o', toParent.receive());
        { NamedEvent ev(Wide(e.name), true, false), second(Wide(e.name), true, false); }
        EXPECT_TRUE(FileExists(e.file));
        if (killed) {
            ka_test::WaitForChild(child, true);
            { NamedEvent ev(Wide(e.name), true, false); }
        } else {
            toChild.send('q');
            EXPECT_EQ(0, ka_test::WaitForChild(child));
        }
        EXPECT_FALSE(FileExists(e.file));
    }
}

// Deliberately, names are told apart without regard to case, so the second object shares the
// first one's event, reset mode and file.
TEST(NamedEvent, NamesThatDifferOnlyInCaseShareOneEventInAProcess) {
    EventName e;
    const std::string upper = ka_test::Upper(e.name);
    NamedEvent manual(Wide(e.name), true, true);
    NamedEvent autoReset(Wide(upper), false, false);
    EXPECT_TRUE(autoReset.check());
    EXPECT_TRUE(manual.checkOnly());
    autoReset.reset();
    EXPECT_FALSE(manual.checkOnly());
    EXPECT_FALSE(FileExists("/tmp/ka_kor_osdep_NamedEvent_" + upper));
}

// File locks do not tell threads apart; the name's critical section must, or two threads could
// both consume one auto-reset set.
TEST(NamedEvent, ThreadsOfOneProcessConsumeEachSetOnce) {
    EventName e;
    NamedEvent setter(Wide(e.name), false, false);
    constexpr int kSets = 40;
    std::atomic<bool> done(false);
    std::atomic<int> consumed(0);
    std::thread checkers([&] {
        ka_test::RunOnThreads(3, [&] {
            NamedEvent ev(Wide(e.name), false, false);
            while (!done.load()) {
                consumed += ev.check() ? 1 : 0;
            }
        });
    });
    for (int i = 0; i < kSets; ++i) {
        setter.set();
        EXPECT_TRUE(ka_test::WaitUntil([&] { return !setter.checkOnly(); }));
    }
    done = true;
    checkers.join();
    EXPECT_EQ(kSets, consumed.load());
}

}  // namespace
