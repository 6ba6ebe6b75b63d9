#include "ka/kor/FlexData.h"

#include <cstring>

#include "ka/kor/FlexDataDetail.h"
#include "ka/kor/exception.h"

namespace ka {
namespace kor {

namespace {

using fd::FlexType;
using namespace flex_detail;

}  // namespace

namespace flex_detail {

bool IsWaveformMD(const unsigned char* md, const unsigned char* end) {
    return fd::HasRoom(md, sizeof fd::k_waveformAttributes, end) &&
           std::memcmp(md, fd::k_waveformAttributes, sizeof fd::k_waveformAttributes) == 0 &&
           fd::IsWaveformType(md + sizeof fd::k_waveformAttributes, end);
}

}  // namespace flex_detail

namespace {

// The fewest bytes one sample takes: a scalar's size, or the 4-byte count or size field that
// opens every string and Opaque sample. 0 for a sample type that may take no bytes at all (Void,
// arrays, clusters, codes of no known size): no sample count can be checked against the bytes a
// packet holds for it, so it makes no valid waveform.
std::uint32_t SampleFloor(FlexType sample) {
    const std::uint16_t code = fd::Code(sample);
    if (fd::IsScalarCode(code)) {
        return fd::ScalarSize(code);
    }
    return fd::GetDataSize(sample) != 0 ? 4 : 0;
}

}  // namespace

// ---- Waveforms -------------------------------------------------------------------------------

unsigned char* FlexData::writeWaveformFrame(const AbsTime& t0, double dt, FlexType sampleType,
                                            std::uint32_t count, std::uint32_t sampleBytes) {
    const std::uint64_t packetSize = 4 + static_cast<std::uint64_t>(kWaveformMDSize) +
                                     fd::CalculateWaveformDataSize(0) + sampleBytes;
    initPacket(CheckedPacketSize(RoundUpEven(packetSize)));
    // Written in one pass: the size field counts the packet without a pad byte.
    Store<std::uint32_t>(begin_, static_cast<std::uint32_t>(packetSize));
    unsigned char* p = metadata_;
    p += fd::SetWaveformAttributes(p, end_);
    p += fd::SetWaveformType(p, end_, sampleType);
    data_ = p;
    dataSize_ = static_cast<std::uint32_t>(RoundUpEven(kWaveformFrameSize + sampleBytes));
    fd::SetTime(p, t0, end_);
    Store<double>(p + 16, dt);
    Store<std::uint32_t>(p + 24, count);
    unsigned char* samples = p + kWaveformHeadSize;
    p = samples + sampleBytes;
    p += fd::SetWaveformDataSuffix(p, end_);
    if (p != end_) {
        *p = 0;
    }
    return samples;
}

void FlexData::setWaveformFrom(const AbsTime& t0, double dt, FlexType sourceType,
                               const void* samples, std::uint32_t count, FlexType sampleType) {
    if (!IsNumericType(sampleType)) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const std::uint64_t bytes =
        static_cast<std::uint64_t>(count) * fd::ScalarSize(fd::Code(sampleType));
    CheckedPacketSize(bytes);
    if (overlapsBlock(samples,
                      static_cast<std::uint64_t>(count) * fd::ScalarSize(fd::Code(sourceType)))) {
        FlexData fresh;
        fresh.setWaveformFrom(t0, dt, sourceType, samples, count, sampleType);
        swap(fresh);
        return;
    }
    unsigned char* out =
        writeWaveformFrame(t0, dt, sampleType, count, static_cast<std::uint32_t>(bytes));
    TransformArray(sourceType, samples, fd::TAEndianNative, sampleType, out, fd::TAEndianLittle,
                   count);
}

void FlexData::setWaveform(const AbsTime& t0, double dt, FlexType sampleType, std::uint32_t count,
                           const BufferWrapper& sampleBytes) {
    const std::uint16_t code = fd::Code(sampleType);
    if (!fd::IsWaveformSampleType(sampleType) || SampleFloor(sampleType) == 0 ||
        (fd::IsScalarCode(code) &&
         static_cast<std::uint64_t>(count) * fd::ScalarSize(code) != sampleBytes.length())) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    if (overlapsBlock(sampleBytes.data(), sampleBytes.length())) {
        FlexData fresh;
        fresh.setWaveform(t0, dt, sampleType, count, sampleBytes);
        swap(fresh);
        return;
    }
    unsigned char* out = writeWaveformFrame(t0, dt, sampleType, count, sampleBytes.length());
    if (sampleBytes.length() != 0) {
        std::memcpy(out, sampleBytes.data(), sampleBytes.length());
    }
}

bool FlexData::isWaveform() const {
    return begin_ != nullptr && IsWaveformMD(metadata_, end_);
}

FlexType FlexData::getWaveformSampleType() const {
    if (!isWaveform()) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    return fd::GetWaveformSampleType(metadata_ + sizeof fd::k_waveformAttributes, end_);
}

std::uint32_t FlexData::getWaveformSampleCount() const {
    const std::uint32_t floor = SampleFloor(getWaveformSampleType());
    if (floor == 0) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    Require(fd::HasRoom(data_, kWaveformHeadSize, end_), __LINE__);
    const std::uint32_t count = ReadUI32(data_ + 24);
    Require(static_cast<std::uint64_t>(count) * floor <= Remaining(data_ + kWaveformHeadSize, end_),
            __LINE__);
    return count;
}

std::uint32_t FlexData::numericWaveformSampleCount() const {
    if (!IsNumericType(getWaveformSampleType())) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    return getWaveformSampleCount();
}

void FlexData::getWaveformInto(AbsTime& t0, double& dt, FlexType targetType, void* out,
                               std::uint32_t count) const {
    const FlexType sample = getWaveformSampleType();
    if (!IsNumericType(sample)) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    t0 = fd::GetTime(data_, end_, fd::TAEndianLittle);
    dt = flex_detail::LoadLittle<double>(data_ + 16);
    TransformArray(sample, data_ + kWaveformHeadSize, fd::TAEndianLittle, targetType, out,
                   fd::TAEndianNative, count);
}

// ---- Waves -----------------------------------------------------------------------------------

void FlexData::setWavesFrom(FlexType sourceType, const Vector<WaveView>& waves,
                            FlexType sampleType) {
    if (!IsNumericType(sampleType)) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const std::uint32_t sampleSize = fd::ScalarSize(fd::Code(sampleType));
    std::uint64_t size = 4;
    bool overlapping = false;
    for (const WaveView& w : waves) {
        size += kWaveformFrameSize + RoundUpEven(static_cast<std::uint64_t>(w.count) * sampleSize);
        CheckedPacketSize(size);
        overlapping =
            overlapping || overlapsBlock(w.samples, static_cast<std::uint64_t>(w.count) *
                                                        fd::ScalarSize(fd::Code(sourceType)));
    }
    if (overlapping) {
        FlexData fresh;
        fresh.setWavesFrom(sourceType, waves, sampleType);
        swap(fresh);
        return;
    }
    unsigned char elementMD[kWaveformMDSize];
    const unsigned char* const mdEnd = elementMD + sizeof elementMD;
    const unsigned long attributes = fd::SetWaveformAttributes(elementMD, mdEnd);
    fd::SetWaveformType(elementMD + attributes, mdEnd, sampleType);
    const std::int32_t dim = checkedDimension(waves.size());
    writeArrayHead(elementMD, sizeof elementMD, &dim, 1, CheckedPacketSize(size));
    unsigned char* p = data_ + 4;
    for (const WaveView& w : waves) {
        fd::SetTime(p, w.t0, end_);
        Store<double>(p + 16, w.dt);
        Store<std::uint32_t>(p + 24, w.count);
        p += kWaveformHeadSize;
        TransformArray(sourceType, w.samples, fd::TAEndianNative, sampleType, p, fd::TAEndianLittle,
                       w.count);
        p += RoundUpEven(static_cast<std::uint64_t>(w.count) * sampleSize);
        p += fd::SetWaveformDataSuffix(p, end_);
    }
}

bool FlexData::isWaves() const {
    if (begin_ == nullptr || getType() != FlexType::Array) {
        return false;
    }
    const unsigned char* type = typeElement();
    return fd::HasRoom(type, 8, end_) && ReadUI16(type + 2) == 1 &&
           ReadUI32(type + 4) == 4 + kWaveformMDSize && IsWaveformMD(type + 8, end_);
}

const unsigned char* FlexData::wavesFirst(std::uint32_t& count) const {
    // Numeric samples only, checked before anything is sized from the counts: every numeric
    // sample takes at least a byte, which bounds each wave's count by the bytes that hold it.
    if (!isWaves() || !IsNumericType(wavesSampleType())) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const ArrayView v = ViewArray(typeElement(), data_, end_);
    count = CountElements(v, kWaveformFrameSize, end_);
    return v.elements;
}

FlexType FlexData::wavesSampleType() const {
    const unsigned char* type = typeElement();
    return fd::GetWaveformSampleType(type + 8 + sizeof fd::k_waveformAttributes, end_);
}

std::uint32_t FlexData::waveSampleCount(const unsigned char* element) const {
    Require(fd::HasRoom(element, kWaveformHeadSize, end_), __LINE__);
    const std::uint32_t count = ReadUI32(element + 24);
    const std::uint64_t bytes =
        static_cast<std::uint64_t>(count) * fd::ScalarSize(fd::Code(wavesSampleType()));
    Require(kWaveformFrameSize + RoundUpEven(bytes) <= Remaining(element, end_), __LINE__);
    return count;
}

const unsigned char* FlexData::readWave(const unsigned char* element, AbsTime& t0, double& dt,
                                        FlexType targetType, void* out, std::uint32_t count) const {
    const FlexType sample = wavesSampleType();
    if (!IsNumericType(sample)) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    const std::uint64_t bytes =
        static_cast<std::uint64_t>(count) * fd::ScalarSize(fd::Code(sample));
    Require(kWaveformFrameSize + RoundUpEven(bytes) <= Remaining(element, end_), __LINE__);
    t0 = fd::GetTime(element, end_, fd::TAEndianLittle);
    dt = flex_detail::LoadLittle<double>(element + 16);
    TransformArray(sample, element + kWaveformHeadSize, fd::TAEndianLittle, targetType, out,
                   fd::TAEndianNative, count);
    return element + kWaveformFrameSize + RoundUpEven(bytes);
}

}  // namespace kor
}  // namespace ka
