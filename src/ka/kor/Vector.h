// The library's own growable array. Like std::vector, but its storage comes from the library heap
// (DLLMalloc), so arrays can be handed across the library boundary, and sizes are 32-bit on every
// architecture. Elements never move except when the array grows, inserts or erases.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <new>
#include <type_traits>
#include <utility>

#include "ka/kor/DLLAlloc.h"

namespace ka {
namespace kor {

[[noreturn]] void ThrowVectorIndexOutOfRange();
[[noreturn]] void ThrowVectorTooLarge();

template <typename T>
class Vector {
  public:
    typedef T value_type;
    typedef unsigned int size_type;
    typedef T* iterator;
    typedef const T* const_iterator;

    Vector() noexcept = default;
    explicit Vector(size_type n, const T& value = T()) { assign(n, value); }
    Vector(std::initializer_list<T> values) {
        reserve(checkedSize(values.size()));
        for (const T& v : values) {
            push_back(v);
        }
    }
    Vector(const Vector& other) {
        reserve(other.size_);
        for (const T& v : other) {
            push_back(v);
        }
    }
    Vector(Vector&& other) noexcept { swap(other); }
    ~Vector() {
        clear();
        DLLFree(data_);
    }

    Vector& operator=(const Vector& other) {
        if (this != &other) {
            Vector copy(other);
            swap(copy);
        }
        return *this;
    }
    Vector& operator=(Vector&& other) noexcept {
        Vector moved(std::move(other));
        swap(moved);
        return *this;
    }

    void swap(Vector& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }

    size_type size() const noexcept { return size_; }
    size_type capacity() const noexcept { return capacity_; }
    bool empty() const noexcept { return size_ == 0; }

    T* data() noexcept { return data_; }
    const T* data() const noexcept { return data_; }
    iterator begin() noexcept { return data_; }
    iterator end() noexcept { return data_ + size_; }
    const_iterator begin() const noexcept { return data_; }
    const_iterator end() const noexcept { return data_ + size_; }

    // Unchecked.
    T& operator[](size_type i) noexcept { return data_[i]; }
    const T& operator[](size_type i) const noexcept { return data_[i]; }
    // Checked: an index at or past size() raises OutOfRange.
    T& at(size_type i) {
        if (i >= size_) {
            ThrowVectorIndexOutOfRange();
        }
        return data_[i];
    }
    const T& at(size_type i) const { return const_cast<Vector*>(this)->at(i); }
    T& front() noexcept { return data_[0]; }
    T& back() noexcept { return data_[size_ - 1]; }
    const T& front() const noexcept { return data_[0]; }
    const T& back() const noexcept { return data_[size_ - 1]; }

    // Makes room for n elements; existing elements keep their values (they move only if the
    // storage is reallocated).
    void reserve(size_type n) {
        if (n > capacity_) {
            reallocate(n);
        }
    }

    void push_back(const T& value) { emplace_back(value); }
    void push_back(T&& value) { emplace_back(std::move(value)); }
    template <typename... Args>
    T& emplace_back(Args&&... args) {
        if (size_ == capacity_) {
            // Construct first: args may refer to an element that growing would move.
            T value(std::forward<Args>(args)...);
            reallocate(grownCapacity(size_ + 1));
            new (data_ + size_) T(std::move(value));
        } else {
            new (data_ + size_) T(std::forward<Args>(args)...);
        }
        return data_[size_++];
    }
    void pop_back() noexcept { data_[--size_].~T(); }

    // Inserts value before pos; returns the position of the inserted element.
    iterator insert(const_iterator pos, const T& value) {
        const size_type index = static_cast<size_type>(pos - data_);
        T copy(value);
        emplace_back(std::move(copy));
        for (size_type i = size_ - 1; i > index; --i) {
            std::swap(data_[i], data_[i - 1]);
        }
        return data_ + index;
    }

    // Erases [first, last); returns the position after the erased elements.
    iterator erase(const_iterator first, const_iterator last) {
        const size_type from = static_cast<size_type>(first - data_);
        const size_type count = static_cast<size_type>(last - first);
        for (size_type i = from; i + count < size_; ++i) {
            data_[i] = std::move(data_[i + count]);
        }
        for (size_type i = 0; i < count; ++i) {
            pop_back();
        }
        return data_ + from;
    }
    iterator erase(const_iterator pos) { return erase(pos, pos + 1); }

    void resize(size_type n, const T& value = T()) {
        if (n < size_) {
            while (size_ > n) {
                pop_back();
            }
        } else {
            reserve(n);
            while (size_ < n) {
                new (data_ + size_) T(value);
                ++size_;
            }
        }
    }

    void assign(size_type n, const T& value) {
        clear();
        resize(n, value);
    }

    void clear() noexcept {
        while (size_ > 0) {
            pop_back();
        }
    }

    friend bool operator==(const Vector& a, const Vector& b) {
        if (a.size_ != b.size_) {
            return false;
        }
        for (size_type i = 0; i < a.size_; ++i) {
            if (!(a.data_[i] == b.data_[i])) {
                return false;
            }
        }
        return true;
    }
    friend bool operator!=(const Vector& a, const Vector& b) { return !(a == b); }

  private:
    static size_type maxSize() noexcept {
        return static_cast<size_type>(0x7FFFFFFFu / (sizeof(T) ? sizeof(T) : 1));
    }
    static size_type checkedSize(std::uint64_t n) {
        if (n > maxSize()) {
            ThrowVectorTooLarge();
        }
        return static_cast<size_type>(n);
    }
    size_type grownCapacity(std::uint64_t needed) const {
        std::uint64_t grown = capacity_ + capacity_ / 2;
        if (grown < 4) {
            grown = 4;
        }
        if (grown < needed) {
            grown = needed;
        }
        if (grown > maxSize()) {
            grown = checkedSize(needed);
        }
        return static_cast<size_type>(grown);
    }

    void reallocate(size_type n) {
        checkedSize(n);
        T* fresh = static_cast<T*>(DLLMalloc(static_cast<unsigned int>(n * sizeof(T))));
        size_type moved = 0;
        try {
            for (; moved < size_; ++moved) {
                new (fresh + moved) T(std::move_if_noexcept(data_[moved]));
            }
        } catch (...) {
            for (size_type i = 0; i < moved; ++i) {
                fresh[i].~T();
            }
            DLLFree(fresh);
            throw;
        }
        for (size_type i = 0; i < size_; ++i) {
            data_[i].~T();
        }
        DLLFree(data_);
        data_ = fresh;
        capacity_ = n;
    }

    T* data_ = nullptr;
    size_type size_ = 0;
    size_type capacity_ = 0;
};

}  // namespace kor
}  // namespace ka
