// Turns the host's variant into a value of the library; the host writes the variant's flex packet.
#pragma once

#include "gxhost/gxhost.h"
#include "ka/kor/FlexData.h"

namespace ka {
namespace kor {
namespace gx {

// Replaces out by the value of in. A host failure raises GXErrorException with its status
// (ThrowIfGXError); a packet that does not deserialize raises what FlexData::deserialize raises.
// The host's packet buffer is freed on every path.
void GxVariantToFlexData(GxVariant* const& in, FlexData& out);

}  // namespace gx
}  // namespace kor
}  // namespace ka
