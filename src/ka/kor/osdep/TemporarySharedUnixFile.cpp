#include "ka/kor/osdep/TemporarySharedUnixFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <map>

#include "ka/kor/osdep/CreateSharedUnixFile.h"
#include "ka/kor/osdep/PosixError.h"
#include "ka/kor/osdep/ProcessStatics.h"

namespace ka {
namespace kor {
namespace osdep {

// What the objects of one path in this process share.
struct TemporarySharedUnixFileData {
    unsigned references;
    int fd;
};

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/TemporarySharedUnixFile";

// Held exclusive while a process opens or deletes the file.
constexpr off_t kGuardByte = 0;
// Held shared by every process that has the file open.
constexpr off_t kInUseByte = 1;
// Callers' lock indexes start after the bytes of the protocol.
constexpr off_t kFirstCallerByte = 2;

struct SharedFileRegistry {
    // Deliberate quirk: AString's case-insensitive order, so "A" and "a" share one entry.
    std::map<AString, TemporarySharedUnixFileData> files;
};

using Registry = ProcessStatics<SharedFileRegistry>;

// Sets (F_RDLCK, F_WRLCK) or clears (F_UNLCK) the one-byte lock at byte. A waiting request
// retries when a signal interrupts it and raises PosixError when it fails; a non-waiting one
// answers false.
bool LockByte(int fd, off_t byte, short type, bool wait) {
    struct flock request {};
    request.l_type = type;
    request.l_whence = SEEK_SET;
    request.l_start = byte;
    request.l_len = 1;
    if (!wait) {
        return ::fcntl(fd, F_SETLK, &request) == 0;
    }
    while (::fcntl(fd, F_SETLKW, &request) != 0) {
        if (errno != EINTR) {
            throw PosixError::FromCall(__LINE__, kSourceFile, "fcntl(F_SETLKW)");
        }
    }
    return true;
}

// The byte of a caller's lock index; indexes the file offsets cannot reach are refused the way
// the system refuses a bad range.
bool LockIndex(int fd, std::uint32_t index, short type, bool wait) {
    if (static_cast<unsigned long long>(index) + kFirstCallerByte >
        static_cast<unsigned long long>(std::numeric_limits<off_t>::max())) {
        if (!wait) {
            return false;
        }
        errno = EINVAL;
        throw PosixError::FromCall(__LINE__, kSourceFile, "fcntl(F_SETLKW)");
    }
    return LockByte(fd, static_cast<off_t>(index) + kFirstCallerByte, type, wait);
}

// Opens the file and registers this process as one of its users.
int OpenAndJoin(const AString& path) {
    for (;;) {
        const int fd = CreateSharedUnixFile(path);
        try {
            LockByte(fd, kGuardByte, F_WRLCK, true);
            struct stat st;
            if (::fstat(fd, &st) != 0) {
                throw PosixError::FromCall(__LINE__, kSourceFile, "fstat");
            }
            if (st.st_nlink != 0) {
                LockByte(fd, kInUseByte, F_RDLCK, true);
                LockByte(fd, kGuardByte, F_UNLCK, false);
                return fd;
            }
        } catch (...) {
            ::close(fd);
            throw;
        }
        // The last user deleted the file between our open and our lock: closing drops the
        // guard lock, and the next open creates the file anew.
        ::close(fd);
    }
}

// Ends this process's use of the file, deleting it when no other process has it open.
void LeaveAndClose(const AString& path, int fd) noexcept {
    bool guarded = false;
    try {
        guarded = LockByte(fd, kGuardByte, F_WRLCK, true);
    } catch (const PosixError&) {
        // Without the guard another process may be opening the file, so it is left in place;
        // the descriptor is still closed, or our in-use lock would keep the file for ever.
    }
    // Our own shared lock converts to exclusive exactly when no other process holds it.
    if (guarded && LockByte(fd, kInUseByte, F_WRLCK, false)) {
        ::unlink(path.c_str());
    }
    ::close(fd);
}

}  // namespace

TemporarySharedUnixFile::TemporarySharedUnixFile(const AString& path)
    : path_(path), data_(nullptr) {
    CriticalSection::Guard guard(Registry::Lock());
    SharedFileRegistry& registry = Registry::Acquire();
    try {
        auto found = registry.files.find(path_);
        if (found == registry.files.end()) {
            found = registry.files.emplace(path_, TemporarySharedUnixFileData{0, -1}).first;
            try {
                found->second.fd = OpenAndJoin(path_);
            } catch (...) {
                registry.files.erase(found);
                throw;
            }
        }
        ++found->second.references;
        data_ = &found->second;
    } catch (...) {
        Registry::Release();
        throw;
    }
}

TemporarySharedUnixFile::~TemporarySharedUnixFile() {
    CriticalSection::Guard guard(Registry::Lock());
    if (--data_->references == 0) {
        // The entry's own path, which is this object's only up to letter case.
        auto found = Registry::Instance().files.find(path_);
        LeaveAndClose(found->first, data_->fd);
        Registry::Instance().files.erase(found);
    }
    Registry::Release();
}

TemporarySharedUnixFile::operator int() const noexcept {
    return data_->fd;
}

bool TemporarySharedUnixFile::grabExclusiveLock(std::uint32_t index, bool wait) {
    return LockIndex(data_->fd, index, F_WRLCK, wait);
}

bool TemporarySharedUnixFile::grabSharedLock(std::uint32_t index, bool wait) {
    return LockIndex(data_->fd, index, F_RDLCK, wait);
}

void TemporarySharedUnixFile::releaseLock(std::uint32_t index) noexcept {
    // A non-waiting request never raises, and unlocking fails only for a bad descriptor.
    LockIndex(data_->fd, index, F_UNLCK, false);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
