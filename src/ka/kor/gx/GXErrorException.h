// A failure reported by the host's runtime: the host error code it returned and a text. Copies
// keep line, file, message and code.
#pragma once

#include <cstdint>

#include "ka/kor/StringBase.h"
#include "ka/kor/exception.h"

namespace ka {
namespace kor {
namespace gx {

class GXErrorException : public exception::Exception {
  public:
    GXErrorException(std::uint32_t line, const char* file, const AString& message,
                     std::int32_t code);
    ~GXErrorException() override;

    const char* what() const noexcept override;            // the message
    std::uint32_t getErrorCode() const noexcept override;  // the host code it carries
    std::int32_t code() const noexcept { return code_; }

    // The host's text for code ("Unknown error code or error text unavailable." when the host
    // knows none; empty when it knows the code but gives no text). The host's text is taken as
    // ANSI text and passed through a wide string, as every host text is.
    AString getErrText(int code) const;

  private:
    AString message_;
    std::int32_t code_;
};

}  // namespace gx
}  // namespace kor
}  // namespace ka
