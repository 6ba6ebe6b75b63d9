// A failed POSIX call, carrying errno. Reports host code 0 for errno 0, 7 (file not found) for
// ENOENT and 42 (generic error) for everything else.
#pragma once

#include <cstdint>

#include "ka/kor/osdep/OSException.h"

namespace ka {
namespace kor {
namespace osdep {

class PosixError : public OSException {
  public:
    // Message strerror(errno) and code errno, both read at construction.
    PosixError(std::uint32_t line = 0, const char* file = nullptr);
    PosixError(std::uint32_t line, const char* file, const AString& message, std::uint32_t code);
    ~PosixError() override;

    std::uint32_t getErrorCode() const noexcept override;

    // "call: strerror text" for errno as it stands now, the usual message for a failed call.
    static PosixError FromCall(std::uint32_t line, const char* file, const char* call);

  private:
    PosixError(std::uint32_t line, const char* file, int code);
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
