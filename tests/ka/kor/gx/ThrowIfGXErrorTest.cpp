#include "ka/kor/gx/ThrowIfGXError.h"

#include <gtest/gtest.h>

#include <string>

#include "FakePlatform.h"
#include "ka/kor/gx/GXErrorException.h"

namespace {

using ka::kor::gx::GXErrorException;

// "file:line code what()" of the exception ThrowIfGXError raises, or "nothing thrown".
std::string Thrown(int status) {
    try {
        ka::kor::gx::ThrowIfGXError(status);
    } catch (const GXErrorException& e) {
        char code[16];
        std::snprintf(code, sizeof code, "%08X", e.getErrorCode());
        return std::string(e.file()) + ":" + std::to_string(e.line()) + " " + code + " " + e.what();
    }
    return "nothing thrown";
}

TEST(ThrowIfGXError, FormatsTheCodeAndTheHostText) {
    fake::Reset();
    fake::host().errorTexts[1] = "An input parameter is invalid.";
    fake::host().errorTexts[2] = "";
    fake::host().errorTexts[7] = "(no handle)";
    struct {
        int status;
        std::string expected;
    } const rows[] = {
        {0, "nothing thrown"},
        {1, "00000001 Error Code: 1 (00000001): An input parameter is invalid."},
        {2, "00000002 Error Code: 2 (00000002): "},  // the host knows it, without text
        {7, "00000007 Error Code: 7 (00000007): "},
        {53, "00000035 Error Code: 53 (00000035): Unknown error code or error text unavailable."},
        {-2147467259,
         "80004005 Error Code: -2147467259 (80004005): Unknown error code or error "
         "text unavailable."},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.status);
        const std::string where = r.status == 0 ? "" : "ka/kor/gx/ThrowIfGXError.h:75 ";
        EXPECT_EQ(where + r.expected, Thrown(r.status));
    }
    EXPECT_EQ(0, fake::host().liveBlocks);  // every text handle went back to the host
}

}  // namespace
