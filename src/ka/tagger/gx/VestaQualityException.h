// A value whose quality is not good. The code reported to the host is chosen from the quality
// bits by a fixed ranking that puts hard failures before soft conditions.
#pragma once

#include <cstdint>

#include "ka/kor/exception.h"

namespace ka {
namespace tagger {
namespace gx {

class VestaQualityException : public kor::exception::Exception {
  public:
    VestaQualityException(std::uint32_t line, const char* file, std::uint32_t quality) noexcept
        : Exception(line, file), quality_(quality) {}
    ~VestaQualityException() override;

    const char* what() const noexcept override;  // "Vesta quality bad"
    // The code of the first set bit in ranking order (0x20 nonexistant first), 0x8BBB0036 when
    // none of the ranked bits is set.
    std::uint32_t getErrorCode() const noexcept override;
    // True for a good quality, or one that carries only warning conditions (kQualityWarningMask).
    virtual bool warning() const noexcept;
    // True exactly when the quality is 0x40 (no known value) alone.
    virtual bool noValueOnlyProblem() const noexcept;

    std::uint32_t quality() const noexcept { return quality_; }

  private:
    std::uint32_t quality_;
};

}  // namespace gx
}  // namespace tagger
}  // namespace ka
