// A network name or address that could not be resolved.
#pragma once

#include "ka/kor/exception.h"

namespace ka {
namespace kor {
namespace osdep {

class NotResolvedException : public exception::Exception {
  public:
    using Exception::Exception;
    ~NotResolvedException() override;
    // "Not able to resolve the network name or address"; the code stays the base 0xFFFFFFFF.
    const char* what() const noexcept override;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
