#include "ka/kor/BufferWrapper.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ka/kor/AutoBuffer.h"
#include "ka/kor/CompareBuffers.h"
#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;
using Bytes = std::vector<unsigned char>;

BufferWrapper View(const std::string& s) {
    return BufferWrapper(reinterpret_cast<const unsigned char*>(s.data()),
                         static_cast<std::uint32_t>(s.size()));
}

TEST(BufferWrapper, ViewsTheBytesOfABufferOrAString) {
    const AutoBuffer buffer(reinterpret_cast<const unsigned char*>("abc"), 3);
    const BufferWrapper ofBuffer(buffer);
    EXPECT_EQ(buffer.Data(), ofBuffer.data());
    EXPECT_EQ(3u, ofBuffer.length());

    const AString text("text");
    const BufferWrapper ofText(text);
    EXPECT_EQ(reinterpret_cast<const unsigned char*>(text.c_str()), ofText.data());
    EXPECT_EQ(4u, ofText.length());

    const BufferWrapper empty{AutoBuffer()};
    EXPECT_EQ(nullptr, empty.data());
    EXPECT_EQ(0u, empty.length());
}

TEST(CompareBuffers, OrdersByUnsignedBytesThenLength) {
    const struct {
        std::string a, b;
        int order;
    } cases[] = {
        {"ab", "abc", -1},    {"abc", "ab", 1},
        {"b", "abc", 1},      {"", "", 0},
        {"", "a", -1},        {"abc", "abc", 0},
        {"\x7f", "\x80", -1}, {std::string("a\0b", 3), std::string("a\0c", 3), -1},
        {"abd", "abcz", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.a + " vs " + c.b);
        EXPECT_EQ(c.order, CompareBuffers(View(c.a), View(c.b)));
        EXPECT_EQ(-c.order, CompareBuffers(View(c.b), View(c.a)));
        EXPECT_EQ(c.order == 0, View(c.a) == View(c.b));
        EXPECT_EQ(c.order < 0, View(c.a) < View(c.b));
    }
}

TEST(BufferWrapper, SerializesLengthThenBytes) {
    const std::string abc = "abc";
    unsigned char storage[9] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    unsigned char* p = storage + 1;
    EXPECT_EQ(7u, View(abc).serializationSize());
    View(abc).serialize(p, storage + 8);
    EXPECT_EQ(storage + 8, p);
    EXPECT_EQ((Bytes{0xEE, 3, 0, 0, 0, 'a', 'b', 'c', 0xEE}), Bytes(storage, storage + 9));

    p = storage + 1;
    try {
        View(abc).serialize(p, storage + 7);
        ADD_FAILURE() << "nothing thrown";
    } catch (const exception::BufferOverflow& e) {
        EXPECT_STREQ("ka/kor/little_endian", e.file());
        EXPECT_EQ(111u, e.line());
    }
    EXPECT_EQ(storage + 1, p);
}

TEST(BufferWrapper, DeserializesIntoTheSourceWithoutCopying) {
    const unsigned char source[] = {0xEE, 2, 0, 0, 0, 'h', 'i', 0xDD};
    const unsigned char* p = source + 1;
    BufferWrapper view;
    view.deserialize(p, source + sizeof(source));
    EXPECT_EQ(source + 5, view.data());
    EXPECT_EQ(2u, view.length());
    EXPECT_EQ(source + 7, p);
}

TEST(BufferWrapper, FailedDeserializationLeavesTheViewUnchanged) {
    const struct {
        const char* name;
        Bytes input;
        std::uint32_t line;
    } cases[] = {
        {"partial length", {1, 0, 0}, 72},
        {"three of five bytes", {5, 0, 0, 0, 'a', 'b', 'c'}, 78},
        {"top bit set", {0, 0, 0, 0x80, 'a'}, 78},
    };
    const std::string old = "old";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        BufferWrapper view = View(old);
        const unsigned char* p = c.input.data();
        try {
            view.deserialize(p, c.input.data() + c.input.size());
            ADD_FAILURE() << "nothing thrown";
        } catch (const exception::DeserializationError& e) {
            EXPECT_STREQ("ka/kor/BufferWrapper", e.file());
            EXPECT_EQ(c.line, e.line());
        }
        EXPECT_EQ(c.input.data(), p);
        EXPECT_EQ(View(old).data(), view.data());
        EXPECT_EQ(3u, view.length());
    }
}

}  // namespace
