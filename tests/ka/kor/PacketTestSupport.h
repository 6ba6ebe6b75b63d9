// Helpers for the packet tests: packets written out as hex text, exactly-sized heap copies (so
// that AddressSanitizer reports any read past a range), and the hand-built packets both packet
// suites compare against.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <string>
#include <vector>

namespace packet_test {

typedef std::vector<unsigned char> Bytes;

// "08 00 00 00 0001" -> the bytes; whitespace is skipped.
inline Bytes Hex(const std::string& text) {
    std::string digits;
    for (const char c : text) {
        if (!std::isspace(static_cast<unsigned char>(c))) {
            digits += c;
        }
    }
    EXPECT_EQ(0u, digits.size() % 2) << "odd number of hex digits in " << text;
    Bytes out;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        out.push_back(static_cast<unsigned char>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return out;
}

// A heap block of exactly the given bytes; reads at or past end() are reported by ASan.
class HeapBytes {
  public:
    explicit HeapBytes(const Bytes& b) : HeapBytes(b.data(), b.size()) {}
    HeapBytes(const unsigned char* p, std::size_t n) : data_(new unsigned char[n]), size_(n) {
        std::copy(p, p + n, data_.get());
    }
    unsigned char* begin() { return data_.get(); }
    unsigned char* end() { return data_.get() + size_; }
    std::size_t size() const { return size_; }

  private:
    std::unique_ptr<unsigned char[]> data_;
    std::size_t size_;
};

// An I32 42 carrying the named attribute unit = AString "V".
const char kUnitAttributeHex[] =
    "28000000 0240 1C000000 0340 0E000000 0009 04000000 756E6974 0009 01000000 5600 "
    "0003 2A000000";

// A waveform packet with t0 = 1.5 s and dt = 0.25; samples holds the count and the sample bytes.
// Around them stand the "_KA_MDT" marker attribute, the waveform type and the data suffix.
inline std::string WaveformHex(const char* size, const char* sampleType, const char* samples) {
    return std::string(size) +
           "0240 32000000 0340 12000000 0009 07000000 5F4B415F4D4454 00 0108 0200 06000000 0009 "
           "06000000 0002 03000000 4D445400 0300"
           "0108 0500 06000000 0405 06000000 0204 0E000000 0008 0100 06000000" +
           sampleType +
           "1A000000 0108 0300 06000000 0201 06000000 0003 06000000 0009 06000000 0209"
           "00000000 00000080 01000000 00000000 000000000000D03F" +
           samples + "0000 00000000 00000000 0A000000 050300000000";
}

}  // namespace packet_test
