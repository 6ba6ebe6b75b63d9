// Loads a library that hands out its interface through a "GetInterface" entry, and narrows what
// it gives to the interface the caller needs.
#pragma once

#include <cstdint>

#include "ka/kor/ILibrary.h"
#include "ka/kor/LibraryInterface.h"
#include "ka/kor/SmartPtr.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/exception.h"
#include "ka/kor/osdep/SharedLibrary.h"

namespace ka {
namespace kor {

namespace load_shared_library {

// Name of the entry every loadable library exports.
inline constexpr const char* kEntryName = "GetInterface";
// Recorded position of the version check; the host's error reports name it.
inline constexpr const char* kSourceFile = "ka/kor/LoadSharedLibrary.h";
inline constexpr std::uint32_t kWrongLibraryVersionLine = 208;

}  // namespace load_shared_library

// Opens path, calls its "GetInterface" entry with version and narrows the result to I. On success
// out holds the interface and the library (whatever it held before is let go); on failure out is
// unchanged. Opening the library or finding the entry fails with OSException (see SharedLibrary);
// an entry that gives nothing, or an object that is not an I, raises WrongLibraryVersion.
template <class I>
void LoadSharedLibrary(const AString& path, std::uint32_t version, LibraryInterface<I>& out) {
    osdep::SharedLibrary library(path);
    const GetInterfaceEntry entry =
        reinterpret_cast<GetInterfaceEntry>(library.getSymbol(load_shared_library::kEntryName));
    // Held before narrowing, so that an object of the wrong kind is released (while its library
    // is still loaded) rather than leaked.
    SmartPtr<ILibrary> given(entry(version));
    I* narrowed = dynamic_cast<I*>(given.get());
    if (narrowed == nullptr) {
        throw exception::WrongLibraryVersion(load_shared_library::kWrongLibraryVersionLine,
                                             load_shared_library::kSourceFile);
    }
    SmartPtr<I> interface(narrowed);
    given.reset();
    // The old contents end up in the locals and go in the safe order: interface, then library.
    out.interface.swap(interface);
    out.library.swap(library);
}

}  // namespace kor
}  // namespace ka
