// The interface every library loaded through LoadSharedLibrary hands out from its "GetInterface"
// entry. Callers narrow it to the interface they need (ILibraryA, ...); a library that cannot give
// that interface is of the wrong version.
#pragma once

#include <cstdint>

#include "ka/kor/RefCountedInterface.h"

namespace ka {
namespace kor {

class ILibrary : public RefCountedInterface<ILibrary> {
  public:
    virtual ~ILibrary() = default;
};

// The entry every such library exports under the name "GetInterface": the interface for the
// requested interface version, or null when the library offers none. The object comes without a
// reference taken for the caller (a new object has count 0); the caller's SmartPtr takes one.
extern "C" {
typedef ILibrary* (*GetInterfaceEntry)(std::uint32_t version);
}

}  // namespace kor
}  // namespace ka
