#include "ka/kor/AutoBuffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "ka/kor/AutoBufferGuts.h"
#include "ka/kor/ThrowSite.h"
#include "ka/kor/exception.h"
#include "ka/kor/osdep/ThreadTestSupport.h"

namespace {

using namespace ka::kor;
using ka_test::ThrowSite;
using Bytes = std::vector<unsigned char>;

const unsigned char* U(const char* s) {
    return reinterpret_cast<const unsigned char*>(s);
}
Bytes B(const std::string& s) {
    return Bytes(s.begin(), s.end());
}
Bytes Contents(const AutoBuffer& b) {
    return b.Data() == nullptr ? Bytes() : Bytes(b.Data(), b.Data() + b.Len());
}

TEST(AutoBuffer, GrowthRules) {
    AutoBuffer b;
    b.Append(U("x"), 0);  // stays absent
    EXPECT_TRUE(b.Data() == nullptr && b.Len() == 0 && b.MemUsage() == 0);
    b.Append(U("0123456789"), 10);
    EXPECT_EQ(138u, b.MemUsage());
    const Bytes filler(1990, 'f');
    b.Append(filler.data(), 128);  // length 138 still fits
    EXPECT_EQ(138u, b.MemUsage());
    b.Append(filler.data(), 1862);
    EXPECT_EQ(2200u, b.MemUsage());
    // The tenth is a signed 32-bit quotient: from 2 GiB on only the floor applies.
    EXPECT_EQ(0x8CCCCCBBu, AutoBufferGuts::GrownCapacity(0x7FFFFFF0));
    EXPECT_EQ(0x80000080u, AutoBufferGuts::GrownCapacity(0x80000000));
    EXPECT_THROW(AutoBufferGuts::GrownCapacity(0xFFFFFF80), std::bad_alloc);

    AutoBuffer exact(100);
    EXPECT_EQ(100u, exact.MemUsage());
    exact.Append(U("abc"), 3);
    exact.Reserve(50);
    EXPECT_EQ(100u, exact.MemUsage());
    EXPECT_EQ(98u, exact.Skip(98));  // grows to exactly the new length
    EXPECT_EQ(101u, exact.MemUsage());
    EXPECT_EQ(98u, exact.UnAppend(98));
    EXPECT_EQ(B("abc"), Contents(exact));
    exact.Modify(200, U("0123456789"), 10);  // past the capacity: grows like Append
    EXPECT_EQ(338u, exact.MemUsage());
    EXPECT_EQ(B("abc"), Contents(exact));  // but never changes the length

    AutoBuffer self(5);  // takes bytes from itself while its block moves
    self.Append(U("hello"), 5);
    self.Append(self.Data(), 5);
    EXPECT_EQ(B("hellohello"), Contents(self));
    self = BufferWrapper(self.Data() + 1, 3);
    EXPECT_EQ(B("ell"), Contents(self));
}

// deserialize from the 6 bytes at form, or circularDeserialize from a 6-byte ring at start.
void Read(AutoBuffer& b, const unsigned char* form, int start) {
    const unsigned char* p = form + start;
    start == 0 ? b.deserialize(p, form + 6) : b.circularDeserialize(form, form + 6, p);
}

// Each change is applied to a copy. The original keeps its bytes and is sole holder of its body
// again, which shows as an in-place change that does not move its block.
TEST(AutoBuffer, ChangingACopyLeavesTheOriginalIntact) {
    const unsigned char form[] = {2, 0, 0, 0, 'o', 'k'};
    const unsigned char ring[] = {'k', 2, 0, 0, 0, 'o'};
    const struct {
        const char* name;
        std::function<void(AutoBuffer&)> change;
        std::string after;
    } cases[] = {
        {"Append", [](AutoBuffer& b) { b.Append(U("!"), 1); }, "hello!"},
        {"Modify", [](AutoBuffer& b) { b.Modify(0, U("J"), 1); }, "Jello"},
        {"UnAppend", [](AutoBuffer& b) { b.UnAppend(2); }, "hel"},
        {"Skip", [](AutoBuffer& b) { b.Skip(0); }, "hello"},
        {"Reserve", [](AutoBuffer& b) { b.Reserve(1); }, "hello"},
        {"Erase", [](AutoBuffer& b) { b.Erase(); }, ""},
        {"Free", [](AutoBuffer& b) { b.Free(); }, ""},
        {"assign view", [](AutoBuffer& b) { b = BufferWrapper(U("xy"), 2); }, "xy"},
        {"assign buffer", [](AutoBuffer& b) { b = AutoBuffer(U("z"), 1); }, "z"},
        {"deserialize", [&](AutoBuffer& b) { Read(b, form, 0); }, "ok"},
        {"circularDeserialize", [&](AutoBuffer& b) { Read(b, ring, 1); }, "ok"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AutoBuffer original(64);
        original.Append(U("hello"), 5);
        const unsigned char* block = original.Data();
        AutoBuffer copy(original);
        c.change(copy);
        EXPECT_EQ(B(c.after), Contents(copy));
        original.Modify(0, U("Y"), 1);
        EXPECT_EQ(block, original.Data());
        EXPECT_EQ(B("Yello"), Contents(original));
    }
}

TEST(AutoBuffer, SharingRules) {
    AutoBuffer a(U("same"), 4);
    AutoBuffer b(a);
    b.Erase();  // lets go instead of clearing the shared bytes
    EXPECT_EQ(nullptr, b.Data());
    EXPECT_EQ(B("same"), Contents(a));

    const unsigned char* block = a.Data();
    AutoBuffer& alias = a;
    a = alias;
    b = a;
    a = b;
    b.Append(U("!"), 1);
    a.Modify(0, U("S"), 1);
    EXPECT_EQ(block, a.Data());
    EXPECT_EQ(B("same!"), Contents(b));
}

TEST(AutoBuffer, SerializesLengthThenBytesAndAFailedReadChangesNothing) {
    Bytes storage(9, 0xEE);
    const AutoBuffer b(U("abc"), 3);
    unsigned char* p = storage.data() + 1;
    EXPECT_EQ("ka/kor/AutoBuffer:368: Buffer overflowed",
              ThrowSite<exception::BufferOverflow>([&] { b.serialize(p, storage.data() + 7); }));
    EXPECT_EQ(Bytes(9, 0xEE), storage);
    b.serialize(p, storage.data() + 8);
    EXPECT_EQ((Bytes{0xEE, 3, 0, 0, 0, 'a', 'b', 'c', 0xEE}), storage);
    EXPECT_EQ(storage.data() + 8, p);
    AutoBuffer back(U("old contents"), 12);
    const unsigned char* q = storage.data() + 1;
    back.deserialize(q, storage.data() + 9);
    EXPECT_EQ(B("abc"), Contents(back));
    EXPECT_EQ(storage.data() + 8, q);

    const struct {
        Bytes input;
        std::uint32_t line;
    } cases[] = {
        {{5, 0, 0}, 387},
        {{5, 0, 0, 0, 'a', 'b', 'c'}, 393},
        {{0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b', 'c'}, 393},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        AutoBuffer target(U("keep"), 4);
        const unsigned char* in = c.input.data();
        EXPECT_EQ("ka/kor/AutoBuffer:" + std::to_string(c.line) + ": Failed to deserialize",
                  ThrowSite<exception::DeserializationError>(
                      [&] { target.deserialize(in, c.input.data() + c.input.size()); }));
        EXPECT_EQ(c.input.data(), in);
        EXPECT_EQ(B("keep"), Contents(target));
    }
}

TEST(AutoBuffer, CountsNear4GiBAreRefusedBeforeAnythingIsReadOrAllocated) {
    AutoBuffer big(U("abc"), 3);
    std::vector<std::function<void()>> tooLarge = {
        [&] { big.Skip(0xFFFFFFFFu); },
        [&] { big.Append(U("x"), 0xFFFFFFFDu); },  // a length of exactly 2^32
        [&] { big.Append(U("x"), 0xFFFFFF80u); },  // fits, but not with the growth margin
        [&] { big.Modify(0xFFFFFFF0u, U("x"), 0x20u); },
    };
    if constexpr (sizeof(std::size_t) == 4) {
        // On x86_64 these blocks could really be had, so they are tried on i386 only.
        tooLarge.push_back([&] { big.Reserve(0xFFFFFFFFu); });
        tooLarge.push_back([] { AutoBuffer(0xFFFFFFFFu); });
    }
    for (std::size_t i = 0; i < tooLarge.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_THROW(tooLarge[i](), std::bad_alloc);
        EXPECT_EQ(B("abc"), Contents(big));
    }
}

// The raw ring bytes are checked too, so that a writer and a reader sharing a mistake fail.
TEST(AutoBuffer, RingRoundTripsFromEveryStartPosition) {
    const std::uint32_t size = 11;
    for (std::uint32_t length : {0u, 5u, 7u}) {
        for (std::uint32_t start = 0; start < size; ++start) {
            SCOPED_TRACE(std::to_string(length) + " bytes from " + std::to_string(start));
            const Bytes message = B(std::string("ABCDEFG").substr(0, length));
            Bytes ring(size, 0xEE);
            unsigned char* out = ring.data() + start;
            AutoBuffer(message.data(), length)
                .circularSerialize(ring.data(), ring.data() + size, out);
            Bytes form = {static_cast<unsigned char>(length), 0, 0, 0};
            form.insert(form.end(), message.begin(), message.end());
            Bytes expected(size, 0xEE);
            for (std::size_t i = 0; i < form.size(); ++i) {
                expected[(start + i) % size] = form[i];
            }
            EXPECT_EQ(expected, ring);
            AutoBuffer target(U("old"), 3);
            const unsigned char* in = ring.data() + start;
            target.circularDeserialize(ring.data(), ring.data() + size, in);
            EXPECT_EQ(message, Contents(target));
            EXPECT_EQ(ring.data() + (start + 4 + length) % size, in);
            EXPECT_EQ(in, out);
        }
    }
}

TEST(AutoBuffer, RingChecks) {
    unsigned char ring[8] = {9, 0, 0, 0, 1, 2, 3, 4};
    AutoBuffer target(U("keep"), 4);
    const unsigned char* in = ring;
    const auto read = [&](int size) {
        return ThrowSite<exception::DeserializationError>(
            [&] { target.circularDeserialize(ring, ring + size, in); });
    };
    EXPECT_EQ("ka/kor/AutoBuffer:487: Failed to deserialize", read(3));
    EXPECT_EQ("ka/kor/AutoBuffer:509: Failed to deserialize", read(8));
    EXPECT_TRUE(in == ring && Contents(target) == B("keep"));
    unsigned char* out = ring + 2;
    EXPECT_THROW(AutoBuffer(U("12345"), 5).circularSerialize(ring, ring + 8, out),
                 exception::BufferOverflow);
    out = ring + 8;
    EXPECT_THROW(AutoBuffer().circularSerialize(ring, ring + 8, out), exception::BufferOverflow);
    EXPECT_EQ((Bytes{9, 0, 0, 0, 1, 2, 3, 4}), Bytes(ring, ring + 8));
}

TEST(AutoBuffer, CopiesMayBeMadeAndDroppedOnManyThreads) {
    const AutoBuffer shared(U("threads"), 7);
    ka_test::RunOnThreads(4, [&shared] {
        for (int i = 0; i < 2000; ++i) {
            AutoBuffer copy(shared);
            if (i % 100 == 0) {
                copy.Append(U("!"), 1);  // a private copy of the bytes
            }
        }
    });
    EXPECT_EQ(B("threads"), Contents(shared));
}

}  // namespace
