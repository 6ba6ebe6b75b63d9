#include "ka/kor/TimeZone.h"

#include "ka/kor/little_endian.h"

namespace ka {
namespace kor {

void TimeZone::swap(TimeZone& other) noexcept {
    name_.swap(other.name_);
    const std::int16_t offset = offset_;
    offset_ = other.offset_;
    other.offset_ = offset;
}

void TimeZone::serialize(unsigned char*& p, const unsigned char* end) const {
    little_endian::CheckSerializationSize(serializationSize(), p, end);
    unsigned char* q = p;
    little_endian::SerializeRaw<std::int16_t>(offset_, q, end);
    name_.serialize(q, end);
    p = q;
}

void TimeZone::deserialize(const unsigned char*& p, const unsigned char* end) {
    const unsigned char* q = p;
    TimeZone read;
    little_endian::DeserializeRaw<std::int16_t>(read.offset_, q, end);
    read.name_.deserialize(q, end);
    swap(read);
    p = q;
}

}  // namespace kor
}  // namespace ka
