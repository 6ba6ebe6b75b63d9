#include "ka/kor/osdep/NotResolvedException.h"

namespace ka {
namespace kor {
namespace osdep {

NotResolvedException::~NotResolvedException() = default;

const char* NotResolvedException::what() const noexcept {
    return "Not able to resolve the network name or address";
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
