// The value object passed around the whole system: one typed value (scalar, string, time stamp,
// array, waveform, or any other flex type) held as exactly one flex packet in a heap block that
// the object owns. Everything about the value lives in the packet; the object keeps only pointers
// into it. Blocks come from the library heap, so packets may cross module boundaries.
//
// Failures: an accessor of the wrong type raises InvalidArgument and changes nothing; a packet
// shorter than its own MD says raises SyntaxError; allocation failure raises std::bad_alloc and
// keeps the previous value. No lock: one object must not be changed while another thread reads it.
#pragma once

#include <cstdint>
#include <cstring>

#include "ka/kor/AbsTime.h"
#include "ka/kor/BufferWrapper.h"
#include "ka/kor/FlexNumeric.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/Vector.h"
#include "ka/kor/fd.h"
#include "ka/kor/little_endian.h"

namespace ka {
namespace kor {

class FlexData {
  public:
    typedef fd::FlexType FlexType;

    // A waveform: start time, sample interval in seconds and samples.
    template <typename T>
    struct Waveform {
        AbsTime t0;
        double dt = 0.0;
        Vector<T> samples;
    };

    // ---- Construction -------------------------------------------------------------------------

    // Empty: no packet; getType() is 0 and the serialized form is a lone 32-bit zero.
    FlexData() noexcept { init(); }
    // One constructor per C++ scalar type, each storing the value under its FlexNumeric type
    // (bool as Bool). Every integer type has its own constructor, int and unsigned int included,
    // so that no argument is ambiguous on either build and std::int32_t and std::int64_t values
    // give I32 and I64 on both.
    explicit FlexData(bool v);
    explicit FlexData(signed char v);
    explicit FlexData(unsigned char v);
    explicit FlexData(short v);
    explicit FlexData(unsigned short v);
    explicit FlexData(int v);
    explicit FlexData(unsigned int v);
    explicit FlexData(long v);
    explicit FlexData(unsigned long v);
    explicit FlexData(long long v);
    explicit FlexData(unsigned long long v);
    explicit FlexData(float v);
    explicit FlexData(double v);
    // 8-bit text (AString), also from a zero-terminated text or a byte range with any bytes.
    explicit FlexData(const AString& text);
    explicit FlexData(const char* text);
    FlexData(const char* text, std::uint32_t length);
    // Wide text, stored as UTF16.
    explicit FlexData(const String& text);
    explicit FlexData(const wchar_t* text);
    explicit FlexData(const AbsTime& time);
    // A one-dimensional array of the values, stored as elementType (by NumericCast).
    template <typename T>
    explicit FlexData(const Vector<T>& values, FlexType elementType = FlexNumeric<T>::type) {
        init();
        setScalarArray(values, elementType);
    }
    explicit FlexData(const Vector<AString>& strings);
    template <typename T>
    explicit FlexData(const Waveform<T>& waveform, FlexType sampleType = FlexNumeric<T>::type) {
        init();
        setWaveform(waveform, sampleType);
    }
    template <typename T>
    explicit FlexData(const Vector<Waveform<T>>& waves,
                      FlexType sampleType = FlexNumeric<T>::type) {
        init();
        setWaves(waves, sampleType);
    }

    // Copies the packet bytes (through copyFrom); an empty source gives an empty copy.
    FlexData(const FlexData& other);
    FlexData& operator=(const FlexData& other);
    // Takes other's packet; other is left empty. Never allocates.
    FlexData(FlexData&& other) noexcept {
        init();
        swap(other);
    }
    FlexData& operator=(FlexData&& other) noexcept {
        FlexData moved(static_cast<FlexData&&>(other));
        swap(moved);
        return *this;
    }
    ~FlexData() { clear(); }

    // Exchanges all five fields; never allocates.
    void swap(FlexData& other) noexcept;

    // ---- Type and size management -------------------------------------------------------------

