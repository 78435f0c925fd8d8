// huevane-tool's colour model against published values (colour spaces, Bradford, CIEDE2000, the
// CIE 1931 observer, ColorChecker), against an independent computation on ICC profiles Debian
// ships, and the colour commands on the sample device.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "HuevaneColour.h"
#include "HuevaneColourAccuracy.h"
#include "HuevaneColourData.h"
#include "HuevanePanel.h"
#include "HuevaneTool.h"

namespace {

using Json = nlohmann::json;

const std::string SOURCE = HUEVANE_SOURCE_DIR;
const std::string DEVICE = SOURCE + "/examples/device";
const std::string PANEL = SOURCE + "/examples/panel/demo_panel.json";
const std::string ICC = "/usr/share/color/icc/";

struct ToolRun {
    int status;
    std::string out;
    std::string err;
};

ToolRun runTool(const std::vector<std::string>& args) {
    std::ostringstream out, err;
    const int status = runHuevaneTool(args, out, err);
    return {status, out.str(), err.str()};
}

Json runJson(const std::vector<std::string>& args, int status = 0) {
    std::vector<std::string> withJson = args;
    withJson.insert(withJson.begin(), "--json");
    const ToolRun run = runTool(withJson);
    EXPECT_EQ(run.status, status) << run.err;
    return Json::parse(run.out);
}

std::string scratch(const std::string& name, const std::string& content) {
    std::string path = ::testing::TempDir() + "huevane_colour_" + name;
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

bool haveDebianProfiles() {
    return access((ICC + "colord/sRGB.icc").c_str(), R_OK) == 0 &&
           access((ICC + "sRGB.icc").c_str(), R_OK) == 0;
}

// Skipped where the profiles are missing, except in CI (HUEVANE_REQUIRE_TEST_DATA), where a
// skip would pass unseen.
#define REQUIRE_DEBIAN_PROFILES()                                                          \
    if (!haveDebianProfiles()) {                                                           \
        const char* missing =                                                              \
                "colord-data and icc-profiles-free are not installed (make deps installs " \
                "them)";                                                                   \
        if (getenv("HUEVANE_REQUIRE_TEST_DATA") != nullptr) FAIL() << missing;             \
        GTEST_SKIP() << missing;                                                           \
    }

// ---- Published values ----------------------------------------------------------------------

struct SpacePrimaries {
    const char* name;
    double rx, ry, gx, gy, bx, by;
};

// ITU-R BT.709 (sRGB), SMPTE EG 432-1 (Display P3), ITU-R BT.2020; all with the D65 white.
TEST(ColourSpaces, PrimariesAndWhiteArePublished) {
    for (const SpacePrimaries& s :
         {SpacePrimaries{"srgb", 0.64, 0.33, 0.30, 0.60, 0.15, 0.06},
          SpacePrimaries{"display-p3", 0.68, 0.32, 0.265, 0.69, 0.15, 0.06},
          SpacePrimaries{"bt2020", 0.708, 0.292, 0.17, 0.797, 0.131, 0.046}}) {
        auto space = HuevaneColourSpace::fromName(s.name);
        ASSERT_NE(space, nullptr) << s.name;
        const double expected[3][2] = {{s.rx, s.ry}, {s.gx, s.gy}, {s.bx, s.by}};
        for (int c = 0; c < 3; c++) {
            HuevaneRgb unit = {0, 0, 0};
            unit[c] = 1;
            const HuevaneXy xy = getChromaticity(space->toNative(space->toPcs(unit)));
            EXPECT_NEAR(xy.x, expected[c][0], 1e-4) << s.name << " primary " << c;
            EXPECT_NEAR(xy.y, expected[c][1], 1e-4) << s.name << " primary " << c;
        }
        const HuevaneXy white = getChromaticity(space->getNativeWhite());
        EXPECT_NEAR(white.x, 0.3127, 1e-4) << s.name;
        EXPECT_NEAR(white.y, 0.3290, 1e-4) << s.name;
    }
    // IEC 61966-2-1: signal 0.5 is 0.2140 linear; 0.04045 ends the straight segment.
    auto srgb = HuevaneColourSpace::fromName("srgb");
    EXPECT_NEAR(srgb->toLinear(0, 0.5), 0.21404, 1e-5);
    EXPECT_NEAR(srgb->toLinear(1, 0.04045), 0.04045 / 12.92, 1e-6);
    EXPECT_EQ(HuevaneColourSpace::fromName("adobe"), nullptr);
}

// Bradford, D65 to D50, with the whites it is usually published for.
TEST(ColourMaths, BradfordMatrixIsPublished) {
    const HuevaneMatrix3 m = getBradfordMatrix({0.95047, 1, 1.08883}, {0.96422, 1, 0.82521});
    const HuevaneMatrix3 published = {1.0478112,  0.0228866,  -0.0501270, 0.0295424, 0.9904844,
                                      -0.0170491, -0.0092345, 0.0150436,  0.7521316};
    for (int k = 0; k < 9; k++) EXPECT_NEAR(m[k], published[k], 5e-6) << "element " << k;
}

struct DeltaPair {
    HuevaneLab a, b;
    double deltaE;
};

// Sharma, Wu and Dalal (2005), "The CIEDE2000 color-difference formula: implementation notes,
// supplementary test data and mathematical observations", table 1.
TEST(ColourMaths, Ciede2000MatchesThePublishedTestData) {
    const DeltaPair pairs[] = {
            {{50, 2.6772, -79.7751}, {50, 0, -82.7485}, 2.0425},
            {{50, 3.1571, -77.2803}, {50, 0, -82.7485}, 2.8615},
            {{50, 2.8361, -74.0200}, {50, 0, -82.7485}, 3.4412},
            {{50, -1.3802, -84.2814}, {50, 0, -82.7485}, 1.0000},
            {{50, -1.1848, -84.8006}, {50, 0, -82.7485}, 1.0000},
            {{50, -0.9009, -85.5211}, {50, 0, -82.7485}, 1.0000},
            {{50, 0, 0}, {50, -1, 2}, 2.3669},
            {{50, -1, 2}, {50, 0, 0}, 2.3669},
            {{50, 2.4900, -0.0010}, {50, -2.4900, 0.0009}, 7.1792},
            {{50, 2.4900, -0.0010}, {50, -2.4900, 0.0010}, 7.1792},
            {{50, 2.4900, -0.0010}, {50, -2.4900, 0.0011}, 7.2195},
            {{50, 2.4900, -0.0010}, {50, -2.4900, 0.0012}, 7.2195},
            {{50, -0.0010, 2.4900}, {50, 0.0009, -2.4900}, 4.8045},
            {{50, -0.0010, 2.4900}, {50, 0.0010, -2.4900}, 4.8045},
            {{50, -0.0010, 2.4900}, {50, 0.0011, -2.4900}, 4.7461},
            {{50, 2.5, 0}, {50, 0, -2.5}, 4.3065},
            {{50, 2.5, 0}, {73, 25, -18}, 27.1492},
            {{50, 2.5, 0}, {61, -5, 29}, 22.8977},
            {{50, 2.5, 0}, {56, -27, -3}, 31.9030},
            {{50, 2.5, 0}, {58, 24, 15}, 19.4535},
            {{50, 2.5, 0}, {50, 3.1736, 0.5854}, 1.0000},
            {{50, 2.5, 0}, {50, 3.2972, 0}, 1.0000},
            {{50, 2.5, 0}, {50, 1.8634, 0.5757}, 1.0000},
            {{50, 2.5, 0}, {50, 3.2592, 0.3350}, 1.0000},
            {{60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387}, 1.2644},
            {{63.0109, -31.0961, -5.8663}, {62.8187, -29.7946, -4.0864}, 1.2630},
            {{61.2901, 3.7196, -5.3901}, {61.4292, 2.2480, -4.9620}, 1.8731},
            {{35.0831, -44.1164, 3.7933}, {35.0232, -40.0716, 1.5901}, 1.8645},
            {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}, 2.0373},
            {{36.4612, 47.8580, 18.3852}, {36.2715, 50.5065, 21.2231}, 1.4146},
            {{90.8027, -2.0831, 1.4410}, {91.1528, -1.6435, 0.0447}, 1.4441},
            {{90.9257, -0.5406, -0.9208}, {88.6381, -0.8985, -0.7239}, 1.5381},
            {{6.7747, -0.2908, -2.4247}, {5.8714, -0.0985, -2.2286}, 0.6377},
            {{2.0776, 0.0795, -1.1350}, {0.9033, -0.0636, -0.5514}, 0.9082},
    };
    for (size_t k = 0; k < sizeof(pairs) / sizeof(pairs[0]); k++) {
        EXPECT_NEAR(getDeltaE2000(pairs[k].a, pairs[k].b), pairs[k].deltaE, 5e-5)
                << "pair " << k + 1;
    }
}

// CIE 15:2004: the observer's equal-energy white, the spectral locus, and the colour temperature
// and duv of illuminants D65 (6504 K, +0.0032) and A (2856 K, on the locus).
TEST(ColourMaths, ObserverLocusAndTemperatureArePublished) {
    HuevaneXyz sum;
    for (const HuevaneObserverRow& row : CIE1931_2DEG) {
        sum.X += row.x;
        sum.Y += row.y;
        sum.Z += row.z;
    }
    EXPECT_NEAR(getChromaticity(sum).x, 1.0 / 3, 2e-5);
    EXPECT_NEAR(getChromaticity(sum).y, 1.0 / 3, 2e-5);
    EXPECT_NEAR(sum.Y, 21.3714, 1e-3);
    const struct {
        size_t row;
        double x, y;
    } locus[] = {{0, 0.1741, 0.0050},
                 {24, 0.0082, 0.5384},
                 {28, 0.0743, 0.8338},
                 {44, 0.6270, 0.3725},
                 {64, 0.7347, 0.2653}};
    for (const auto& point : locus) {
        const HuevaneObserverRow& row = CIE1931_2DEG[point.row];
        const HuevaneXy xy = getChromaticity({row.x, row.y, row.z});
        EXPECT_NEAR(xy.x, point.x, 1e-4) << row.wavelength << " nm";
        EXPECT_NEAR(xy.y, point.y, 1e-4) << row.wavelength << " nm";
    }
    const HuevaneWhitePoint d65 = getWhitePoint(getXyz({0.31271, 0.32902}, 1));
    EXPECT_NEAR(d65.cct, 6504, 2);
    EXPECT_NEAR(d65.duv, 0.0032, 1e-4);
    const HuevaneWhitePoint a = getWhitePoint(getXyz({0.44757, 0.40745}, 1));
    EXPECT_NEAR(a.cct, 2856, 2);
    EXPECT_NEAR(a.duv, 0, 1e-4);
}

// The chart's maker published each patch's sRGB too, from other measurements than the L*a*b*
// table: neutral patches agree closely, coloured ones within a few units.
TEST(ColourMaths, ColorCheckerAgreesWithItsPublishedSrgb) {
    const int published[24][3] = {
            {115, 82, 68},   {194, 150, 130}, {98, 122, 157}, {87, 108, 67},   {133, 128, 177},
            {103, 189, 170}, {214, 126, 44},  {80, 91, 166},  {193, 90, 99},   {94, 60, 108},
            {157, 188, 64},  {224, 163, 46},  {56, 61, 150},  {70, 148, 73},   {175, 54, 60},
            {231, 199, 31},  {187, 86, 149},  {8, 133, 161},  {243, 243, 242}, {200, 200, 200},
            {160, 160, 160}, {122, 122, 121}, {85, 85, 85},   {52, 52, 52}};
    auto srgb = HuevaneColourSpace::fromName("srgb");
    for (size_t k = 0; k < COLORCHECKER_PATCHES; k++) {
        const HuevaneChartPatch& patch = COLORCHECKER_CLASSIC_D50[k];
        const HuevaneRgb signal = {published[k][0] / 255.0, published[k][1] / 255.0,
                                   published[k][2] / 255.0};
        const double deltaE =
                getDeltaE2000(getLab(srgb->toPcs(signal)), {patch.L, patch.a, patch.b});
        EXPECT_LT(deltaE, k >= 18 ? 1.5 : 4.5) << patch.name;
    }
}

// ---- The model -------------------------------------------------------------------------------

HuevaneStage matrixStage(const std::string& text) {
    HuevaneStage stage;
    stage.sent = stage.matrix = true;
    bool enabled = false;
    EXPECT_TRUE(huevane::getMatrixFromText(text, &enabled, &stage.elements));
    return stage;
}

// Element 4c + r is row r of column c, and out = M (r, g, b, 1): element 4 takes green into red,
// element 12 is red's offset.
TEST(PanelModel, MatrixReadsColumnMajorWithOffsetsInTheLastColumn) {
    const HuevaneStage stage =
            matrixStage("1,65536,0,0,0,32768,65536,0,0,0,0,65536,0,6554,0,0,65536");
    const HuevaneRgb out = stage.apply({0, 1, 0});
    EXPECT_NEAR(out[0], 0.5 + 0.1, 1e-4);
    EXPECT_NEAR(out[1], 1, 1e-6);
    EXPECT_NEAR(out[2], 0, 1e-6);
}

struct CurveCase {
    const char* name;
    HuevaneCurveLayout layout;
    std::vector<double> values;  // outputs 0..1 as the text would hold them scaled
    double input;
    HuevaneRgb expected;
};

TEST(PanelModel, CurveLayoutsAndInterpolation) {
    HuevaneCurveLayout shared;
    shared.entries = 3;
    HuevaneCurveLayout planar = shared;
    planar.channels = 3;
    HuevaneCurveLayout interleaved = planar;
    interleaved.interleaved = true;
    HuevaneCurveLayout nearest = shared;
    nearest.nearest = true;
    HuevaneCurveLayout wide = shared;
    wide.inputHigh = 2;
    const CurveCase cases[] = {
            {"shared, between entries", shared, {0, 0.2, 1}, 0.25, {0.1, 0.1, 0.1}},
            {"planar", planar, {0, 0.2, 1, 0, 0.4, 1, 0, 0.6, 1}, 0.5, {0.2, 0.4, 0.6}},
            {"interleaved", interleaved, {0, 0, 0, 0.2, 0.4, 0.6, 1, 1, 1}, 0.5, {0.2, 0.4, 0.6}},
            {"nearest", nearest, {0, 0.2, 1}, 0.3, {0.2, 0.2, 0.2}},
            {"input past the domain is held", shared, {0, 0.2, 1}, 1.5, {1, 1, 1}},
            {"input domain 0..2", wide, {0, 0.2, 1}, 1.0, {0.2, 0.2, 0.2}},
    };
    for (const CurveCase& c : cases) {
        HuevaneCurveLayout layout = c.layout;
        layout.outputBits = 10;
        std::string text;
        for (double v : c.values)
            text += (text.empty() ? "" : ",") + std::to_string(std::lround(v * 1023));
        HuevanePanel panel;
        panel.order = {4};
        panel.curves[4] = layout;
        pvx_colormode_data_header header{};
        header.id = 4;
        HuevanePipeline pipeline;
        std::vector<HuevaneFinding> problems;
        ASSERT_TRUE(buildPipeline(panel, {{{header, text}, "", 0, "test"}}, &pipeline, &problems))
                << c.name;
        const HuevaneRgb out = pipeline.stages[0].apply({c.input, c.input, c.input});
        for (int k = 0; k < 3; k++) EXPECT_NEAR(out[k], c.expected[k], 1e-3) << c.name;
    }
}

// A text that does not match its description is an error naming the LUT; a node outside the
// order and an entry a later one replaces are warnings.
TEST(PanelModel, WhatCannotBeModelledIsSaid) {
    HuevanePanel panel;
    panel.order = {4, 11};
    panel.curves[4].entries = 4;
    panel.curves[4].outputBits = 8;
    const auto lut = [](uint8_t id, uint8_t attr, const std::string& text) {
        pvx_colormode_data_header header{};
        header.id = id;
        header.attr0 = attr;
        return HuevaneSentLut{{header, text}, "calib.xml", 7, ""};
    };
    const struct {
        std::vector<HuevaneSentLut> sent;
        bool modelled;
        std::string problem;
    } cases[] = {
            {{lut(4, 1, "0,1,2")},
             false,
             "degamma (node 4) attr 1,0,0,0: holds 3 values; the "
             "description says 4 entries x 1 channel"},
            {{lut(4, 1, "0,1,2,256")}, false, "value 256 at index 3 is beyond 8 output bits"},
            {{lut(4, 1, "0,1,x,3")}, false, "its text is not a list of whole numbers"},
            {{lut(11, 0, "1,2,3")}, false, "does not read as a matrix text"},
            {{lut(8, 1, "0,1,2")},
             true,
             "hsc (node 8) attr 1,0,0,0: not modelled: the panel "
             "description does not place this node"},
            {{lut(4, 1, "0,1,2,3"), lut(4, 2, "0,1,2,3")},
             true,
             "attr 1,0,0,0: not modelled: the parcel carries a later degamma entry"},
    };
    for (const auto& c : cases) {
        HuevanePipeline pipeline;
        std::vector<HuevaneFinding> problems;
        EXPECT_EQ(buildPipeline(panel, c.sent, &pipeline, &problems), c.modelled) << c.problem;
        ASSERT_EQ(problems.size(), 1u) << c.problem;
        EXPECT_NE(problems[0].message.find(c.problem), std::string::npos) << problems[0].message;
        EXPECT_EQ(problems[0].line, 7);
    }
}

// ---- Independent computation on Debian's profiles --------------------------------------------

using Matrix = std::array<double, 9>;

Matrix times(const Matrix& a, const Matrix& b) {
    Matrix m{};
    for (int r = 0; r < 3; r++) {
        for (int c = 0; c < 3; c++) {
            for (int k = 0; k < 3; k++) m[3 * r + c] += a[3 * r + k] * b[3 * k + c];
        }
    }
    return m;
}

Matrix inverse(const Matrix& m) {
    const double det = m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
                       m[2] * (m[3] * m[7] - m[4] * m[6]);
    return {(m[4] * m[8] - m[5] * m[7]) / det, (m[2] * m[7] - m[1] * m[8]) / det,
            (m[1] * m[5] - m[2] * m[4]) / det, (m[5] * m[6] - m[3] * m[8]) / det,
            (m[0] * m[8] - m[2] * m[6]) / det, (m[2] * m[3] - m[0] * m[5]) / det,
            (m[3] * m[7] - m[4] * m[6]) / det, (m[1] * m[6] - m[0] * m[7]) / det,
            (m[0] * m[4] - m[1] * m[3]) / det};
}

std::array<double, 3> xyzOf(double x, double y) {
    return {x / y, 1, (1 - x - y) / y};
}

// Linear RGB to XYZ from chromaticities (SMPTE RP 177).
Matrix rgbToXyz(const std::array<double, 8>& p) {
    Matrix primaries{};
    for (size_t c = 0; c < 3; c++) {
        const auto xyz = xyzOf(p[2 * c], p[2 * c + 1]);
        for (size_t r = 0; r < 3; r++) primaries[3 * r + c] = xyz[r];
    }
    const auto white = xyzOf(p[6], p[7]);
    const Matrix inv = inverse(primaries);
    for (size_t c = 0; c < 3; c++) {
        const double scale =
                inv[3 * c] * white[0] + inv[3 * c + 1] * white[1] + inv[3 * c + 2] * white[2];
        for (size_t r = 0; r < 3; r++) primaries[3 * r + c] *= scale;
    }
    return primaries;
}

// Bradford, from its published cone matrix.
Matrix bradford(double fromX, double fromY, double toX, double toY) {
    const Matrix cone = {0.8951, 0.2664, -0.1614, -0.7502, 1.7135, 0.0367, 0.0389, -0.0685, 1.0296};
    const auto from = xyzOf(fromX, fromY), to = xyzOf(toX, toY);
    Matrix scale{};
    for (size_t r = 0; r < 3; r++) {
        double f = 0, t = 0;
        for (size_t k = 0; k < 3; k++) {
            f += cone[3 * r + k] * from[k];
            t += cone[3 * r + k] * to[k];
        }
        scale[4 * r] = t / f;
    }
    return times(inverse(cone), times(scale, cone));
}

struct ProfileCase {
    const char* panel;
    const char* target;                // a name or a profile path
    std::array<double, 8> panelSpace;  // published primaries and white, x y each
    std::array<double, 8> targetSpace;
};

const std::array<double, 8> SRGB = {0.64, 0.33, 0.30, 0.60, 0.15, 0.06, 0.3127, 0.3290};
const std::array<double, 8> ADOBE = {0.64, 0.33, 0.21, 0.71, 0.15, 0.06, 0.3127, 0.3290};
const std::array<double, 8> PROPHOTO = {0.7347, 0.2653, 0.1596, 0.8404,
                                        0.0366, 0.0001, 0.3457, 0.3585};

// matrix on profiles the tests have no hand in: the gamut matrix computed here from the spaces'
// published primaries with Bradford agrees with the tool's, element by element, and the tool
// predicts every in-gamut primary and white within 0.5.
TEST(DebianProfiles, MatrixAgreesWithAnIndependentComputation) {
    REQUIRE_DEBIAN_PROFILES();
    const ProfileCase cases[] = {
            {"colord/AdobeRGB1998.icc", "srgb", ADOBE, SRGB},
            {"colord/ProPhotoRGB.icc", "srgb", PROPHOTO, SRGB},
            {"colord/ProPhotoRGB.icc", "compatibleWithAdobeRGB1998.icc", PROPHOTO, ADOBE},
    };
    for (const ProfileCase& c : cases) {
        const std::string description =
                scratch("debian.json", "{\"response\": {\"profile\": \"" + ICC + c.panel + "\"}}");
        const std::string target =
                HuevaneColourSpace::fromName(c.target) ? c.target : ICC + c.target;
        const Json out = runJson({"matrix", "--panel", description, "--target", target});
        const Matrix expected = times(
                inverse(rgbToXyz(c.panelSpace)),
                times(bradford(c.targetSpace[6], c.targetSpace[7], c.panelSpace[6], c.panelSpace[7]),
                      rgbToXyz(c.targetSpace)));
        for (int r = 0; r < 3; r++) {
            for (int col = 0; col < 3; col++) {
                EXPECT_NEAR(out["matrix"]["values"][4 * col + r].get<double>(),
                            expected[3 * r + col], 2e-3)
                        << c.panel << " <- " << c.target << " row " << r << " column " << col;
            }
        }
        for (const Json& primary : out["predicted"]) {
            EXPECT_LT(primary["delta_e"].get<double>(), 0.5) << c.panel << " " << primary["name"];
            EXPECT_TRUE(primary["clipped"].empty()) << c.panel << " " << primary["name"];
        }
    }
}

// sRGB's linear values in Adobe RGB: published as R = 0.7152 R + 0.2848 G, B = 0.0412 G +
// 0.9588 B. The other way round, Debian's sRGB profile cannot show Adobe RGB's green, nor its red
// at full luminance.
TEST(DebianProfiles, NarrowerPanelsClipTheTargetAndSayWhere) {
    REQUIRE_DEBIAN_PROFILES();
    const std::string adobe = scratch(
            "adobe.json", "{\"response\": {\"profile\": \"" + ICC + "colord/AdobeRGB1998.icc\"}}");
    const Json wide = runJson({"matrix", "--panel", adobe, "--target", "srgb"});
    const double published[9] = {0.7152, 0.2848, 0, 0, 1, 0, 0, 0.0412, 0.9588};
    for (int k = 0; k < 9; k++) {
        EXPECT_NEAR(wide["matrix"]["values"][4 * (k % 3) + k / 3].get<double>(), published[k], 2e-4);
    }
    const std::string srgb =
            scratch("srgb.json", "{\"response\": {\"profile\": \"" + ICC + "sRGB.icc\"}}");
    const ToolRun run =
            runTool({"matrix", "--panel", srgb, "--target", ICC + "compatibleWithAdobeRGB1998.icc"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("the target is wider than the panel\n  red: panel red 1.3990 held to "
                           "1\n  green: panel red -0.3989 held to 0, panel blue -0.0430 held to 0"),
              std::string::npos)
            << run.out;
    const Json clipped =
            runJson({"matrix", "--panel", srgb, "--target", ICC + "compatibleWithAdobeRGB1998.icc"});
    EXPECT_GT(clipped["predicted"][1]["delta_e"].get<double>(), 5);
    EXPECT_LT(clipped["predicted"][3]["delta_e"].get<double>(), 0.5);  // white
}

// Profiles that cannot stand for a panel or a target: the error names the file and the reason,
// and the description's key.
TEST(DebianProfiles, UnusableProfilesAreRefusedWithTheReason) {
    REQUIRE_DEBIAN_PROFILES();
    const std::string made = readFile(SOURCE + "/examples/panel/demo_panel.icc");
    std::string printer = made;
    printer.replace(12, 4, "prtr");
    const std::string srgb = readFile(ICC + "sRGB.icc");
    const struct {
        std::string profile;
        std::string reason;
    } cases[] = {
            {ICC + "Gray.icc", "a GRAY profile, not RGB"},
            {ICC + "LCMSLABI.ICM", "a Lab profile, not RGB"},
            {ICC + "colord/Crayons.icc", "a Lab profile, not RGB"},
            {scratch("truncated.icc", srgb.substr(0, 1000)), "truncated: its header says " +
                                                                     std::to_string(srgb.size()) +
                                                                     " bytes, the file has 1000"},
            {scratch("header.icc", srgb.substr(0, 60)),
             "truncated: an ICC profile starts with a 128-byte header"},
            {scratch("printer.icc", printer), "describes a printer (output device class)"},
            {scratch("text.icc", std::string(200, 'x')), "not an ICC profile"},
            {"/nonexistent.icc", "cannot read: No such file or directory"},
    };
    for (const auto& c : cases) {
        const std::string description =
                scratch("bad.json", "{\"response\": {\"profile\": \"" + c.profile + "\"}}");
        const ToolRun run = runTool({"matrix", "--panel", description, "--target", "srgb"});
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.err.find(c.profile + ": error: " + c.reason), std::string::npos) << run.err;
        EXPECT_NE(run.err.find(description + ": error: response.profile: cannot be used"),
                  std::string::npos)
                << run.err;
    }
    const ToolRun unknown = runTool({"matrix", "--panel", PANEL, "--target", "rec2100"});
    EXPECT_NE(unknown.err.find("rec2100: error: neither a target (srgb, display-p3, bt2020) nor "
                               "a file"),
              std::string::npos)
            << unknown.err;
    const ToolRun target = runTool({"matrix", "--panel", PANEL, "--target", ICC + "Gray.icc"});
    EXPECT_EQ(target.status, 1);
    EXPECT_NE(target.err.find(ICC + "Gray.icc: error: a GRAY profile, not RGB"), std::string::npos);
}

// ---- Descriptions ------------------------------------------------------------------------------

TEST(PanelDescription, ProblemsNameTheKey) {
    const std::string response =
            "\"response\": {\"primaries\": {\"red\": [0.64, 0.33], \"green\": [0.3, 0.6], "
            "\"blue\": [0.15, 0.06]}, \"white\": [0.3127, 0.329], \"transfer\": 2.2}";
    const std::string curve =
            "\"entries\": 257, \"input\": [0, 1], \"output_bits\": 12, \"channels\": 1";
    const struct {
        std::string json;
        std::string error;
    } cases[] = {
            {"[1]", "(document): must be an object"},
            {"{", "not JSON: a panel description is one JSON object"},
            {"{\"colour\": 1, " + response + "}", "colour: unknown key"},
            {"{}", "response: missing: the panel's native response"},
            {"{\"order\": [\"degamma\", \"gama\"], " + response + "}",
             "order[1]: \"gama\" is not a LUT node name"},
            {"{\"order\": [\"degamma\"], " + response + "}",
             "order: degamma is neither a matrix node nor described under curves"},
            {"{\"order\": [\"gamma_matrix\"], \"curves\": {\"gamma_matrix\": {" + curve + "}}, " +
                     response + "}",
             "curves.gamma_matrix: a matrix node needs no description"},
            {"{\"order\": [\"degamma\"], \"curves\": {\"degamma\": {\"entries\": 1, "
             "\"input\": [0, 1], \"output_bits\": 12, \"channels\": 1}}, " +
                     response + "}",
             "curves.degamma.entries: 1 is out of range (2 to 65536)"},
            {"{\"order\": [\"degamma\"], \"curves\": {\"degamma\": {\"entries\": 9, "
             "\"input\": [1, 0], \"output_bits\": 40, \"channels\": 3}}, " +
                     response + "}",
             "curves.degamma.output_bits: 40 is out of range (1 to 24)"},
            {"{\"order\": [\"degamma\"], \"curves\": {\"degamma\": {\"entries\": 9, "
             "\"input\": [1, 0], \"output_bits\": 10, \"channels\": 1}}, " +
                     response + "}",
             "curves.degamma.input: high must be above low"},
            {"{\"order\": [\"degamma\"], \"curves\": {\"degamma\": {" + curve +
                     ", \"channels\": 3}}, " + response + "}",
             "curves.degamma.layout: 3 channels need \"planar\""},
            {"{\"response\": {\"primaries\": {\"red\": [1.5, 0.33], \"green\": [0.3, 0.6], "
             "\"blue\": [0.15, 0.06]}, \"white\": [0.3127, 0.329], \"transfer\": 2.2}}",
             "response.primaries.red[0]: 1.5 is out of range (0 to 1)"},
            {"{\"response\": {\"primaries\": {\"red\": [0.3, 0.3], \"green\": [0.3, 0.3], "
             "\"blue\": [0.15, 0.06]}, \"white\": [0.3127, 0.329], \"transfer\": 2.2}}",
             "response.primaries: the three primaries make no triangle"},
            {"{\"response\": {\"primaries\": {\"red\": [0.64, 0.33], \"green\": [0.3, 0.6], "
             "\"blue\": [0.15, 0.06]}, \"white\": [0.3127, 0.329], \"transfer\": \"pq\"}}",
             "response.transfer: must be \"srgb\" or a power"},
            {"{\"targets\": {\"srgb\": 3}, " + response + "}", "targets.srgb: must be a target"},
    };
    for (const auto& c : cases) {
        const std::string path = scratch("description.json", c.json);
        const ToolRun run = runTool({"matrix", "--panel", path, "--target", "srgb"});
        EXPECT_EQ(run.status, 1) << c.json;
        EXPECT_NE(run.err.find(path + ": error: " + c.error), std::string::npos) << c.json << "\n"
                                                                                 << run.err;
    }
    const ToolRun noOrder = runTool({"--root", DEVICE, "verify", "--panel",
                                     scratch("description.json", "{" + response + "}")});
    EXPECT_NE(noOrder.err.find("order: missing"), std::string::npos) << noOrder.err;
}

// ---- The sample device -----------------------------------------------------------------------

// What the README states of the sample: its calibrated intents stay within 3.0, their curves
// (not their matrices) being the rest of the error.
TEST(SampleDevice, VerifiesWithinTheStatedMaximum) {
    const Json out = runJson(
            {"--root", DEVICE, "verify", "--panel", PANEL, "--intent", "0", "--fail-above", "3"});
    ASSERT_EQ(out["pairs"].size(), 3u);
    EXPECT_FALSE(out["pairs"][0]["verified"].get<bool>());  // native names no target
    const struct {
        const char* target;
        double mean, max;
        const char* worst;
    } expected[] = {{"srgb", 0.45, 2.07, "grey 10%"}, {"display-p3", 1.71, 2.97, "black 2"}};
    for (size_t k = 0; k < 2; k++) {
        const Json& pair = out["pairs"][k + 1];
        EXPECT_EQ(pair["target"], expected[k].target);
        EXPECT_NEAR(pair["delta_e"]["mean"].get<double>(), expected[k].mean, 0.005);
        EXPECT_NEAR(pair["delta_e"]["max"].get<double>(), expected[k].max, 0.005);
        EXPECT_EQ(pair["delta_e"]["worst"], expected[k].worst);
        EXPECT_EQ(pair["patches"].size(), 41u);
        EXPECT_NEAR(pair["white"]["cct"].get<double>(), 6550, 1);
        EXPECT_NEAR(pair["white"]["x"].get<double>(), 0.3120, 1e-4);
    }
    const ToolRun strict = runTool(
            {"--root", DEVICE, "verify", "--panel", PANEL, "--mode", "2", "--fail-above", "2"});
    EXPECT_EQ(strict.status, 1);
    EXPECT_NE(strict.err.find("mode 2 display_p3, intent 0 colorimetric: ΔE2000 maximum 2.97 "
                              "(black 2) is above --fail-above 2.00"),
              std::string::npos)
            << strict.err;
    EXPECT_NE(strict.out.find("FAIL: max 2.97 is above 2.00"), std::string::npos);
}

// The sample's matrices are what `matrix` prints for its panel: the calibration and the tool
// agree.
TEST(SampleDevice, MatricesAreTheToolsOwn) {
    const struct {
        const char* target;
        const char* node;
        int mode;
    } modes[] = {{"srgb", "gamma_matrix", 1}, {"display-p3", "linear_matrix", 2}};
    for (const auto& m : modes) {
        const ToolRun matrix = runTool({"matrix", "--panel", PANEL, "--target", m.target});
        ASSERT_EQ(matrix.status, 0) << matrix.err;
        const std::string text =
                matrix.out.substr(matrix.out.rfind('\n', matrix.out.size() - 2) + 1);
        const Json parcel = runJson(
                {"--root", DEVICE, "parcel", "--mode", std::to_string(m.mode), "--intent", "0"});
        bool found = false;
        for (const Json& entry : parcel["entries"]) {
            if (entry["node"] == m.node) found = entry["text"].get<std::string>() + "\n" == text;
        }
        EXPECT_TRUE(found) << m.target << ": " << text;
    }
}

// A grey through the srgb mode: the degamma's power 2.2, the matrix keeping grey grey, the gamma
// inverting the panel's 2.2 (0.5 again); then what the panel shows.
TEST(SampleDevice, SimulateFollowsTheStagesInTheirOrder) {
    const Json out = runJson({"--root", DEVICE, "simulate", "--panel", PANEL, "--mode", "1",
                              "--intent", "0", "0.5,0.5,0.5", "1,0,0"});
    const Json& grey = out["colours"][0];
    ASSERT_EQ(grey["stages"].size(), 4u);
    EXPECT_EQ(grey["stages"][0]["node"], "degamma");
    EXPECT_NEAR(grey["stages"][0]["values"][0].get<double>(), 891.0 / 4095, 1e-6);
    EXPECT_FALSE(grey["stages"][1]["sent"].get<bool>());  // no linear_matrix in this mode
    EXPECT_NEAR(grey["stages"][2]["values"][1].get<double>(), 891.0 / 4095, 2e-5);
    EXPECT_NEAR(grey["stages"][3]["values"][2].get<double>(), 0.5, 1e-4);
    EXPECT_NEAR(grey["xy"][0].get<double>(), 0.3120, 2e-4);
    EXPECT_NEAR(grey["lab"][0].get<double>(), 53.768, 0.005);  // the panel's Y 0.2176
    // sRGB red on the panel, through the mode's matrix.
    const Json& red = out["colours"][1];
    EXPECT_NEAR(red["xy"][0].get<double>(), 0.6398, 5e-4);
    EXPECT_NEAR(red["xy"][1].get<double>(), 0.3299, 5e-4);
}

TEST(SampleDevice, DiffSaysWhatAMatrixChangeDoesToTheColours) {
    const std::string calibration = DEVICE + "/vendor/etc/pvx/calib_data_colormode0_demo_panel.xml";
    std::string warmer = readFile(calibration);
    const std::string from = "        53122, 2159, 1128, 0,";
    const size_t at = warmer.find(from);
    ASSERT_NE(at, std::string::npos);
    warmer.replace(at, from.size(), "        53122, 2159, 900, 0,");
    const std::string b = scratch("warmer.xml", warmer);
    const Json out = runJson({"diff", "--panel", PANEL, calibration, b}, 1);
    ASSERT_EQ(out["colour"]["pairs"].size(), 2u);  // both intents of srgb
    const Json& pair = out["colour"]["pairs"][0];
    EXPECT_EQ(pair["mode_id"], 1);
    EXPECT_EQ(pair["delta_e"]["worst"], "red");
    EXPECT_GT(pair["delta_e"]["max"].get<double>(), 1);
    EXPECT_LT(pair["white_b"]["cct"].get<double>(), pair["white_a"]["cct"].get<double>());
    EXPECT_NEAR(pair["white_shift_uv"].get<double>(), 0.00025, 0.00001);
}

TEST(SampleDevice, ReportDrawsEveryPairAndBannersThoseAboveTheThreshold) {
    const ToolRun run = runTool(
            {"--root", DEVICE, "report", "--panel", PANEL, "--fail-above", "2.5", "-o", "-"});
    ASSERT_EQ(run.status, 0) << run.err;
    size_t diagrams = 0;
    for (size_t at = run.out.find("class='xy'"); at != std::string::npos;
         at = run.out.find("class='xy'", at + 1)) {
        diagrams++;
    }
    EXPECT_EQ(diagrams, 5u);  // every pair of a mode with a target
    EXPECT_NE(run.out.find("<div class='banner'>mode 2 display_p3, intent 0 colorimetric: "
                           "ΔE2000 maximum 2.97 (black 2) is above 2.50"),
              std::string::npos);
    EXPECT_EQ(run.out.find("<div class='banner'>mode 1"), std::string::npos);
    EXPECT_NE(run.out.find("No target: the panel description names none for mode native"),
              std::string::npos);
}

// The committed profile is what `profile` makes of the measured description: byte for byte with
// the lcms2 that made it, colour for colour with any other.
TEST(SampleDevice, ProfileIsReproducible) {
    const std::string made = ::testing::TempDir() + "huevane_colour_made.icc";
    const ToolRun run = runTool({"profile", "--panel",
                                 SOURCE + "/examples/panel/demo_panel_measured.json", "-o", made});
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string committed = SOURCE + "/examples/panel/demo_panel.icc";
    if (readFile(made) == readFile(committed)) return;
    std::string error;
    auto a = HuevaneColourSpace::fromProfile(made, false, &error);
    auto b = HuevaneColourSpace::fromProfile(committed, false, &error);
    ASSERT_TRUE(a && b) << error;
    for (double v : {0.0, 0.25, 0.5, 1.0}) {
        const HuevaneXyz x = a->toPcs({v, 1 - v, v / 2}), y = b->toPcs({v, 1 - v, v / 2});
        EXPECT_NEAR(x.X, y.X, 1e-6);
        EXPECT_NEAR(x.Y, y.Y, 1e-6);
        EXPECT_NEAR(x.Z, y.Z, 1e-6);
    }
}

}  // namespace
