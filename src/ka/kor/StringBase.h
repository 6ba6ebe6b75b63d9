// The library's string template. Every text in the library is one of its three instantiations:
//   String  = StringBase<wchar_t, char, wchar_t>  wide (UTF-32) text, used by every interface;
//   AString = StringBase<char, wchar_t, wchar_t>  ANSI text in the current locale's code set;
//   NString = StringBase<char, wchar_t, char>     plain narrow text, US-ASCII when converted.
//
// Storage comes from the library heap (DLLMalloc) and always holds a terminating zero, so c_str()
// never allocates; lengths are kept by the end pointer, so embedded zeros are allowed. A null
// character pointer given to a constructor or assignment is the empty text. Equality and ordering
// are case-insensitive; exactCompare gives code-unit order.
//
// Positions and counts are unsigned int; a count of npos, or one larger than what remains, means
// "up to the end". A position beyond the length raises OutOfRange2 ("String offset out of range");
// a result longer than max_size() raises BoundExceeded2 ("Resulting string too large").
#pragma once

#include <cstdint>
#include <cstring>
#include <cwchar>
#include <type_traits>

#include "ka/kor/DLLAlloc.h"
#include "ka/kor/Utf8ToWide.h"
#include "ka/kor/WideToUtf8.h"
#include "ka/kor/little_endian.h"
#include "ka/kor/osdep/AnsiToWide.h"
#include "ka/kor/osdep/StringCaseCompare.h"
#include "ka/kor/osdep/StringExactCompare.h"
#include "ka/kor/osdep/WideToAnsi.h"

namespace ka {
namespace kor {

// Out-of-line throw sites, so that this header needs no exception declarations.
[[noreturn]] void ThrowStringOffsetOutOfRange();
[[noreturn]] void ThrowStringTooLarge();
[[noreturn]] void ThrowNarrowStringUnterminated();

template <typename C, typename O, typename X>
class StringBase {
    static_assert((std::is_same<C, wchar_t>::value && std::is_same<O, char>::value) ||
                      (std::is_same<C, char>::value && std::is_same<O, wchar_t>::value),
                  "StringBase holds char or wchar_t and converts from the other width");

  public:
    typedef C value_type;
    typedef unsigned int size_type;
    typedef C* iterator;
    typedef const C* const_iterator;

    static const size_type npos = static_cast<size_type>(-1);

    // The largest length a string may have. The storage, terminator included, must stay below
    // 2^31 bytes: lengths and counts travel as 32-bit numbers that some readers take as signed,
    // and the library heap takes 32-bit sizes on both architectures.
    static constexpr size_type max_size() noexcept {
        return static_cast<size_type>(0x7FFFFFFFu / sizeof(C) - 1);
    }

    // ---- Construction -------------------------------------------------------------------------

    StringBase() { init(0); }
    StringBase(const C* s) { initFrom(s, s ? s + Length(s) : s); }
    StringBase(const C* s, size_type n) { initFrom(s, s ? s + Length(s, n) : s); }
    StringBase(const C* first, const C* last) { initFrom(first, first ? last : first); }
    StringBase(size_type n, C c) {
        init(checkedLength(n));
        for (size_type i = 0; i < n; ++i) {
            begin_[i] = c;
        }
        setLength(n);
    }
    StringBase(const StringBase& s) { initFrom(s.begin_, s.end_); }
    StringBase(const StringBase& s, size_type pos, size_type n = npos) {
        const size_type len = s.clampedCount(pos, n);
        initFrom(s.begin_ + pos, s.begin_ + pos + len);
    }
    StringBase(const StringBase& a, const StringBase& b) {
        init(sumLength(a.length(), b.length()));
        copyChars(begin_, a.begin_, a.length());
        copyChars(begin_ + a.length(), b.begin_, b.length());
        setLength(a.length() + b.length());
    }

