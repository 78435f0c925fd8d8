// diff, explain, plot and report on the files in tools/testdata, checked against values worked
// out by hand and by parsing the pictures and pages back.
#include <gtest/gtest.h>
#include <libxml/HTMLparser.h>
#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <set>
#include <sstream>

#include "HuevaneLogSink.h"
#include "HuevaneTool.h"
#include "HuevaneToolDiff.h"
#include "HuevaneToolExplain.h"
#include "HuevaneToolJson.h"
#include "HuevaneToolPlot.h"
#include "HuevaneToolReport.h"

namespace {

struct XmlDocFree {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using HuevaneXmlDoc = std::unique_ptr<xmlDoc, XmlDocFree>;

bool quiet(const HuevaneLogRecord&) {
    return false;
}

const std::string SOURCE = HUEVANE_SOURCE_DIR;
const std::string DATA = SOURCE + "/tools/testdata";
const std::string SAMPLE_DEVICE = SOURCE + "/examples/device";

int runTool(const std::vector<std::string>& args, std::string* out = nullptr) {
    std::ostringstream output, errors;
    const int status = runHuevaneTool(args, output, errors);
    setHuevaneLogSink(quiet);  // the tool hands the library's lines back to liblog
    if (out != nullptr) *out = output.str();
    return status;
}

class ToolViews : public ::testing::Test {
  protected:
    void SetUp() override { setHuevaneLogSink(quiet); }
    void TearDown() override { setHuevaneLogSink(nullptr); }
};

// Number of nodes an XPath expression selects in a parsed document.
size_t countNodes(xmlDocPtr document, const char* expression) {
    if (document == nullptr) return 0;
    xmlXPathContextPtr context = xmlXPathNewContext(document);
    xmlXPathRegisterNs(context, BAD_CAST "s", BAD_CAST "http://www.w3.org/2000/svg");
    xmlXPathObjectPtr result = xmlXPathEvalExpression(BAD_CAST expression, context);
    size_t count = result && result->nodesetval ? result->nodesetval->nodeNr : 0;
    xmlXPathFreeObject(result);
    xmlXPathFreeContext(context);
    return count;
}

TEST_F(ToolViews, ModelPlacesEachLutAtItsNodeInMainOrSubDocument) {
    HuevaneCalibrationModel model = loadDeviceCalibration(SAMPLE_DEVICE, 0);
    ASSERT_TRUE(model.errors.empty());
    const struct {
        uint32_t mode, intent;
        size_t lut;
        const char* file;
        long line;
    } cases[] = {
            {2, 2, 0, "calib_data_colormode0_demo_panel_hdr.xml", 5},  // from the sub document
            {2, 0, 0, "calib_data_colormode0_demo_panel.xml", 149},
            {1, 0, 2, "calib_data_colormode0_demo_panel.xml", 66},  // sent after gamma,
    };
    for (const auto& c : cases) {
        const HuevaneModelPair* pair = model.findPair(c.mode, c.intent);
        ASSERT_NE(pair, nullptr);
        ASSERT_GT(pair->luts.size(), c.lut);
        EXPECT_EQ(placeText(pair->luts[c.lut].place, true),
                  std::string(c.file) + ":" + std::to_string(c.line));
    }
    EXPECT_EQ(model.subDocuments.size(), 1u);
}

TEST_F(ToolViews, LutValuesAreWholeDecimalFields) {
    const struct {
        const char* text;
        std::vector<double> values;  // empty: not a list of numbers
    } cases[] = {
            {"1,2,3", {1, 2, 3}},
            {" 1,\n  2 ,3,\n", {1, 2, 3}},  // a comma at the end opens no field
            {"-5,+7", {-5, 7}},
            {"1,,3", {}},
            {"1,2a", {}},
            {"", {}},
    };
    for (const auto& c : cases) {
        std::vector<double> values;
        EXPECT_EQ(getLutValues(c.text, &values), !c.values.empty()) << c.text;
        EXPECT_EQ(values, c.values) << c.text;
    }
}

TEST_F(ToolViews, DiffOfCalibrationsFindsWhatChangedByMeaning) {
    struct Expected {
        const char* kind;
        int64_t mode;
        const char* node;
        long lineA, lineB;
        int64_t index;
        const char* a;
        const char* b;
    };
    // The matrix of mode 0 is laid out anew with the same numbers: no difference.
    const Expected expected[] = {
            {"mode_changed", 1, "", 0, 0, -1, "", ""},
            {"mode_removed", 2, "", 0, 0, -1, "", ""},
            {"intent_added", 1, "", 0, 0, -1, "", ""},
            {"lut_changed", 0, "degamma", 6, 7, 6, "144", "150"},
            {"lut_added", 1, "scl", 0, 19, -1, "", ""},
    };
    std::vector<HuevaneDifference> found = diffCalibrations(
            loadCalibrationFile(DATA + "/diff_a.xml"), loadCalibrationFile(DATA + "/diff_b.xml"));
    ASSERT_EQ(found.size(), std::size(expected));
    for (size_t i = 0; i < found.size(); i++) {
        SCOPED_TRACE(expected[i].kind);
        EXPECT_EQ(found[i].kind, expected[i].kind);
        EXPECT_EQ(found[i].modeId, expected[i].mode);
        EXPECT_EQ(found[i].node, expected[i].node);
        EXPECT_EQ(found[i].a.line, expected[i].lineA);
        EXPECT_EQ(found[i].b.line, expected[i].lineB);
        EXPECT_EQ(found[i].index, expected[i].index);
        EXPECT_EQ(found[i].aValue, expected[i].a);
        EXPECT_EQ(found[i].bValue, expected[i].b);
    }
}

TEST_F(ToolViews, DiffExitsLikeDiff) {
    const struct {
        std::string a, b;
        int exit;
    } cases[] = {
            {DATA + "/diff_a.xml", DATA + "/diff_a.xml", 0},
            {DATA + "/diff_a.xml", DATA + "/diff_b.xml", 1},
            {SAMPLE_DEVICE, SAMPLE_DEVICE, 0},
            {DATA + "/good.parcel", DATA + "/good.parcel", 0},
            {DATA + "/good.parcel", DATA + "/truncated.parcel", 2},
            {DATA + "/good.parcel", DATA + "/diff_a.xml", 2},
            {DATA + "/diff_a.xml", DATA + "/missing.xml", 2},
            {DATA + "/diff_a.xml", DATA + "/lint_broken.xml", 2},
            {"/dev/null", DATA + "/diff_a.xml", 2},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(runTool({"diff", c.a, c.b}), c.exit) << c.a << " " << c.b;
    }
    std::string out;
    EXPECT_EQ(runTool({"diff", "--json", DATA + "/diff_a.xml", DATA + "/diff_b.xml"}, &out), 1);
    HuevaneJson document = HuevaneJson::parse(out);
    EXPECT_EQ(document["same"], false);
    EXPECT_EQ(document["differences"].size(), 5u);
}

TEST_F(ToolViews, DiffOfParcelsGoesEntryByEntry) {
    std::ifstream file(DATA + "/good.parcel", std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), {});
    HuevaneDecodedParcel a = readParcel(bytes.data(), bytes.size());
    ASSERT_GE(a.entries.size(), 1u);
    bytes[1] ^= 1;                         // seq_num
    bytes[a.entries[0].offset + 6] ^= 2;   // attr0 of entry 0
    bytes[a.entries[0].offset + 12] ^= 1;  // first byte of its text
    HuevaneDecodedParcel b = readParcel(bytes.data(), bytes.size());
    std::vector<HuevaneDifference> found = diffParcels(a, b);
    ASSERT_EQ(found.size(), 4u);
    EXPECT_EQ(found[0].node, "seq_num");
    EXPECT_EQ(found[1].node, "attr0");
    // The text changed under an unchanged CRC: B's no longer matches it.
    EXPECT_EQ(found[2].node, "crc");
    EXPECT_NE(found[2].detail.find("on both sides; B's crc does not match its text"),
              std::string::npos)
            << found[2].detail;
    EXPECT_EQ(found[3].node, "text");
    EXPECT_EQ(found[3].index, 0);
    b.entries.pop_back();
    EXPECT_EQ(diffParcels(a, b).back().kind, "entry_removed");
}

TEST_F(ToolViews, ExplainAccountsForEveryEntryAndTheMatrixProduct) {
    // The transform, column-major, takes a quarter of green into red. Every matrix LUT has
    // attributes 255, so the stage's LUTs all stand for one entry.
    std::string out;
    ASSERT_EQ(runTool({"--root", DATA + "/explain_device", "explain", "--json", "--mode", "1",
                       "--transform", "1,0,0,0, 0.25,1,0,0, 0,0,1,0, 0,0,0,1", "--attributes",
                       "255", "--extension",
                       "gamma_matrix:1,65536,0,0,0,0,65536,0,0,0,0,131072,0,8192,0,0,65536",
                       "--extension", "hsc:1,2,3"},
                      &out),
              0);
    HuevaneJson entries = HuevaneJson::parse(out)["entries"];
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0]["from"]["source"], "colour_mode");
    EXPECT_EQ(entries[0]["from"]["line"], 6);
    EXPECT_EQ(entries[1]["from"]["extension_entry"], 2);
    EXPECT_EQ(entries[1]["offset"], 12 + entries[0]["total_size"].get<int>());

    // The extension's matrix first, then the transform, then the mode's: E x T x M, read as rows
    //   E = [1 0 0 .125; 0 1 0 0; 0 0 2 0]  T = [1 .25 0 0; ...]  M = diag(.5, .75, 1)
    //   E x T x M = [.5 .1875 0 .125; 0 .75 0 0; 0 0 2 0; 0 0 0 1]
    const HuevaneJson& matrix = entries[2];
    ASSERT_EQ(matrix["factors"].size(), 3u);
    const char* const sources[3] = {"extension", "colour_transform", "colour_mode"};
    for (int f = 0; f < 3; f++) EXPECT_EQ(matrix["factors"][f]["from"]["source"], sources[f]);
    EXPECT_EQ(matrix["factors"][0]["from"]["extension_entry"], 1);
    EXPECT_EQ(matrix["factors"][2]["from"]["line"], 7);
    EXPECT_EQ(matrix["factors"][1]["values"][4], 0.25);
    const std::vector<float> product = {0.5f, 0, 0, 0, 0.1875f, 0.75f, 0, 0,
                                        0,    0, 2, 0, 0.125f,  0,     0, 1};
    EXPECT_EQ(matrix["product"]["values"].get<std::vector<float>>(), product);
    EXPECT_EQ(matrix["product"]["fixed"][4], 12288);
}

