// huevane-tool run in process, as a user runs it: on the sample device, on the broken device
// trees, calibration documents and parcels in tools/testdata.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "HuevaneTool.h"

namespace {

const std::string SOURCE = HUEVANE_SOURCE_DIR;
const std::string DEVICE = SOURCE + "/examples/device";
const std::string DATA = SOURCE + "/tools/testdata";
const std::string WARM = "1,0,0,0, 0,0.93,0,0, 0,0,0.82,0, 0,0,0,1";

struct ToolRun {
    int status;
    std::string out;
    std::string err;
};

ToolRun runTool(const std::vector<std::string>& args) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = runHuevaneTool(args, out, err);
    return {status, out.str(), err.str()};
}

std::string scratchPath(const std::string& name) {
    return ::testing::TempDir() + "huevane_tool_" + name;
}

// What one command line must do: its exit status, a piece of stdout and one of stderr (empty:
// stderr must stay empty).
struct ExitCase {
    std::vector<std::string> args;
    int status;
    std::string out;
    std::string err;
};

// Test listings name a case by its command line.
void PrintTo(const ExitCase& c, std::ostream* out) {
    for (const std::string& arg : c.args) *out << arg.substr(arg.rfind('/') + 1) << " ";
}

class ToolExit : public ::testing::TestWithParam<ExitCase> {};

TEST_P(ToolExit, StatusAndLines) {
    const ExitCase& c = GetParam();
    const ToolRun run = runTool(c.args);
    EXPECT_EQ(run.status, c.status) << run.err;
    EXPECT_NE(run.out.find(c.out), std::string::npos) << run.out;
    if (c.err.empty()) {
        EXPECT_EQ(run.err, "");
    } else {
        EXPECT_NE(run.err.find(c.err), std::string::npos) << run.err;
    }
}

const std::string TRUNCATED = DATA + "/devices/truncated";
const std::string TRUNCATED_FILE = TRUNCATED + "/vendor/etc/pvx/calib_data_colormode0.xml";

INSTANTIATE_TEST_SUITE_P(
        Usage, ToolExit,
        ::testing::Values(
                ExitCase{{"--version"}, 0, "(libhuevane_default 1.0.0, commit ", ""},
                ExitCase{{"help", "lint"}, 0, "[RULE]", ""},
                ExitCase{{"help", "nope"}, 2, "", "huevane-tool: error: no command 'nope'"},
                ExitCase{{}, 2, "", "no command given"},
                ExitCase{{"modes", "--bogus"},
                         2,
                         "",
                         "huevane-tool: error: unexpected argument '--bogus'\n"
                         "usage: huevane-tool [COMMON OPTIONS] modes\n"},
                ExitCase{{"--display", "x", "modes"}, 2, "", "--display"},
                ExitCase{{"decode"}, 2, "", "huevane-tool: error: missing FILE\n"},
                ExitCase{{"parcel", "--mode=abc"},
                         2,
                         "",
                         "error: --mode needs a whole number, not 'abc'"},
                ExitCase{{"plot", "--json", "--mode", "0"}, 2, "", "--json does not apply"},
                ExitCase{{"help"}, 0, "\ncommands:\n  modes     colour modes", ""},
                ExitCase{{"lint", "--help"},
                         0,
                         "usage: huevane-tool [COMMON OPTIONS] lint FILE...",
                         ""}));

