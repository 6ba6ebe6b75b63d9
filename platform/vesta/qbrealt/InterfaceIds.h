// Interface identifiers beyond the public ones, and their comparison.
#pragma once

#include <cstring>

#include "vesta/VestaRealTime.h"

namespace vesta {

// Answered by the provider's own session objects only, so that a session handed back to the
// library (NewVestaRealTime, ItemHost) can be told from any other IUnknown without a cast.
extern const GUID kIIDVestaSession;

inline bool SameIID(const GUID& a, const GUID& b) noexcept {
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}

}  // namespace vesta
