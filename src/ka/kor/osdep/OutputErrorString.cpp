#include "ka/kor/osdep/OutputErrorString.h"

#include <cstdio>

namespace ka {
namespace kor {
namespace osdep {

void OutputErrorString(const char* text) noexcept {
    if (text != nullptr) {
        std::fputs(text, stderr);
    }
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
