#include "ka/kor/AutoBuffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "ka/kor/AutoBufferGuts.h"
#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;
using Bytes = std::vector<unsigned char>;

const unsigned char* U(const char* s) {
    return reinterpret_cast<const unsigned char*>(s);
}

Bytes Contents(const AutoBuffer& b) {
    return b.Data() == nullptr ? Bytes() : Bytes(b.Data(), b.Data() + b.Len());
}

Bytes B(const std::string& s) {
    return Bytes(s.begin(), s.end());
}

template <typename E, typename F>
void ExpectThrownAt(F f, const char* file, std::uint32_t line) {
    try {
        f();
        ADD_FAILURE() << "nothing thrown";
    } catch (const E& e) {
        EXPECT_STREQ(file, e.file());
        EXPECT_EQ(line, e.line());
    }
}

void ExpectAbsent(const AutoBuffer& b) {
    EXPECT_EQ(nullptr, b.Data());
    EXPECT_EQ(0u, b.Len());
    EXPECT_EQ(0u, b.MemUsage());
}

TEST(AutoBuffer, EmptyOperationsLeaveAnAbsentBufferAbsent) {
    AutoBuffer b;
    ExpectAbsent(b);
    b.Append(U("x"), 0);
    ExpectAbsent(b);
    b.Reserve(0);
    b.Erase();
    EXPECT_EQ(0u, b.UnAppend(0));
    b.Free();
    ExpectAbsent(b);
    ExpectAbsent(AutoBuffer(U("x"), 0));
    ExpectAbsent(AutoBuffer(BufferWrapper()));
    ExpectAbsent(AutoBuffer(0u));
}

TEST(AutoBuffer, GrowsToTheNewLengthPlusATenthWithA128ByteFloor) {
    AutoBuffer b;
    b.Append(U("0123456789"), 10);
    EXPECT_EQ(138u, b.MemUsage());
    const Bytes filler(1990, 'f');
    b.Append(filler.data(), 128);  // length 138: still fits
    EXPECT_EQ(138u, b.MemUsage());
    b.Append(filler.data(), 1862);  // length 2000
    EXPECT_EQ(2000u, b.Len());
    EXPECT_EQ(2200u, b.MemUsage());
    EXPECT_EQ(B("0123456789"), Bytes(b.Data(), b.Data() + 10));
}

TEST(AutoBuffer, GrownCapacityDividesAsASigned32BitNumber) {
    const struct {
        std::uint64_t length;
        std::uint32_t capacity;
    } cases[] = {
        {1, 129},
        {1289, 1289 + 128},
        {1290, 1290 + 129},
        {0x7FFFFFF0, 0x7FFFFFF0u + 0x0CCCCCCB},
        {0x80000000, 0x80000080u},  // negative as signed: the floor applies
        {0xFFFFFF7F, 0xFFFFFFFFu},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        EXPECT_EQ(c.capacity, AutoBufferGuts::GrownCapacity(c.length));
    }
    EXPECT_THROW(AutoBufferGuts::GrownCapacity(0xFFFFFF80), std::bad_alloc);
    EXPECT_THROW(AutoBufferGuts::GrownCapacity(0x100000000ull), std::bad_alloc);
}

TEST(AutoBuffer, ReserveAllocatesExactly) {
    AutoBuffer b(100);
    EXPECT_EQ(100u, b.MemUsage());
    EXPECT_EQ(0u, b.Len());
    EXPECT_NE(nullptr, b.Data());
    b.Append(U("abc"), 3);
    b.Reserve(50);
    EXPECT_EQ(100u, b.MemUsage());
    b.Reserve(201);
    EXPECT_EQ(201u, b.MemUsage());
    EXPECT_EQ(B("abc"), Contents(b));

    AutoBuffer absent;
    absent.Reserve(7);
    EXPECT_EQ(7u, absent.MemUsage());
    EXPECT_EQ(0u, absent.Len());
}

TEST(AutoBuffer, ModifyNeverChangesTheLength) {
    AutoBuffer b;
    b.Modify(0, U("WXYZ"), 4);
    EXPECT_EQ(0u, b.Len());
    EXPECT_EQ(132u, b.MemUsage());
    EXPECT_EQ(4u, b.Skip(4));
    EXPECT_EQ(B("WXYZ"), Contents(b));

    AutoBuffer c(U("0123456789"), 10);
    c.Modify(2, U("ab"), 2);
    c.Modify(200, U("0123456789"), 10);  // past the capacity: grows like Append
    EXPECT_EQ(338u, c.MemUsage());
    EXPECT_EQ(B("01ab456789"), Contents(c));
}