    // The value's type, read from the MD's type element (after any attributes); Empty (0) when
    // there is no packet. A truncated MD raises SyntaxError.
    FlexType getType() const {
        if (begin_ == nullptr) {
            return FlexType::Empty;
        }
        const std::uint16_t code = fd::ReadCode(metadata_, end_);
        if ((code & fd::kClassMask) == 0) {
            return static_cast<FlexType>(code);
        }
        return typeBehindPrefixes();
    }

    // A fresh value of type: an MD of exactly the type code (attributes are dropped) and
    // dataSize zero bytes, or fd::GetDataSize(type) bytes when dataSize is 0.
    void setType(FlexType type, std::uint32_t dataSize = 0);
    // Makes room for an MD of mdSize bytes (left for the caller to write) and dataSize bytes of
    // data (rounded up to even, zero-filled), reusing the block when it is large enough.
    void setTypeAndDataSize(std::uint32_t mdSize, std::uint32_t dataSize);
    // Resizes the data part to size (rounded up to even) and zero-fills it; the MD is kept.
    // InvalidArgument when empty.
    void setDataSize(std::uint32_t size);
    // Makes the block at least size bytes (reusing it when large enough, else reallocating) and
    // writes size as the packet size; the MD and data are left for the caller. The block
    // afterwards spans exactly size bytes. Sizes below 4 raise InvalidArgument.
    void initPacket(std::uint32_t size);
    // Recomputes the pointer fields from the block. A packet shorter than its MD or data says
    // raises SyntaxError and changes nothing.
    void activate();
    // Grows or shrinks the block by delta bytes at its end, keeping the bytes before, and adjusts
    // the size field and the data size; growing zero-fills. A shrink into the MD raises
    // InvalidArgument.
    void resize(std::int32_t delta);
    // Zeroes n bytes at p, or moves n bytes from src to dst (overlap allowed). Every pointer
    // given, and the end of every range, must lie within the block, else SyntaxError.
    void memClear(unsigned char* p, std::uint32_t n);
    void memMove(unsigned char* dst, const unsigned char* src, std::uint32_t n);
    // SyntaxError unless begin() <= p <= end().
    void chkPointer(const unsigned char* p) const;
    // Releases the block; the object is empty afterwards.
    void clear() noexcept;

    // The block's range (null, null when empty). Besides the packet it may hold the pad byte of
    // an odd-sized waveform packet.
    unsigned char* begin() noexcept { return begin_; }
    const unsigned char* begin() const noexcept { return begin_; }
    unsigned char* end() noexcept { return end_; }
    const unsigned char* end() const noexcept { return end_; }
    // The packet's size field; 0 when empty.
    std::uint32_t getPacketSize() const {
        return begin_ != nullptr ? fd::GetUI32(begin_, end_, fd::TAEndianLittle) : 0;
    }
    // The MD and the data (its size rounded up to even) as views into the block.
    BufferWrapper getMetaDataBuffer() const noexcept;
    BufferWrapper getDataBuffer() const noexcept;
    // Replaces the value by a packet of the MD bytes and the data bytes (padded to even). The
    // views may point into this object's own packet. SyntaxError, changing nothing, when they do
    // not form a valid packet.
    void buildPacketFromComponents(const BufferWrapper& md, const BufferWrapper& data);

    // ---- Setters ------------------------------------------------------------------------------
    //
    // Each makes the value a fresh one of its type unless it already holds that type (then only
    // the data bytes are rewritten: no reallocation, the MD and its attributes stay), and stores
    // the value little-endian.