INSTANTIATE_TEST_SUITE_P(
        Modes, ToolExit,
        ::testing::Values(
                ExitCase{{"--root", DEVICE, "modes"}, 0, "mode 2  display_p3  (gamut 2)", ""},
                // The sysfs node is named when it is read and when it is missing.
                ExitCase{{"modes", "--root=" + DEVICE, "--display=1"},
                         0,
                         "  target name   /sys/class/pvx/pvx1/xml: not found\n"
                         "  calibration   /vendor/etc/pvx/calib_data_colormode1.xml\n"
                         "  2 colour modes\n",
                         "pvx1/xml:0: note: no target-name node (No such file or directory)"},
                ExitCase{{"--root", DEVICE, "--display", "5", "modes"},
                         1,
                         "",
                         "calib_data_colormode5.xml: note: tried: No such file or directory"},
                ExitCase{{"--root", TRUNCATED, "modes"},
                         1,
                         "",
                         TRUNCATED_FILE + ":14: error: Premature end of data in tag gamma"},
                // A sub document the reader does without is a warning, not a failure.
                ExitCase{{"--root", DATA + "/devices/sub_untuned", "modes"},
                         0,
                         "  1 colour mode\n",
                         "calib_data_colormode0_hdr.xml:0: warning: no mode named tune: the mode "
                         "node's own LUTs are used"},
                ExitCase{{"--root", DATA + "/devices/wrong_root", "modes"},
                         1,
                         "",
                         "calib_data_colormode0.xml:2: error: root element is <calib_data>, not "
                         "<Calib_Data>"}));

INSTANTIATE_TEST_SUITE_P(
        Parcel, ToolExit,
        ::testing::Values(
                ExitCase{{"--root", DEVICE, "parcel", "--mode", "2", "--intent", "0", "--transform",
                          "identity"},
                         0,
                         "parcel      total_size 2841, seq_num 0, 4 LUTs",
                         ""},
                ExitCase{{"--root", DEVICE, "parcel", "--mode", "9"},
                         1,
                         "",
                         "error: mode 9 is not offered; offered modes: 0, 1, 2, 3"},
                ExitCase{{"--root", DEVICE, "parcel", "--mode", "3"},
                         1,
                         "",
                         "error: mode 3 lists no intent 0; its intents: 1"},
                ExitCase{{"--root", DEVICE, "parcel", "--mode", "1", "--transform",
                          "nan,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,0,1e6"},
                         0,
                         "mode 1, intent 0 (setColorMode)",
                         "warning: --transform element 0 (row 0, column 0) is nan"},
                ExitCase{{"--root", DEVICE, "--strict", "parcel", "--mode", "1", "--transform",
                          "1,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,inf,1"},
                         1,
                         "",
                         "error: --transform element 14 (row 2, column 3) is inf"},
                // Sixteen arguments, negative ones included, are one transform.
                ExitCase{
                        {"--root", DEVICE, "parcel", "--mode", "1", "--transform", "1", "0",    "0",
                         "0",      "0",    "0.9",    "0",      "0", "0",           "0", "-0.5", "0",
                         "0",      "0",    "0",      "1"},
                        0,
                        "colour transform, 0 extension LUTs",
                        ""},
                ExitCase{{"--root", DEVICE, "parcel", "--mode", "1", "--transform", "1,2,3"},
                         2,
                         "",
                         "--transform needs 16 numbers"},
                ExitCase{{"--root", DEVICE, "parcel", "--mode", "1", "--transform", "identity", "0"},
                         2,
                         "",
                         "--transform needs 16 numbers or 'identity', got 17"},
                ExitCase{{"--root", DEVICE, "parcel", "--mode", "1", "--extension", "gama:1"},
                         2,
                         "",
                         "--extension needs ID:TEXT"},
                ExitCase{{"--root", DEVICE, "parcel", "--mode", "1", "--extension",
                          "linear_matrix:1,2"},
                         0,
                         "",
                         "warning: --extension linear_matrix: not a matrix text"},
                // With --json the problems are in the one document.
                ExitCase{{"--root", DEVICE, "parcel", "--mode", "1", "-o", "-", "--json"},
                         2,
                         "\"message\": \"-o - and --json both want standard output",
                         ""}));

INSTANTIATE_TEST_SUITE_P(
        Decode, ToolExit,
        ::testing::Values(
                ExitCase{{"decode", DATA + "/good.parcel"}, 0, "result      consistent", ""},
                ExitCase{{"decode", DATA + "/bad_crc.parcel"}, 1, "does not match the text", ""},
                ExitCase{{"decode", DATA + "/truncated.parcel"},
                         1,
                         "truncated: total_size says 100 bytes, only 40 present",
                         ""},
                ExitCase{{"decode", DATA + "/oversized_entry.parcel"},
                         1,
                         "total_size 200 runs past the end",
                         ""},
                ExitCase{{"decode", DATA + "/garbage.parcel"}, 1, "result      INCONSISTENT", ""},
                ExitCase{{"decode", "/dev/zero"}, 1, "", "/dev/zero: error: cannot read: refused"},
                ExitCase{{"decode", DATA}, 1, "", "refused: a directory"},
                ExitCase{{"decode", DATA + "/none.parcel"}, 1, "", "No such file or directory"}));

