// The variant conversions, which leave the work to the host and turn its status into exceptions.
#include <gtest/gtest.h>

#include "FakePlatform.h"
#include "ka/kor/FlexData.h"
#include "ka/kor/exception.h"
#include "ka/kor/gx/FlexDataToGxVariant.h"
#include "ka/kor/gx/GXErrorException.h"
#include "ka/kor/gx/GxVariantToFlexData.h"

namespace {

using ka::kor::FlexData;
using ka::kor::gx::GXErrorException;

class GxVariantTest : public ::testing::Test {
  protected:
    void SetUp() override { fake::Reset(); }
    void TearDown() override {
        delete variant_;
        EXPECT_EQ(0, fake::host().liveBlocks);  // every packet buffer went back to the host
    }
    GxVariant* variant_ = nullptr;
};

TEST_F(GxVariantTest, VoidIsNoValueWithoutAskingTheHost) {
    FlexData none;
    none.setVoid();
    try {
        ka::kor::gx::FlexDataToGxVariant(none, variant_);
        FAIL() << "nothing thrown";
    } catch (const GXErrorException& e) {
        EXPECT_EQ(0x8ABC7023u, e.getErrorCode());
    }
    EXPECT_EQ(0, fake::host().flexToVarCalls);
    EXPECT_EQ(nullptr, variant_);
}

TEST_F(GxVariantTest, HostFailuresBecomeExceptionsAndFreeTheBuffer) {
    fake::host().flexToVarResult = mgArgErr;
    EXPECT_THROW(ka::kor::gx::FlexDataToGxVariant(FlexData(1), variant_), GXErrorException);

    variant_ = new GxVariant;
    const FlexData before(2);
    FlexData out(before);
    fake::host().varToFlexResult = mFullErr;
    fake::host().varToFlexGivesBuffer = true;
    try {
        ka::kor::gx::GxVariantToFlexData(variant_, out);
        FAIL() << "nothing thrown";
    } catch (const GXErrorException& e) {
        EXPECT_EQ(2, e.code());
    }
    EXPECT_EQ(before, out);

    // A packet the library cannot read: the buffer is freed all the same.
    fake::host().varToFlexResult = 0;
    variant_->packet = {9, 0, 0, 0, 2, 4, 0};
    EXPECT_THROW(ka::kor::gx::GxVariantToFlexData(variant_, out), ka::kor::exception::Exception);
}

}  // namespace
