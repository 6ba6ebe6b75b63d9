// What every fuzz target shares: reading choices and values from the input bytes, heap copies of
// exactly the input's size (so that AddressSanitizer reports any read past a range), and the check
// that turns a broken promise into a crash that libFuzzer and the replay driver both record.
//
// Every target source defines LLVMFuzzerTestOneInput and ka_fuzz::Seeds(), the inputs built with
// the library's own writers from which fuzzing starts. Targets catch the library's exceptions
// and std::bad_alloc; only crashes, sanitizer reports, hangs and failed checks are findings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ka/kor/StringBase.h"
#include "ka/kor/exception.h"

namespace ka_fuzz {

// The inputs fuzzing starts from, each built with the library's writers.
std::vector<std::string> Seeds();

[[noreturn]] inline void Fail(const char* what, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: fuzz check failed: %s\n", file, line, what);
    std::fflush(stderr);
    std::abort();
}

// A promise of the code under test that the input broke: a finding.
#define KA_FUZZ_CHECK(condition) \
    ((condition) ? static_cast<void>(0) : ::ka_fuzz::Fail(#condition, __FILE__, __LINE__))

// An exception where the code under test promised none (a writer given valid arguments, a reader
// of what a writer wrote): a finding, reported with its text and where it was thrown.
[[noreturn]] inline void Unexpected(const ka::kor::exception::Exception& e) {
    std::fprintf(stderr, "unexpected exception: %s, thrown at %s:%u\n", e.what(),
                 e.file() != nullptr ? e.file() : "?", static_cast<unsigned>(e.line()));
    std::fflush(stderr);
    std::abort();
}

// Takes values from the front of the input; once it is used up every value reads as zero, so a
// target never needs to test for the end before taking one.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : p_(data), end_(data + size) {}

    bool empty() const { return p_ == end_; }
    std::size_t remaining() const { return static_cast<std::size_t>(end_ - p_); }

    std::uint8_t byte() { return p_ != end_ ? *p_++ : 0; }
    bool flag() { return (byte() & 1) != 0; }
    // A number below n (n > 0).
    unsigned below(unsigned n) { return byte() % n; }

    // A value of T made of sizeof(T) bytes, little-endian; missing bytes are zero.
    template <typename T>
    T number() {
        std::uint64_t v = 0;
        for (std::size_t i = 0; i < sizeof(T); ++i) {
            v |= static_cast<std::uint64_t>(byte()) << (8 * i);
        }
        T t;
        std::memcpy(&t, &v, sizeof(T));
        return t;
    }

    // Up to n bytes.
    std::string bytes(std::size_t n) {
        n = n < remaining() ? n : remaining();
        std::string s(reinterpret_cast<const char*>(p_), n);
        p_ += n;
        return s;
    }
    // A run of bytes whose length is given by the next byte.
    std::string chunk() { return bytes(byte()); }
    std::string rest() { return bytes(remaining()); }

  private:
    const std::uint8_t* p_;
    const std::uint8_t* end_;
};

// A heap block of exactly the given bytes: a read at or past end() is an AddressSanitizer report.
class Block {
  public:
    Block(const void* p, std::size_t n) : data_(new unsigned char[n == 0 ? 1 : n]), size_(n) {
        if (n != 0) {
            std::memcpy(data_.get(), p, n);
        }
    }
    explicit Block(const std::string& s) : Block(s.data(), s.size()) {}
    // n zero bytes.
    explicit Block(std::size_t n) : data_(new unsigned char[n == 0 ? 1 : n]()), size_(n) {}

    unsigned char* begin() { return data_.get(); }
    unsigned char* end() { return data_.get() + size_; }
    std::size_t size() const { return size_; }

  private:
    std::unique_ptr<unsigned char[]> data_;
    std::size_t size_;
};

// Each byte as one character (Latin-1): every grammar the targets reach is written in ASCII.
inline ka::kor::String Latin1(const std::string& bytes) {
    std::vector<wchar_t> w(bytes.begin(), bytes.end());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        w[i] = static_cast<unsigned char>(bytes[i]);
    }
    return ka::kor::String(w.data(), w.data() + w.size());
}

// The bytes of narrow text, embedded zeros included.
inline ka::kor::AString Narrow(const std::string& bytes) {
    return ka::kor::AString(bytes.data(), bytes.data() + bytes.size());
}

inline std::string Bytes(const ka::kor::AString& text) {
    return std::string(text.data(), text.size());
}

// Exact (case-sensitive) equality of texts; String's own == ignores letter case.
template <typename S>
bool Same(const S& a, const S& b) {
    return a.length() == b.length() && a.exactCompare(b) == 0;
}

// The serialized form of anything with serializationSize() and serialize(); it must fill exactly
// the size it announces.
template <typename T>
std::string Serialized(const T& value) {
    std::vector<unsigned char> out(value.serializationSize());
    unsigned char* p = out.data();
    value.serialize(p, out.data() + out.size());
    KA_FUZZ_CHECK(p == out.data() + out.size());
    return std::string(out.begin(), out.end());
}

}  // namespace ka_fuzz
