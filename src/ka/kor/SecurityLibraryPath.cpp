#include "ka/kor/SecurityLibraryPath.h"

#include "ka/kor/osdep/PosixError.h"
#include "ka/kor/osdep/ReadSymbolicLink.h"

namespace ka {
namespace kor {

namespace {

// The part up to and including the last slash; empty when there is none.
AString DirectoryOf(const AString& path) {
    const AString::size_type slash = path.rfind('/');
    return slash == AString::npos ? AString() : AString(path, 0, slash + 1);
}

AString WithTrailingSlash(AString directory) {
    if (directory.empty() || directory[directory.length() - 1] != '/') {
        directory += "/";
    }
    return directory;
}

}  // namespace

AString SecurityLibraryPath(const AString& name, const AString& link,
                            const AString& defaultDirectory) {
    if (!name.empty() && name[0] == '/') {
        return name;
    }
    AString directory;
    try {
        const AString target = osdep::ReadSymbolicLink(link, security_library::kMaxLinkBytes);
        directory = DirectoryOf(target);
        if (directory.empty() || directory[0] != '/') {
            directory = DirectoryOf(link) + directory;
        }
    } catch (const osdep::PosixError&) {
        // No link (or no readable one) is the usual installation: the default directory holds
        // the libraries.
        directory = defaultDirectory;
    }
    return WithTrailingSlash(directory) + name;
}

}  // namespace kor
}  // namespace ka
