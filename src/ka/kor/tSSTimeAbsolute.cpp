#include "ka/kor/tSSTimeAbsolute.h"

namespace nKASS100 {

namespace {

// Seconds to add to a time counted from epoch to count it from 1904.
bool OffsetToBase(tEpoch epoch, std::int64_t& offset) noexcept {
    switch (epoch) {
        case kEpoch1:
            offset = -60052752000;
            return true;
        case kEpoch1601:
            offset = -9561628800;
            return true;
        case kEpoch1904:
            offset = 0;
            return true;
        case kEpoch1970:
            offset = 2082844800;
            return true;
    }
    return false;
}

}  // namespace

tSSTimeAbsolute::tSSTimeAbsolute(std::int64_t count, tTimeUnit unit, tEpoch epoch,
                                 std::int32_t* status) noexcept {
    std::int32_t local = status != nullptr ? *status : 0;
    Value v = tSSTimeValue(count, unit, &local).getValue();
    _CorrectEpoch(kToBase, epoch, v, &local);
    if (local < 0) {
        if (status != nullptr) {
            *status = local;
        }
        return;
    }
    value_ = v;
}

tSSTimeValue tSSTimeAbsolute::sinceEpoch(tEpoch epoch, std::int32_t* status) const noexcept {
    std::int32_t local = status != nullptr ? *status : 0;
    Value v = value_;
    _CorrectEpoch(kFromBase, epoch, v, &local);
    if (local < 0) {
        if (status != nullptr) {
            *status = local;
        }
        return tSSTimeValue();
    }
    return tSSTimeValue(v);
}

void tSSTimeAbsolute::_CorrectEpoch(tDirection direction, tEpoch epoch, Value& value,
                                    std::int32_t* status) noexcept {
    if (status != nullptr && *status < 0) {
        return;
    }
    std::int64_t offset = 0;
    if (!OffsetToBase(epoch, offset) || (direction != kToBase && direction != kFromBase)) {
        if (status != nullptr) {
            *status = kStatusInvalidValue;
        }
        return;
    }
    const Value shift(direction == kToBase ? offset : -offset);
    const Value sum = value + shift;
    // Adding two numbers of one sign can only overflow into the other sign.
    if (value.IsNegative() == shift.IsNegative() && sum.IsNegative() != value.IsNegative()) {
        if (status != nullptr) {
            *status = kStatusOverflow;
        }
        return;
    }
    value = sum;
}

}  // namespace nKASS100
