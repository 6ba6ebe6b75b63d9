#include "ka/kor/GetGraphixErrorCode.h"

namespace ka {
namespace kor {

std::uint32_t GetGraphixErrorCode(const exception::Exception& e) noexcept {
    return e.getErrorCode();
}

std::uint32_t GetGraphixErrorCode(const std::bad_alloc&) noexcept {
    return 2;
}

std::uint32_t GetGraphixErrorCode(const std::exception&) noexcept {
    return 0x80004005u;
}

}  // namespace kor
}  // namespace ka