const std::string PLANTED = DATA + "/lint_planted.xml";
const std::string NOTES = DATA + "/lint_notes.xml";

INSTANTIATE_TEST_SUITE_P(
        Lint, ToolExit,
        ::testing::Values(
                ExitCase{{"lint", DEVICE + "/vendor/etc/pvx/calib_data_colormode1.xml"},
                         0,
                         "0 errors, 0 warnings, 0 notes in 1 file",
                         ""},
                ExitCase{{"lint", NOTES},
                         0,
                         "0 errors, 1 warning, 3 notes",
                         NOTES + ":7: note: <gamma_matrix> row 1 sums to -1.0000: white does not "
                                 "stay white [matrix-white]"},
                ExitCase{{"lint", "--strict", NOTES},
                         1,
                         "1 error, 0 warnings",
                         NOTES + ":6: error: <gama> is not a LUT node"},
                ExitCase{{"lint", PLANTED},
                         1,
                         "5 errors, 8 warnings",
                         PLANTED + ":14: error: mode_id='abc' is not a number"},
                ExitCase{{"lint", DATA + "/none.xml"},
                         1,
                         "",
                         "none.xml:0: error: cannot read: No such file or directory"},
                ExitCase{{"lint", DATA + "/lint_broken.xml"}, 1, "", "[xml-error]"}));

const std::string TEXTS = DATA + "/lint_texts.xml";
const std::string UNENDED = DATA + "/devices/target_unended";
const std::string LEFT_OUT = DATA + "/devices/matrix_left_out";
// An extension LUT too long for the sample's parcel buffer.
std::string getLongExtension() {
    std::string text = "hsc:1";
    for (int i = 0; i < 1500; i++) text += ",7";
    return text;
}
const std::string LONG_HSC = getLongExtension();

