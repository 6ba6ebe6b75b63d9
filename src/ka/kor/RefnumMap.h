// A table from refnums to values, by which objects are handed to the host as small numbers.
// Insert, lookup and removal take constant time; an entry keeps its refnum for life; a removed
// refnum is handed out again, most recently removed first; null and unknown refnums raise
// distinct exceptions. The table is not thread-safe: its owner serialises every use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <type_traits>
#include <utility>

#include "ka/kor/DLLAlloc.h"
#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace refnum_map {

// Recorded positions of the refnum checks; the host's error reports name them.
inline constexpr const char* kSourceFile = "ka/kor/RefnumMap.h";
inline constexpr std::uint32_t kNullRefnumLine = 601;
inline constexpr std::uint32_t kInvalidRefnumLine = 606;

// Bytes of an array of count elements, or std::bad_alloc when the library heap cannot express it.
inline std::uint32_t ArrayBytes(std::uint32_t count, std::size_t elementSize) {
    const std::uint64_t bytes = std::uint64_t{count} * elementSize;
    if (bytes > UINT32_MAX) {
        throw std::bad_alloc();
    }
    return static_cast<std::uint32_t>(bytes);
}

}  // namespace refnum_map

// Refnum r names slot r - 1, so 0 never names an entry. T is kept as plain bits: the table never
// constructs, destroys or deletes what it stores (pointers stay owned by the caller).
template <typename T>
class RefnumMap {
    static_assert(std::is_trivially_copyable<T>::value, "the table keeps values as plain bits");

  public:
    // Slots of values with a links array that is at once free list and occupancy mark: an
    // occupied slot i has links[i] == i + 1, a free one holds the refnum of the next free slot
    // (0 at the end of the list). No separate flag array is kept; the encoding is deliberate,
    // since it makes occupancy a single comparison and keeps the table two arrays.
    class Impl {
      public:
        // capacity free slots chained in ascending order; no arrays for 0. Throws std::bad_alloc
        // and allocates nothing when either array cannot be had.
        explicit Impl(std::uint32_t capacity)
            : capacity_(capacity), freeHead_(0), data_(nullptr), links_(nullptr) {
            if (capacity == 0) {
                return;
            }
            links_ = static_cast<std::uint32_t*>(
                DLLMalloc(refnum_map::ArrayBytes(capacity, sizeof(std::uint32_t))));
            try {
                data_ = static_cast<T*>(DLLMalloc(refnum_map::ArrayBytes(capacity, sizeof(T))));
            } catch (...) {
                DLLFree(links_);
                throw;
            }
            for (std::uint32_t i = 0; i + 1 < capacity; ++i) {
                links_[i] = i + 2;
            }
            links_[capacity - 1] = 0;
            freeHead_ = 1;
        }

        ~Impl() {
            DLLFree(links_);
            DLLFree(data_);
        }

        Impl(const Impl&) = delete;
        Impl& operator=(const Impl&) = delete;

        // Stores value in the first free slot, growing when none is free, and returns its refnum.
        // Throws std::bad_alloc with the table unchanged.
        std::uint32_t insert(const T& value) {
            if (freeHead_ == 0) {
                grow();
            }
            const std::uint32_t refnum = freeHead_;
            const std::uint32_t index = refnum - 1;
            data_[index] = value;
            freeHead_ = links_[index];
            links_[index] = refnum;
            return refnum;
        }

        // Capacity 2 * capacity + 1 (0, 1, 3, 7, 15, ...). Called only when every slot is
        // occupied; the new slots are handed out in ascending order. The new arrays are complete
        // before they replace the old ones, so std::bad_alloc leaves the table unchanged.
        void grow() {
            if (capacity_ > (UINT32_MAX - 1) / 2) {
                throw std::bad_alloc();  // refnums would no longer fit in 32 bits
            }
            Impl grown(capacity_ * 2 + 1);
            if (capacity_ != 0) {
                std::memcpy(static_cast<void*>(grown.data_), data_,
                            std::size_t{capacity_} * sizeof(T));
                std::memcpy(grown.links_, links_, std::size_t{capacity_} * sizeof(std::uint32_t));
            }
            grown.freeHead_ = capacity_ + 1;
            swap(grown);
        }

