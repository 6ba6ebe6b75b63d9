#include "ka/kor/AutoBufferGuts.h"

#include <cstdint>
#include <cstring>
#include <new>

namespace ka {
namespace kor {

AutoBufferGuts::AutoBufferGuts() : refCount(1), data(nullptr), capacity(0), end(nullptr) {}

AutoBufferGuts::~AutoBufferGuts() {
    DLLFree(data);
}

AutoBufferGuts* AutoBufferGuts::Clone(const AutoBufferGuts& other) {
    AutoBufferGuts* copy = new AutoBufferGuts();
    if (other.capacity != 0) {
        const std::uint32_t used = other.length();
        try {
            copy->data = static_cast<unsigned char*>(DLLMalloc(other.capacity));
        } catch (...) {
            delete copy;
            throw;
        }
        copy->capacity = other.capacity;
        if (used != 0) {
            std::memcpy(copy->data, other.data, used);
        }
        copy->end = copy->data + used;
    }
    return copy;
}

std::uint32_t AutoBufferGuts::GrownCapacity(std::uint64_t newLength) {
    if (newLength > UINT32_MAX) {
        throw std::bad_alloc();
    }
    // Lengths of 2 GiB and more read as negative here and get the 128-byte floor.
    const std::int32_t tenth =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(newLength)) / 10;
    const std::uint64_t grown = newLength + static_cast<std::uint64_t>(tenth > 128 ? tenth : 128);
    if (grown > UINT32_MAX) {
        throw std::bad_alloc();
    }
    return static_cast<std::uint32_t>(grown);
}

void AutoBufferGuts::reallocate(std::uint32_t newCapacity) {
    const std::uint32_t used = length();
    data = static_cast<unsigned char*>(DLLRealloc(data, newCapacity));
    capacity = newCapacity;
    end = data + used;
}

void AutoBufferGuts::release() noexcept {
    if (refCount.decrement() == 0) {
        delete this;
    }
}

}  // namespace kor
}  // namespace ka
