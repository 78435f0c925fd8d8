// The caller-given sources (colour transform, extension) and the matrix stage.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "HuevaneImplExtension.h"
#include "HuevaneImplMatrix.h"
#include "HuevaneImplTransform.h"
#include "HuevaneImplUtil.h"
#include "HuevaneTestSupport.h"

namespace {

const std::string IDENTITY_TEXT = "1,65536,0,0,0,0,65536,0,0,0,0,65536,0,0,0,0,65536";
const std::string MODE_TEXT =
        "1,78643,-6554,-6554,0,-3277,72090,-3277,0,0,-13107,78643,0,0,0,0,65536";
const std::string TRANSFORM_TEXT = "1,32768,0,0,0,0,32768,0,0,0,0,32768,0,6554,6554,6554,65536";
const std::string WARNING = "previous lut (1) has not been applied\n";

HuevaneDataLut makeLut(uint8_t id, const std::string& text, uint8_t attr0 = 0xFF) {
    return {huevane::getDataHeader(id, text, attr0), text};
}

std::vector<float> identity() {
    return {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
}

TEST(Transform, FixedPointRounding) {
    // Halves round away from zero; out of range saturates; NaN is 0.
    const float inf = std::numeric_limits<float>::infinity();
    std::vector<float> values = {
            1.0f,       -0.5f,     0.1f, 0.5f / 65536, -0.5f / 65536,    2.5f / 65536,     1e-6f,
            40000.0f,   -40000.0f, NAN,  -inf,         39321.5f / 65536, -1638.5f / 65536, 32768.0f,
            32767.998f, -32768.0f};
    EXPECT_EQ(
            "1,65536,-32768,6554,1,-1,3,0,2147483647,-2147483648,0,-2147483648,39322,-1639,"
            "2147483647,2147483520,-2147483648",
            HuevaneImplTransform::getMatrixToString(values));
}

TEST(Transform, StagesOneGammaMatrixPerCall) {
    LogCapture log;
    HuevaneImplTransform transform;
    EXPECT_EQ(1, transform.setDataLuts(std::vector<float>(15, 1.0f)));
    EXPECT_EQ(1, transform.setDataLuts(std::vector<float>(17, 1.0f)));
    EXPECT_TRUE(transform.getDataLuts().empty());

    EXPECT_EQ(0, transform.setDataLuts(identity()));
    std::vector<float> half = {0.5, 0, 0, 0, 0, 0.5, 0, 0, 0, 0, 0.5, 0, 0.1, 0.1, 0.1, 1};
    EXPECT_EQ(0, transform.setDataLuts(half));
    EXPECT_EQ(1, log.count(ANDROID_LOG_WARN, WARNING));
    HuevaneDataLutList luts = transform.getDataLuts();
    ASSERT_EQ(2u, luts.size());
    EXPECT_EQ(hexBytes("DA 06 3E 00 0C 00 FF FF FF FF 41 FF"), headerBytes(luts[0].first));
    EXPECT_EQ(IDENTITY_TEXT, luts[0].second);
    EXPECT_EQ(TRANSFORM_TEXT, luts[1].second);
    EXPECT_EQ(124, transform.getDataLutsMaxSize());
}

TEST(MatrixStage, WorkedExampleInBothVisitingOrders) {
    const std::string modeThenTransform =
            "1,39322,-3277,-3277,0,-1639,36045,-1639,0,0,-6554,39322,0,6554,6554,6554,65536";
    const std::string transformThenMode =
            "1,39322,-3277,-3277,0,-1639,36045,-1639,0,0,-6554,39322,0,7537,5243,6882,65536";
    for (bool modeFirst : {true, false}) {
        LogCapture log;
        HuevaneImplMatrix gamma(6);
        EXPECT_EQ(0, gamma.setDataLuts(modeFirst ? 0 : 1,
                                       makeLut(6, modeFirst ? MODE_TEXT : TRANSFORM_TEXT)));
        EXPECT_EQ(0, gamma.setDataLuts(modeFirst ? 1 : 0,
                                       makeLut(6, modeFirst ? TRANSFORM_TEXT : MODE_TEXT)));
        HuevaneDataLutList luts = gamma.getDataLuts();
        ASSERT_EQ(2u, luts.size());
        EXPECT_EQ(modeFirst ? MODE_TEXT : TRANSFORM_TEXT, luts[0].second);
        EXPECT_EQ(modeFirst ? modeThenTransform : transformThenMode, luts[1].second);
        EXPECT_EQ(headerBytes(makeLut(6, luts[1].second).first), headerBytes(luts[1].first));
        EXPECT_EQ(1, log.count(ANDROID_LOG_WARN, WARNING));
    }
}

TEST(MatrixStage, DisabledMatrices) {
    const std::string disabled = "0" + IDENTITY_TEXT.substr(1);
    HuevaneImplMatrix gamma(6);
    // Nobody holds a matrix: taken, nothing emitted.
    EXPECT_EQ(0, gamma.setDataLuts(0, makeLut(6, disabled)));
    EXPECT_TRUE(gamma.getDataLuts().empty());

    // Another source's matrix is emitted under the disabled LUT's header.
    EXPECT_EQ(0, gamma.setDataLuts(1, makeLut(6, TRANSFORM_TEXT)));
    EXPECT_EQ(0, gamma.setDataLuts(0, makeLut(6, disabled, 3)));
    ASSERT_EQ(2u, gamma.getDataLuts().size());
    EXPECT_EQ(3, gamma.getDataLuts()[1].first.attr0);
    EXPECT_EQ(TRANSFORM_TEXT, gamma.getDataLuts()[1].second);

    // Disabling a held matrix takes it out of the product.
    gamma.clearDataLuts();
    EXPECT_EQ(0, gamma.setDataLuts(0, makeLut(6, MODE_TEXT)));
    EXPECT_EQ(0, gamma.setDataLuts(1, makeLut(6, disabled)));
    EXPECT_EQ(MODE_TEXT, gamma.getDataLuts().back().second);
}

// Which texts read as matrices is MatrixText's table; here what the stage does with each kind.
TEST(MatrixStage, RejectedTextsLeaveTheStoredMatricesAndAnyFlagButZeroEnables) {
    HuevaneImplMatrix gamma(6);
    ASSERT_EQ(0, gamma.setDataLuts(0, makeLut(6, MODE_TEXT)));
    for (const char* text : {"", "2,5", "1,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,-2147483649"}) {
        EXPECT_EQ(1, gamma.setDataLuts(0, makeLut(6, text))) << text;
    }
    EXPECT_EQ(1, gamma.setDataLuts(0, makeLut(11, TRANSFORM_TEXT)));  // another node's LUT
    EXPECT_EQ(0, gamma.setDataLuts(1, makeLut(6, IDENTITY_TEXT)));
    EXPECT_EQ(MODE_TEXT, gamma.getDataLuts().back().second);
    // Spaces, signs and a trailing comma are read past; the product is written back compact.
    EXPECT_EQ(0, gamma.setDataLuts(0, makeLut(6,
                                              "7,\n 32768, +0,0,0,0,32768,0,0,0,0,32768,0,"
                                              "6554,6554, 6554,\t65536,")));
    EXPECT_EQ(TRANSFORM_TEXT, gamma.getDataLuts().back().second);
}

HuevaneExtension attributes(const char* text, uint32_t size) {
    return {0, text, size};
}

HuevaneExtension lut(uint32_t id, const char* text) {
    return {id, text, 0};
}

TEST(Extension, AttributeTexts) {
    const std::pair<HuevaneExtension, const char*> cases[] = {
            {attributes("1 2 3 4", 7), "01 02 03 04"},
            {attributes("7 8", 3), "07 08 FF FF"},
            {attributes("256 300 -1 x", 12), "00 2C FF 00"},
            {attributes("  5   6 ", 8), "05 06 FF FF"},
            {attributes("1 2 3 4", 0), "FF FF FF FF"},
            {attributes("1 2 3 4", 3), "01 02 FF FF"},
            {attributes("9\t8 1", 5), "09 01 FF FF"},
            {attributes("1 2 3 4 5", 9), "01 02 03 04"},
            {attributes(nullptr, 0), "FF FF FF FF"},
            // The widest values read: 32-bit unsigned and signed; beyond them a value reads as 0.
            {attributes("4294967295 4294967297 -2147483647 -2147483649", 45), "FF 00 01 00"},
    };
    for (const auto& c : cases) {
        HuevaneImplExtension extension;
        EXPECT_EQ(0, extension.setDataLuts({c.first, lut(8, "abc")}));
        ASSERT_EQ(1u, extension.getDataLuts().size());
        const HuevaneDataLut staged = extension.getDataLuts()[0];
        std::vector<uint8_t> bytes = headerBytes(staged.first);
        bytes.resize(10);  // up to the CRC
        EXPECT_EQ(hexBytes(std::string("DA 08 10 00 0C 00 ") + c.second), bytes)
                << (c.first.data ? c.first.data : "null");
        EXPECT_EQ("abc", staged.second);
    }
}

TEST(Extension, AttributesApplyWithinOneCallAndLutsAccumulate) {
    LogCapture log;
    HuevaneImplExtension extension;
    EXPECT_EQ(0, extension.setDataLuts({lut(5, "a"), attributes("1", 1), lut(4, "b"),
                                        lut(13, "skipped"), lut(4, nullptr), attributes("2", 1),
                                        lut(12, "c")}));
    EXPECT_EQ(0, extension.setDataLuts({lut(3, "d")}));
    EXPECT_EQ(0, extension.setDataLuts({}));
    const struct {
        uint8_t id, attr0;
        const char* text;
    } expected[] = {{5, 0xFF, "a"}, {4, 1, "b"}, {12, 2, "c"}, {3, 0xFF, "d"}};
    HuevaneDataLutList luts = extension.getDataLuts();
    ASSERT_EQ(4u, luts.size());
    for (size_t i = 0; i < luts.size(); i++) {
        EXPECT_EQ(expected[i].id, luts[i].first.id);
        EXPECT_EQ(expected[i].attr0, luts[i].first.attr0);
        EXPECT_EQ(0xFF, luts[i].first.attr1);
        EXPECT_EQ(expected[i].text, luts[i].second);
    }
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(0, extension.getDataLutsMaxSize());
}

}  // namespace