        // The slot of an occupied refnum. Throws NullRefnum for 0 and InvalidRefnum for any
        // refnum whose slot is out of range or free.
        std::uint32_t refnumToIndexOrThrow(std::uint32_t refnum) const {
            if (refnum == 0) {
                throw exception::NullRefnum(refnum_map::kNullRefnumLine, refnum_map::kSourceFile);
            }
            const std::uint32_t index = refnum - 1;
            if (!indexHasData(index)) {
                throw exception::InvalidRefnum(refnum_map::kInvalidRefnumLine,
                                               refnum_map::kSourceFile);
            }
            return index;
        }

        // True when index names an occupied slot; false for free slots and any index beyond.
        // links[index] == index + 1 (no wrap below capacity) also rules out the end-of-list 0.
        bool indexHasData(std::uint32_t index) const noexcept {
            return index < capacity_ && links_[index] == index + 1;
        }

        // Frees the slot of refnum and returns the value it held (left in the slot as it was);
        // the refnum is the next one insert hands out. Throws as refnumToIndexOrThrow, also for a
        // refnum already removed.
        T remove(std::uint32_t refnum) {
            const std::uint32_t index = refnumToIndexOrThrow(refnum);
            const T value = data_[index];
            links_[index] = freeHead_;
            freeHead_ = index + 1;
            return value;
        }

        // The value in slot index, which must be occupied.
        T& at(std::uint32_t index) noexcept { return data_[index]; }
        const T& at(std::uint32_t index) const noexcept { return data_[index]; }

        std::uint32_t capacity() const noexcept { return capacity_; }

        // The first occupied slot at or after index, or capacity when there is none.
        std::uint32_t nextOccupied(std::uint32_t index) const noexcept {
            while (index < capacity_ && !indexHasData(index)) {
                ++index;
            }
            return index;
        }

        void swap(Impl& other) noexcept {
            std::swap(capacity_, other.capacity_);
            std::swap(freeHead_, other.freeHead_);
            std::swap(data_, other.data_);
            std::swap(links_, other.links_);
        }

      private:
        std::uint32_t capacity_;
        // Refnum of the first free slot, 0 when none is free.
        std::uint32_t freeHead_;
        T* data_;
        std::uint32_t* links_;
    };

    // Visits the occupied slots in ascending order. Inserting or removing invalidates iterators
    // (growth moves the arrays).
    class iterator {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = T*;
        using reference = T&;

        // At the first occupied slot of impl, or at its end (position capacity) when atEnd or
        // when no slot is occupied.
        iterator(Impl& impl, bool atEnd) noexcept
            : impl_(&impl), position_(atEnd ? impl.capacity() : impl.nextOccupied(0)) {}

        T& operator*() const noexcept { return impl_->at(position_); }
        T* operator->() const noexcept { return &impl_->at(position_); }
        std::uint32_t refnum() const noexcept { return position_ + 1; }
        std::uint32_t index() const noexcept { return position_; }

        iterator& operator++() noexcept {
            position_ = impl_->nextOccupied(position_ + 1);
            return *this;
        }
        iterator operator++(int) noexcept {
            iterator before = *this;
            ++*this;
            return before;
        }

        // Equal when both walk the same table and stand at the same slot.
        bool operator==(const iterator& other) const noexcept {
            return impl_ == other.impl_ && position_ == other.position_;
        }
        bool operator!=(const iterator& other) const noexcept { return !(*this == other); }

      private:
        Impl* impl_;
        std::uint32_t position_;
    };

    // Empty: capacity 0, nothing allocated.
    RefnumMap() noexcept : impl_(0) {}
    RefnumMap(const RefnumMap&) = delete;
    RefnumMap& operator=(const RefnumMap&) = delete;

    std::uint32_t insert(const T& value) { return impl_.insert(value); }
    T remove(std::uint32_t refnum) { return impl_.remove(refnum); }
    // The value of an occupied refnum; throws as refnumToIndexOrThrow.
    T& lookup(std::uint32_t refnum) { return impl_.at(impl_.refnumToIndexOrThrow(refnum)); }
    const T& lookup(std::uint32_t refnum) const {
        return impl_.at(impl_.refnumToIndexOrThrow(refnum));
    }
    std::uint32_t refnumToIndexOrThrow(std::uint32_t refnum) const {
        return impl_.refnumToIndexOrThrow(refnum);
    }
    bool indexHasData(std::uint32_t index) const noexcept { return impl_.indexHasData(index); }
    std::uint32_t capacity() const noexcept { return impl_.capacity(); }

    iterator begin() noexcept { return iterator(impl_, false); }
    iterator end() noexcept { return iterator(impl_, true); }

    void swap(RefnumMap& other) noexcept { impl_.swap(other.impl_); }

  private:
    Impl impl_;
};

}  // namespace kor
}  // namespace ka
