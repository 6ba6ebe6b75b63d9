// Where the security domain's client libraries are installed: next to the target of the security
// command's symbolic link, or in the default directory when there is no such link.
#pragma once

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {

namespace security_library {

inline constexpr const char* kLink = "/usr/local/bin/security";
inline constexpr const char* kDefaultDirectory = "/usr/local/zetacor/security";
// Longest link target read.
inline constexpr unsigned int kMaxLinkBytes = 256;

}  // namespace security_library

// name itself when it is an absolute path. Otherwise name in the directory of link's target
// (a relative target counts from link's own directory, as the system resolves it), or in
// defaultDirectory when link cannot be read.
AString SecurityLibraryPath(const AString& name, const AString& link = security_library::kLink,
                            const AString& defaultDirectory = security_library::kDefaultDirectory);

}  // namespace kor
}  // namespace ka