    // From the other character width, converted with this instantiation's code set.
    StringBase(const O* s) { initConverted(s, s ? s + OtherLength(s) : s); }
    StringBase(const O* s, size_type n) { initConverted(s, s ? s + OtherLength(s, n) : s); }
    StringBase(const O* first, const O* last) { initConverted(first, first ? last : first); }
    template <typename Y>
    StringBase(const StringBase<O, C, Y>& s) {
        initConverted(s.begin(), s.end());
    }
    // From the other narrow instantiation: the bytes are taken as they stand.
    template <typename Y, typename = std::enable_if_t<!std::is_same<Y, X>::value>>
    explicit StringBase(const StringBase<C, O, Y>& s) {
        initFrom(s.begin(), s.end());
    }

    ~StringBase() { DLLFree(begin_); }

    // ---- Assignment ---------------------------------------------------------------------------

    StringBase& operator=(const StringBase& s) {
        if (this != &s) {
            assignChars(s.begin_, s.length());
        }
        return *this;
    }
    StringBase& operator=(const C* s) { return assignChars(s, s ? Length(s) : 0); }
    StringBase& operator=(const O* s) {
        StringBase t(s);
        swap(t);
        return *this;
    }
    // Replaces the contents with up to n characters from s, stopping at a zero character (null is
    // the empty text). s may point into this string.
    StringBase& assign(const C* s, size_type n) { return assignChars(s, s ? Length(s, n) : 0); }
    void swap(StringBase& s) noexcept {
        C* b = begin_;
        C* e = end_;
        C* c = cap_;
        begin_ = s.begin_;
        end_ = s.end_;
        cap_ = s.cap_;
        s.begin_ = b;
        s.end_ = e;
        s.cap_ = c;
    }

    // ---- Growth -------------------------------------------------------------------------------

    StringBase& append(const StringBase& s) { return appendChars(s.begin_, s.length()); }
    StringBase& append(const StringBase& s, size_type pos, size_type n) {
        const size_type len = s.clampedCount(pos, n);
        return appendChars(s.begin_ + pos, len);
    }
    StringBase& append(const C* s) { return appendChars(s, s ? Length(s) : 0); }
    StringBase& append(const C* s, size_type n) { return appendChars(s, s ? Length(s, n) : 0); }
    StringBase& append(size_type n, C c) {
        const size_type len = length();
        reserveFor(sumLength(len, n));
        for (size_type i = 0; i < n; ++i) {
            begin_[len + i] = c;
        }
        setLength(len + n);
        return *this;
    }
    StringBase& operator+=(C c) { return append(1, c); }
    StringBase& operator+=(const C* s) { return append(s); }
    StringBase& operator+=(const StringBase& s) { return append(s); }

    // Shortens to n characters or extends to n with copies of fill.
    void resize(size_type n, C fill = C()) {
        const size_type len = length();
        if (n <= len) {
            setLength(n);
        } else {
            append(n - len, fill);
        }
    }

    // Makes room for n characters without changing the contents.
    void reserve(size_type n) { reserveFor(checkedLength(n)); }

    // ---- Access -------------------------------------------------------------------------------

    const C* c_str() const noexcept { return begin_; }
    const C* data() const noexcept { return begin_; }
    iterator begin() noexcept { return begin_; }
    const_iterator begin() const noexcept { return begin_; }
    iterator end() noexcept { return end_; }
    const_iterator end() const noexcept { return end_; }
    // Unchecked.
    C& operator[](size_type i) noexcept { return begin_[i]; }
    const C& operator[](size_type i) const noexcept { return begin_[i]; }
    size_type length() const noexcept { return static_cast<size_type>(end_ - begin_); }
    size_type size() const noexcept { return length(); }
    size_type capacity() const noexcept { return static_cast<size_type>(cap_ - begin_); }
    bool empty() const noexcept { return end_ == begin_; }
    bool hasEmbeddedNull() const noexcept {
        for (const C* p = begin_; p != end_; ++p) {
            if (*p == C()) {
                return true;
            }
        }
        return false;
    }

    StringBase substr(size_type pos = 0, size_type n = npos) const {
        return StringBase(*this, pos, n);
    }

