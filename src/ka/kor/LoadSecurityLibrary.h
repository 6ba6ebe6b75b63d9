// Loads one of the security domain's client libraries from where the security software is
// installed (see SecurityLibraryPath) and obtains its interface.
#pragma once

#include <cstdint>

#include "ka/kor/ILibraryA.h"
#include "ka/kor/LibraryInterface.h"
#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {

// LoadSharedLibrary of SecurityLibraryPath(name) with the required interface version; fails as
// LoadSharedLibrary does and leaves out unchanged then.
void LoadSecurityLibrary(const AString& name, std::uint32_t version,
                         LibraryInterface<ILibraryA>& out);

}  // namespace kor
}  // namespace ka
