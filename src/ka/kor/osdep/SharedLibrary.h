// An open shared library and the entries found in it. The library stays loaded for as long as
// the object holding it lives (or until close()), so anything obtained from it must be let go
// first.
#pragma once

#include "ka/kor/StringBase.h"

namespace ka {
namespace kor {
namespace osdep {

// Failures throw OSException ("dlopen: " or "dlsym: " followed by the loader's own text, host code
// 42) instead of returning null: a missing library or entry then reaches the host as an error
// with a readable cause, and no caller can call through a null entry by mistake.
class SharedLibrary {
  public:
    // Holds nothing.
    SharedLibrary() noexcept : handle_(nullptr) {}
    // Loads path with every symbol bound at once and kept private to the library.
    explicit SharedLibrary(const AString& path);
    SharedLibrary(SharedLibrary&& other) noexcept : handle_(other.handle_) {
        other.handle_ = nullptr;
    }
    SharedLibrary& operator=(SharedLibrary&& other) noexcept {
        SharedLibrary moved(static_cast<SharedLibrary&&>(other));
        swap(moved);
        return *this;
    }
    SharedLibrary(const SharedLibrary&) = delete;
    SharedLibrary& operator=(const SharedLibrary&) = delete;
    ~SharedLibrary() { close(); }

    bool isOpen() const noexcept { return handle_ != nullptr; }
    // The address of the entry called name; OSException when the library has none, or when
    // nothing is open.
    void* getSymbol(const char* name) const;
    // Unloads the library (the system keeps it while other handles to it remain); does nothing
    // when nothing is open.
    void close() noexcept;

    void swap(SharedLibrary& other) noexcept {
        void* h = handle_;
        handle_ = other.handle_;
        other.handle_ = h;
    }

  private:
    void* handle_;
};

}  // namespace osdep
}  // namespace kor
}  // namespace ka
