// The thin-authentication client of the security domain ("pelo_client_thinauth", interface
// version 2), loaded on request; no exported operation of the library calls it.
#pragma once

#include <cstdint>

#include "ka/kor/ILibraryA.h"
#include "ka/kor/LibraryInterface.h"

namespace ka {
namespace kor {

namespace thin_auth {

inline constexpr const char* kLibraryName = "pelo_client_thinauth";
inline constexpr std::uint32_t kInterfaceVersion = 2;

}  // namespace thin_auth

// LoadSecurityLibrary(kLibraryName, kInterfaceVersion, out).
void GetILibraryInterface(LibraryInterface<ILibraryA>& out);

}  // namespace kor
}  // namespace ka
