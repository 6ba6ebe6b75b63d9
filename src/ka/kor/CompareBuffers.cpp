#include "ka/kor/CompareBuffers.h"

#include <cstdint>
#include <cstring>

namespace ka {
namespace kor {

int CompareBuffers(const BufferWrapper& a, const BufferWrapper& b) noexcept {
    const std::uint32_t common = a.length() < b.length() ? a.length() : b.length();
    if (common != 0) {
        const int order = std::memcmp(a.data(), b.data(), common);
        if (order != 0) {
            return order < 0 ? -1 : 1;
        }
    }
    if (a.length() == b.length()) {
        return 0;
    }
    return a.length() < b.length() ? -1 : 1;
}

}  // namespace kor
}  // namespace ka
