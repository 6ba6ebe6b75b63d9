// The time and clock-sequence rule of time-based identifiers: hands out (time, sequence) pairs so
// that one generator never issues the same pair twice, whatever the clock does, while its times
// stay as close to the clock as that allows.
#pragma once

#include <cstdint>

namespace ka {
namespace kor {

class GuidClock {
  public:
    // Clock sequences are 14 bits.
    static constexpr std::uint16_t kSequenceMask = 0x3FFF;

    // Starts with the given sequence (masked to 14 bits) and no time issued.
    explicit GuidClock(std::uint16_t sequence) noexcept;

    // The pair for an identifier made at clock time now. The rule, with last the latest time
    // issued:
    // - now later than last (or nothing issued yet): issues (now, the current sequence);
    // - otherwise the sequence steps by one (modulo 0x4000) and (last, new sequence) is issued,
    //   until every sequence has been used with last;
    // - then, if the clock has gone back (now before last), last itself steps by one unit and is
    //   issued with the current sequence, so that a clock set back never stalls the generator;
    // - if the clock merely has not advanced (now equal to last), nothing is issued: returns
    //   false, and the caller yields and reads the clock again.
    // Issued times never decrease, and the sequences issued with one time are consecutive and
    // fewer than 0x4000, so no pair repeats.
    bool issue(std::uint64_t now, std::uint64_t& time, std::uint16_t& sequence) noexcept;

  private:
    bool started_;
    std::uint64_t last_;
    std::uint16_t sequence_;
    // The sequence issued first with last_.
    std::uint16_t firstAtLast_;
};

}  // namespace kor
}  // namespace ka
