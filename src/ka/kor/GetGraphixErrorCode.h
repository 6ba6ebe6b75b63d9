// The host error code for a caught exception. The overload is chosen by the static type of the
// reference: a library exception reports its own code, memory exhaustion the host's memory-full
// code 2, and any other std::exception (whatever its dynamic type) the generic failure 0x80004005.
#pragma once

#include <cstdint>
#include <exception>
#include <new>

#include "ka/kor/exception.h"

namespace ka {
namespace kor {

std::uint32_t GetGraphixErrorCode(const exception::Exception& e) noexcept;
std::uint32_t GetGraphixErrorCode(const std::bad_alloc& e) noexcept;
std::uint32_t GetGraphixErrorCode(const std::exception& e) noexcept;

}  // namespace kor
}  // namespace ka
