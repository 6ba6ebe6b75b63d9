#include "ka/kor/osdep/Mutex.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "ka/kor/osdep/ProcessTestSupport.h"
#include "ka/kor/osdep/ThreadTestSupport.h"

namespace {

using ka::kor::osdep::Mutex;
using ka_test::Wide;

// A unique name; its lock file is removed at the end of the test.
struct MutexName {
    std::string name = ka_test::UniqueName("mutex");
    ka_test::Unlink file{"/tmp/ka_kor_osdep_Mutex" + name};  // no underscore after the prefix
};

// Whether a process opening the file itself finds it locked. (A child forked now must not use
// a Mutex: it would inherit this process's critical sections as they stand.)
bool LockedForOthers(const MutexName& m) {
    return 1 == ka_test::WaitForChild(ka_test::Spawn([&] {
               return ::flock(::open(m.file.path.c_str(), O_RDWR), LOCK_EX | LOCK_NB) != 0;
           }));
}

TEST(Mutex, UnnamedExcludesOtherThreads) {
    Mutex m;
    bool taken = true;
    m.lock();
    std::thread([&] { taken = m.tryLock(); }).join();
    EXPECT_FALSE(taken);
    m.unlock();
    std::thread([&] { taken = m.tryLock() ? (m.unlock(), true) : false; }).join();
    EXPECT_TRUE(taken);
}

TEST(Mutex, NamedExcludesOtherProcessesUntilTheHolderDies) {
    MutexName m;
    ka_test::Pipe toParent;
    const pid_t holder = ka_test::Spawn([&] {
        Mutex mutex(Wide(m.name));
        mutex.lock();
        toParent.send('l');
        ::pause();
        return 0;
    });
    ASSERT_EQ('l', toParent.receive());
    Mutex mutex(Wide(m.name));
    EXPECT_FALSE(mutex.tryLock());
    ka_test::WaitForChild(holder, true);
    EXPECT_TRUE(ka_test::WaitUntil([&] { return mutex.tryLock(); }));
    mutex.unlock();
}

// The second object's descriptor is made to share the first one's open file, so that a flock
// through it would succeed: tryLock can only answer false without touching the file.
TEST(Mutex, TryLockFromAnotherThreadFailsWithoutTouchingTheFile) {
    MutexName m;
    Mutex first(Wide(m.name)), second(Wide(m.name));
    const std::vector<int> fds = ka_test::DescriptorsOn(m.file.path);
    ASSERT_EQ(2u, fds.size());
    ASSERT_NE(-1, ::dup2(fds[0], fds[1]));

    first.lock();
    std::atomic<int> got(-1);
    std::thread trier([&] { got = second.tryLock() ? 1 : 0; });
    const bool returned = ka_test::WaitUntil([&] { return got.load() >= 0; });
    if (!returned) {
        first.unlock();  // so that a blocked tryLock ends
    }
    trier.join();
    ASSERT_TRUE(returned);
    EXPECT_EQ(0, got.load());
    EXPECT_TRUE(LockedForOthers(m));  // the holder's file lock is intact
    first.unlock();
    std::thread([&] {
        got = second.tryLock() ? 1 : 0;
        second.unlock();
    }).join();
    EXPECT_EQ(1, got.load());
}

TEST(Mutex, NamedIsRecursiveAcrossObjectsOfOneNameInOneThread) {
    MutexName m;
    Mutex a(Wide(m.name)), b(Wide(m.name));
    a.lock();
    b.lock();  // the file is already locked for this thread, through a
    EXPECT_TRUE(a.tryLock());
    a.unlock();
    b.unlock();
    EXPECT_TRUE(LockedForOthers(m));
    a.unlock();
    EXPECT_FALSE(LockedForOthers(m));
}

// Deliberately, names are told apart without regard to case: objects whose names differ only in
// case exclude each other's threads through one critical section, yet each locks its own file.
TEST(Mutex, NamesThatDifferOnlyInCaseShareOneEntryButNotTheirFiles) {
    MutexName lower;
    const std::string name = ka_test::Upper(lower.name);
    MutexName upper{name, {"/tmp/ka_kor_osdep_Mutex" + name}};
    Mutex a(Wide(lower.name)), b(Wide(upper.name));
    a.lock();
    std::atomic<int> got(-1);
    std::thread([&] {
        got = b.tryLock() ? 1 : 0;
        if (got == 1) {
            b.unlock();
        }
    }).join();
    EXPECT_EQ(0, got.load());
    b.lock();  // recursion through the shared entry: the other file is not locked
    EXPECT_TRUE(LockedForOthers(lower));
    EXPECT_FALSE(LockedForOthers(upper));
    b.unlock();
    a.unlock();
    EXPECT_FALSE(LockedForOthers(lower));
}

TEST(Mutex, DestroyingAHeldMutexReleasesItAndSaysSo) {
    MutexName m;
    std::unique_ptr<Mutex> held(new Mutex(Wide(m.name)));
    held->lock();
    held->lock();
    testing::internal::CaptureStderr();
    held.reset();
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find(
                                     "Assertion failed: Mutex destroyed while locked"));
    EXPECT_FALSE(LockedForOthers(m));
    Mutex other(Wide(m.name));
    std::thread([&] {
        EXPECT_TRUE(other.tryLock());
        other.unlock();
    }).join();
}

}  // namespace
