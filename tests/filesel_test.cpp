// Which calibration file a display uses, and how the colour-mode source stages its LUTs.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "HuevaneImplColorMode.h"
#include "HuevaneImplUtil.h"
#include "HuevaneTestSupport.h"

namespace {

const std::string kStem = "/vendor/etc/pvx/calib_data_colormode";

struct TargetNameCase {
    uint32_t display;
    bool nodeExists;
    std::string node;       // the sysfs node's bytes, zero bytes included
    std::string suffix;     // what follows the stem and display id in candidate 1
    std::string debugLine;  // the one debug line expected, or "" for none
};

TEST(FileSelectionTest, TargetNameShapesTheFirstCandidate) {
    const std::string name127 = std::string(126, 'a') + "\n";
    const TargetNameCase cases[] = {
            {0, true, "abc.xml\n", "_abc.xml", ""},
            {0, true, "abc\n", "_abc", ""},
            {1, true, "abc", "_ab", ""},
            {12, true, "t.xml\n", "_t.xml", ""},
            {1, false, "", ".xml", "no target name is found(fd(-1))"},
            {0, true, "", ".xml", "out of range of target name (rd_len:0)"},
            {0, true, "\n", "_", ""},
            {0, true, name127, "_" + std::string(126, 'a'), ""},
            {0, true, name127 + "b", ".xml", "out of range of target name (rd_len:128)"},
            {0, true, std::string(4096, 'c'), ".xml", "out of range of target name (rd_len:128)"},
            {0, true, std::string("\0abc\n", 5), "_", ""},
            {0, true, std::string("abc\0more\n", 9), "_ab", ""},
    };
    for (const TargetNameCase& c : cases) {
        SCOPED_TRACE("display " + std::to_string(c.display) + " node '" + c.node + "'");
        DeviceTree tree;
        LogCapture log;
        if (c.nodeExists) tree.writeTargetName(c.display, c.node);
        const std::string prefix = kStem + std::to_string(c.display);
        EXPECT_EQ(HuevaneImplColorMode::getXmlNames(c.display),
                  (std::vector<std::string>{prefix + c.suffix, prefix + ".xml"}));
        EXPECT_EQ(log.lines().size(), c.debugLine.empty() ? 0u : 1u);
        if (!c.debugLine.empty()) {
            EXPECT_EQ(log.count(3, c.debugLine), 1);
        }
    }
}

TEST(FileSelectionTest, IsExistNeedsOneExistingNonEmptyName) {
    DeviceTree tree;
    tree.writeCalibration(0, "<Calib_Data/>");
    const std::string present = kStem + "0.xml";
    const std::string missing = kStem + "0_abc.xml";
    // An empty name would otherwise name the device root itself, which always exists.
    EXPECT_FALSE(HuevaneImplUtil::isExist({"", ""}));
    EXPECT_FALSE(HuevaneImplUtil::isExist({missing, missing}));
    EXPECT_TRUE(HuevaneImplUtil::isExist({missing, present}));
    EXPECT_TRUE(HuevaneImplUtil::isExist({"", present}));
}

TEST(StagingTest, OnlyPairsAreAcceptedAndEachReplacesWhatWasStaged) {
    DeviceTree tree;
    tree.writeCalibration(0,
                          "<Calib_Data><mode name='s' mode_id='0' gamut_id='0' gamut_name='g' "
                          "intent_id='0' intent_name='c'><gamma>g0</gamma></mode>"
                          "<mode name='s' mode_id='0' gamut_id='0' gamut_name='g' intent_id='1' "
                          "intent_name='e'><degamma att0='1'>abc</degamma><atc>a1</atc></mode>"
                          "</Calib_Data>");
    HuevaneImplColorMode source(0);
    auto staged = [&source] {
        std::vector<std::string> texts;
        for (const HuevaneDataLut& lut : source.getDataLuts()) texts.push_back(lut.second);
        return texts;
    };
    LogCapture log;
    EXPECT_EQ(source.setDataLuts({0, 1}), 0);
    source.dumpDataLuts();
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"id4 attr(1,255,255,255) abc\n",
                                                        "id12 attr(255,255,255,255) a1\n"}));
    EXPECT_EQ(source.setDataLuts({0}), 1);
    EXPECT_EQ(source.setDataLuts({0, 0, 0}), 1);
    EXPECT_EQ(staged(), (std::vector<std::string>{"abc", "a1"}));
    EXPECT_EQ(source.setDataLuts({0, 0}), 0);
    EXPECT_EQ(staged(), std::vector<std::string>{"g0"});
    source.clearDataLuts();
    EXPECT_TRUE(staged().empty());
    EXPECT_EQ(source.setDataLuts({0, 1}), 0);
    EXPECT_EQ(source.setDataLuts({1, 0}), 0);  // mode and intent swapped: no such pair
    EXPECT_TRUE(staged().empty());
    EXPECT_EQ(source.getDataLutsMaxSize(), 16 + 15);
}

}  // namespace