TEST_F(ToolViews, ExplainNamesOnlyStoredMatricesWhenAnExtensionDisablesItsOwn) {
    // A disabled extension matrix stores nothing, yet the stage takes it and emits the product of
    // what the others stored under its header.
    std::string out;
    ASSERT_EQ(runTool({"--root", DATA + "/explain_device", "explain", "--json", "--mode", "1",
                       "--transform", "identity", "--extension",
                       "gamma_matrix:0,65536,0,0,0,0,65536,0,0,0,0,65536,0,0,0,0,65536"},
                      &out),
              0);
    const HuevaneJson matrix = HuevaneJson::parse(out)["entries"].back();
    EXPECT_EQ(matrix["from"]["source"], "extension");
    ASSERT_EQ(matrix["factors"].size(), 2u);
    EXPECT_EQ(matrix["factors"][0]["from"]["source"], "colour_transform");
    EXPECT_EQ(matrix["factors"][1]["from"]["source"], "colour_mode");
}

TEST_F(ToolViews, ExplainAndPlotRefuseWhatTheyCannotRead) {
    EXPECT_EQ(runTool({"--root", DATA + "/no_such_device", "explain", "--mode", "1"}), 1);
    EXPECT_EQ(runTool({"--root", DATA + "/explain_device", "explain", "--mode", "9"}), 1);
    EXPECT_EQ(runTool({"plot", DATA + "/diff_a.xml", "--mode", "9"}), 1);
    EXPECT_EQ(runTool({"plot", DATA + "/diff_a.xml", "--mode", "1", "--node", "scl"}), 1);
    EXPECT_EQ(runTool({"plot", DATA + "/diff_a.xml", "--mode", "1", "--node", "nonsense"}), 2);
    EXPECT_EQ(runTool({"--root", DATA + "/no_such_device", "report"}), 1);
}

