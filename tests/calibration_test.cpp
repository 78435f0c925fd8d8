// The calibration reader: opening, the walk over mode nodes, LUT nodes, sub documents and lists.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "HuevaneImplColorModeXml.h"
#include "HuevaneTestSupport.h"

namespace {

using D = huevane::HuevaneDocumentRecord;
const std::string kStem = "/vendor/etc/pvx/calib_data_colormode0";
const std::vector<std::string> kNames = {kStem + "_abc.xml", kStem + ".xml"};
const std::string kWrongRoot = "document of the wrong type, root node != Calib_Data\n";

// A complete mode node; `more` adds properties, `body` its children.
std::string modeNode(const std::string& ids, const std::string& body = "",
                     const std::string& more = "") {
    return "<mode name='m' gamut_id='0' gamut_name='g' intent_name='i' " + ids + " " + more + ">" +
           body + "</mode>";
}

std::string calib(const std::string& children) {
    return "<Calib_Data>" + children + "</Calib_Data>";
}

// "path outcome" for each document a reader of `names` finds, as its account records them.
std::vector<std::string> documents(const std::vector<std::string>& names = kNames) {
    huevane::HuevaneCalibrationAccount account;
    HuevaneImplColorModeXml reader(names, &account);
    std::vector<std::string> result;
    for (const D& d : account.documents) {
        if (d.outcome != D::NOT_FOUND) result.push_back(d.path + " " + std::to_string(d.outcome));
    }
    return result;
}

std::vector<std::string> texts(const HuevaneDataLutList& luts) {
    std::vector<std::string> result;
    for (const HuevaneDataLut& lut : luts) result.push_back(lut.second);
    return result;
}

class CalibrationTest : public ::testing::Test {
  protected:
    std::unique_ptr<HuevaneImplColorModeXml> read(const std::string& document,
                                                  const std::vector<std::string>& names = kNames) {
        mTree.writeCalibration(0, document);
        return std::make_unique<HuevaneImplColorModeXml>(names);
    }

    std::vector<std::string> errorLines() const {
        std::vector<std::string> errors;
        for (const LogLine& line : mLog.lines()) {
            if (line.priority == 6) errors.push_back(line.message);
        }
        return errors;
    }

