// A file shared by the processes of one machine that the last process to let go of it deletes.
// Within a process every object of one path shares one descriptor, because closing any
// descriptor of a file drops all of the process's fcntl locks on it.
//
// Bytes 0 and 1 of the file are locked by the protocol that decides who deletes it: byte 0 is
// held exclusive while a process opens or deletes the file, byte 1 is held shared by every
// process that has the file open. Callers lock bytes from 2 on: their lock index i is byte i + 2.
#pragma once

#include <cstdint>

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

struct TemporarySharedUnixFileData;

class TemporarySharedUnixFile {
  public:
    // Holds an exclusive lock on one index for a scope, waiting for it.
    class ExclusiveLock {
      public:
        ExclusiveLock(TemporarySharedUnixFile& file, std::uint32_t index)
            : file_(file), index_(index) {
            file_.grabExclusiveLock(index_, true);
        }
        ~ExclusiveLock() { file_.releaseLock(index_); }
        ExclusiveLock(const ExclusiveLock&) = delete;
        ExclusiveLock& operator=(const ExclusiveLock&) = delete;

      private:
        TemporarySharedUnixFile& file_;
        std::uint32_t index_;
    };

    // Opens (creating when absent) the file at path. Paths are told apart as String compares
    // them, without regard to letter case, a deliberate quirk: an object whose path differs
    // from an open one only in case shares that file and never opens its own. A file deleted by
    // its last user between our open and our lock is noticed and created anew. Raises
    // PosixError when the file cannot be opened or locked.
    explicit TemporarySharedUnixFile(const AString& path);
    // The last object of the path in this process closes the file, and deletes it when no other
    // process has it open. Failures are not reported: the file is then left in place.
    ~TemporarySharedUnixFile();
    TemporarySharedUnixFile(const TemporarySharedUnixFile&) = delete;
    TemporarySharedUnixFile& operator=(const TemporarySharedUnixFile&) = delete;

    // The descriptor, shared with the other objects of the path in this process.
    operator int() const noexcept;

    // One-byte locks at index + 2; true when granted. With wait the call blocks until the lock
    // is granted (interruptions by signals are retried) and raises PosixError on failure, for
    // instance when the system finds a deadlock; without it any refusal gives false. A process
    // holding a lock may convert it between shared and exclusive. The locks belong to the
    // process, not to the calling thread: they do not exclude the threads of one process.
    bool grabExclusiveLock(std::uint32_t index, bool wait);
    bool grabSharedLock(std::uint32_t index, bool wait);
    // Releases this process's lock at index + 2; releasing a lock not held does nothing.
    void releaseLock(std::uint32_t index) noexcept;

  private:
    AString path_;
    TemporarySharedUnixFileData* data_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