TEST_F(ToolViews, PlotDrawsOneCurvePerNumericLutAndOnePanelPerMatrix) {
    HuevaneCalibrationModel model = loadCalibrationFile(DATA + "/diff_a.xml");
    const struct {
        uint32_t mode;
        const char* node;
        size_t curves, swatches;
    } cases[] = {
            {0, "", 1, 8},  // degamma; the matrix panel: 4 inputs, 4 outputs
            {0, "degamma", 1, 0}, {0, "gamma_matrix", 0, 8}, {1, "", 1, 0}, {2, "", 1, 0},
    };
    for (const auto& c : cases) {
        HuevanePlotOptions options;
        options.node = c.node;
        std::string svg = plotPairSvg(*model.findPair(c.mode, c.mode == 2 ? 1 : 0), options);
        const HuevaneXmlDoc document(xmlReadMemory(svg.data(), static_cast<int>(svg.size()),
                                                   nullptr, nullptr, XML_PARSE_NONET));
        ASSERT_NE(document, nullptr) << svg;
        EXPECT_EQ(countNodes(document.get(), "//s:polyline"), c.curves) << c.mode << c.node;
        EXPECT_EQ(countNodes(document.get(), "//s:rect[@width='14']"), c.swatches)
                << c.mode << c.node;
    }
}

