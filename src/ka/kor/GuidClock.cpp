#include "ka/kor/GuidClock.h"

namespace ka {
namespace kor {

GuidClock::GuidClock(std::uint16_t sequence) noexcept
    : started_(false),
      last_(0),
      sequence_(static_cast<std::uint16_t>(sequence & kSequenceMask)),
      firstAtLast_(sequence_) {}

bool GuidClock::issue(std::uint64_t now, std::uint64_t& time, std::uint16_t& sequence) noexcept {
    if (!started_ || now > last_) {
        started_ = true;
        last_ = now;
        firstAtLast_ = sequence_;
    } else {
        const auto next = static_cast<std::uint16_t>((sequence_ + 1) & kSequenceMask);
        if (next != firstAtLast_) {
            sequence_ = next;
        } else if (now < last_) {
            ++last_;
            firstAtLast_ = sequence_;
        } else {
            return false;
        }
    }
    time = last_;
    sequence = sequence_;
    return true;
}

}  // namespace kor
}  // namespace ka
