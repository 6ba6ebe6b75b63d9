// The conversions between host string handles and the library's strings and buffers.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "FakePlatform.h"
#include "ka/kor/AutoBuffer.h"
#include "ka/kor/gx/BufferWrapperToLStrHandle.h"
#include "ka/kor/gx/ConstLStrHToKORANSIString.h"
#include "ka/kor/gx/GXErrorException.h"
#include "ka/kor/gx/KorANSIStringToLStrHandle.h"
#include "ka/kor/gx/KorStringToLStrHandle.h"
#include "ka/kor/gx/LStrHandleToAutoBuffer.h"
#include "ka/kor/gx/LStrHandleToKORANSIString.h"
#include "ka/kor/gx/LStrHandleToKORString.h"

namespace {

using namespace ka::kor;
using namespace ka::kor::gx::string;

class LStrHandleTest : public ::testing::Test {
  protected:
    void SetUp() override { fake::Reset(); }
    void TearDown() override {
        DSDisposeHandle(reinterpret_cast<UHandle>(handle_));
        EXPECT_EQ(0, fake::host().liveBlocks);
    }
    LStrHandle handle_ = nullptr;
};

TEST_F(LStrHandleTest, TextIntoHandles) {
    KorANSIStringToLStrHandle(AString("abc"), handle_);  // created
    EXPECT_EQ("abc", fake::Text(handle_));
    KorStringToLStrHandle(String(L"longer text"), handle_);  // grown
    EXPECT_EQ("longer text", fake::Text(handle_));
    KorANSIStringToLStrHandle(AString(), handle_);
    EXPECT_EQ("", fake::Text(handle_));
    const unsigned char bytes[] = {0, 1, 0xFF, 0};
    BufferWrapperToLStrHandle(BufferWrapper(bytes, 4), handle_);
    EXPECT_EQ(std::string("\0\1\xFF\0", 4), fake::Text(handle_));
}

TEST_F(LStrHandleTest, RefusedResizeRaisesAndKeepsTheText) {
    KorANSIStringToLStrHandle(AString("kept"), handle_);
    fake::host().failArrayResize = true;
    try {
        KorANSIStringToLStrHandle(AString("lost"), handle_);
        FAIL() << "nothing thrown";
    } catch (const gx::GXErrorException& e) {
        EXPECT_EQ(2, e.code());
        EXPECT_EQ(0u, std::string(e.what()).find("Error Code: 2 (00000002): "));
    }
    EXPECT_EQ("kept", fake::Text(handle_));
}

TEST_F(LStrHandleTest, HandlesIntoText) {
    handle_ = fake::NewLStr(std::string("a\0b", 3));
    EXPECT_EQ(3u, LStrHandleToKORANSIString(handle_).length());
    EXPECT_EQ(0, std::memcmp("a\0b", ConstLStrHToKORANSIString(handle_).c_str(), 3));
    EXPECT_EQ(3u, LStrHandleToAutoBuffer(handle_).Len());
    EXPECT_EQ(L'b', LStrHandleToKORString(handle_)[2]);

    // A null handle, a handle without a block, and counts of 0 or below read as empty; the bytes
    // behind such a count are never touched.
    LStr* noBlock = nullptr;
    LStrHandle empty[] = {nullptr, &noBlock, handle_};
    for (std::int32_t count : {0, -4}) {
        (*handle_)->cnt = count;
        for (LStrHandle h : empty) {
            EXPECT_TRUE(LStrHandleToKORANSIString(h).empty());
            EXPECT_TRUE(ConstLStrHToKORANSIString(h).empty());
            EXPECT_TRUE(LStrHandleToKORString(h).empty());
            EXPECT_EQ(0u, LStrHandleToAutoBuffer(h).Len());
        }
    }
}

}  // namespace
