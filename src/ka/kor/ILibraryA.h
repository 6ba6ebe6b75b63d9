// The interface of the security domain's thin-authentication client library, version 2. Only the
// loading of that library belongs to this layer; what it authenticates is its own business.
#pragma once

#include <cstdint>

#include "ka/kor/ILibrary.h"

namespace ka {
namespace kor {

class ILibraryA : public ILibrary {
  public:
    // The interface version the object implements (2 for the clients loaded here).
    virtual std::uint32_t interfaceVersion() const noexcept = 0;
};

}  // namespace kor
}  // namespace ka
