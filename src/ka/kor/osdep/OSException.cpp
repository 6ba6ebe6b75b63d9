#include "ka/kor/osdep/OSException.h"

namespace ka {
namespace kor {
namespace osdep {

OSException::OSException(std::uint32_t line, const char* file)
    : Exception(line, file), message_("Unknown error"), code_(0) {}

OSException::OSException(std::uint32_t line, const char* file, const AString& message,
                         std::uint32_t code)
    : Exception(line, file), message_(message), code_(code) {}

OSException::~OSException() = default;

const char* OSException::what() const noexcept {
    return message_.c_str();
}

std::uint32_t OSException::getErrorCode() const noexcept {
    return 42;
}

std::uint32_t OSException::whatcode() const noexcept {
    return code_;
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
