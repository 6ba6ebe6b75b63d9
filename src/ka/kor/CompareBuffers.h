// Byte-wise order of two views, the order AutoBuffer and BufferWrapper compare by.
#pragma once

#include "ka/kor/BufferWrapper.h"

namespace ka {
namespace kor {

// -1, 0 or 1 as a sorts before, equal to or after b: the first differing byte decides, bytes
// taken as unsigned; when one view is a prefix of the other the shorter sorts first.
int CompareBuffers(const BufferWrapper& a, const BufferWrapper& b) noexcept;

}  // namespace kor
}  // namespace ka
