#include "qbrealt/LastError.h"

#include <string>

namespace vesta {

namespace {
thread_local std::string tLastError;
}  // namespace

void SetLastErrorText(const char* text) noexcept {
    try {
        tLastError = text;
    } catch (...) {
        tLastError.clear();  // never allocates
    }
}

const char* LastErrorText() noexcept {
    return tLastError.c_str();
}

}  // namespace vesta
