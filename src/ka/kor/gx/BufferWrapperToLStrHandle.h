// Copies bytes into a host string handle.
#pragma once

#include "gxhost/gxhost.h"
#include "ka/kor/BufferWrapper.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

// Sizes the handle to the bytes with NumericArrayResize (type code 5, unsigned bytes; one
// dimension), creating it when it is null, then stores the count and copies the bytes. A nonzero
// host status raises GXErrorException (ThrowIfGXError) and leaves the count and bytes as they
// were; more bytes than a host count can hold are reported as the host's memory-full status.
void BufferWrapperToLStrHandle(const BufferWrapper& bytes, LStrHandle& handle);

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
