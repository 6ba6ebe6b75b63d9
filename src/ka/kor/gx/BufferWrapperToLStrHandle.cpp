#include "ka/kor/gx/BufferWrapperToLStrHandle.h"

#include <cstdint>
#include <cstring>

#include "ka/kor/gx/ThrowIfGXError.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

namespace {

constexpr std::int32_t kUnsignedByteType = 5;

}  // namespace

void BufferWrapperToLStrHandle(const BufferWrapper& bytes, LStrHandle& handle) {
    if (bytes.length() > static_cast<std::uint32_t>(INT32_MAX) - sizeof(std::int32_t)) {
        ThrowIfGXError(mFullErr);
    }
    const std::int32_t size = static_cast<std::int32_t>(bytes.length());
    ThrowIfGXError(
        NumericArrayResize(kUnsignedByteType, 1, reinterpret_cast<UHandle*>(&handle), size));
    (*handle)->cnt = size;
    if (size != 0) {
        std::memcpy((*handle)->str, bytes.data(), static_cast<std::size_t>(size));
    }
}

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
