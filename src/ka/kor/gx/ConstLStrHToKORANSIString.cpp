#include "ka/kor/gx/ConstLStrHToKORANSIString.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

AString ConstLStrHToKORANSIString(const LStr* const* handle) {
    if (handle == nullptr || *handle == nullptr || (*handle)->cnt <= 0) {
        return AString();
    }
    const char* bytes = reinterpret_cast<const char*>((*handle)->str);
    return AString(bytes, bytes + (*handle)->cnt);
}

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