    // Copies up to n characters from pos into dest (no terminator); returns the number copied.
    size_type copy(C* dest, size_type n, size_type pos = 0) const {
        const size_type len = clampedCount(pos, n);
        copyChars(dest, begin_ + pos, len);
        return len;
    }

    // ---- Search (npos when nothing is found) --------------------------------------------------

    size_type find(C c, size_type pos = 0) const {
        for (size_type i = pos; i < length(); ++i) {
            if (begin_[i] == c) {
                return i;
            }
        }
        return npos;
    }
    size_type find(const StringBase& s, size_type pos = 0) const {
        return findChars(s.begin_, s.length(), pos);
    }
    size_type find(const C* s, size_type pos = 0) const {
        return findChars(s, s ? Length(s) : 0, pos);
    }

    size_type rfind(C c, size_type pos = npos) const {
        for (size_type i = lastStart(pos, 1) + 1; i-- > 0;) {
            if (begin_[i] == c) {
                return i;
            }
        }
        return npos;
    }
    size_type rfind(const StringBase& s, size_type pos = npos) const {
        return rfindChars(s.begin_, s.length(), pos);
    }
    size_type rfind(const C* s, size_type pos = npos) const {
        return rfindChars(s, s ? Length(s) : 0, pos);
    }

    size_type find_first_of(C c, size_type pos = 0) const { return find(c, pos); }
    size_type find_first_of(const StringBase& set, size_type pos = 0) const {
        return findFirst(set.begin_, set.length(), pos, true);
    }
    size_type find_first_of(const C* set, size_type pos = 0) const {
        return findFirst(set, set ? Length(set) : 0, pos, true);
    }
    size_type find_first_not_of(C c, size_type pos = 0) const {
        return findFirst(&c, 1, pos, false);
    }
    size_type find_first_not_of(const StringBase& set, size_type pos = 0) const {
        return findFirst(set.begin_, set.length(), pos, false);
    }
    size_type find_first_not_of(const C* set, size_type pos = 0) const {
        return findFirst(set, set ? Length(set) : 0, pos, false);
    }
    size_type find_last_of(C c, size_type pos = npos) const { return rfind(c, pos); }
    size_type find_last_of(const StringBase& set, size_type pos = npos) const {
        return findLast(set.begin_, set.length(), pos, true);
    }
    size_type find_last_of(const C* set, size_type pos = npos) const {
        return findLast(set, set ? Length(set) : 0, pos, true);
    }
    size_type find_last_not_of(C c, size_type pos = npos) const {
        return findLast(&c, 1, pos, false);
    }
    size_type find_last_not_of(const StringBase& set, size_type pos = npos) const {
        return findLast(set.begin_, set.length(), pos, false);
    }
    size_type find_last_not_of(const C* set, size_type pos = npos) const {
        return findLast(set, set ? Length(set) : 0, pos, false);
    }

    // ---- Editing ------------------------------------------------------------------------------

    StringBase& erase(size_type pos = 0, size_type n = npos) {
        const size_type len = clampedCount(pos, n);
        moveChars(begin_ + pos, begin_ + pos + len, length() - pos - len);
        setLength(length() - len);
        return *this;
    }
    // Erases [first, last); returns the position of the first character after the erased ones.
    iterator erase(iterator first, iterator last) {
        const size_type pos = static_cast<size_type>(first - begin_);
        erase(pos, static_cast<size_type>(last - first));
        return begin_ + pos;
    }

    // Replaces n characters from pos with s (or with n2 characters of s from pos2).
    StringBase& replace(size_type pos, size_type n, const StringBase& s) {
        return replace(pos, n, s, 0, npos);
    }
    StringBase& replace(size_type pos, size_type n, const StringBase& s, size_type pos2,
                        size_type n2) {
        const size_type len = clampedCount(pos, n);
        const size_type len2 = s.clampedCount(pos2, n2);
        const size_type tail = length() - pos - len;
        StringBase t;
        t.reserveFor(sumLength(sumLength(pos, len2), tail));
        copyChars(t.begin_, begin_, pos);
        copyChars(t.begin_ + pos, s.begin_ + pos2, len2);
        copyChars(t.begin_ + pos + len2, begin_ + pos + len, tail);
        t.setLength(pos + len2 + tail);
        swap(t);
        return *this;
    }