// Verdicts that must match what the device receives, and problems that must not pass in silence.
INSTANTIATE_TEST_SUITE_P(
        Verdicts, ToolExit,
        ::testing::Values(
                // lint reads LUT texts and ids as the library does.
                ExitCase{{"lint", TEXTS},
                         1,
                         "2 errors, 5 warnings",
                         TEXTS + ":7: error: <degamma> value at index 3 is 'O', not a number"},
                ExitCase{{"lint", TEXTS},
                         1,
                         "",
                         TEXTS + ":8: warning: <gamma> has an empty text (an external entity "
                                 "reads as empty)"},
                ExitCase{{"lint", TEXTS},
                         1,
                         "",
                         TEXTS + ":11: warning: mode_id='-1' is offered to the compositor as "
                                 "4294967295"},
                ExitCase{{"lint", TEXTS},
                         1,
                         "",
                         TEXTS + ":12: error: mode_id='4294967297' is outside the signed 32-bit "
                                 "range: it reads as absent (4294967295)"},
                ExitCase{{"lint", TEXTS},
                         1,
                         "",
                         TEXTS + ":13: warning: mode_id='7x' reads as 7: the library ignores what "
                                 "follows the number [number-trailing]"},
                // libxml2's own words, on one line, under a rule.
                ExitCase{{"lint", DATA + "/lint_broken.xml"},
                         1,
                         "",
                         "lint_broken.xml:5: error: XML: Opening and ending tag mismatch: mode "
                         "line 3 and mod (the library cannot read this document) [xml-error]\n"},
                // modes names what the reader did without, and the node the name came from.
                ExitCase{{"--root", UNENDED, "modes"},
                         0,
                         "  target name   /sys/class/pvx/pvx/xml: panel.xm\n"
                         "  calibration   /vendor/etc/pvx/calib_data_colormode0.xml\n",
                         "pvx/xml:0: warning: the target name 'panel.xml' does not end with a "
                         "newline: the library drops its last byte and looks for 'panel.xm' "
                         "[target-name]"},
                ExitCase{{"--root", UNENDED, "modes"},
                         0,
                         "",
                         "calib_data_colormode0.xml:6: warning: sub document " + UNENDED +
                                 "/vendor/etc/pvx/calib_data_colormode0_missing.xml (subxml "
                                 "'missing') does not exist"},
                // explain warns where a stored matrix is left out of the product.
                ExitCase{{"--root", LEFT_OUT, "explain", "--mode", "0"},
                         0,
                         "LUT 1       gamma_matrix (node 6) attr 255,255,255,255 at offset 35, 68 "
                         "bytes",
                         "calib_data_colormode0.xml:8: warning: <gamma_matrix> has a value "
                         "outside the signed 32-bit fixed-point range: it is sent as written and "
                         "left out of the stage's product"},
                ExitCase{{"--root", LEFT_OUT, "explain", "--mode", "1"},
                         0,
                         "parcel      74 bytes, 1 LUT: ",
                         "calib_data_colormode0.xml:12: warning: <linear_matrix> does not read as "
                         "a matrix text"},
                // Attribute values judged as lint judges XML.
                ExitCase{{"--root", DEVICE, "explain", "--mode", "0", "--attributes", "1 x 300 -2",
                          "--extension", "hsc:1"},
                         0,
                         "attr 1,0,44,254",
                         "warning: --attributes value '300' is not a number from 0 to 255: the "
                         "library sends attribute byte 44"},
                ExitCase{{"--root", DEVICE, "--strict", "parcel", "--mode", "0", "--extension",
                          "hsc:1", "--attributes", "1 x"},
                         1,
                         "",
                         "error: --attributes value 'x' is not a number from 0 to 255: the "
                         "library sends attribute byte 0"},
                ExitCase{{"--root", DEVICE, "parcel", "--mode", "0", "--attributes", "255 0 9 10",
                          "--extension", "hsc:1"},
                         0,
                         "attr 255,0,9,10",
                         ""},
                // Entries of one node with other attribute bytes are other entries.
                ExitCase{{"diff", DEVICE + "/vendor/etc/pvx/calib_data_colormode0_demo_panel.xml",
                          DEVICE + "/vendor/etc/pvx/calib_data_colormode1.xml"},
                         1,
                         "lut_removed  mode 0, intent 0: degamma attr 1,0,255,255  A ",
                         ""},
                // A parcel whose matrices all read: nothing to warn about.
                ExitCase{{"--root", DEVICE, "explain", "--mode", "1"},
                         0,
                         "LUT 2       gamma_matrix (node 6) attr 0,255,255,255",
                         ""},
                // Primaries beyond the panel are held to 0..1 before they are predicted.
                ExitCase{{"matrix", "--panel", SOURCE + "/examples/panel/demo_panel.json",
                          "--target", "bt2020"},
                         0,
                         "  green     target x 0.1700 y 0.7970  panel x 0.2620 y 0.7000  ΔE2000 "
                         "8.14\n",
                         ""},
                ExitCase{{"profile", "--panel", SOURCE + "/examples/panel/demo_panel.json"},
                         2,
                         "",
                         "profile writes an ICC profile: give -o FILE.icc"},
                // A numeric node id names the same node as its name.
                ExitCase{{"--root", DEVICE, "parcel", "--mode", "0", "--extension", "8:1,2,3"},
                         0,
                         "hsc (node 8)",
                         ""},
                // A refused parcel says why, with the size rule's numbers.
                ExitCase{{"--root", DEVICE, "parcel", "--mode", "0", "--extension", LONG_HSC},
                         1,
                         "",
                         "huevane-tool: error: the parcel needs "},
                ExitCase{{"decode", DATA + "/truncated.parcel"},
                         1,
                         "parcel      total_size 100, seq_num 3, 2 LUTs, 40 bytes read\n",
                         ""},
                // diff by meaning: a replacing LUT changed, ids offered twice, the order.
                ExitCase{{"diff", DATA + "/diff_lists_a.xml", DATA + "/diff_lists_b.xml"},
                         1,
                         "mode_added  mode 3: vivid, gamut 2 and vivid_hdr, gamut 2\n"
                         "mode_offered_twice  mode 3: offered 2 times: vivid, gamut 2 and "
                         "vivid_hdr, gamut 2\n"
                         "mode_order  modes: 0, 1, 2 -> 0, 2, 1\n"
                         "lut_changed  mode 0, intent 0: degamma attr 1,255,255,255  A " +
                                 DATA + "/diff_lists_a.xml:6  B " + DATA +
                                 "/diff_lists_b.xml:7: 1 of 4 values differ; first at index 3: "
                                 "40 -> 44; sent 22 bytes, crc 0xFF0E -> 22 bytes, crc 0xFF41\n"
                                 "4 differences\n",
                         ""},
                ExitCase{{"diff", DATA + "/good.parcel", DATA + "/bad_crc.parcel"},
                         1,
                         "entry_changed  entry 0: crc 0xFF2C on both sides; B's crc does not "
                         "match its text, B's text gives 0xFF44\n",
                         ""},
                ExitCase{{"diff", DATA + "/good.parcel", DATA + "/diff_a.xml"},
                         2,
                         "",
                         "diff compares a parcel with a parcel, not with a calibration"},
                // Messages in the tool's words.
                ExitCase{{"help", "report"}, 0, "[--fail-above DE]\n", ""},
                ExitCase{{"--root", DEVICE, "report", "--fail-above", "2000"},
                         2,
                         "",
                         "huevane-tool: error: --fail-above needs a number from 0 to 1000, not "
                         "'2000'\n"},
                ExitCase{{"--log-level", "7.5", "modes"},
                         2,
                         "",
                         "--log-level needs a whole number from 0 to 100, not '7.5'"}));

