#include "ka/kor/osdep/NamedEvent.h"

#include <unistd.h>

#include <cerrno>
#include <map>
#include <memory>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/CriticalSection.h"
#include "ka/kor/osdep/OSException.h"
#include "ka/kor/osdep/ProcessStatics.h"
#include "ka/kor/osdep/Sleep.h"
#include "ka/kor/osdep/TemporarySharedUnixFile.h"
#include "ka/kor/osdep/WaitForMultipleEvents.h"
#include "ka/kor/osdep/path.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/NamedEvent";

// Lock indexes of the file (bytes 2 and 3): the first guards every access to the state byte,
// the second is held shared by every process that uses the event.
constexpr std::uint32_t kStateLock = 0;
constexpr std::uint32_t kInUseLock = 1;

constexpr std::uint32_t kPollMs = 50;

constexpr unsigned char kSignalled = 1;
constexpr unsigned char kNotSignalled = 0;

}  // namespace

// What the NamedEvent objects of one name in this process share. useCount is guarded by the
// registry's lock; the file's state byte by section and the state lock.
struct NamedEventEntry {
    unsigned useCount = 0;
    CriticalSection section;
    std::unique_ptr<TemporarySharedUnixFile> file;
    bool manualReset = false;

    ~NamedEventEntry() {
        if (file) {
            file->releaseLock(kInUseLock);
        }
    }
};

namespace {

struct NamedEventGlobalStatics {
    // Deliberate quirk: String's case-insensitive order, so "A" and "a" share one entry.
    std::map<String, std::unique_ptr<NamedEventEntry>> entries;
};

using Registry = ProcessStatics<NamedEventGlobalStatics>;

AString EventFilePath(const String& name) {
    if (name.hasEmbeddedNull()) {
        throw exception::InvalidArgument2(__LINE__, kSourceFile,
                                          "an event name cannot hold a null character");
    }
    return AString(path::Join(String(L"/tmp"), String(L"ka_kor_osdep_NamedEvent_") + name));
}

// Failures to write are not reported: the next read of the state shows what the file holds.
void WriteState(int fd, unsigned char state) {
    ::lseek(fd, 0, SEEK_SET);
    ssize_t written = ::write(fd, &state, 1);
    static_cast<void>(written);
    ::fsync(fd);
}

bool ReadState(int fd) {
    ::lseek(fd, 0, SEEK_SET);
    ::fsync(fd);
    unsigned char state = kNotSignalled;
    const ssize_t n = ::read(fd, &state, 1);
    if (n != 1) {
        const std::uint32_t code = n < 0 ? static_cast<std::uint32_t>(errno) : 0;
        throw OSException(__LINE__, kSourceFile, "the state of a named event could not be read",
                          code);
    }
    return state != kNotSignalled;
}

// Runs f on the descriptor with the state of the event to itself: the name's critical section
// keeps out the other threads of this process, the state lock the other processes.
template <class F>
auto WithState(NamedEventEntry& entry, F f) -> decltype(f(0)) {
    CriticalSection::Guard guard(entry.section);
    TemporarySharedUnixFile::ExclusiveLock lock(*entry.file, kStateLock);
    return f(static_cast<int>(*entry.file));
}

// Makes this process a user of the event; the first user on the machine sets the state.
void JoinEvent(TemporarySharedUnixFile& file, bool initialState) {
    TemporarySharedUnixFile::ExclusiveLock lock(file, kStateLock);
    if (file.grabExclusiveLock(kInUseLock, false)) {
        WriteState(file, initialState ? kSignalled : kNotSignalled);
    }
    // Turns our exclusive lock, when we got it, into a shared one.
    file.grabSharedLock(kInUseLock, true);
}

}  // namespace

NamedEvent::NamedEvent(const String& name, bool manualReset, bool initialState)
    : entry_(nullptr), name_(name) {
    const AString path = EventFilePath(name_);
    CriticalSection::Guard guard(Registry::Lock());
    NamedEventGlobalStatics& statics = Registry::Acquire();
    try {
        auto found = statics.entries.find(name_);
        if (found == statics.entries.end()) {
            // The entry is not yet visible to other threads, so its critical section is not
            // needed while the process joins the event.
            std::unique_ptr<NamedEventEntry> entry(new NamedEventEntry);
            entry->manualReset = manualReset;
            entry->file.reset(new TemporarySharedUnixFile(path));
            JoinEvent(*entry->file, initialState);
            found = statics.entries.emplace(name_, std::move(entry)).first;
        }
        entry_ = found->second.get();
        ++entry_->useCount;
    } catch (...) {
        Registry::Release();
        throw;
    }
}

NamedEvent::~NamedEvent() {
    CriticalSection::Guard guard(Registry::Lock());
    if (--entry_->useCount == 0) {
        Registry::Instance().entries.erase(name_);
    }
    Registry::Release();
}

void NamedEvent::set() {
    WithState(*entry_, [](int fd) { WriteState(fd, kSignalled); });
}

void NamedEvent::reset() {
    WithState(*entry_, [](int fd) { WriteState(fd, kNotSignalled); });
}

bool NamedEvent::check() {
    const bool manualReset = entry_->manualReset;
    return WithState(*entry_, [manualReset](int fd) {
        const bool signalled = ReadState(fd);
        if (signalled && !manualReset) {
            WriteState(fd, kNotSignalled);
        }
        return signalled;
    });
}

bool NamedEvent::checkOnly() {
    return WithState(*entry_, [](int fd) { return ReadState(fd); });
}

void NamedEvent::resetIfAuto() {
    if (!entry_->manualReset) {
        reset();
    }
}

void NamedEvent::wait() {
    wait(kWaitInfinite);
}

bool NamedEvent::wait(std::uint32_t ms) {
    if (ms == kWaitInfinite) {
        while (!check()) {
            Sleep(kPollMs);
        }
        return true;
    }
    std::uint32_t remaining = ms;
    for (;;) {
        if (check()) {
            return true;
        }
        if (remaining < kPollMs) {
            break;
        }
        Sleep(kPollMs);
        remaining -= kPollMs;
    }
    Sleep(remaining);
    return check();
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
