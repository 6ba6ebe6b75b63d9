#include "ka/kor/osdep/CriticalSection.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using ka::kor::osdep::CriticalSection;

// Whether another thread could enter cs (leaving it again at once).
bool EnteredFromOtherThread(CriticalSection& cs) {
    bool entered = false;
    std::thread([&] { entered = cs.tryEnter() ? (cs.leave(), true) : false; }).join();
    return entered;
}

TEST(CriticalSection, TryEnterSucceedsRecursivelyAndFailsForOtherThreads) {
    CriticalSection cs(nullptr);
    cs.enter();
    {
        CriticalSection::Guard guard(cs);
        EXPECT_TRUE(cs.tryEnter());
        cs.leave();
    }
    EXPECT_FALSE(EnteredFromOtherThread(cs));  // entered once more than left
    cs.leave();
    EXPECT_TRUE(EnteredFromOtherThread(cs));
}

}  // namespace