TEST_F(ToolViews, PlotOfEverySamplePairParsesWithOneCurvePerValueList) {
    HuevaneCalibrationModel model = loadDeviceCalibration(SAMPLE_DEVICE, 0);
    for (const HuevaneModelPair& pair : model.pairs) {
        size_t curves = 0;
        for (const HuevaneModelLut& lut : pair.luts) {
            std::vector<double> values;
            curves += getLutValues(lut.lut.second, &values) && lut.lut.first.id != 6 &&
                      lut.lut.first.id != 11;
        }
        std::string svg = plotPairSvg(pair, HuevanePlotOptions());
        const HuevaneXmlDoc document(xmlReadMemory(svg.data(), static_cast<int>(svg.size()),
                                                   nullptr, nullptr, XML_PARSE_NONET));
        EXPECT_EQ(countNodes(document.get(), "//s:polyline"), curves) << pair.mode.modeId;
    }
}

TEST_F(ToolViews, MatrixPrimariesFollowTheColumnMajorReading) {
    const huevane::mat4 m = {0.5f, 0, 0, 0, 0.25f, 1, 0, 0, 0, 0, 2, 0, 0.125f, 0, 0, 1};
    const auto p = getMatrixPrimaries(m);
    EXPECT_EQ(p[0], (std::array<float, 3>{0.625f, 0, 0}));
    EXPECT_EQ(p[1], (std::array<float, 3>{0.375f, 1, 0}));
    EXPECT_EQ(p[3], (std::array<float, 3>{0.875f, 1, 2}));
}

