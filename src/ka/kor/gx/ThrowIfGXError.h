// Turns a status returned by the host's runtime into an exception: every nonzero status becomes
// a GXErrorException whose code is the status and whose text names it and says what the host
// knows about it.
#pragma once

#include <cstdint>

namespace ka {
namespace kor {
namespace gx {

namespace throw_if_gx_error {

// Recorded position of the throw; the host's error reports name it.
inline constexpr const char* kSourceFile = "ka/kor/gx/ThrowIfGXError.h";
inline constexpr std::uint32_t kLine = 75;

// Throws the GXErrorException for a nonzero status: message "Error Code: %d (%08x): " with the
// status in decimal and in eight hexadecimal digits, followed by GXErrorException::getErrText.
[[noreturn]] void Throw(int status);

}  // namespace throw_if_gx_error

// Does nothing for 0; otherwise throws GXErrorException (see throw_if_gx_error::Throw).
inline void ThrowIfGXError(int status) {
    if (status != 0) {
        throw_if_gx_error::Throw(status);
    }
}

}  // namespace gx
}  // namespace kor
}  // namespace ka
