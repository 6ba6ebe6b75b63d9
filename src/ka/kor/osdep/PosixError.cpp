#include "ka/kor/osdep/PosixError.h"

#include <cerrno>
#include <cstring>
#include <type_traits>

namespace ka {
namespace kor {
namespace osdep {

namespace {

// strerror_r that works with either the GNU or the XSI flavour the C library may declare.
AString ErrnoText(int code) {
    char buffer[256] = {0};
    auto r = ::strerror_r(code, buffer, sizeof buffer);
    if constexpr (std::is_same<decltype(r), char*>::value) {
        return AString(r);
    } else {
        return AString(r == 0 ? buffer : "Unknown error");
    }
}

}  // namespace

// errno is read once, so that the message and the code describe the same failure.
PosixError::PosixError(std::uint32_t line, const char* file) : PosixError(line, file, errno) {}

PosixError::PosixError(std::uint32_t line, const char* file, int code)
    : OSException(line, file, ErrnoText(code), static_cast<std::uint32_t>(code)) {}

PosixError::PosixError(std::uint32_t line, const char* file, const AString& message,
                       std::uint32_t code)
    : OSException(line, file, message, code) {}

PosixError::~PosixError() = default;

std::uint32_t PosixError::getErrorCode() const noexcept {
    switch (whatcode()) {
        case 0:
            return 0;
        case ENOENT:
            return 7;
        default:
            return OSException::getErrorCode();
    }
}

PosixError PosixError::FromCall(std::uint32_t line, const char* file, const char* call) {
    const int code = errno;
    AString message(call);
    message += ": ";
    message += ErrnoText(code);
    return PosixError(line, file, message, static_cast<std::uint32_t>(code));
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
