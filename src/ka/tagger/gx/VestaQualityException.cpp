#include "ka/tagger/gx/VestaQualityException.h"

#include "ka/tagger/gx/quality.h"

namespace ka {
namespace tagger {
namespace gx {

namespace {

struct RankedBit {
    std::uint32_t bit;
    std::uint32_t code;
};

// The order is deliberately not the order of the bit values: the host acts on the first code, so
// hard failures must win over soft conditions. Keep it exactly.
const RankedBit kRanking[] = {
    {0x00000020u, 0x8BBB0005u}, {0x40000000u, 0x8BBB0015u}, {0x00200000u, 0x8BBB0011u},
    {0x01000000u, 0x8BBB0014u}, {0x00000008u, 0x8BBB0003u}, {0x00000010u, 0x8BBB0004u},
    {0x00000004u, 0x8BBB0002u}, {0x00010000u, 0x8BBB000Cu}, {0x00400000u, 0x8BBB0012u},
    {0x00000002u, 0x8BBB0001u}, {0x02000000u, 0x8BBB0016u}, {0x00000080u, 0x8BBB0007u},
    {0x00004000u, 0x8BBB000Au}, {0x00008000u, 0x8BBB000Bu}, {0x00040000u, 0x8BBB000Eu},
    {0x00080000u, 0x8BBB000Fu}, {0x00100000u, 0x8BBB0010u}, {0x00800000u, 0x8BBB0013u},
    {0x00000040u, 0x8BBB0006u}, {0x00020000u, 0x8BBB000Du}, {0x00002000u, 0x8BBB0009u},
    {0x00000001u, 0x8BBB0000u}, {0x00001000u, 0x8BBB0008u},
};

constexpr std::uint32_t kUnrankedCode = 0x8BBB0036u;

}  // namespace

VestaQualityException::~VestaQualityException() = default;

const char* VestaQualityException::what() const noexcept {
    return "Vesta quality bad";
}

std::uint32_t VestaQualityException::getErrorCode() const noexcept {
    for (const RankedBit& r : kRanking) {
        if (quality_ & r.bit) {
            return r.code;
        }
    }
    return kUnrankedCode;
}

bool VestaQualityException::warning() const noexcept {
    if (QualityIsGood(quality_)) {
        return true;
    }
    return (quality_ & kQualityWarningMask) != 0 && (quality_ & ~kQualityWarningMask) == 0;
}

bool VestaQualityException::noValueOnlyProblem() const noexcept {
    return quality_ == 0x40u;
}

}  // namespace gx
}  // namespace tagger
}  // namespace ka