    LogCapture mLog;
    DeviceTree mTree;
};

TEST_F(CalibrationTest, DocumentsThatYieldNothing) {
    const struct {
        std::string document;  // "": no candidate exists
        int32_t status;
        std::vector<std::string> errors;
    } cases[] = {
            {"", 2, {"empty document\n"}},
            {"<Calib_Data", 2, {"empty document\n"}},
            {"<calib_data/>", 1, {kWrongRoot}},
            {"<Calib_Data/>", 0, {}},
            {calib("<group>" + modeNode("mode_id='0' intent_id='0'") + "</group><!-- c -->"), 0, {}},
            {calib("<mode name='m' mode_id='0' gamut_id='0' intent_id='0' intent_name='i'/>"), 0, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.document);
        mLog.clear();
        auto reader = c.document.empty() ? std::make_unique<HuevaneImplColorModeXml>(kNames)
                                         : read(c.document);
        EXPECT_EQ(errorLines(), c.errors);
        // Only a document that parsed is reported opened, by its device path.
        EXPECT_EQ(mLog.count(4, kNames[1] + " opened\n"), c.status == 2 ? 0 : 1);
        EXPECT_TRUE(reader->getColorModeList().empty());
        EXPECT_TRUE(reader->getRenderIntentList(0).empty());
        EXPECT_EQ(reader->buildupColorModeNodes(), c.status);
        mTree.removeFile(kNames[1]);
    }
}

TEST_F(CalibrationTest, IdsReadAsSignedDecimalOrAbsent) {
    const struct {
        const char* text;
        uint32_t id;
    } cases[] = {
            {"12abc", 12},
            {"-1", 0xFFFFFFFF},
            {" +7", 7},
            {"0x10", 0},
            {"-2147483648", 0x80000000},
            {"", 0xFFFFFFFF},
            {"abc", 0xFFFFFFFF},
            {"+ 7", 0xFFFFFFFF},
            {"18446744073709551617", 0xFFFFFFFF},  // 2^64 + 1 must not wrap to 1
            {"2147483647", 0x7FFFFFFF},
            {"2147483648", 0xFFFFFFFF},
            {"-2147483649", 0xFFFFFFFF},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        auto reader = read(calib(modeNode(std::string("intent_id='0' mode_id='") + c.text + "'")));
        ASSERT_EQ(reader->getColorModeList().size(), 1u);
        EXPECT_EQ(reader->getColorModeList()[0].modeId, c.id);
    }
}

TEST_F(CalibrationTest, LutNodesBecomeDataLuts) {
    auto reader = read(
            "<!DOCTYPE Calib_Data [<!ENTITY f 'F'><!ENTITY e '1&f;<i>k</i>2'>]>" +
            calib(modeNode(
                          "mode_id='0' intent_id='1'",
                          "\n <degamma att0='1'>abc</degamma>\n <!-- a comment -->\n"
                          " <unknown att0='7'>zzz</unknown>\n"
                          " <gamma_matrix att0='0' att1='2' att2='3' att3='4'>xyz0</gamma_matrix>\n"
                          " <gamma/>\n") +
                  modeNode("mode_id='1' intent_id='0'",
                           "<atc att0='300' att1='-1' att2='x'>a&amp;b\n c</atc><atc>2</atc>") +
                  // Elements inside a LUT node, or inside an entity, add nothing to the text.
                  modeNode("mode_id='2' intent_id='0'", "<de>x<b>y</b>&e;z<![CDATA[<c>]]></de>")));
    const HuevaneDataLutList luts = reader->getDataLuts(0, 1);
    ASSERT_EQ(luts.size(), 3u);
    EXPECT_EQ(headerBytes(luts[0].first), hexBytes("DA 04 10 00 0C 00 01 FF FF FF CD FF"));
    EXPECT_EQ(headerBytes(luts[1].first), hexBytes("DA 06 11 00 0C 00 00 02 03 04 07 FF"));
    EXPECT_EQ(headerBytes(luts[2].first), hexBytes("DA 05 0D 00 0C 00 FF FF FF FF BC FF"));
    EXPECT_EQ(texts(luts), (std::vector<std::string>{"abc", "xyz0", ""}));

    const HuevaneDataLutList atc = reader->getDataLuts(1, 0);
    EXPECT_EQ(texts(atc), (std::vector<std::string>{"a&b\n c", "2"}));
    ASSERT_EQ(atc.size(), 2u);
    const pvx_colormode_data_header& h = atc[0].first;
    EXPECT_EQ(std::vector<int>({h.id, h.attr0, h.attr1, h.attr2, h.attr3}),
              std::vector<int>({12, 44, 255, 255, 255}));
    EXPECT_EQ(texts(reader->getDataLuts(2, 0)), std::vector<std::string>{"x1F2z<c>"});
    EXPECT_EQ(reader->getDataLutsMaxSize(), 46);
}

TEST_F(CalibrationTest, LaterModeNodeReplacesAndMaxSizeKeepsTheLargestSum) {
    auto lut = [](size_t total) { return "<hsc>" + std::string(total - 13, 'x') + "</hsc>"; };
    auto reader = read(calib(modeNode("mode_id='0' intent_id='0'", lut(100)) +
                             modeNode("mode_id='1' intent_id='2'", lut(300)) +
                             modeNode("mode_id='1' intent_id='2'", lut(30) + lut(20))));
    EXPECT_EQ(reader->getDataLutsMaxSize(), 300);
    EXPECT_EQ(texts(reader->getDataLuts(1, 2)),
              (std::vector<std::string>{std::string(17, 'x'), std::string(7, 'x')}));
    EXPECT_TRUE(reader->getDataLuts(2, 1).empty());  // same hash, different key
}

TEST_F(CalibrationTest, SubDocumentSuppliesTheLutsOfItsModeNode) {
    const std::string own = "<degamma>own</degamma>";
    const std::string tune = "<mode name='tune'>\n <gamma att0='2'>abc</gamma>\n</mode>";
    const struct {
        std::string path;  // where the sub document lies; "" for nowhere
        std::string content;
        std::vector<std::string> expected;
        size_t wrongRootLines;
        D::Outcome outcome;  // of the sub document, as the reader records it
    } cases[] = {
            {kStem + "_abc_enhance.xml", calib(tune), {"abc"}, 0, D::USED},
            {kStem + "_enhance.xml", calib(tune), {"abc"}, 0, D::USED},
            {"", "", {"own"}, 0, D::NOT_FOUND},
            {kStem + "_enhance.xml", "<Other>" + tune + "</Other>", {"own"}, 1, D::WRONG_ROOT},
            {kStem + "_enhance.xml",
             calib("<mode name='tune'/>" + tune),
             {"own"},
             0,
             D::EMPTY_TUNE_MODE},
            {kStem + "_enhance.xml",
             calib("<mode name='Tune'><gamma>x</gamma></mode>"),
             {"own"},
             0,
             D::NO_TUNE_MODE},
            {kStem + "_enhance.xml", calib("<mode name='tune'> <!-- c --> </mode>"), {}, 0, D::USED},
            {kStem + "_enhance.xml", calib(tune) + "<x", {"own"}, 0, D::NOT_PARSED},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path + " " + c.content);
        mLog.clear();
        if (!c.path.empty()) mTree.writeFile(c.path, c.content);
        // The next mode node's LUTs come after the skipped own ones, out of document order.
        auto reader = read(calib(modeNode("mode_id='0' intent_id='1'", own, "subxml='enhance'") +
                                 modeNode("mode_id='1' intent_id='1'", "<hsc>next</hsc>")));
        const HuevaneDataLutList luts = reader->getDataLuts(0, 1);
        EXPECT_EQ(texts(luts), c.expected);
        EXPECT_EQ(texts(reader->getDataLuts(1, 1)), std::vector<std::string>{"next"});
        if (c.expected == std::vector<std::string>{"abc"}) {
            EXPECT_EQ(headerBytes(luts[0].first), hexBytes("DA 05 10 00 0C 00 02 FF FF FF CD FF"));
            EXPECT_EQ(mLog.count(4, c.path + " opened\n"), 1);
        }
        EXPECT_EQ(errorLines(), std::vector<std::string>(c.wrongRootLines, kWrongRoot));
        std::vector<std::string> found = {kNames[1] + " " + std::to_string(D::USED)};
        if (!c.path.empty()) found.push_back(c.path + " " + std::to_string(c.outcome));
        EXPECT_EQ(documents(), found);
        mTree.removeFile(c.path);
    }
}

