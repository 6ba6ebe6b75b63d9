#include "ka/kor/osdep/SharedLibrary.h"

#include <dlfcn.h>

#include "ka/kor/osdep/OSException.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/SharedLibrary";

// The loader keeps its last error text per thread; reading it clears it.
AString LoaderError(const char* call) {
    const char* text = ::dlerror();
    AString message(call);
    message += ": ";
    message += text != nullptr ? text : "unknown error";
    return message;
}

}  // namespace

SharedLibrary::SharedLibrary(const AString& path) : handle_(nullptr) {
    // RTLD_LOCAL keeps the library's symbols out of the process-wide scope, so that two versions
    // of one library can be loaded side by side without one answering for the other.
    handle_ = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) {
        throw OSException(__LINE__, kSourceFile, LoaderError("dlopen"), 0);
    }
}

void* SharedLibrary::getSymbol(const char* name) const {
    if (handle_ == nullptr) {
        throw OSException(__LINE__, kSourceFile, AString("dlsym: no library is open"), 0);
    }
    ::dlerror();
    void* address = ::dlsym(handle_, name);
    // A symbol may legitimately have the address 0; only the error text tells a failure.
    if (address == nullptr) {
        const char* text = ::dlerror();
        if (text != nullptr) {
            AString message("dlsym: ");
            message += text;
            throw OSException(__LINE__, kSourceFile, message, 0);
        }
    }
    return address;
}

void SharedLibrary::close() noexcept {
    if (handle_ != nullptr) {
        ::dlclose(handle_);
        handle_ = nullptr;
    }
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
