// The line protocol between a provider test and an item host it drives in another process
// (MqttTestHost --driven): one request per line, one answer line each ("ok" and fields, or
// "error" and a text). Fields are hex, so that no text, value or path can break a line:
//   create PATH VALUE RIGHTS DESCRIPTION   -> ok ID
//   update ID VALUE | quality ID QUALITY TICKS | remove ID | unregister | reregister -> ok
//   value ID                               -> ok VALUE
//   refuse LIMIT                           -> ok   (writes of LIMIT or more are refused)
//   writes                                 -> ok PATH VALUE PATH VALUE ...
//   quit                                   -> ok, once the host has left; then the process ends
// A wide text is its UTF-32 code units, a value its flex packet, a number its decimal text.
#pragma once

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "ka/kor/FlexData.h"
#include "vesta/VarData.h"

namespace vesta_test {

inline std::string Hex(const unsigned char* p, std::size_t n) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < n; ++i) {
        out += digits[p[i] >> 4];
        out += digits[p[i] & 15];
    }
    return out.empty() ? "-" : out;  // a field is never empty
}

inline std::string Unhex(const std::string& s) {
    std::string out;
    for (std::size_t i = 0; s != "-" && i + 1 < s.size(); i += 2) {
        out += static_cast<char>(std::stoi(s.substr(i, 2), nullptr, 16));
    }
    return out;
}

inline std::string WideField(const std::wstring& s) {
    std::string bytes;
    for (wchar_t c : s) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>((static_cast<std::uint32_t>(c) >> shift) & 0xff);
        }
    }
    return Hex(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

inline std::wstring WideFromField(const std::string& field) {
    const std::string bytes = Unhex(field);
    std::wstring out;
    for (std::size_t i = 0; i + 3 < bytes.size(); i += 4) {
        std::uint32_t c = 0;
        for (int k = 3; k >= 0; --k) {
            c = (c << 8) | static_cast<unsigned char>(bytes[i + k]);
        }
        out += static_cast<wchar_t>(c);
    }
    return out;
}

inline std::string FlexField(const ka::kor::FlexData& v) {
    return Hex(v.begin(), v.begin() == nullptr ? 0 : v.getPacketSize());
}

// Throws on a packet that does not read.
inline ka::kor::FlexData FlexFromField(const std::string& field) {
    const std::string bytes = Unhex(field);
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    VarData d;
    d.flexData(p, p + bytes.size());
    return d.packet();
}

inline std::vector<std::string> Fields(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> out;
    for (std::string f; in >> f;) {
        out.push_back(f);
    }
    return out;
}

}  // namespace vesta_test