TEST(AutoBuffer, SkipGrowsToExactlyTheNewLengthAndUnAppendKeepsTheCapacity) {
    AutoBuffer b(8);
    b.Append(U("01234567"), 8);
    EXPECT_EQ(5u, b.Skip(5));
    EXPECT_EQ(13u, b.Len());
    EXPECT_EQ(13u, b.MemUsage());
    EXPECT_EQ(6u, b.UnAppend(6));
    EXPECT_EQ(B("0123456"), Contents(b));
    EXPECT_EQ(13u, b.MemUsage());
    b.Erase();
    EXPECT_EQ(0u, b.Len());
    EXPECT_EQ(13u, b.MemUsage());
}

TEST(AutoBuffer, BytesMayBeTakenFromTheBufferItself) {
    AutoBuffer b(5);
    b.Append(U("hello"), 5);
    b.Append(b.Data(), b.Len());  // the block moves while the bytes are copied
    EXPECT_EQ(B("hellohello"), Contents(b));
    b.Modify(0, b.Data() + 5, 5);
    b = BufferWrapper(b.Data() + 1, 3);
    EXPECT_EQ(B("ell"), Contents(b));
}

// Each changing operation is applied to a copy; the original must keep its bytes and end up
// sole holder of its body again, which shows as an in-place change that does not copy.
TEST(AutoBuffer, ChangingACopyLeavesTheOriginalIntact) {
    const unsigned char serialized[] = {2, 0, 0, 0, 'o', 'k'};
    const unsigned char ring[] = {'k', 2, 0, 0, 0, 'o'};
    const struct {
        const char* name;
        std::function<void(AutoBuffer&)> change;
        Bytes copyAfter;
    } cases[] = {
        {"Append", [](AutoBuffer& b) { b.Append(U("!"), 1); }, B("hello!")},
        {"Modify", [](AutoBuffer& b) { b.Modify(0, U("J"), 1); }, B("Jello")},
        {"UnAppend", [](AutoBuffer& b) { b.UnAppend(2); }, B("hel")},
        {"Skip", [](AutoBuffer& b) { b.Skip(0); }, B("hello")},
        {"Reserve", [](AutoBuffer& b) { b.Reserve(1); }, B("hello")},
        {"Erase", [](AutoBuffer& b) { b.Erase(); }, Bytes()},
        {"Free", [](AutoBuffer& b) { b.Free(); }, Bytes()},
        {"assign view", [](AutoBuffer& b) { b = BufferWrapper(U("xy"), 2); }, B("xy")},
        {"assign buffer", [](AutoBuffer& b) { b = AutoBuffer(U("z"), 1); }, B("z")},
        {"deserialize",
         [&](AutoBuffer& b) {
             const unsigned char* p = serialized;
             b.deserialize(p, serialized + sizeof(serialized));
         },
         B("ok")},
        {"circularDeserialize",
         [&](AutoBuffer& b) {
             const unsigned char* p = ring + 1;
             b.circularDeserialize(ring, ring + sizeof(ring), p);
         },
         B("ok")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AutoBuffer original(64);
        original.Append(U("hello"), 5);
        const unsigned char* block = original.Data();
        AutoBuffer copy(original);
        EXPECT_EQ(block, copy.Data());

        c.change(copy);
        EXPECT_EQ(c.copyAfter, Contents(copy));
        EXPECT_EQ(B("hello"), Contents(original));
        EXPECT_EQ(block, original.Data());
        original.Modify(0, U("Y"), 1);
        EXPECT_EQ(block, original.Data()) << "the original still counts the copy";
        EXPECT_EQ(c.copyAfter, Contents(copy));
    }
}

TEST(AutoBuffer, EraseOfASharedBufferLetsGoInsteadOfClearing) {
    AutoBuffer a(U("shared"), 6);
    AutoBuffer b(a);
    b.Erase();
    ExpectAbsent(b);
    EXPECT_EQ(B("shared"), Contents(a));
}

TEST(AutoBuffer, AssigningTheSameBodyDoesNothing) {
    AutoBuffer a(U("same"), 4);
    const unsigned char* block = a.Data();
    AutoBuffer& alias = a;
    a = alias;
    AutoBuffer b(a);
    b = a;
    a = b;
    EXPECT_EQ(block, a.Data());
    EXPECT_EQ(block, b.Data());
    b.Append(U("!"), 1);  // a's body is now private again
    a.Modify(0, U("S"), 1);
    EXPECT_EQ(block, a.Data());
    EXPECT_EQ(B("Same"), Contents(a));
    EXPECT_EQ(B("same!"), Contents(b));

    AutoBuffer moved(std::move(b));
    ExpectAbsent(b);
    EXPECT_EQ(B("same!"), Contents(moved));
}

TEST(AutoBuffer, ComparesByteWise) {
    const AutoBuffer ab(U("ab"), 2), abc(U("abc"), 3), b(U("b"), 1), absent;
    AutoBuffer emptyBody(10);
    EXPECT_TRUE(ab < abc);
    EXPECT_FALSE(abc < ab);
    EXPECT_TRUE(abc < b);
    EXPECT_FALSE(ab == abc);
    EXPECT_TRUE(ab == AutoBuffer(U("ab"), 2));
    EXPECT_TRUE(absent == emptyBody);
    EXPECT_FALSE(absent < emptyBody);
}

TEST(AutoBuffer, SerializesLengthThenBytes) {
    unsigned char storage[9] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    const AutoBuffer b(U("abc"), 3);
    EXPECT_EQ(7u, b.serializationSize());
    unsigned char* p = storage + 1;  // odd address
    b.serialize(p, storage + 8);
    EXPECT_EQ(storage + 8, p);
    EXPECT_EQ((Bytes{0xEE, 3, 0, 0, 0, 'a', 'b', 'c', 0xEE}), Bytes(storage, storage + 9));

    p = storage;
    AutoBuffer().serialize(p, storage + 4);
    EXPECT_EQ((Bytes{0, 0, 0, 0}), Bytes(storage, storage + 4));
}

TEST(AutoBuffer, SerializeShortOfRoomThrowsAtItsRecordedLine) {
    unsigned char storage[7] = {};
    const AutoBuffer b(U("abc"), 3);
    unsigned char* p = storage + 1;
    ExpectThrownAt<exception::BufferOverflow>([&] { b.serialize(p, storage + 7); },
                                              "ka/kor/AutoBuffer", 368);
    EXPECT_EQ(storage + 1, p);
    EXPECT_EQ(Bytes(7, 0), Bytes(storage, storage + 7));
    unsigned char* past = storage + 7;
    EXPECT_THROW(AutoBuffer().serialize(past, storage), exception::BufferOverflow);
}

TEST(AutoBuffer, DeserializesFromAnOddAddressAndStopsAfterTheBytes) {
    const unsigned char source[] = {0xEE, 3, 0, 0, 0, 'x', 'y', 'z', 0xDD};
    const unsigned char* p = source + 1;
    AutoBuffer b(U("old contents"), 12);
    b.deserialize(p, source + sizeof(source));
    EXPECT_EQ(source + 8, p);
    EXPECT_EQ(B("xyz"), Contents(b));
    EXPECT_EQ(12u + 128u, b.MemUsage());  // the old block is reused
}

TEST(AutoBuffer, FailedDeserializationLeavesTheTargetUnchanged) {
    const struct {
        const char* name;
        Bytes input;
        std::uint32_t line;
    } cases[] = {
        {"no length", {}, 387},
        {"partial length", {5, 0, 0}, 387},
        {"three of five bytes", {5, 0, 0, 0, 'a', 'b', 'c'}, 393},
        {"top bit set", {0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b', 'c'}, 393},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AutoBuffer target(U("keep"), 4);
        const AutoBuffer copy(target);
        const unsigned char* p = c.input.data();
        ExpectThrownAt<exception::DeserializationError>(
            [&] { target.deserialize(p, c.input.data() + c.input.size()); }, "ka/kor/AutoBuffer",
            c.line);
        EXPECT_EQ(c.input.data(), p);
        EXPECT_EQ(B("keep"), Contents(target));
        EXPECT_EQ(copy.Data(), target.Data());
    }
}

TEST(AutoBuffer, HeapExhaustionThrowsBadAllocAndKeepsTheBytes) {
    AutoBuffer b(U("abc"), 3);
    EXPECT_THROW(b.Skip(0xFFFFFFFFu), std::bad_alloc);
    EXPECT_THROW(b.Modify(0xFFFFFFFFu, U("ab"), 2), std::bad_alloc);
    EXPECT_EQ(B("abc"), Contents(b));
}

// Writes a message into a ring at every start position and reads it back, checking the raw ring
// bytes so that a writer and reader sharing one mistake cannot pass.
TEST(AutoBuffer, RingRoundTripsFromEveryStartPosition) {
    for (std::uint32_t length : {0u, 1u, 5u, 7u}) {
        const std::uint32_t ringSize = 11;
        for (std::uint32_t start = 0; start < ringSize; ++start) {
            SCOPED_TRACE("length " + std::to_string(length) + " start " + std::to_string(start));
            Bytes message;
            for (std::uint32_t i = 0; i < length; ++i) {
                message.push_back(static_cast<unsigned char>('A' + i));
            }
            const AutoBuffer source(message.data(), length);
            Bytes ring(ringSize, 0xEE);
            unsigned char* out = ring.data() + start;
            source.circularSerialize(ring.data(), ring.data() + ringSize, out);

            Bytes form = {static_cast<unsigned char>(length), 0, 0, 0};
            form.insert(form.end(), message.begin(), message.end());
            Bytes expected(ringSize, 0xEE);
            for (std::size_t i = 0; i < form.size(); ++i) {
                expected[(start + i) % ringSize] = form[i];
            }
            EXPECT_EQ(expected, ring);
            const std::uint32_t after = (start + 4 + length) % ringSize;
            EXPECT_EQ(ring.data() + after, out);

            AutoBuffer target(U("old"), 3);
            const unsigned char* in = ring.data() + start;
            target.circularDeserialize(ring.data(), ring.data() + ringSize, in);
            EXPECT_EQ(message, Contents(target));
            EXPECT_EQ(ring.data() + after, in);
        }
    }
}

TEST(AutoBuffer, RingChecks) {
    unsigned char ring[8] = {9, 0, 0, 0, 1, 2, 3, 4};
    AutoBuffer target(U("keep"), 4);
    const unsigned char* in = ring;
    ExpectThrownAt<exception::DeserializationError>(
        [&] { target.circularDeserialize(ring, ring + 3, in); }, "ka/kor/AutoBuffer", 487);
    ExpectThrownAt<exception::DeserializationError>(
        [&] { target.circularDeserialize(ring, ring + 8, in); }, "ka/kor/AutoBuffer", 509);
    EXPECT_EQ(ring, in);
    in = ring + 8;
    EXPECT_THROW(target.circularDeserialize(ring, ring + 8, in), exception::DeserializationError);
    EXPECT_EQ(B("keep"), Contents(target));

    const AutoBuffer five(U("12345"), 5);
    unsigned char* out = ring + 2;
    EXPECT_THROW(five.circularSerialize(ring, ring + 8, out), exception::BufferOverflow);
    EXPECT_THROW(five.circularSerializeLength(ring, ring + 3, out), exception::BufferOverflow);
    out = ring + 8;  // the ring's end lies outside it
    EXPECT_THROW(AutoBuffer().circularSerialize(ring, ring + 8, out), exception::BufferOverflow);
    EXPECT_EQ((Bytes{9, 0, 0, 0, 1, 2, 3, 4}), Bytes(ring, ring + 8));

    out = ring + 6;
    five.circularSerializeLength(ring, ring + 8, out);
    EXPECT_EQ((Bytes{0, 0, 0, 0, 1, 2, 5, 0}), Bytes(ring, ring + 8));
    EXPECT_EQ(ring + 2, out);
    const unsigned char* last = ring + 7;
    AutoBuffer::circularIncrement(ring, ring + 8, last);
    EXPECT_EQ(ring, last);
}

TEST(AutoBuffer, CopiesMayBeMadeAndDroppedOnManyThreads) {
    const AutoBuffer shared(U("threads"), 7);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&shared] {
            for (int i = 0; i < 2000; ++i) {
                AutoBuffer copy(shared);
                AutoBuffer another;
                another = copy;
                if (i % 100 == 0) {
                    another.Append(U("!"), 1);  // a private copy of the bytes
                }
            }
        });
    }
    for (auto& t : threads) {
        t.join();
    }
    EXPECT_EQ(B("threads"), Contents(shared));
}

}  // namespace
