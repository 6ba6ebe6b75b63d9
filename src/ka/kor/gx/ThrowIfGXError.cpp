#include "ka/kor/gx/ThrowIfGXError.h"

#include <cstdio>

#include "ka/kor/StringBase.h"
#include "ka/kor/gx/GXErrorException.h"

namespace ka {
namespace kor {
namespace gx {
namespace throw_if_gx_error {

void Throw(int status) {
    char prefix[48];
    std::snprintf(prefix, sizeof prefix, "Error Code: %d (%08x): ", status,
                  static_cast<unsigned int>(status));
    // The text builder belongs to the exception; a first object without the text asks for it.
    const GXErrorException bare(kLine, kSourceFile, AString(), status);
    throw GXErrorException(kLine, kSourceFile, AString(prefix) + bare.getErrText(status), status);
}

}  // namespace throw_if_gx_error
}  // namespace gx
}  // namespace kor
}  // namespace ka
