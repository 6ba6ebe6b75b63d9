#include "ka/kor/gx/KorStringToLStrHandle.h"

#include "ka/kor/gx/KorANSIStringToLStrHandle.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

void KorStringToLStrHandle(const String& text, LStrHandle& handle) {
    KorANSIStringToLStrHandle(AString(text), handle);
}

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
