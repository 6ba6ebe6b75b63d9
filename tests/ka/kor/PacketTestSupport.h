// Helpers for the packet tests: packets written out as hex text, exactly-sized heap copies (so
// that AddressSanitizer reports any read past a range), and checks of recorded throw sites.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace packet_test {

typedef std::vector<unsigned char> Bytes;

// "08 00 00 00 0001" -> the bytes; whitespace and '|' separate nothing and are skipped.
inline Bytes Hex(const char* text) {
    Bytes out;
    int high = -1;
    for (const char* p = text; *p != '\0'; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (std::isspace(c) || c == '|') {
            continue;
        }
        const int v = std::isdigit(c) ? c - '0' : std::tolower(c) - 'a' + 10;
        if (high < 0) {
            high = v;
        } else {
            out.push_back(static_cast<unsigned char>(high * 16 + v));
            high = -1;
        }
    }
    EXPECT_LT(high, 0) << "odd number of hex digits in " << text;
    return out;
}

// A heap block of exactly the given bytes; reads at or past end() are reported by ASan.
class HeapBytes {
  public:
    explicit HeapBytes(const Bytes& b) : HeapBytes(b.data(), b.size()) {}
    HeapBytes(const unsigned char* p, std::size_t n) : data_(new unsigned char[n]), size_(n) {
        if (n != 0) {
            std::memcpy(data_.get(), p, n);
        }
    }
    unsigned char* begin() { return data_.get(); }
    unsigned char* end() { return data_.get() + size_; }
    std::size_t size() const { return size_; }

  private:
    std::unique_ptr<unsigned char[]> data_;
    std::size_t size_;
};

// Runs f and expects an E recorded at file and line (line 0: any line).
template <typename E, typename F>
void ExpectThrowAt(F f, const char* file, std::uint32_t line) {
    try {
        f();
        ADD_FAILURE() << "nothing thrown";
    } catch (const E& e) {
        EXPECT_STREQ(file, e.file());
        if (line != 0) {
            EXPECT_EQ(line, e.line());
        }
    }
}

}  // namespace packet_test