// The text of the first node an XPath expression selects.
std::string nodeText(xmlDocPtr document, const std::string& expression) {
    xmlXPathContextPtr context = xmlXPathNewContext(document);
    xmlXPathObjectPtr result = xmlXPathEvalExpression(BAD_CAST expression.c_str(), context);
    std::string text;
    if (result && result->nodesetval && result->nodesetval->nodeNr > 0) {
        xmlChar* content = xmlNodeGetContent(result->nodesetval->nodeTab[0]);
        text = reinterpret_cast<const char*>(content);
        xmlFree(content);
    }
    xmlXPathFreeObject(result);
    xmlXPathFreeContext(context);
    return text;
}

TEST_F(ToolViews, ReportDrawsEachLutOnceAndEveryLinkLands) {
    HuevaneCalibrationModel model = loadDeviceCalibration(SAMPLE_DEVICE, 0);
    ASSERT_TRUE(model.errors.empty());
    // Curves the page must draw: each distinct (node, attributes, text) sent, once.
    std::set<std::string> curves;
    for (const HuevaneModelPair& pair : model.pairs) {
        for (const HuevaneModelLut& lut : pair.luts) {
            std::vector<double> values;
            const pvx_colormode_data_header& h = lut.lut.first;
            if (h.id != 6 && h.id != 11 && getLutValues(lut.lut.second, &values)) {
                curves.insert(std::to_string(h.id) + "/" + std::to_string(h.attr0) + "/" +
                              std::to_string(h.attr1) + "/" + lut.lut.second.str());
            }
        }
    }
    HuevaneFinding note;
    note.severity = HuevaneSeverity::NOTE;
    note.file = "a.xml";
    note.message = "<x> & <y>";
    const std::string html = reportHtml(model, "display 0", {note});
    EXPECT_EQ(html.find("<script"), std::string::npos);
    EXPECT_EQ(html.find("http"), html.find("http://www.w3.org/2000/svg"));
    const HuevaneXmlDoc document(htmlReadMemory(html.data(), static_cast<int>(html.size()), nullptr,
                                                "utf-8", HTML_PARSE_NONET | HTML_PARSE_NOERROR));
    ASSERT_NE(document, nullptr);
    EXPECT_EQ(countNodes(document.get(), "//polyline"), curves.size());
    EXPECT_EQ(countNodes(document.get(), "//table[@class='modes']//a"), model.pairs.size());
    EXPECT_EQ(nodeText(document.get(), "//div[contains(@class,'counts')]"),
              "0 errors, 0 warnings, 1 note");
    EXPECT_EQ(countNodes(document.get(), "//td[.='<x> & <y>']"), 1u);
    // Every link, to a pair or to where a LUT was first shown, lands on exactly one element.
    const size_t links = countNodes(document.get(), "//a");
    ASSERT_GT(links, model.pairs.size());
    for (size_t k = 1; k <= links; k++) {
        const std::string target =
                nodeText(document.get(), "(//a)[" + std::to_string(k) + "]/@href").substr(1);
        EXPECT_EQ(countNodes(document.get(), ("//*[@id='" + target + "']").c_str()), 1u) << target;
    }
}

TEST_F(ToolViews, ReportUnderStrictFailsOnFindingsAndStillWritesThePage) {
    const std::string device = DATA + "/devices/target_unended";
    const std::string page = ::testing::TempDir() + "huevane_report_strict.html";
    const struct {
        bool strict;
        int exit;
    } cases[] = {{false, 0}, {true, 1}};
    for (const auto& c : cases) {
        unlink(page.c_str());
        std::vector<std::string> args = {"--root", device, "report", "-o", page};
        if (c.strict) args.push_back("--strict");
        EXPECT_EQ(runTool(args), c.exit);
        std::ifstream written(page);
        const std::string html((std::istreambuf_iterator<char>(written)), {});
        // The documents the reader did without, and the findings' count at the top.
        EXPECT_NE(html.find("calib_data_colormode0_panel.xm: not found"), std::string::npos);
        EXPECT_NE(html.find("0 errors, 2 warnings, 0 notes"), std::string::npos);
    }
}

}  // namespace
