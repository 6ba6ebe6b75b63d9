#include "ka/kor/little_endian.h"

#include "ka/kor/exception.h"

namespace ka {
namespace kor {
namespace little_endian {

void ThrowSerializationOverflow() {
    throw exception::BufferOverflow(kSerializationCheckLine, kSourceFile);
}

void ThrowDeserializationError(std::uint32_t line, const char* file) {
    throw exception::DeserializationError(line, file);
}

void ThrowDeserializationShortfall() {
    throw exception::DeserializationError(kDeserializationCheckLine, kSourceFile);
}

}  // namespace little_endian
}  // namespace kor
}  // namespace ka