    void setI8(std::int8_t v) { setScalar(FlexType::I8, v); }
    void setUI8(std::uint8_t v) { setScalar(FlexType::UI8, v); }
    // Stores 0 or 1.
    void setBool(bool v) { setScalar(FlexType::Bool, static_cast<std::uint8_t>(v ? 1 : 0)); }
    // Stores only the low byte, so 256 reads back as false. Deliberate: the value must match what
    // other writers put on the wire for the same call.
    void setBool(long v) { setScalar(FlexType::Bool, static_cast<std::uint8_t>(v)); }
    // As setBool(long); present so that setBool(1) is not ambiguous.
    void setBool(int v) { setBool(static_cast<long>(v)); }
    void setI16(std::int16_t v) { setScalar(FlexType::I16, v); }
    void setUI16(std::uint16_t v) { setScalar(FlexType::UI16, v); }
    void setI32(std::int32_t v) { setScalar(FlexType::I32, v); }
    void setUI32(std::uint32_t v) { setScalar(FlexType::UI32, v); }
    void setF32(float v) { setScalar(FlexType::F32, v); }
    void setI64(std::int64_t v) { setScalar(FlexType::I64, v); }
    void setUI64(std::uint64_t v) { setScalar(FlexType::UI64, v); }
    void setF64(double v) { setScalar(FlexType::F64, v); }
    void setTime(const AbsTime& time);
    // AString: a 32-bit byte count, then the bytes (embedded zeros kept). The bytes may lie in
    // this object's own packet.
    void setAString(const AString& text);
    void setAString(const char* text, std::uint32_t length);
    // UTF16: the count field is text.length(); the units are those of the UTF-16 serializer and
    // the data area is sized by what it reports (4 + its size). For text outside the basic plane
    // the serializer writes surrogate pairs, so the count then understates the units and a reader
    // sizes the value by the count.
    void setUTF16(const String& text);
    // A value with no data: MD code 0x0001, packet size 6.
    void setVoid() { setType(FlexType::Void, 0); }

    // ---- Getters ------------------------------------------------------------------------------
    //
    // Numbers: any of the ten numeric types, converted by NumericCast; any other type raises
    // InvalidArgument.

    std::int8_t getI8() const { return GetNum<std::int8_t>(getType(), data_, end_); }
    std::uint8_t getUI8() const { return GetNum<std::uint8_t>(getType(), data_, end_); }
    std::int16_t getI16() const { return GetNum<std::int16_t>(getType(), data_, end_); }
    std::uint16_t getUI16() const { return GetNum<std::uint16_t>(getType(), data_, end_); }
    std::int32_t getI32() const { return GetNum<std::int32_t>(getType(), data_, end_); }
    std::uint32_t getUI32() const { return GetNum<std::uint32_t>(getType(), data_, end_); }
    std::int64_t getI64() const { return GetNum<std::int64_t>(getType(), data_, end_); }
    std::uint64_t getUI64() const { return GetNum<std::uint64_t>(getType(), data_, end_); }
    float getF32() const { return GetNum<float>(getType(), data_, end_); }
    double getF64() const { return GetNum<double>(getType(), data_, end_); }
    // Whether a Bool (1 byte), Bool16 (2 bytes) or I32 (4 bytes) is non-zero; any other type
    // raises InvalidArgument.
    bool getBool() const;
    // AString or AStringAlt: the first text byte, with the count in length.
    const char* getAString(std::uint32_t& length) const;
    AString getAString() const;
    // UTF16 decoded, or an AString converted from the current locale's code set. AStringAlt is
    // not accepted here, unlike getAString: deliberate, other readers behave the same way.
    String getUnicode() const;
    // Time only.
    AbsTime getTime() const;

    // ---- Arrays -------------------------------------------------------------------------------
    //
    // An array is stored as a type element 0x0800 with its dimension count and element MD, and
    // data of one signed 32-bit size per dimension, then the elements: numeric elements back to
    // back little-endian, string elements each padded to even.

    // An array of count values (one dimension), or of the given dimensions (whose product must be
    // the number of values), converted to elementType, one of the ten numeric types (else
    // InvalidArgument; negative dimensions too).
    template <typename T>
    void setScalarArray(const T* values, std::uint32_t count,
                        FlexType elementType = FlexNumeric<T>::type) {
        const std::int32_t dim = checkedDimension(count);
        setScalarArrayFrom(HostLayout<T>(), values, &dim, 1, elementType);
    }
    template <typename T>
    void setScalarArray(const Vector<T>& values, FlexType elementType = FlexNumeric<T>::type) {
        setScalarArray(values.data(), values.size(), elementType);
    }
    template <typename T>
    void setScalarArray(const T* values, const Vector<std::int32_t>& dims,
                        FlexType elementType = FlexNumeric<T>::type) {
        setScalarArrayFrom(HostLayout<T>(), values, dims.data(), dims.size(), elementType);
    }
    // The elements in storage order (last dimension fastest), each converted to T. InvalidArgument
    // unless the value is an array of one of the ten numeric types.
    template <typename T>
    void getScalarArray(Vector<T>& values) const {
        Vector<T> out(getNumericArrayCount());
        getScalarArrayInto(HostLayout<T>(), out.data(), out.size());
        values.swap(out);
    }
    template <typename T>
    Vector<T> getScalarArray() const {
        Vector<T> out;
        getScalarArray(out);
        return out;
    }
    // A one-dimensional array of AString elements.
    void setAStringArray(const Vector<AString>& strings);
    // The elements of an array of AString or AStringAlt, in storage order.
    void getAStringArray(Vector<AString>& strings) const;
    Vector<AString> getAStringArray() const;

