#include "ka/kor/osdep/SimpleSharedMemory.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>

#include "ka/kor/exception.h"
#include "ka/kor/osdep/MadeAtLoad.h"
#include "ka/kor/osdep/Mutex.h"
#include "ka/kor/osdep/OutputAssertion.h"
#include "ka/kor/osdep/PosixError.h"
#include "ka/kor/osdep/TemporarySharedUnixFile.h"
#include "ka/kor/osdep/path.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/SimpleSharedMemory";

// The data length in the machine's byte order, ahead of the data.
constexpr std::uint32_t kHeaderSize = sizeof(std::uint32_t);

void SeekTo(int fd, off_t offset) {
    if (::lseek(fd, offset, SEEK_SET) == static_cast<off_t>(-1)) {
        throw PosixError::FromCall(__LINE__, kSourceFile, "lseek");
    }
}

void WriteAll(int fd, const void* bytes, std::size_t count) {
    const ssize_t n = ::write(fd, bytes, count);
    if (n < 0) {
        throw PosixError::FromCall(__LINE__, kSourceFile, "write");
    }
    if (static_cast<std::size_t>(n) != count) {
        // A regular file takes fewer bytes than offered only when the disk is full.
        errno = ENOSPC;
        throw PosixError::FromCall(__LINE__, kSourceFile, "write");
    }
}

// The length recorded in a region's file, read through its descriptor.
std::uint32_t ReadStoredLength(int fd) {
    SeekTo(fd, 0);
    std::uint32_t stored = 0;
    const ssize_t n = ::read(fd, &stored, kHeaderSize);
    if (n < 0) {
        throw PosixError::FromCall(__LINE__, kSourceFile, "read");
    }
    if (n != static_cast<ssize_t>(kHeaderSize)) {
        throw exception::SharedMemoryCorrupted(__LINE__, kSourceFile);
    }
    return stored;
}

bool IsEmptyFile(int fd) {
    struct stat st;
    if (::fstat(fd, &st) != 0) {
        throw PosixError::FromCall(__LINE__, kSourceFile, "fstat");
    }
    return st.st_size == 0;
}

Mutex* MakeDummyMutex() {
    return new Mutex(String(L"SimpleSharedMemoryDummyMutex"));
}

// Made while the library loads, so that the mutex every process shares exists before any region
// does. A /tmp the process cannot write to must not stop the host from loading the library: the
// first region then tries again and raises the failure.
MadeAtLoad<Mutex> gDummyMutex(&MakeDummyMutex);

}  // namespace

Mutex& SimpleSharedMemory::dummyMutex_() {
    return gDummyMutex.get();
}

SimpleSharedMemory::SimpleSharedMemory(const AString& name, std::uint32_t length)
    : SimpleSharedMemory(name, length, &dummyMutex_()) {}

SimpleSharedMemory::SimpleSharedMemory(const AString& name, std::uint32_t length, Mutex* mutex)
    : mutex_(mutex), file_(nullptr), length_(length), memory_(nullptr) {
    if (mutex_ == nullptr) {
        throw exception::InvalidArgument2(__LINE__, kSourceFile, "no mutex given");
    }
    // The file is one byte longer than header and data, and every offset must fit the file
    // offsets and the address space of the process.
    if (static_cast<unsigned long long>(length_) + kHeaderSize + 1 >
            static_cast<unsigned long long>(std::numeric_limits<off_t>::max()) ||
        static_cast<unsigned long long>(length_) + kHeaderSize >
            std::numeric_limits<std::size_t>::max()) {
        throw exception::InvalidArgument2(__LINE__, kSourceFile, "shared region too long");
    }
    initializeMemory(name);
}

SimpleSharedMemory::~SimpleSharedMemory() {
    // Always the class-wide mutex, whatever guarded the region's use: deliberate, since it is
    // the one every process takes to let go of a region, so that deletions are serialised with
    // the creations made under it.
    Mutex* mutex = nullptr;
    try {
        mutex = &dummyMutex_();
        mutex->lock();
    } catch (const std::exception& e) {
        // Letting go without the lock is better than keeping the mapping and the file for ever.
        OutputAssertion("", e.what(), kSourceFile, __LINE__);
        mutex = nullptr;
    }
    ::munmap(memory_, length_ + kHeaderSize);
    delete file_;
    if (mutex != nullptr) {
        mutex->unlock();
    }
}

void SimpleSharedMemory::initializeMemory(const AString& name) {
    Mutex::Guard guard(*mutex_);
    const AString path = name + "_ssm.ssm";
    const bool existed = path::DoesFileExist(path);
    std::unique_ptr<TemporarySharedUnixFile> file(new TemporarySharedUnixFile(path));
    const int fd = *file;
    // An empty file was left by a process that died before writing the header, or deleted and
    // created anew since we looked: either way there is nothing to keep.
    if (!existed || IsEmptyFile(fd)) {
        // The zero byte past the data makes the file L + 5 bytes long, one more than is
        // mapped: kept deliberately, so that the files of every user of a region agree in size.
        const unsigned char zero = 0;
        SeekTo(fd, static_cast<off_t>(length_) + kHeaderSize);
        WriteAll(fd, &zero, 1);
        SeekTo(fd, 0);
        WriteAll(fd, &length_, kHeaderSize);
    } else if (ReadStoredLength(fd) != length_) {
        throw exception::InvalidArgument2(__LINE__, kSourceFile,
                                          "Shared region already exists, but you passed in a "
                                          "different length than the existing one.");
    }
    void* memory =
        ::mmap(nullptr, length_ + kHeaderSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED) {
        throw PosixError::FromCall(__LINE__, kSourceFile, "mmap");
    }
    memory_ = static_cast<unsigned char*>(memory);
    file_ = file.release();
}

void SimpleSharedMemory::readRaw(std::uint32_t offset, unsigned char* begin,
                                 const unsigned char* end) {
    Mutex::Guard guard(*mutex_);
    sanityCheckForReadsAndWrites(offset, begin, end);
    if (begin != end) {
        std::memcpy(begin, memory_ + kHeaderSize + offset, static_cast<std::size_t>(end - begin));
    }
}

void SimpleSharedMemory::writeRaw(std::uint32_t offset, const unsigned char* begin,
                                  const unsigned char* end) {
    Mutex::Guard guard(*mutex_);
    sanityCheckForReadsAndWrites(offset, begin, end);
    if (begin != end) {
        std::memcpy(memory_ + kHeaderSize + offset, begin, static_cast<std::size_t>(end - begin));
    }
}

unsigned char* SimpleSharedMemory::getRawMemory() noexcept {
    return memory_;
}

void SimpleSharedMemory::sanityCheck(std::uint32_t offset) {
    std::uint32_t stored = 0;
    std::memcpy(&stored, memory_, kHeaderSize);
    if (stored != length_) {
        throw exception::SharedMemoryCorrupted(__LINE__, kSourceFile);
    }
    if (offset > length_) {
        throw exception::BufferOverflow(__LINE__, kSourceFile);
    }
}

void SimpleSharedMemory::sanityCheckForReadsAndWrites(std::uint32_t offset,
                                                      const unsigned char* begin,
                                                      const unsigned char* end) {
    if (end < begin) {
        throw exception::InvalidArgument2(__LINE__, kSourceFile, "end precedes begin");
    }
    sanityCheck(offset);
    if (static_cast<unsigned long long>(offset) + static_cast<unsigned long long>(end - begin) >
        length_) {
        throw exception::BufferOverflow(__LINE__, kSourceFile);
    }
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
