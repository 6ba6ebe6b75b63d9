// An operating-system failure: a message and the OS's own code. Reports the host's generic error
// code 42; PosixError refines that for errno values.
#pragma once

#include <cstdint>

#include "ka/kor/StringBase.h"
#include "ka/kor/exception.h"

namespace ka {
namespace kor {
namespace osdep {

class OSException : public exception::Exception {
  public:
    // Message "Unknown error", OS code 0.
    OSException(std::uint32_t line = 0, const char* file = nullptr);
    OSException(std::uint32_t line, const char* file, const AString& message, std::uint32_t code);
    ~OSException() override;

    const char* what() const noexcept override;            // the message
    std::uint32_t getErrorCode() const noexcept override;  // 42
    // The stored operating-system code.
    virtual std::uint32_t whatcode() const noexcept;

  private:
    AString message_;
    std::uint32_t code_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
