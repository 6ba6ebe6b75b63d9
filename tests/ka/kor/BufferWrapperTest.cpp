#include "ka/kor/BufferWrapper.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ka/kor/CompareBuffers.h"
#include "ka/kor/ThrowSite.h"
#include "ka/kor/exception.h"

namespace {

using namespace ka::kor;
using ka_test::ThrowSite;
using Bytes = std::vector<unsigned char>;

BufferWrapper View(const std::string& s) {
    return BufferWrapper(reinterpret_cast<const unsigned char*>(s.data()),
                         static_cast<std::uint32_t>(s.size()));
}

TEST(CompareBuffers, OrdersByUnsignedBytesThenLength) {
    const struct {
        std::string a, b;
        int order;
    } cases[] = {
        {"ab", "abc", -1},
        {"b", "abc", 1},
        {"", "", 0},
        {"", "a", -1},
        {"abc", "abc", 0},
        {"\x7f", "\x80", -1},
        {std::string("a\0b", 3), std::string("a\0c", 3), -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.a + " vs " + c.b);
        EXPECT_EQ(c.order, CompareBuffers(View(c.a), View(c.b)));
        EXPECT_EQ(-c.order, CompareBuffers(View(c.b), View(c.a)));
        EXPECT_EQ(c.order == 0, View(c.a) == View(c.b));
        EXPECT_EQ(c.order < 0, View(c.a) < View(c.b));
    }
}

TEST(BufferWrapper, SerializesWithoutCopyingAndAFailedReadChangesNothing) {
    const std::string abc = "abc";
    Bytes storage(9, 0xEE);
    unsigned char* p = storage.data() + 1;
    // A view too long for its own length field is refused before a byte of it is read.
    for (const std::uint32_t length : {0xFFFFFFFFu, 0xFFFFFFFCu}) {
        EXPECT_THROW(BufferWrapper(storage.data(), length).serialize(p, storage.data() + 9),
                     exception::BufferOverflow);
    }
    EXPECT_EQ(
        "ka/kor/little_endian:111: Buffer overflowed",
        ThrowSite<exception::BufferOverflow>([&] { View(abc).serialize(p, storage.data() + 7); }));
    View(abc).serialize(p, storage.data() + 8);
    EXPECT_EQ((Bytes{0xEE, 3, 0, 0, 0, 'a', 'b', 'c', 0xEE}), storage);
    const unsigned char* q = storage.data() + 1;
    BufferWrapper view;
    view.deserialize(q, storage.data() + 9);
    EXPECT_EQ(storage.data() + 5, view.data());
    EXPECT_EQ(3u, view.length());
    EXPECT_EQ(storage.data() + 8, q);

    const struct {
        Bytes input;
        std::uint32_t line;
    } cases[] = {{{1, 0, 0}, 72}, {{5, 0, 0, 0, 'a', 'b', 'c'}, 78}, {{0, 0, 0, 0x80, 'a'}, 78}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        view = View(abc);
        const unsigned char* in = c.input.data();
        EXPECT_EQ("ka/kor/BufferWrapper:" + std::to_string(c.line) + ": Failed to deserialize",
                  ThrowSite<exception::DeserializationError>(
                      [&] { view.deserialize(in, c.input.data() + c.input.size()); }));
        EXPECT_EQ(c.input.data(), in);
        EXPECT_TRUE(view.data() == View(abc).data() && view.length() == 3);
    }
}

}  // namespace
