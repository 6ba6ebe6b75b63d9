#include "ka/kor/osdep/MadeAtLoad.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <stdexcept>

#include "ka/kor/osdep/ThreadTestSupport.h"

namespace {

using ka::kor::osdep::MadeAtLoad;

// A factory that fails while failuresLeft is above 0, counting its calls.
std::atomic<int> failuresLeft(0);
std::atomic<int> calls(0);

int* Make() {
    ++calls;
    if (failuresLeft > 0) {
        --failuresLeft;
        throw std::runtime_error("no /tmp");
    }
    static int made[64];
    return &made[calls % 64];
}

void Reset(int failures) {
    failuresLeft = failures;
    calls = 0;
}

TEST(MadeAtLoad, MakesTheObjectAtOnceOrOnTheFirstUseThatSucceeds) {
    for (int failures : {0, 3}) {
        SCOPED_TRACE(failures);
        Reset(failures);
        MadeAtLoad<int> object(&Make);  // swallows a failure
        EXPECT_EQ(1, calls.load());
        for (int i = 1; i < failures; ++i) {
            EXPECT_THROW(object.get(), std::runtime_error);
        }
        int* const made = &object.get();
        EXPECT_EQ(failures == 0 ? 1 : failures + 1, calls.load());
        EXPECT_EQ(made, &object.get());
        EXPECT_EQ(failures == 0 ? 1 : failures + 1, calls.load());
    }
}

TEST(MadeAtLoad, ThreadsThatRetryAtOnceMakeOneObject) {
    Reset(1);
    MadeAtLoad<int> object(&Make);
    std::mutex seenLock;
    std::set<int*> seen;
    ka_test::RunOnThreads(8, [&] {
        int* p = &object.get();
        std::lock_guard<std::mutex> lock(seenLock);
        seen.insert(p);
    });
    EXPECT_EQ(1u, seen.size());
    EXPECT_EQ(2, calls.load());
}

}  // namespace