// Every JSON document parses, with snake_case keys; one field that would catch a swap each.
struct JsonCase {
    std::vector<std::string> args;
    int status;
    std::string pointer;
    nlohmann::json value;
};

void PrintTo(const JsonCase& c, std::ostream* out) {
    for (const std::string& arg : c.args) *out << arg.substr(arg.rfind('/') + 1) << " ";
    *out << c.pointer;
}

class ToolJson : public ::testing::TestWithParam<JsonCase> {};

TEST_P(ToolJson, Field) {
    const JsonCase& c = GetParam();
    const ToolRun run = runTool(c.args);
    EXPECT_EQ(run.status, c.status) << run.err;
    const nlohmann::json document = nlohmann::json::parse(run.out, nullptr, false);
    ASSERT_FALSE(document.is_discarded()) << run.out;
    EXPECT_EQ(document.value(nlohmann::json::json_pointer(c.pointer), nlohmann::json()), c.value);
}

INSTANTIATE_TEST_SUITE_P(
        Documents, ToolJson,
        ::testing::Values(
                JsonCase{{"--root", DEVICE, "modes", "--json"}, 0, "/modes/3/mode_name", "vivid"},
                JsonCase{{"--root", DEVICE, "modes", "--json"}, 0, "/modes/3/mode_id", 3},
                JsonCase{{"--root", DEVICE, "modes", "--json"}, 0, "/modes/3/gamut_id", 2},
                JsonCase{{"--root", DEVICE, "modes", "--json"}, 0, "/modes/2/intents/2/intent_id", 2},
                JsonCase{{"--root", DEVICE, "modes", "--json"},
                         0,
                         "/documents/1",
                         "/vendor/etc/pvx/calib_data_colormode0_demo_panel_hdr.xml"},
                JsonCase{{"--json", "decode", DATA + "/good.parcel"},
                         0,
                         "/entries/0/node",
                         "degamma"},
                JsonCase{{"--json", "decode", DATA + "/bad_crc.parcel"}, 1, "/consistent", false},
                JsonCase{{"--json", "decode", DATA + "/bad_crc.parcel"}, 1, "/entries/0/crc", 0xFF2C},
                // -o takes the raw bytes, the JSON still comes out.
                JsonCase{{"--root", DEVICE, "parcel", "--mode", "2", "--json", "-o",
                          scratchPath("json.parcel")},
                         0,
                         "/header/num_data",
                         3},
                JsonCase{{"lint", "--json", PLANTED}, 1, "/summary/errors", 5},
                JsonCase{{"lint", "--json", NOTES}, 0, "/findings/1/rule", "matrix-white"},
                JsonCase{{"lint", "--json", NOTES}, 0, "/findings/1/line", 7},
                JsonCase{{"lint", "--json", NOTES}, 0, "/summary/passed", true},
                // The attribute entry applies to the extension LUT after it, not before.
                JsonCase{{"--root", DEVICE, "parcel", "--json", "--mode", "0", "--extension",
                          "hsc:1", "--attributes", "1 2 3 4", "--extension", "scl:2"},
                         0,
                         "/entries/3/attr",
                         {1, 2, 3, 4}},
                JsonCase{{"--root", DEVICE, "parcel", "--json", "--mode", "0", "--extension",
                          "hsc:1", "--attributes", "1 2 3 4", "--extension", "scl:2"},
                         0,
                         "/entries/2/attr",
                         {255, 255, 255, 255}},
                // Failures stay one JSON document, the problems inside.
                JsonCase{{"--json", "--root", DATA + "/devices/wrong_root", "modes"},
                         1,
                         "/problems/1/rule",
                         "root-wrong"},
                JsonCase{{"--json", "--root", DEVICE, "parcel", "--mode", "0", "--extension",
                          LONG_HSC},
                         1,
                         "/problems/0/severity",
                         "error"},
                JsonCase{{"--json", "--root", UNENDED, "modes"}, 0, "/target_name/name", "panel.xm"},
                JsonCase{{"--root", DEVICE, "parcel", "--json", "--mode", "0", "--extension",
                          "8:1,2,3"},
                         0,
                         "/entries/2/node",
                         "hsc"},
                JsonCase{{"--root", DEVICE, "explain", "--json", "--mode", "1"},
                         0,
                         "/entries/2/stored/total_size",
                         143},
                JsonCase{{"--json", "diff", DATA + "/good.parcel", DATA + "/bad_crc.parcel"},
                         1,
                         "/differences/0/b_value",
                         "0xFF2C"}));

