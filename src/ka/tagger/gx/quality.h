// Quality words: every value the real-time layer delivers carries a 32-bit quality, 0 for good and
// one bit per condition. These functions name the bits and decide whether a quality is good.
#pragma once

#include <cstdint>

#include "ka/kor/StringBase.h"

namespace ka {
namespace tagger {
namespace gx {

// Bits that are informational and never make a value bad: forced, low limited, high limited,
// constant and in alarm.
constexpr std::uint32_t kQualityInformationalMask = 0x20000F00u;

// Bits of conditions that are warnings rather than errors: stale, no known value, sensor
// inaccurate, engineering unit limits exceeded, connecting.
constexpr std::uint32_t kQualityWarningMask = 0x00023041u;

// True when the quality has no bit outside kQualityInformationalMask (0 included).
bool QualityIsGood(std::uint32_t quality) noexcept;

// The text of exactly one condition: "good" for 0, the bit's name for a single bit (0x20 is the
// deliberately kept spelling "nonexistant"), and an empty text for any combination of bits.
kor::AString GetQualityDescription(std::uint32_t quality);

// "good" for 0; otherwise the names of the set bits from the lowest upward, joined by separator.
kor::AString RenderQuality(std::uint32_t quality, const kor::AString& separator);

}  // namespace gx
}  // namespace tagger
}  // namespace ka
