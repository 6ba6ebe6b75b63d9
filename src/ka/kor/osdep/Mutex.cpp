#include "ka/kor/osdep/Mutex.h"

#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <map>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/CreateSharedUnixFile.h"
#include "ka/kor/osdep/CriticalSection.h"
#include "ka/kor/osdep/OutputAssertion.h"
#include "ka/kor/osdep/PosixError.h"
#include "ka/kor/osdep/ProcessStatics.h"
#include "ka/kor/osdep/path.h"

namespace ka {
namespace kor {
namespace osdep {

// What the Mutex objects of one name in this process share. recursion and holder are guarded by
// section; useCount by the registry's lock.
struct MutexEntry {
    unsigned useCount = 0;
    unsigned recursion = 0;
    const Mutex* holder = nullptr;  // the object whose descriptor holds the file lock
    CriticalSection section;
};

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/Mutex";

struct MutexGlobalStatics {
    // Deliberate quirk: String's case-insensitive order, so "A" and "a" share one entry.
    std::map<String, MutexEntry> entries;
};

using Registry = ProcessStatics<MutexGlobalStatics>;

// No underscore after the prefix, unlike the event files: deliberate, since every process on
// the machine must compute the same path for a name.
AString LockFilePath(const String& name) {
    if (name.hasEmbeddedNull()) {
        throw exception::InvalidArgument2(__LINE__, kSourceFile,
                                          "a mutex name cannot hold a null character");
    }
    return AString(path::Join(String(L"/tmp"), String(L"ka_kor_osdep_Mutex") + name));
}

}  // namespace

Mutex::Mutex() : entry_(new MutexEntry), fd_(-1) {}

Mutex::Mutex(const String& name) : entry_(nullptr), fd_(-1), name_(name) {
    fd_ = CreateSharedUnixFile(LockFilePath(name_));
    CriticalSection::Guard guard(Registry::Lock());
    try {
        MutexGlobalStatics& statics = Registry::Acquire();
        try {
            entry_ = &statics.entries[name_];
        } catch (...) {
            Registry::Release();
            throw;
        }
    } catch (...) {
        ::close(fd_);
        throw;
    }
    ++entry_->useCount;
}

Mutex::~Mutex() {
    releaseIfHeldByCaller();
    if (fd_ < 0) {
        delete entry_;
        return;
    }
    ::close(fd_);
    CriticalSection::Guard guard(Registry::Lock());
    if (--entry_->useCount == 0) {
        Registry::Instance().entries.erase(name_);
    }
    Registry::Release();
}

// Leaving the lock held would keep every other thread of the process out of the name for good,
// and the last object would destroy a critical section still held; the file lock would go with
// the descriptor anyway. Releasing is the only choice that leaves the process usable.
void Mutex::releaseIfHeldByCaller() noexcept {
    if (!entry_->section.tryEnter()) {
        return;  // another thread holds the name: not ours to release
    }
    if (entry_->recursion > 0 && entry_->holder == this) {
        OutputAssertion("", "Mutex destroyed while locked; its lock has been released", kSourceFile,
                        __LINE__);
        if (fd_ >= 0) {
            ::flock(fd_, LOCK_UN);
        }
        for (; entry_->recursion > 0; --entry_->recursion) {
            entry_->section.leave();
        }
        entry_->holder = nullptr;
    }
    entry_->section.leave();
}

void Mutex::lock() {
    entry_->section.enter();
    if (entry_->recursion == 0) {
        while (fd_ >= 0 && ::flock(fd_, LOCK_EX) != 0) {
            if (errno != EINTR) {
                const PosixError error = PosixError::FromCall(__LINE__, kSourceFile, "flock");
                entry_->section.leave();
                throw error;
            }
        }
        entry_->holder = this;
    }
    ++entry_->recursion;
}

bool Mutex::tryLock() {
    if (!entry_->section.tryEnter()) {
        return false;
    }
    if (entry_->recursion == 0) {
        if (fd_ >= 0 && ::flock(fd_, LOCK_EX | LOCK_NB) != 0) {
            entry_->section.leave();
            return false;
        }
        entry_->holder = this;
    }
    ++entry_->recursion;
    return true;
}

void Mutex::unlock() {
    if (entry_->recursion == 0) {
        return;
    }
    if (--entry_->recursion == 0) {
        if (entry_->holder->fd_ >= 0) {
            ::flock(entry_->holder->fd_, LOCK_UN);
        }
        entry_->holder = nullptr;
    }
    entry_->section.leave();
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