    // Array queries; InvalidArgument for a value that is not an array.
    Vector<std::int32_t> getDims() const;
    // OutOfRange for a dimension at or past the count.
    std::int32_t getDimSize(std::uint32_t dimension) const;
    // The product of the dimension sizes, counted as the packet routines count it
    // (fd::GetElementCount): 0 when any is 0; SyntaxError when negative or beyond 32 bits.
    std::uint32_t getNumElts() const;
    // The element's type (behind any prefix elements of the element MD).
    FlexType getArrayElementType() const;

    // Converts count numeric elements from one type and byte order to another by NumericCast.
    // Orders are TAEndianLittle or TAEndianNative (host order); when they are equal the elements
    // are cast directly. from and to may not overlap unless they are the same type and order.
    // InvalidArgument unless both types are among the ten numeric types.
    static void TransformArray(FlexType fromType, const void* from, fd::TAEndian fromOrder,
                               FlexType toType, void* to, fd::TAEndian toOrder,
                               std::uint32_t count);

    // ---- Waveforms ----------------------------------------------------------------------------
    //
    // A waveform packet is the waveform attribute block and waveform type (fd.h), then t0, dt, the
    // 32-bit sample count, the samples and the fixed data suffix, written in one pass: the size
    // field is not rounded, and the suffix follows the last sample byte directly even when the
    // samples take an odd number of bytes. A reader therefore finds the suffix at 28 + count x
    // sample size bytes into the data for scalar sample types, never rounding the sample array
    // up to even (for other sample types, whose elements are each padded, both rules agree). The
    // block itself is always even: an odd packet's pad byte lies outside its size field.

    // Stores samples converted to sampleType, which may be any numeric type (Bool and Bool16 are
    // refused with InvalidArgument, like every type the samples cannot be converted to).
    template <typename T>
    void setWaveform(const AbsTime& t0, double dt, const T* samples, std::uint32_t count,
                     FlexType sampleType = FlexNumeric<T>::type) {
        setWaveformFrom(t0, dt, HostLayout<T>(), samples, count, sampleType);
    }
    template <typename T>
    void setWaveform(const Waveform<T>& w, FlexType sampleType = FlexNumeric<T>::type) {
        setWaveform(w.t0, w.dt, w.samples.data(), w.samples.size(), sampleType);
    }
    // Stores count samples of any sample type but Bool, Bool16 and those that may take no bytes
    // (InvalidArgument), given as the bytes of the sample array's elements exactly as they are to
    // stand in the packet.
    void setWaveform(const AbsTime& t0, double dt, FlexType sampleType, std::uint32_t count,
                     const BufferWrapper& sampleBytes);
    // InvalidArgument unless isWaveform() and the samples are numeric.
    template <typename T>
    void getWaveform(AbsTime& t0, double& dt, Vector<T>& samples) const {
        Vector<T> out(numericWaveformSampleCount());
        getWaveformInto(t0, dt, HostLayout<T>(), out.data(), out.size());
        samples.swap(out);
    }
    template <typename T>
    Waveform<T> getWaveform() const {
        Waveform<T> w;
        getWaveform(w.t0, w.dt, w.samples);
        return w;
    }
    // Whether the MD is exactly the waveform attribute block followed by a waveform type.
    bool isWaveform() const;
    // InvalidArgument unless isWaveform().
    FlexType getWaveformSampleType() const;
    // The count the packet states, checked against the bytes it holds (SyntaxError when they
    // cannot hold that many samples). InvalidArgument unless isWaveform(), and for a sample type
    // that may take no bytes (Void, arrays, clusters, unknown codes): not a valid waveform.
    std::uint32_t getWaveformSampleCount() const;

