// A block of bytes that the host's runtime allocated for the library (a flex packet written by
// GxVarToKORFlex), freed with DSDisposePtr however the code that holds it ends.
#pragma once

#include "gxhost/gxhost.h"

namespace ka {
namespace kor {
namespace gx {

class HostBuffer {
  public:
    HostBuffer() noexcept : bytes_(nullptr) {}
    HostBuffer(const HostBuffer&) = delete;
    HostBuffer& operator=(const HostBuffer&) = delete;
    ~HostBuffer() {
        if (bytes_ != nullptr) {
            DSDisposePtr(bytes_);
        }
    }

    // Where the host stores the block's address.
    unsigned char** address() noexcept { return &bytes_; }
    const unsigned char* get() const noexcept { return bytes_; }

  private:
    unsigned char* bytes_;
};

}  // namespace gx
}  // namespace kor
}  // namespace ka
