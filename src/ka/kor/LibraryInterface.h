// An interface obtained from a loaded library, together with the library itself, so that the
// library stays loaded for exactly as long as the interface is held.
#pragma once

#include "ka/kor/SmartPtr.h"
#include "ka/kor/osdep/SharedLibrary.h"

namespace ka {
namespace kor {

template <class I>
struct LibraryInterface {
    // Declared first so that it is destroyed last: the interface's code lives in the library.
    osdep::SharedLibrary library;
    SmartPtr<I> interface;

    // Lets go of the interface, then of the library.
    void reset() noexcept {
        interface.reset();
        library.close();
    }
};

}  // namespace kor
}  // namespace ka