    // A multi-waveform ("waves") is a one-dimensional array whose element MD is the waveform
    // attribute block followed by the waveform type, so every element is a waveform that the
    // generic walkers can size: each element's data is t0, dt, the sample count, the samples (a
    // pad byte after an odd-sized sample array, as array and cluster members always have), the
    // empty error record and the Opaque block of the waveform data suffix. All waves share one
    // sample type.
    template <typename T>
    void setWaves(const Vector<Waveform<T>>& waves, FlexType sampleType = FlexNumeric<T>::type) {
        Vector<WaveView> views;
        views.reserve(waves.size());
        for (const Waveform<T>& w : waves) {
            views.push_back(WaveView{w.t0, w.dt, w.samples.data(), w.samples.size()});
        }
        setWavesFrom(HostLayout<T>(), views, sampleType);
    }
    // InvalidArgument unless isWaves() and the samples are numeric.
    template <typename T>
    void getWaves(Vector<Waveform<T>>& waves) const {
        std::uint32_t count = 0;
        const unsigned char* element = wavesFirst(count);
        Vector<Waveform<T>> out(count);
        for (Waveform<T>& w : out) {
            Vector<T>(waveSampleCount(element)).swap(w.samples);
            element =
                readWave(element, w.t0, w.dt, HostLayout<T>(), w.samples.data(), w.samples.size());
        }
        waves.swap(out);
    }
    template <typename T>
    Vector<Waveform<T>> getWaves() const {
        Vector<Waveform<T>> out;
        getWaves(out);
        return out;
    }
    bool isWaves() const;

    // ---- Named attributes ---------------------------------------------------------------------
    //
    // A named attribute is a 0x4002 element in front of the type element whose packet is the
    // attribute's value with a 0x4003 name element (an AString packet) in front of the value's own
    // MD. Names are compared byte for byte (case-sensitive). New attributes go after the existing
    // ones; setting an existing name replaces its value in place. Changing the value's type with
    // setType (or a setter of another type) drops the attributes.

    // InvalidArgument for an empty value or an empty object.
    void setAttribute(const AString& name, const FlexData& value);
    // NotFound when no attribute has that name.
    FlexData getAttribute(const AString& name) const;
    // Whether an attribute of that name was there to delete.
    bool deleteAttribute(const AString& name);
    bool hasAttribute(const AString& name) const;
    // Whether any named attribute stands in the MD.
    bool hasAttributes() const;
    // The names of the named attributes in MD order.
    Vector<AString> getAttributeNames() const;

    // ---- Comparison ---------------------------------------------------------------------------

    // Byte-wise comparison of the two packets as unsigned bytes over the shorter packet's size,
    // starting with the little-endian size field: -1 or +1 at the first difference, else this
    // size minus the other's (empty counts as size 0). Values therefore order first by the low
    // byte of their size, not by content: deliberate, they are only ever sorted to serve as keys.
    std::int32_t compare(const FlexData& other) const;
    bool operator==(const FlexData& other) const { return compare(other) == 0; }
    bool operator!=(const FlexData& other) const { return compare(other) != 0; }
    bool operator<(const FlexData& other) const { return compare(other) < 0; }

    // ---- Serialization ------------------------------------------------------------------------

