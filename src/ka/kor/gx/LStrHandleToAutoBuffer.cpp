#include "ka/kor/gx/LStrHandleToAutoBuffer.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

AutoBuffer LStrHandleToAutoBuffer(LStrHandle handle) {
    if (handle == nullptr || *handle == nullptr || (*handle)->cnt <= 0) {
        return AutoBuffer();
    }
    return AutoBuffer((*handle)->str, static_cast<std::uint32_t>((*handle)->cnt));
}

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
