// A fixed-length block of bytes shared by cooperating processes under a name. The block lives in
// the file "<name>_ssm.ssm", mapped into every process that opens it; a length header at its
// start lets each process detect a region of another length or a damaged one. Copies in and out
// are serialised across processes by a named mutex, and the file is deleted when the last
// process lets go of it.
#pragma once

#include <cstdint>

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

class Mutex;
class TemporarySharedUnixFile;

class SimpleSharedMemory {
  public:
    // Opens the region of name (used as given, so a relative name is resolved against the
    // working directory), creating it with length zero bytes of data when absent. The first
    // form is guarded by the class-wide mutex "SimpleSharedMemoryDummyMutex", the second by
    // mutex, which must outlive the object; every process using the region must choose the same.
    // Raises InvalidArgument2 when the region exists with another length, SharedMemoryCorrupted
    // when an existing file holds no length, PosixError when a system call fails.
    SimpleSharedMemory(const AString& name, std::uint32_t length);
    SimpleSharedMemory(const AString& name, std::uint32_t length, Mutex* mutex);
    // Unmaps the region and lets go of the file, always under the class-wide mutex.
    ~SimpleSharedMemory();
    SimpleSharedMemory(const SimpleSharedMemory&) = delete;
    SimpleSharedMemory& operator=(const SimpleSharedMemory&) = delete;

    // Copy end - begin bytes from data offset offset into [begin, end), or from [begin, end) to
    // data offset offset, under the mutex. The checks below run first; nothing is copied when
    // they raise.
    void readRaw(std::uint32_t offset, unsigned char* begin, const unsigned char* end);
    void writeRaw(std::uint32_t offset, const unsigned char* begin, const unsigned char* end);

    // The start of the mapping: the 4-byte length in the machine's byte order, then the data.
    // Access through it is not guarded by the mutex.
    unsigned char* getRawMemory() noexcept;

    // Raises SharedMemoryCorrupted when the length in the header is no longer the object's
    // length, otherwise BufferOverflow when offset lies beyond the data (offset == length is
    // allowed: it is the end).
    void sanityCheck(std::uint32_t offset);
    // sanityCheck(offset), then BufferOverflow when the end - begin bytes from offset do not all
    // lie within the data. InvalidArgument2 when end precedes begin.
    void sanityCheckForReadsAndWrites(std::uint32_t offset, const unsigned char* begin,
                                      const unsigned char* end);

  private:
    // The class-wide mutex, made when the library loads. When that fails (a /tmp the process
    // cannot write to), the library still loads and the first use tries again, raising
    // PosixError if it fails once more.
    static Mutex& dummyMutex_();

    void initializeMemory(const AString& name);

    Mutex* mutex_;
    TemporarySharedUnixFile* file_;
    std::uint32_t length_;
    unsigned char* memory_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
