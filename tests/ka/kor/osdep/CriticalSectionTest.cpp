#include "ka/kor/osdep/CriticalSection.h"

#include <gtest/gtest.h>

#include <thread>

#include "ka/kor/osdep/Mutex.h"

namespace {

using ka::kor::osdep::CriticalSection;

template <class Lock, class Try>
bool TriesFromOtherThread(Lock& lock, Try tryLock) {
    bool taken = false;
    std::thread([&] { taken = tryLock(lock); }).join();
    return taken;
}

TEST(CriticalSection, TryEnterSucceedsRecursivelyAndFailsForOtherThreads) {
    CriticalSection cs(nullptr);
    auto tryEnter = [](CriticalSection& c) { return c.tryEnter() ? (c.leave(), true) : false; };
    cs.enter();
    {
        CriticalSection::Guard guard(cs);
        EXPECT_TRUE(cs.tryEnter());
        cs.leave();
    }
    EXPECT_FALSE(TriesFromOtherThread(cs, tryEnter));  // entered once more than left
    cs.leave();
    EXPECT_TRUE(TriesFromOtherThread(cs, tryEnter));
}

TEST(Mutex, ExcludesOtherThreads) {
    ka::kor::osdep::Mutex m;
    auto tryLock = [](ka::kor::osdep::Mutex& x) {
        return x.tryLock() ? (x.unlock(), true) : false;
    };
    m.lock();
    EXPECT_FALSE(TriesFromOtherThread(m, tryLock));
    m.unlock();
    EXPECT_TRUE(TriesFromOtherThread(m, tryLock));
}

}  // namespace
