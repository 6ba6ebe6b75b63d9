// Turns a value of the library into the host's variant; the host builds the variant from the
// value's flex packet.
#pragma once

#include <cstdint>

#include "gxhost/gxhost.h"
#include "ka/kor/FlexData.h"

namespace ka {
namespace kor {
namespace gx {

// Host status that stands for "no value" (a FlexData of type Void); Read reports it as the
// no-known-value warning.
constexpr std::int32_t kNoValueStatus = static_cast<std::int32_t>(0x8ABC7023u);

// Builds the variant for value into out (creating it when out is null). A value of type Void
// raises GXErrorException with kNoValueStatus without asking the host (out unchanged); a host
// failure raises GXErrorException with the host's status (ThrowIfGXError).
void FlexDataToGxVariant(const FlexData& value, GxVariant*& out);

}  // namespace gx
}  // namespace kor
}  // namespace ka
