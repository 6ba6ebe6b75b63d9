#include "ka/kor/GetILibraryInterface.h"

#include "ka/kor/LoadSecurityLibrary.h"

namespace ka {
namespace kor {

void GetILibraryInterface(LibraryInterface<ILibraryA>& out) {
    LoadSecurityLibrary(thin_auth::kLibraryName, thin_auth::kInterfaceVersion, out);
}

}  // namespace kor
}  // namespace ka
