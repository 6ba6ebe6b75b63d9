#include "ka/tagger/gx/quality.h"

namespace ka {
namespace tagger {
namespace gx {

namespace {

// Names of the 32 bits, lowest first. Other processes and logs match these texts, so they are
// kept exactly, misspelling included.
const char* const kBitNames[32] = {
    "stale",
    "sensor failure",
    "device error",
    "server failure",
    "communication failure",
    "nonexistant",
    "no known value",
    "inactive",
    "forced",
    "low limited",
    "high limited",
    "constant",
    "sensor inaccurate",
    "engineering unit limits exceeded",
    "subnormal",
    "math exception",
    "communications link failure",
    "connecting",
    "DNS failure",
    "host unreachable",
    "service lookup failure",
    "disconnected",
    "process failure",
    "resolve URL failure",
    "access denied",
    "invalid URL",
    "app defined #1",
    "app defined #2",
    "app defined #3",
    "in alarm",
    "subscription failure",
    "reserved",
};

}  // namespace

bool QualityIsGood(std::uint32_t quality) noexcept {
    return (quality & ~kQualityInformationalMask) == 0;
}

kor::AString GetQualityDescription(std::uint32_t quality) {
    if (quality == 0) {
        return kor::AString("good");
    }
    if ((quality & (quality - 1)) != 0) {
        return kor::AString();
    }
    unsigned bit = 0;
    while ((quality >> bit) != 1) {
        ++bit;
    }
    return kor::AString(kBitNames[bit]);
}

kor::AString RenderQuality(std::uint32_t quality, const kor::AString& separator) {
    if (quality == 0) {
        return kor::AString("good");
    }
    kor::AString text;
    bool first = true;
    for (unsigned bit = 0; bit < 32 && (std::uint64_t{1} << bit) <= quality; ++bit) {
        if ((quality >> bit) & 1u) {
            if (!first) {
                text += separator;
            }
            text += kBitNames[bit];
            first = false;
        }
    }
    return text;
}

}  // namespace gx
}  // namespace tagger
}  // namespace ka
