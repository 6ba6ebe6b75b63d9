#include "ka/kor/gx/GXErrorException.h"

namespace ka {
namespace kor {
namespace gx {

GXErrorException::GXErrorException(std::uint32_t line, const char* file, const AString& message,
                                   std::int32_t code)
    : Exception(line, file), message_(message), code_(code) {}

GXErrorException::~GXErrorException() = default;

const char* GXErrorException::what() const noexcept {
    return message_.c_str();
}

std::uint32_t GXErrorException::getErrorCode() const noexcept {
    return static_cast<std::uint32_t>(code_);
}

}  // namespace gx
}  // namespace kor
}  // namespace ka
