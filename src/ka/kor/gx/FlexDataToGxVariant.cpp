#include "ka/kor/gx/FlexDataToGxVariant.h"

#include "ka/kor/gx/ThrowIfGXError.h"

namespace ka {
namespace kor {
namespace gx {

void FlexDataToGxVariant(const FlexData& value, GxVariant*& out) {
    std::int32_t status = kNoValueStatus;
    if (value.getType() != fd::FlexType::Void) {
        status =
            KORFlexToGxVar(value.begin(), static_cast<std::int32_t>(value.getPacketSize()), &out);
    }
    ThrowIfGXError(status);
}

}  // namespace gx
}  // namespace kor
}  // namespace ka