TEST(ToolParcel, RawBytesDecodeAsTheyWerePrinted) {
    const std::string file = scratchPath("warm.parcel");
    const std::vector<std::string> request = {"--root",   DEVICE, "parcel",      "--mode", "2",
                                              "--intent", "1",    "--transform", WARM};
    std::vector<std::string> toFile = request;
    toFile.insert(toFile.end(), {"-o", file});
    ASSERT_EQ(runTool(toFile).status, TOOL_OK);
    std::vector<std::string> toOut = request;
    toOut.insert(toOut.end(), {"-o", "-"});
    const ToolRun raw = runTool(toOut);
    ASSERT_EQ(raw.status, TOOL_OK);
    std::ifstream written(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(written)),
                            std::istreambuf_iterator<char>());
    EXPECT_EQ(bytes, raw.out);
    const ToolRun printed = runTool(request);
    const ToolRun decoded = runTool({"decode", file});
    EXPECT_EQ(decoded.status, TOOL_OK);
    // The printed parcel is the decoded one behind two request lines.
    EXPECT_EQ(printed.out.substr(printed.out.find("parcel ")), decoded.out);
}

// -o FILE: lint writes its findings there; a command that fails before its output leaves the
// file as it was.
TEST(ToolOutput, FindingsGoToTheFileAndAFailureLeavesItAlone) {
    const std::string file = scratchPath("findings.txt");
    const ToolRun lint = runTool({"lint", "-o", file, TEXTS});
    EXPECT_EQ(lint.status, TOOL_FAILED);
    EXPECT_EQ(lint.out + lint.err, "");
    std::ifstream written(file);
    const std::string findings((std::istreambuf_iterator<char>(written)), {});
    EXPECT_NE(findings.find(TEXTS + ":7: error: "), std::string::npos) << findings;
    EXPECT_NE(findings.find("2 errors, 5 warnings, 0 notes in 1 file\n"), std::string::npos);
    for (const std::vector<std::string>& failing :
         {std::vector<std::string>{"--root", DEVICE, "parcel", "--mode", "9", "-o", file},
          std::vector<std::string>{"--root", DEVICE, "plot", "--mode", "0", "--node", "nope", "-o",
                                   file},
          std::vector<std::string>{"decode", DATA + "/none.parcel", "-o", file}}) {
        EXPECT_NE(runTool(failing).status, TOOL_OK) << failing[2];
        std::ifstream again(file);
        EXPECT_EQ(std::string((std::istreambuf_iterator<char>(again)), {}), findings) << failing[2];
    }
}