    // ---- Comparison ---------------------------------------------------------------------------

    // Case-insensitive: negative, zero or positive as this orders before, equal to or after s.
    int compare(const StringBase& s) const {
        return osdep::StringCaseCompare(begin_, end_, s.begin_, s.end_);
    }
    int compare(const C* s) const {
        return osdep::StringCaseCompare(begin_, end_, s, s ? s + Length(s) : s);
    }
    // Code-unit order.
    int exactCompare(const StringBase& s) const {
        return osdep::StringExactCompare(begin_, end_, s.begin_, s.end_);
    }
    int exactCompare(const C* s) const {
        return osdep::StringExactCompare(begin_, end_, s, s ? s + Length(s) : s);
    }

    friend bool operator==(const StringBase& a, const StringBase& b) { return a.compare(b) == 0; }
    friend bool operator==(const StringBase& a, const C* b) { return a.compare(b) == 0; }
    friend bool operator==(const C* a, const StringBase& b) { return b.compare(a) == 0; }
    friend bool operator!=(const StringBase& a, const StringBase& b) { return a.compare(b) != 0; }
    friend bool operator!=(const StringBase& a, const C* b) { return a.compare(b) != 0; }
    friend bool operator!=(const C* a, const StringBase& b) { return b.compare(a) != 0; }
    friend bool operator<(const StringBase& a, const StringBase& b) { return a.compare(b) < 0; }
    friend bool operator<(const StringBase& a, const C* b) { return a.compare(b) < 0; }
    friend bool operator>(const StringBase& a, const StringBase& b) { return a.compare(b) > 0; }
    friend bool operator>(const StringBase& a, const C* b) { return a.compare(b) > 0; }

    friend StringBase operator+(const StringBase& a, const StringBase& b) {
        return StringBase(a, b);
    }
    friend StringBase operator+(const StringBase& a, const C* b) {
        StringBase r(a);
        r.append(b);
        return r;
    }
    friend StringBase operator+(const C* a, const StringBase& b) { return StringBase(a) + b; }
    friend StringBase operator+(const StringBase& a, C c) {
        StringBase r(a);
        r += c;
        return r;
    }

    // ---- Serialization ------------------------------------------------------------------------
    //
    // Wide text: a 32-bit little-endian count of UTF-8 bytes, then those bytes (no terminator).
    // Narrow text: a 32-bit little-endian count of length + 1, then the bytes and a zero byte.
    // Room is checked before anything is written or read: BufferOverflow when writing,
    // DeserializationError when reading (also for narrow text whose last byte is not zero).
    // Malformed UTF-8 raises InvalidSequence. A failed read leaves the string unchanged.

    unsigned int serializationSize() const {
        if constexpr (std::is_same<C, wchar_t>::value) {
            return GetUtf8EncodingBytes(begin_, end_) + 4;
        } else {
            return length() + 5;
        }
    }

    void serialize(unsigned char*& p, const unsigned char* end) const {
        if constexpr (std::is_same<C, wchar_t>::value) {
            const std::uint32_t n = GetUtf8EncodingBytes(begin_, end_);
            if (n > 0xFFFFFFFFu - 4) {
                little_endian::ThrowSerializationOverflow();
            }
            little_endian::CheckSerializationSize(n + 4, p, end);
            little_endian::SerializeRaw<std::uint32_t>(n, p, end);
            p = reinterpret_cast<unsigned char*>(
                EncodeUtf8(begin_, end_, reinterpret_cast<char*>(p)));
        } else {
            const std::uint32_t n = length() + 1;
            little_endian::CheckSerializationSize(n + 4, p, end);
            little_endian::SerializeRaw<std::uint32_t>(n, p, end);
            std::memcpy(p, begin_, n);
            p += n;
        }
    }

