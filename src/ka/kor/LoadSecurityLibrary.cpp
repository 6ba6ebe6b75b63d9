#include "ka/kor/LoadSecurityLibrary.h"

#include "ka/kor/LoadSharedLibrary.h"
#include "ka/kor/SecurityLibraryPath.h"

namespace ka {
namespace kor {

void LoadSecurityLibrary(const AString& name, std::uint32_t version,
                         LibraryInterface<ILibraryA>& out) {
    LoadSharedLibrary(SecurityLibraryPath(name), version, out);
}

}  // namespace kor
}  // namespace ka