// --fail-above DE passes a maximum of exactly DE and fails one just above it.
TEST(ToolVerify, TheGateHoldsAtItsOwnValue) {
    const std::vector<std::string> request = {
            "--root", DEVICE,    "verify",
            "--json", "--panel", SOURCE + "/examples/panel/demo_panel.json",
            "--mode", "2",       "--intent",
            "0"};
    const nlohmann::json first = nlohmann::json::parse(runTool(request).out);
    const double max = first["pairs"][0]["delta_e"]["max"].get<double>();
    ASSERT_GT(max, 0);
    const struct {
        double gate;
        int status;
    } cases[] = {{max, 0}, {std::nextafter(max, 0.0), 1}};
    for (const auto& c : cases) {
        char gate[40];
        snprintf(gate, sizeof gate, "%.17g", c.gate);
        std::vector<std::string> args = request;
        args.insert(args.end(), {"--fail-above", gate});
        EXPECT_EQ(runTool(args).status, c.status) << gate;
    }
}

TEST(ToolDecode, ControlBytesInATextArePrintedVisibly) {
    std::ifstream good(DATA + "/good.parcel", std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(good)), std::istreambuf_iterator<char>());
    bytes[12 + 12 + 2] = '\x01';  // "0,16,..." becomes "0,\x016,..."
    const std::string file = scratchPath("control.parcel");
    std::ofstream(file, std::ios::binary) << bytes;
    const ToolRun run = runTool({"decode", file});
    EXPECT_EQ(run.status, TOOL_FAILED);  // the CRC no longer matches
    EXPECT_NE(run.out.find("text      10 bytes: 0,\\x016,32,64\n"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find('\x01'), std::string::npos);
}

TEST(ToolDecode, AnEntryHeaderEndingAtTheParcelsEndHasNoText) {
    std::ifstream good(DATA + "/good.parcel", std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(good)), std::istreambuf_iterator<char>());
    bytes.resize(24);  // the parcel header and the first entry's header, nothing after
    bytes[2] = 24;
    bytes[6] = 1;  // num_data
    const std::string file = scratchPath("header_only.parcel");
    std::ofstream(file, std::ios::binary) << bytes;
    const ToolRun run = runTool({"decode", file});
    EXPECT_EQ(run.status, TOOL_FAILED);
    EXPECT_NE(run.out.find("error: total_size 23 runs past the end of the parcel (12 bytes left)"),
              std::string::npos)
            << run.out;
}

TEST(ToolDecode, AnEntryOneByteLongerThanTheParcelIsCaught) {
    std::ifstream good(DATA + "/good.parcel", std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(good)), std::istreambuf_iterator<char>());
    ASSERT_GT(bytes.size(), 16u);
    // The first entry's total_size (bytes 14-15) claims the rest of the parcel and one byte more.
    const unsigned total = static_cast<uint8_t>(bytes[2]) | static_cast<uint8_t>(bytes[3]) << 8;
    const unsigned claimed = total - 12 + 1;
    bytes[14] = static_cast<char>(claimed & 0xFF);
    bytes[15] = static_cast<char>(claimed >> 8);
    const std::string file = scratchPath("long_entry.parcel");
    std::ofstream(file, std::ios::binary) << bytes;
    const ToolRun run = runTool({"decode", file});
    EXPECT_EQ(run.status, TOOL_FAILED);
    EXPECT_NE(run.out.find("runs past the end of the parcel (" + std::to_string(total - 12) +
                           " bytes left)"),
              std::string::npos)
            << run.out;
}

