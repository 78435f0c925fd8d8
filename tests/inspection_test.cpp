// The inspection: its account of every update must be the engine's own parcel, and its account
// of a calibration must say what the reader met, where.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "HuevaneImplMatrix.h"
#include "HuevaneInspection.h"
#include "HuevaneParcelReader.h"
#include "HuevaneTestSupport.h"

namespace {

using huevane::HuevaneDocumentRecord;
using huevane::HuevaneInspection;
using huevane::HuevaneReaderNote;

const std::string SAMPLE_DEVICE = std::string(HUEVANE_SOURCE_DIR) + "/examples/device";
const float WARM[16] = {1, 0, 0, 0, 0, 0.93f, 0, 0, 0, 0, 0.82f, 0, 0, 0, 0, 1};
const std::string MATRIX = "1,60000,1234,-567,0,2345,61000,890,0,-123,456,64000,0,0,0,0,65536";

// The parcel an engine made by createInstance writes for the same calls.
std::vector<uint8_t> compositorParcel(uint32_t display, uint32_t mode, uint32_t intent,
                                      const float* transform,
                                      std::vector<HuevaneExtension> extensions) {
    std::unique_ptr<IHuevane, void (*)(IHuevane*)> engine(createInstance(display), destroyInstance);
    engine->setColorModeWithRenderIntent(mode, intent);
    if (transform != nullptr) engine->setColorTransform(transform, 0);
    if (!extensions.empty()) engine->setColorExtension(extensions);
    std::vector<uint8_t> buffer(engine->getColorCoefSize());
    if (engine->updateColorCoef(buffer.data()) != 0) return {};
    buffer.resize(buffer[2] | buffer[3] << 8);
    return buffer;
}

// Every request of the sample device: the inspected parcel is the compositor's, byte for byte,
// and each entry's account fits it: sizes and CRCs as written, stored LUTs where the account
// says they were written, stage entries carrying the product of their factors.
TEST(InspectionTest, EveryEntryIsTheEnginesOwn) {
    LogCapture quiet;
    const std::vector<HuevaneExtension> extensions = {{0, "1 2 3", 5},
                                                      {6, MATRIX.c_str(), 0},
                                                      {8, "1,2,3", 0},
                                                      {13, "ignored", 0},
                                                      {4, "0,16,32,64", 0}};
    size_t entries = 0, staged = 0;
    for (uint32_t display : {0u, 1u}) {
        auto inspection = HuevaneInspection::openDisplay(SAMPLE_DEVICE, display);
        for (const huevane::HuevaneStoredPair& pair : inspection->getPairs()) {
            for (int request = 0; request < 3; request++) {
                const float* transform = request > 0 ? WARM : nullptr;
                const auto added = request == 2 ? extensions : std::vector<HuevaneExtension>();
                SCOPED_TRACE(std::to_string(display) + "/" + std::to_string(pair.mode.modeId) +
                             "/" + std::to_string(pair.intent.intentId) + " request " +
                             std::to_string(request));
                IHuevane& engine = inspection->getEngine();
                inspection->reset();
                engine.setColorModeWithRenderIntent(pair.mode.modeId, pair.intent.intentId);
                if (transform != nullptr) engine.setColorTransform(transform, 0);
                auto copy = added;
                if (!added.empty()) engine.setColorExtension(copy);
                huevane::HuevaneInspectedParcel parcel = inspection->update(added);
                ASSERT_TRUE(parcel.built);
                // A fresh engine's parcel, but for the sequence number the inspection moved on.
                parcel.bytes[1] = 0;
                ASSERT_EQ(parcel.bytes, compositorParcel(display, pair.mode.modeId,
                                                         pair.intent.intentId, transform, added));
                const HuevaneDecodedParcel read =
                        readParcel(parcel.bytes.data(), parcel.bytes.size());
                ASSERT_EQ(parcel.entries.size(), read.entries.size());
                for (size_t k = 0; k < read.entries.size(); k++) {
                    const huevane::HuevaneParcelEntry& entry = parcel.entries[k];
                    EXPECT_EQ(entry.offset, read.entries[k].offset);
                    EXPECT_EQ(entry.sent.second, read.entries[k].text);
                    EXPECT_EQ(entry.sent.first.total_size, read.entries[k].header.total_size);
                    EXPECT_EQ(entry.sent.first.crc, read.entries[k].crc);
                    if (entry.origin.sourceKind == huevane::SOURCE_KIND_COLOR_MODE) {
                        staged++;
                        bool written = false;
                        for (const huevane::HuevaneLutRecord& lut : inspection->getAccount().luts) {
                            written |= lut.place.line == entry.origin.place.line &&
                                       lut.place.document == entry.origin.place.document &&
                                       lut.lut.second == entry.stored.second;
                        }
                        EXPECT_TRUE(written) << k;
                    }
                    if (entry.origin.sourceKind == huevane::SOURCE_KIND_EXTENSION) {
                        EXPECT_EQ(entry.stored.second, extensions[entry.origin.extensionEntry].data);
                    }
                    if (entry.stage != 0) {
                        // A fresh stage given the factors, the rightmost first, sends the same.
                        HuevaneImplMatrix stage(entry.stage);
                        for (size_t f = entry.factors.size(); f-- > 0;) {
                            const std::string text = huevane::getMatrixTextFromFloats(
                                    entry.factors[f].matrix.data(), 16);
                            stage.setDataLuts(static_cast<int>(entry.factors.size() - 1 - f),
                                              {huevane::getDataHeader(entry.stage, text), text});
                        }
                        ASSERT_FALSE(stage.getDataLuts().empty());
                        EXPECT_EQ(stage.getDataLuts().back().second, entry.sent.second);
                    }
                    entries++;
                }
            }
        }
    }
    EXPECT_GT(entries, 100u);
    EXPECT_GT(staged, 30u);
}

// A failed update keeps the size rule's numbers.
TEST(InspectionTest, ARefusedParcelSaysWhatItNeeded) {
    LogCapture quiet;
    DeviceTree device;
    device.writeCalibration(0, "<Calib_Data/>");
    auto inspection = HuevaneInspection::openDisplay(device.root(), 0);
    const std::string text(5000, 'a');
    std::vector<HuevaneExtension> extensions = {{4, text.c_str(), 0}};
    inspection->getEngine().setColorExtension(extensions);
    const huevane::HuevaneInspectedParcel parcel = inspection->update(extensions);
    EXPECT_FALSE(parcel.built);
    EXPECT_EQ(parcel.neededSize, 12 + 5000 + 13);
    EXPECT_EQ(parcel.limit, 4096);
}

// What the reader met, as its account keeps it: every document with its outcome, and every
// element passed over or read other than as written, at its line.
TEST(InspectionTest, TheAccountSaysWhatTheReaderMetAndWhere) {
    LogCapture quiet;
    DeviceTree device;
    const std::string stem = "/vendor/etc/pvx/calib_data_colormode0";
    device.writeTargetName(0, "panel.xml\n");
    device.writeFile(stem + "_panel.xml", "<Calib_Data><mode");
    device.writeFile(stem + "_panel_tune.xml", "<Calib_Data><mode name='x'/></Calib_Data>");
    device.writeCalibration(
            0,
            "<Calib_Data>\n"
            "<version/>\n"
            "<mode name='a' mode_id='1x' gamut_id='0' gamut_name='g' intent_id='-1' "
            "intent_name='i'>\n"
            "  <gama/>\n"
            "  <degamma att0='300'>1,2</degamma>\n"
            "</mode>\n"
            "<mode name='b' mode_id='2' gamut_id='0'/>\n"
            "<mode name='a' mode_id='1' gamut_id='0' gamut_name='g' intent_id='4294967295' "
            "intent_name='i' subxml='tune'>\n"
            "  <gamma>3</gamma>\n"
            "</mode>\n"
            "<mode name='c' mode_id='3' gamut_id='0' gamut_name='g' intent_id='0' "
            "intent_name='i' subxml='none'/>\n"
            "</Calib_Data>\n");
    auto inspection = HuevaneInspection::openDisplay(device.root(), 0);
    const huevane::HuevaneCalibrationAccount& account = inspection->getAccount();
    EXPECT_EQ(account.targetName.outcome, huevane::HuevaneTargetNameRecord::READ);
    EXPECT_EQ(account.targetName.node, "/sys/class/pvx/pvx/xml");
    EXPECT_EQ(account.targetName.name, "panel.xml");

    using D = HuevaneDocumentRecord;
    std::vector<std::tuple<std::string, int, bool>> documents;
    for (const D& d : account.documents)
        documents.emplace_back(d.path.substr(stem.size()), d.outcome, d.sub);
    EXPECT_EQ(documents, (decltype(documents){{"_panel.xml", D::NOT_PARSED, false},
                                              {".xml", D::USED, false},
                                              {"_panel_tune.xml", D::NO_TUNE_MODE, true},
                                              {"_panel_none.xml", D::NOT_FOUND, true},
                                              {"_none.xml", D::NOT_FOUND, true}}));

    using N = HuevaneReaderNote;
    std::vector<std::tuple<int, int, std::string, std::string>> notes;
    for (const N& n : account.notes) notes.emplace_back(n.place.line, n.kind, n.name, n.text);
    EXPECT_EQ(notes,
              (decltype(notes){{2, N::NOT_A_MODE_NODE, "version", ""},
                               {3, N::NUMBER, "mode_id", "1x"},
                               {3, N::NUMBER, "intent_id", "-1"},
                               {4, N::NOT_A_LUT_NODE, "gama", ""},
                               {5, N::NUMBER, "att0", "300"},
                               {7, N::MODE_INCOMPLETE, "b", "gamut_name, intent_name, intent_id"},
                               {8, N::KEY_REPEATED, "a", ""},
                               {8, N::SUBXML_NOT_USED, "subxml", "tune"},
                               {11, N::SUBXML_NOT_FOUND, "subxml", "none"}}));
    EXPECT_EQ(account.notes[6].earlier.line, 3);

    // The stored LUTs of (1, 4294967295) are the later mode node's own, at their lines; every
    // LUT node read stays in the account, the replaced ones too.
    const std::vector<huevane::HuevaneStoredLut> stored = inspection->getStoredLuts(1, 0xFFFFFFFF);
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_EQ(stored[0].lut.second, "3");
    EXPECT_EQ(stored[0].place.line, 9);
    ASSERT_EQ(account.luts.size(), 2u);
    EXPECT_EQ(account.luts[0].place.line, 5);
    EXPECT_EQ(account.luts[0].lut.first.attr0, 44);
    EXPECT_EQ(inspection->getHostPath(stored[0].place.document), device.hostPath(stem + ".xml"));
}

}  // namespace
