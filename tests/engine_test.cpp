// The engine through real instances: sources, matrix stages, LUT list and coefficient parcel.
#include <android/log.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "HuevaneImplUtil.h"
#include "HuevaneImplementation.h"
#include "HuevaneTestSupport.h"

namespace {

const float IDENTITY[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

std::string calibration(const std::string& luts) {
    return "<Calib_Data><mode name=\"native\" mode_id=\"0\" gamut_name=\"srgb\" gamut_id=\"1\" "
           "intent_name=\"colorimetric\" intent_id=\"0\">" +
           luts + "</mode></Calib_Data>";
}

void appendEntry(std::vector<uint8_t>& parcel, uint8_t id, const std::string& text,
                 uint8_t attr0 = 0xFF) {
    std::vector<uint8_t> header = headerBytes(huevane::getDataHeader(id, text, attr0));
    parcel.insert(parcel.end(), header.begin(), header.end());
    parcel.insert(parcel.end(), text.begin(), text.end());
    parcel.push_back(0);
}

class EngineTest : public ::testing::Test {
  protected:
    // Display 0 with `calibrationText` as its file, or without a file when it is empty.
    HuevaneImplementation& engine(const std::string& calibrationText = "") {
        if (!calibrationText.empty()) mDevice.writeCalibration(0, calibrationText);
        mEngine = std::make_unique<HuevaneImplementation>(0);
        return *mEngine;
    }
    std::vector<uint8_t> update(int32_t expectedResult = 0) {
        std::vector<uint8_t> buffer(mEngine->getColorCoefSize(), 0xAB);
        EXPECT_EQ(expectedResult, mEngine->updateColorCoef(buffer.data()));
        buffer.resize(buffer[2] | buffer[3] << 8);
        return buffer;
    }
    // One extension call: an attribute entry, then LUT entries (node id, text).
    int32_t extend(const char* attributes,
                   const std::vector<std::pair<uint32_t, std::string>>& luts) {
        std::vector<HuevaneExtension> entries{{0, attributes, uint32_t(strlen(attributes))}};
        for (const auto& lut : luts) entries.push_back({lut.first, lut.second.c_str(), 0});
        return mEngine->setColorExtension(entries);
    }

    DeviceTree mDevice;
    LogCapture mLog;
    std::unique_ptr<HuevaneImplementation> mEngine;
};

TEST_F(EngineTest, WorkedExampleParcelAndItsPrint) {
    engine().setLogLevel(3);
    for (int i = 0; i < 7; i++) mEngine->clearDataLuts();
    extend("1 0", {{4, "1,2"}});
    mLog.clear();
    EXPECT_EQ(hexBytes("DA 07 1C 00 0C 00 01 00 DA 00 00 00 DA 04 10 00 0C 00 01 00 FF FF 0A FF "
                       "31 2C 32 00"),
              update());
    std::vector<std::string> lines = mLog.messages();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(0u, lines[0].rfind("printParcel: parcel(", 0));
    EXPECT_EQ((std::vector<std::string>{"[header]", "magic(0xda)", "seq_num(7)", "total_size(28)",
                                        "header_size(12)", "num_data(1)", "[data_header0]",
                                        "magic(0xda)", "id(4)", "crc(0xff0a)", "total_size(16)",
                                        "header_size(12)", "attr0(1)", "attr1(0)", "attr2(255)",
                                        "attr3(255)", "[data0]", "1,2"}),
              std::vector<std::string>(lines.begin() + 1, lines.end()));
}

TEST_F(EngineTest, EmptyParcelsCountTheSequenceAndWrap) {
    engine();
    std::vector<uint8_t> expected = hexBytes("DA 00 0C 00 0C 00 00 00 DA 00 00 00");
    for (int i = 0; i <= 256; i++) {
        EXPECT_EQ(mEngine->getColorCoefSize(), mEngine->getPvxLutSize());
        std::vector<uint8_t> buffer(mEngine->getPvxLutSize());
        // getPvxLut is updateColorCoef under its other name.
        EXPECT_EQ(0, i % 2 ? mEngine->getPvxLut(buffer.data())
                           : mEngine->updateColorCoef(buffer.data()));
        expected[1] = static_cast<uint8_t>(i);
        EXPECT_EQ(expected, std::vector<uint8_t>(buffer.begin(), buffer.begin() + 12)) << i;
    }
}

TEST_F(EngineTest, CoefSizeHasAFloorAndFollowsTheCalibration) {
    EXPECT_EQ(4096, engine().getColorCoefSize());
    // The calibration LUT's text + 13, 124 for the transform, 12 for the parcel header.
    EXPECT_EQ(4096, engine(calibration("<degamma>" + std::string(3947, 'a') + "</degamma>"))
                            .getColorCoefSize());
    EXPECT_EQ(4097, engine(calibration("<degamma>" + std::string(3948, 'a') + "</degamma>"))
                            .getColorCoefSize());
}

TEST_F(EngineTest, SizeMismatchFailsAndKeepsEverythingStaged) {
    engine().setColorTransform(IDENTITY, 0);
    extend("", {{4, std::string(65523, 'a')}});
    std::vector<std::string> failure = {"size mistmatch between data 65523 and header 0-12-1\n",
                                        "failed to fill luts\n"};
    for (int attempt = 0; attempt < 2; attempt++) {
        mLog.clear();
        update(1);
        EXPECT_EQ(failure, mLog.messages());
        // The gamma stage's combined LUT of the failed attempt is still there.
        failure.insert(failure.begin(), "previous lut (1) has not been applied\n");
    }
    // Both failure lines are debug lines, written at every log level.
    EXPECT_EQ(1, mLog.count(ANDROID_LOG_DEBUG, "failed to fill luts\n"));
    HuevaneDataLutList staged = mEngine->createDataLuts();
    ASSERT_EQ(2u, staged.size());
    EXPECT_EQ(4, staged[0].first.id);
    EXPECT_EQ(6, staged[1].first.id);
    // Failed updates did not advance the sequence; the clear does, and drops the bad LUT.
    mEngine->clearDataLuts();
    EXPECT_EQ(hexBytes("DA 01 0C 00 0C 00 00 00 DA 00 00 00"), update());
}

TEST_F(EngineTest, ParcelNeverOutgrowsTheReportedSize) {
    // 12 + 4071 + 13 fills the 4096 bytes exactly; the buffer ends at an unreadable page, so a
    // byte packed or printed past it faults.
    for (size_t length : {4071, 4072, 5000}) {
        engine().setLogLevel(3);
        extend("", {{4, std::string(length, 'a')}});
        GuardedBytes buffer(std::string(mEngine->getColorCoefSize(), '\0'));
        EXPECT_EQ(length == 4071 ? 0 : 1, mEngine->updateColorCoef(buffer.data())) << length;
    }
    // The refusal names the whole parcel's size (12 + 5013 + 60013), not the first entry's.
    extend("", {{5, std::string(60000, 'b')}});
    mLog.clear();
    update(1);
    EXPECT_EQ(1, mLog.count(ANDROID_LOG_ERROR,
                            "parcel needs 65038 bytes, more than the 4096 bytes it may use\n"));
    // Past 65 535 bytes no 16-bit total_size can describe the parcel, however large the buffer:
    // 12 + (32761 + 13) + (32736 + 13) is exactly 65 535.
    for (size_t extra : {0, 1}) {
        engine(calibration("<degamma>" + std::string(32761, 'a') + "</degamma><gamma>" +
                           std::string(32736 + extra, 'b') + "</gamma>"));
        mEngine->setColorMode(0);
        const size_t size = update(extra == 0 ? 0 : 1).size();
        if (extra == 0) {
            EXPECT_EQ(65535u, size);
        }
    }
}

// Caller-given bytes that end right before an unreadable page: the engine reads exactly what
// each interface promises, 16 floats, `size` attribute bytes, a LUT text up to its zero byte.
TEST_F(EngineTest, ReadsStayWithinTheCallersBytes) {
    engine().setLogLevel(3);
    GuardedBytes matrix(IDENTITY, sizeof(IDENTITY));
    EXPECT_EQ(0, mEngine->setColorTransform(reinterpret_cast<const float*>(matrix.data()), 0));
    GuardedBytes attributes("1 2 3 4");  // no zero byte after it
    GuardedBytes text(std::string("abc\0", 4));
    std::vector<HuevaneExtension> entries = {{0, attributes.text(), 7}, {8, text.text(), 0}};
    EXPECT_EQ(0, mEngine->setColorExtension(entries));
    HuevaneDataLutList luts = mEngine->createDataLuts();
    ASSERT_EQ(2u, luts.size());
    std::vector<uint8_t> header = headerBytes(luts[0].first);
    header.resize(10);  // up to the CRC
    EXPECT_EQ(hexBytes("DA 08 10 00 0C 00 01 02 03 04"), header);
    EXPECT_EQ("abc", luts[0].second);
}

TEST_F(EngineTest, LaterLutOfTheSameIdentityReplacesInPlace) {
    engine();
    extend("", {{4, "a"}, {5, "b"}, {4, "cc"}});
    extend("1", {{4, "d"}});
    HuevaneDataLutList luts = mEngine->createDataLuts();
    ASSERT_EQ(3u, luts.size());
    EXPECT_EQ(headerBytes(huevane::getDataHeader(4, "cc")), headerBytes(luts[0].first));
    EXPECT_EQ("cc", luts[0].second);
    EXPECT_EQ("b", luts[1].second);
    EXPECT_EQ("d", luts[2].second);

    // Many identities, each offered twice: every one keeps its first place and its last text.
    std::vector<std::string> attributes;
    attributes.reserve(200);
    for (int i = 0; i < 200; i++)
        attributes.push_back(std::to_string(i % 100) + " " + char('0' + i / 100));
    std::vector<HuevaneExtension> entries;
    entries.reserve(2 * attributes.size());
    for (const std::string& text : attributes) {
        entries.push_back({0, text.c_str(), uint32_t(text.find(' '))});
        entries.push_back({4, text.c_str(), 0});
    }
    mEngine->clearDataLuts();
    mEngine->setColorExtension(entries);
    luts = mEngine->createDataLuts();
    ASSERT_EQ(100u, luts.size());
    for (size_t k = 0; k < luts.size(); k++) EXPECT_EQ(attributes[100 + k], luts[k].second);
}

TEST_F(EngineTest, MatrixFromAllThreeSources) {
    // Colour mode: scale by 1/2; transform: move by (1, 2, 3); extension: scale by (2, 4, 1).
    engine(
            calibration("<degamma att0=\"1\">0</degamma>"
                        "<gamma_matrix>1,32768,0,0,0,0,32768,0,0,0,0,32768,0,0,0,0,65536"
                        "</gamma_matrix>"));
    const float move[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1, 2, 3, 1};
    EXPECT_EQ(0, mEngine->setColorMode(0));
    EXPECT_EQ(0, mEngine->setColorTransform(move, 0));
    const std::string linear = "1,65536,0,0,0,0,65536,0,0,0,0,65536,0,0,0,0,65536";
    extend("", {{11, linear}, {6, "1,131072,0,0,0,0,262144,0,0,0,0,65536,0,0,0,0,65536"}});
    // The stage emits once per source; the last, with all three factors, is what remains.
    // The linear stage's LUT comes after the gamma stage's, whatever the staging order.
    std::vector<uint8_t> expected = hexBytes("DA 00 A6 00 0C 00 03 00 DA 00 00 00");
    appendEntry(expected, 4, "0", 1);
    appendEntry(expected, 6, "1,65536,0,0,0,0,131072,0,0,0,0,32768,0,131072,524288,196608,65536");
    appendEntry(expected, 11, linear);
    EXPECT_EQ(expected, update());
}

TEST_F(EngineTest, OptionalLinesFollowTheLogLevel) {
    engine(calibration("<degamma>0</degamma>"));
    EXPECT_EQ(1, mLog.count(ANDROID_LOG_DEBUG, "HuevaneImplementation init completed"));
    // Each optional line and the lowest level that writes it.
    const std::pair<std::string, int> thresholds[] = {
            {"setColorMode:mode(0)", 2},
            {"setColorModeWithRenderIntent:mode(0), intent(0)", 2},
            {"[supported color modes]", 2},
            {"[supported render intents]", 2},
            {"id[6] attr(255,255,255,255) 1,65536,0,0,0,0,65536,0,0,0,0,65536,0,0,0,0,65536\n", 2},
            {"id[8] attr(1,255,255,255) e\n", 2},
            {"[header]", 3},
    };
    for (int level : {-1, 0, 1, 2, 3, 4}) {
        mLog.clear();
        mEngine->setLogLevel(level);
        mEngine->getColorModes();
        mEngine->getRenderIntents(0);
        mEngine->setColorMode(0);
        mEngine->setColorModeWithRenderIntent(0, 0);
        mEngine->setColorTransform(IDENTITY, 0);
        extend("1", {{8, "e"}});
        update();
        for (const auto& line : thresholds) {
            EXPECT_EQ(level >= line.second ? 1 : 0, mLog.count(ANDROID_LOG_DEBUG, line.first))
                    << line.first << " at level " << level;
        }
        if (level < 2) {
            EXPECT_TRUE(mLog.lines().empty()) << level;
        }
    }
}

}  // namespace