TEST(ToolFiles, DecodeReadsAtMostOneParcelAndNothingWaitsOnAFifo) {
    const std::string longer = scratchPath("long.parcel");
    {
        std::ifstream good(DATA + "/good.parcel", std::ios::binary);
        std::ofstream out(longer, std::ios::binary);
        out << good.rdbuf() << std::string(70000, '\0');
    }
    const ToolRun run = runTool({"decode", longer});
    EXPECT_EQ(run.status, TOOL_OK);
    EXPECT_NE(run.err.find("longer than the 65535 bytes a parcel can hold"), std::string::npos);
    truncate(longer.c_str(), 65535);
    EXPECT_EQ(runTool({"decode", longer}).err, "");
    const std::string fifo = scratchPath("parcel.fifo");
    unlink(fifo.c_str());
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const char* command : {"decode", "lint"}) {
        const ToolRun refused = runTool({command, fifo});
        EXPECT_EQ(refused.status, TOOL_FAILED);
        EXPECT_NE(refused.err.find("refused: a FIFO"), std::string::npos) << command;
    }
    unlink(fifo.c_str());
}

TEST(ToolLint, ManyLutNodesWithTheirOwnAttributesReplaceNone) {
    // 20 000 LUT nodes of one mode, each with its own attributes: only the parcel cannot hold
    // them. (A pairwise comparison of the nodes took seconds here; the pass is linear now.)
    const std::string file = scratchPath("many.xml");
    {
        std::ofstream out(file);
        out << "<Calib_Data><mode name='a' mode_id='0' gamut_name='g' gamut_id='0' "
               "intent_name='i' intent_id='0'>\n";
        for (int i = 0; i < 20000; i++) {
            out << "<degamma att0='" << i % 256 << "' att1='" << i / 256 << "'>1</degamma>\n";
        }
        out << "</mode></Calib_Data>\n";
    }
    const ToolRun run = runTool({"lint", file});
    EXPECT_EQ(run.status, TOOL_FAILED);
    EXPECT_EQ(run.out, "1 error, 0 warnings, 0 notes in 1 file\n") << run.err.substr(0, 500);
    EXPECT_NE(run.err.find("[parcel-overflow]"), std::string::npos);
}

// lint refuses what the library refuses, for the library's reason: a file past the size cap
// (sparse, so it takes no disk) and entity references past the text budget.
TEST(ToolLint, RefusesWhatTheLibraryRefuses) {
    const std::string large = scratchPath("large.xml");
    {
        std::ofstream out(large);
        out << "<Calib_Data/>";
    }
    ASSERT_EQ(truncate(large.c_str(), (off_t{64} << 20) + 1), 0);
    const std::string budget = scratchPath("budget.xml");
    {
        std::ofstream out(budget);
        out << "<!DOCTYPE Calib_Data [<!ENTITY big '" << std::string(1 << 20, '7') << "'>]>"
            << "<Calib_Data><mode name='m' mode_id='0' gamut_id='0' gamut_name='g' "
               "intent_id='0' intent_name='i'><degamma>";
        for (int i = 0; i < 65; i++) out << "&big;";
        out << "</degamma></mode></Calib_Data>";
    }
    const struct {
        std::string file, finding;
    } cases[] = {
            {large,
             "larger than the 67108864 bytes the library reads: the library refuses the "
             "document [document-too-large]"},
            {budget,
             "entity references take its LUT texts past 67108864 bytes: the library "
             "refuses the document [text-budget]"},
    };
    for (const auto& c : cases) {
        const ToolRun run = runTool({"lint", c.file});
        EXPECT_EQ(run.status, TOOL_FAILED);
        EXPECT_NE(run.err.find(c.file + ":0: error: " + c.finding), std::string::npos) << run.err;
    }
    unlink(large.c_str());
}

}  // namespace