    // 4 when empty, else the packet size.
    std::uint32_t serializationSize() const { return begin_ != nullptr ? getPacketSize() : 4; }
    // Writes the packet (size field included), or a 32-bit zero when empty, and advances cursor;
    // BufferOverflow, writing nothing, when short of room.
    void serialize(unsigned char*& cursor, const unsigned char* end) const;
    // copyFrom(cursor, end), then advances cursor by serializationSize(): 4 for an empty value,
    // else the even size now held, so one byte past an odd source packet (deliberate: see the
    // source). On any exception the object is left empty and the cursor where it was.
    void deserialize(const unsigned char*& cursor, const unsigned char* end);
    // Adopts the packet at begin: its size 0 gives the empty value; a size of 1 to 5 (no room for
    // a type code) raises SyntaxError; a size that does not fit the range raises
    // DeserializationError; an odd size is padded with a zero byte and the size field rewritten
    // even. A packet whose MD or data does not fit raises SyntaxError. On any exception the object
    // is unchanged.
    void copyFrom(const unsigned char* begin, const unsigned char* end);

  private:
    struct WaveView {
        AbsTime t0;
        double dt;
        const void* samples;
        std::uint32_t count;
    };

    void init() noexcept {
        begin_ = nullptr;
        end_ = nullptr;
        data_ = nullptr;
        metadata_ = nullptr;
        dataSize_ = 0;
    }

    template <typename T>
    void setScalar(FlexType type, T v) {
        if (getType() != type) {
            setType(type, 0);
        }
        if (!fd::HasRoom(data_, sizeof(T), end_)) {
            flex_detail::ThrowSyntaxError(__LINE__);
        }
        const T le = little_endian::ToLittleEndian(v);
        std::memcpy(data_, &le, sizeof(T));
    }

    FlexType typeBehindPrefixes() const;
    const unsigned char* typeElement() const;
    void requireType(FlexType type, std::uint32_t line) const;
    static std::int32_t checkedDimension(std::uint32_t count);
    bool overlapsBlock(const void* p, std::uint64_t n) const noexcept;
    void adopt(unsigned char* block, std::uint32_t blockSize, std::uint32_t dataOffset,
               std::uint32_t dataSize) noexcept;
    void writeArrayHead(const unsigned char* elementMD, std::uint32_t elementMDSize,
                        const std::int32_t* dims, std::uint32_t numDims, std::uint32_t dataSize);

    void setScalarArrayFrom(FlexType sourceType, const void* values, const std::int32_t* dims,
                            std::uint32_t numDims, FlexType elementType);
    std::uint32_t getNumericArrayCount() const;
    void getScalarArrayInto(FlexType targetType, void* out, std::uint32_t count) const;

    void setWaveformFrom(const AbsTime& t0, double dt, FlexType sourceType, const void* samples,
                         std::uint32_t count, FlexType sampleType);
    unsigned char* writeWaveformFrame(const AbsTime& t0, double dt, FlexType sampleType,
                                      std::uint32_t count, std::uint32_t sampleBytes);
    // getWaveformSampleCount, InvalidArgument unless the samples are numeric.
    std::uint32_t numericWaveformSampleCount() const;
    void getWaveformInto(AbsTime& t0, double& dt, FlexType targetType, void* out,
                         std::uint32_t count) const;

    void setWavesFrom(FlexType sourceType, const Vector<WaveView>& waves, FlexType sampleType);
    const unsigned char* wavesFirst(std::uint32_t& count) const;
    FlexType wavesSampleType() const;
    std::uint32_t waveSampleCount(const unsigned char* element) const;
    const unsigned char* readWave(const unsigned char* element, AbsTime& t0, double& dt,
                                  FlexType targetType, void* out, std::uint32_t count) const;

    // Makes the block size bytes (at least the MD's end), keeping the bytes before, zero-filling
    // growth, and rewrites the size field and the data size.
    void resizeBlock(std::uint32_t size);
    void replaceRange(std::uint32_t offset, std::uint32_t removed, const unsigned char* inserted,
                      std::uint32_t insertedSize);

    unsigned char* begin_;     // the block, or null when empty
    unsigned char* end_;       // one past the block's last byte
    unsigned char* data_;      // first data byte
    unsigned char* metadata_;  // first MD byte (begin_ + 4)
    std::uint32_t dataSize_;   // data bytes, rounded up to even
};

inline void swap(FlexData& a, FlexData& b) noexcept {
    a.swap(b);
}

}  // namespace kor
}  // namespace ka