    void deserialize(const unsigned char*& p, const unsigned char* end) {
        const unsigned char* q = p;
        std::uint32_t n = 0;
        little_endian::DeserializeRaw<std::uint32_t>(n, q, end);
        little_endian::CheckDeserializationSize(n, q, end);
        const char* bytes = reinterpret_cast<const char*>(q);
        if constexpr (std::is_same<C, wchar_t>::value) {
            const size_type count = checkedLength(GetUtf8StringLength(bytes, n));
            StringBase t;
            t.reserveFor(count);
            DecodeUtf8(bytes, bytes + n, t.begin_);
            t.setLength(count);
            swap(t);
        } else {
            if (n == 0 || bytes[n - 1] != 0) {
                ThrowNarrowStringUnterminated();
            }
            assignChars(bytes, n - 1);
        }
        p = q + n;
    }

  private:
    static size_type Length(const C* s) {
        std::size_t n;
        if constexpr (std::is_same<C, wchar_t>::value) {
            n = std::wcslen(s);
        } else {
            n = std::strlen(s);
        }
        return checkedLength(n);
    }
    // Length up to the first zero or max characters.
    static size_type Length(const C* s, size_type max) {
        size_type n = 0;
        while (n < max && s[n] != C()) {
            ++n;
        }
        return n;
    }
    static std::size_t OtherLength(const O* s) {
        if constexpr (std::is_same<O, wchar_t>::value) {
            return std::wcslen(s);
        } else {
            return std::strlen(s);
        }
    }
    static std::size_t OtherLength(const O* s, size_type max) {
        size_type n = 0;
        while (n < max && s[n] != O()) {
            ++n;
        }
        return n;
    }

    // The code set used when this instantiation is built from the other width.
    static const char* CodeSet() {
        return std::is_same<C, char>::value && std::is_same<X, char>::value ? "US-ASCII" : "";
    }

    // Takes 64 bits on every build: a sum of two lengths must be compared before it is narrowed,
    // or a 32-bit size_t wraps it to a small number that passes.
    static size_type checkedLength(std::uint64_t n) {
        if (n > max_size()) {
            ThrowStringTooLarge();
        }
        return static_cast<size_type>(n);
    }
    static size_type sumLength(size_type a, size_type b) {
        return checkedLength(static_cast<std::uint64_t>(a) + b);
    }

    static void copyChars(C* dest, const C* src, size_type n) noexcept {
        if (n != 0) {
            std::memcpy(dest, src, n * sizeof(C));
        }
    }
    static void moveChars(C* dest, const C* src, size_type n) noexcept {
        if (n != 0) {
            std::memmove(dest, src, n * sizeof(C));
        }
    }

    // Number of characters from pos that a count of n covers; throws when pos is past the end.
    size_type clampedCount(size_type pos, size_type n) const {
        const size_type len = length();
        if (pos > len) {
            ThrowStringOffsetOutOfRange();
        }
        return n > len - pos ? len - pos : n;
    }

    // Allocates storage for n characters and the terminator; the string is empty afterwards.
    void init(size_type n) {
        begin_ = static_cast<C*>(DLLMalloc(static_cast<unsigned int>((n + 1) * sizeof(C))));
        end_ = begin_;
        cap_ = begin_ + n;
        *end_ = C();
    }
    void initFrom(const C* first, const C* last) {
        const size_type n = first ? checkedLength(static_cast<std::size_t>(last - first)) : 0;
        init(n);
        copyChars(begin_, first, n);
        setLength(n);
    }
    void initConverted(const O* first, const O* last) {
        C* cb = nullptr;
        C* ce = nullptr;
        if constexpr (std::is_same<C, wchar_t>::value) {
            osdep::AnsiToWide(first, last, CodeSet(), cb, ce);
        } else {
            osdep::WideToAnsi(first, last, CodeSet(), cb, ce);
        }
        try {
            initFrom(cb, ce);
        } catch (...) {
            delete[] cb;
            throw;
        }
        delete[] cb;
    }

    void setLength(size_type n) noexcept {
        end_ = begin_ + n;
        *end_ = C();
    }

