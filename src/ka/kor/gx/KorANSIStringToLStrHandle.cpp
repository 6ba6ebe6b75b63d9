#include "ka/kor/gx/KorANSIStringToLStrHandle.h"

#include "ka/kor/BufferWrapper.h"
#include "ka/kor/gx/BufferWrapperToLStrHandle.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

void KorANSIStringToLStrHandle(const AString& text, LStrHandle& handle) {
    BufferWrapperToLStrHandle(BufferWrapper(text), handle);
}

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