TEST_F(CalibrationTest, SubDocumentNamesFollowTheCandidatesAndSkipThoseWithoutXml) {
    auto tune = [](const char* text) {
        return calib(std::string("<mode name='tune'><gamma>") + text + "</gamma></mode>");
    };
    mTree.writeFile(kStem + "_abc_enhance", tune("a"));
    mTree.writeFile(kStem + "_abc_enhance.xml", tune("b"));
    mTree.writeFile(kStem + "_enhance.xml", tune("c"));
    const std::string main = calib(modeNode("mode_id='0' intent_id='1'", "", "subxml='enhance'"));
    EXPECT_EQ(texts(read(main)->getDataLuts(0, 1)), std::vector<std::string>{"b"});
    EXPECT_EQ(texts(read(main, {kStem + "_abc", kStem + ".xml"})->getDataLuts(0, 1)),
              std::vector<std::string>{"c"});
}

// The reader's example document (its LUTs aside), then nodes that differ in one field each.
TEST_F(CalibrationTest, ModeAndIntentListsDropOnlyExactDuplicates) {
    auto node = [](const char* name, const char* mode, const char* gamut, const char* intent,
                   const char* intentName) {
        return std::string("<mode name='") + name + "' mode_id='" + mode + "' gamut_id='" + gamut +
               "' gamut_name='g' intent_id='" + intent + "' intent_name='" + intentName + "'/>";
    };
    auto reader = read(calib(
            node("standard", "0", "0", "0", "colorimetric") +
            node("standard", "0", "0", "1", "enhance") +
            node("vivid", "9", "2", "0", "colorimetric") +
            "<mode name='partial' mode_id='3' gamut_id='1' gamut_name='srgb' "
            "intent_id='0'/>" +
            node("standard", "0", "0", "1", "enhance") + node("Standard", "0", "0", "2", "vivid") +
            node("standard", "0", "5", "2", "other") + node("standard", "0", "0", "3", "enhance") +
            node("neg", "-1", "-1", "-1", "x")));
    mLog.clear();
    reader->dumpColorModeList();
    for (uint32_t mode : {0u, 9u, 0xFFFFFFFFu, 3u}) reader->dumpRenderIntentList(mode);
    const std::vector<std::string> expected = {
            "[supported color modes]",
            "dumpColorModeList: modeId(0), gamutId(0), modeName(standard)",
            "dumpColorModeList: modeId(9), gamutId(2), modeName(vivid)",
            "dumpColorModeList: modeId(0), gamutId(0), modeName(Standard)",
            "dumpColorModeList: modeId(0), gamutId(5), modeName(standard)",
            "dumpColorModeList: modeId(-1), gamutId(-1), modeName(neg)",
            "[supported render intents]",
            "dumpRenderIntentList: intentId(0), intentName(colorimetric))",
            "dumpRenderIntentList: intentId(1), intentName(enhance))",
            "dumpRenderIntentList: intentId(2), intentName(vivid))",
            "dumpRenderIntentList: intentId(2), intentName(other))",
            "dumpRenderIntentList: intentId(3), intentName(enhance))",
            "[supported render intents]",
            "dumpRenderIntentList: intentId(0), intentName(colorimetric))",
            "[supported render intents]",
            "dumpRenderIntentList: intentId(-1), intentName(x))",
            "[supported render intents]",
    };
    EXPECT_EQ(mLog.messages(), expected);
    EXPECT_EQ(mLog.count(3, "[supported color modes]"), 1);
    EXPECT_EQ(reader->getRenderIntentList(0xFFFFFFFF)[0].intentId, 0xFFFFFFFFu);
    EXPECT_TRUE(reader->getRenderIntentList(3).empty());
}

}  // namespace
