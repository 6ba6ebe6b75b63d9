// GXErrorException::getErrText lives apart from the rest of the class because it asks the host
// runtime: programs that use the exception without a host (tools, tests) then need no host.
#include "ka/kor/gx/GXErrorException.h"

#include "gxhost/gxhost.h"

namespace ka {
namespace kor {
namespace gx {

namespace {

// Disposes of the host's text handle on every path, the conversions below may throw.
class TextHandle {
  public:
    TextHandle() noexcept : handle_(nullptr) {}
    TextHandle(const TextHandle&) = delete;
    TextHandle& operator=(const TextHandle&) = delete;
    ~TextHandle() {
        if (handle_ != nullptr) {
            DSDisposeHandle(reinterpret_cast<UHandle>(handle_));
        }
    }
    LStrHandle* address() noexcept { return &handle_; }
    LStrHandle get() const noexcept { return handle_; }

  private:
    LStrHandle handle_;
};

}  // namespace

AString GXErrorException::getErrText(int code) const {
    AString text("Unknown error code or error text unavailable.");
    TextHandle handle;
    if (GGetOneErrorCode(code, handle.address()) != 0) {
        const LStrHandle h = handle.get();
        if (h != nullptr && *h != nullptr && (*h)->cnt > 0) {
            const char* bytes = reinterpret_cast<const char*>((*h)->str);
            text = AString(String(AString(bytes, bytes + (*h)->cnt)));
        } else {
            text = AString();
        }
    }
    return text;
}

}  // namespace gx
}  // namespace kor
}  // namespace ka
