#include "ka/tagger/gx/ReportError.h"

#include <cstring>

namespace ka {
namespace tagger {
namespace gx {

bool HasIncomingError(const ErrorCluster* error) noexcept {
    return error != nullptr && error->status != 0;
}

void ReportError(ErrorCluster* error, bool status, std::uint32_t code,
                 const char* source) noexcept {
    if (error == nullptr) {
        return;
    }
    error->status = status ? 1 : 0;
    error->code = static_cast<std::int32_t>(code);
    const std::int32_t length = static_cast<std::int32_t>(std::strlen(source));
    UHandle handle = reinterpret_cast<UHandle>(error->source);
    if (DSSetHandleSize(handle, length + static_cast<std::int32_t>(sizeof(std::int32_t))) == 0) {
        (*error->source)->cnt = length;
        std::memcpy((*error->source)->str, source, static_cast<std::size_t>(length));
    }
}

}  // namespace gx
}  // namespace tagger
}  // namespace ka
