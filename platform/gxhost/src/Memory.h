// The runtime's memory: handles and pointers as the product sees them, the counting of host
// allocations, and the failures a test arms on purpose. Shared by every part of the runtime that
// hands memory to the product.
#pragma once

#include <cstddef>
#include <cstdint>

#include "gxhost/gxhost.h"

namespace gxhost {

// Counts one host allocation and says whether it may proceed (false: it is to fail on purpose).
bool AllocationMayProceed();

// A new handle of size bytes, zeroed; null when size is negative or memory is short. Not counted:
// callers that act for the product count first.
UHandle NewHandle(std::int32_t size);
// A new block of size bytes, zeroed, freed with DSDisposePtr; null as above. Not counted.
void* NewPtr(std::size_t size);

// Live variants, for GxHostLiveVariants.
void NoteVariantCreated();
void NoteVariantDisposed();

}  // namespace gxhost
