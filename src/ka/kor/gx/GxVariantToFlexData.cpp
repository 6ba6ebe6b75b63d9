#include "ka/kor/gx/GxVariantToFlexData.h"

#include <cstdint>

#include "ka/kor/gx/HostBuffer.h"
#include "ka/kor/gx/ThrowIfGXError.h"

namespace ka {
namespace kor {
namespace gx {

namespace {

void DeserializeFlexData(const unsigned char* begin, std::int32_t length, FlexData& out) {
    const unsigned char* cursor = begin;
    out.deserialize(cursor, begin + (length > 0 ? length : 0));
}

}  // namespace

void GxVariantToFlexData(GxVariant* const& in, FlexData& out) {
    HostBuffer buffer;
    std::int32_t length = 0;
    const std::int32_t status = GxVarToKORFlex(in, buffer.address(), &length);
    if (status == 0) {
        DeserializeFlexData(buffer.get(), length, out);
    }
    ThrowIfGXError(status);
}

}  // namespace gx
}  // namespace kor
}  // namespace ka