    // Ensures room for n characters (n already checked against max_size), growing geometrically
    // so that repeated appends take amortised constant time.
    void reserveFor(size_type n) {
        if (n <= capacity()) {
            return;
        }
        std::uint64_t grown = static_cast<std::uint64_t>(capacity()) * 3 / 2;
        if (grown < n) {
            grown = n;
        }
        if (grown > max_size()) {
            grown = max_size();
        }
        const size_type len = length();
        C* b =
            static_cast<C*>(DLLRealloc(begin_, static_cast<unsigned int>((grown + 1) * sizeof(C))));
        begin_ = b;
        end_ = b + len;
        cap_ = b + grown;
    }

    // Exactly n characters from s, embedded zeros included.
    StringBase& assignChars(const C* s, size_type n) {
        if (n <= capacity() && !(s >= begin_ && s <= end_)) {
            copyChars(begin_, s, n);
            setLength(n);
        } else {
            StringBase t(s, s + n);
            swap(t);
        }
        return *this;
    }

    StringBase& appendChars(const C* s, size_type n) {
        if (n == 0) {
            return *this;
        }
        const size_type len = length();
        const size_type total = sumLength(len, n);
        if (total > capacity() && s >= begin_ && s <= end_) {
            // The source lives in this string's storage, which growing may move.
            StringBase t(s, s + n);
            return appendChars(t.begin_, n);
        }
        reserveFor(total);
        copyChars(begin_ + len, s, n);
        setLength(total);
        return *this;
    }

    size_type findChars(const C* s, size_type n, size_type pos) const {
        const size_type len = length();
        if (pos > len || n > len - pos) {
            return npos;
        }
        for (size_type i = pos; i + n <= len; ++i) {
            if (n == 0 || std::memcmp(begin_ + i, s, n * sizeof(C)) == 0) {
                return i;
            }
        }
        return npos;
    }
    // Highest start position not above pos at which n characters fit, or npos when none does.
    size_type lastStart(size_type pos, size_type n) const {
        const size_type len = length();
        if (n > len) {
            return npos;
        }
        const size_type last = len - n;
        return pos < last ? pos : last;
    }
    size_type rfindChars(const C* s, size_type n, size_type pos) const {
        const size_type start = lastStart(pos, n);
        if (start == npos) {
            return npos;
        }
        for (size_type i = start + 1; i-- > 0;) {
            if (n == 0 || std::memcmp(begin_ + i, s, n * sizeof(C)) == 0) {
                return i;
            }
        }
        return npos;
    }
    static bool inSet(C c, const C* set, size_type n) noexcept {
        for (size_type i = 0; i < n; ++i) {
            if (set[i] == c) {
                return true;
            }
        }
        return false;
    }
    size_type findFirst(const C* set, size_type n, size_type pos, bool member) const {
        for (size_type i = pos; i < length(); ++i) {
            if (inSet(begin_[i], set, n) == member) {
                return i;
            }
        }
        return npos;
    }
    size_type findLast(const C* set, size_type n, size_type pos, bool member) const {
        if (empty()) {
            return npos;
        }
        size_type i = pos < length() ? pos : length() - 1;
        for (++i; i-- > 0;) {
            if (inSet(begin_[i], set, n) == member) {
                return i;
            }
        }
        return npos;
    }

    template <typename, typename, typename>
    friend class StringBase;

    C* begin_;  // first character
    C* end_;    // the terminating zero
    C* cap_;    // last usable character position (room for the terminator follows)
};

template <typename C, typename O, typename X>
const typename StringBase<C, O, X>::size_type StringBase<C, O, X>::npos;

template <typename C, typename O, typename X>
void swap(StringBase<C, O, X>& a, StringBase<C, O, X>& b) noexcept {
    a.swap(b);
}

// Compiled once, in the library.
extern template class StringBase<wchar_t, char, wchar_t>;
extern template class StringBase<char, wchar_t, wchar_t>;
extern template class StringBase<char, wchar_t, char>;

typedef StringBase<wchar_t, char, wchar_t> String;
typedef StringBase<char, wchar_t, wchar_t> AString;
typedef StringBase<char, wchar_t, char> NString;

}  // namespace kor
}  // namespace ka
