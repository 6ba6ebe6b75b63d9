#include "ka/kor/osdep/ReadSymbolicLink.h"

#include <unistd.h>

#include <memory>

#include "ka/kor/osdep/PosixError.h"

namespace ka {
namespace kor {
namespace osdep {

AString ReadSymbolicLink(const AString& path, std::uint32_t maxBytes) {
    std::unique_ptr<char[]> buffer(new char[maxBytes == 0 ? 1 : maxBytes]);
    const ssize_t n = ::readlink(path.c_str(), buffer.get(), maxBytes);
    if (n < 0) {
        throw PosixError::FromCall(__LINE__, "ka/kor/osdep/ReadSymbolicLink", "readlink");
    }
    return AString(buffer.get(), buffer.get() + n);
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
