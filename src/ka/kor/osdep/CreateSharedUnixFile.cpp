#include "ka/kor/osdep/CreateSharedUnixFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "ka/kor/osdep/PosixError.h"
#include "ka/kor/osdep/Sleep.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/CreateSharedUnixFile";
constexpr int kOpenAttempts = 3;
constexpr mode_t kSharedMode = 0666;

PosixError FailedOn(std::uint32_t line, const char* call, const AString& path) {
    const int code = errno;
    AString what(call);
    what += " ";
    what += path;
    errno = code;
    return PosixError::FromCall(line, kSourceFile, what.c_str());
}

}  // namespace

int CreateSharedUnixFile(const AString& path) {
    int fd = -1;
    for (int attempt = 1;; ++attempt) {
        fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kSharedMode);
        if (fd >= 0) {
            break;
        }
        if (errno != EACCES) {
            throw FailedOn(__LINE__, "open", path);
        }
        const int code = errno;
        Sleep(1);
        if (attempt == kOpenAttempts) {
            errno = code;
            throw FailedOn(__LINE__, "open", path);
        }
    }
    if (::fchmod(fd, kSharedMode) != 0 && errno != EPERM) {
        const PosixError error = FailedOn(__LINE__, "fchmod", path);
        ::close(fd);
        throw error;
    }
    return fd;
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
