#include "HuevaneToolPlot.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneNodeTable.h"
#include "HuevaneToolRequest.h"

namespace {

constexpr int WIDTH = 640;
constexpr int CURVE_PANEL = 230;
constexpr int MATRIX_PANEL = 190;
constexpr int TEXT_PANEL = 50;
// Plot area inside a curve panel.
constexpr int LEFT = 60, RIGHT = WIDTH - 20, TOP = 36, BOTTOM = CURVE_PANEL - 36;

const char* const PRIMARY_NAMES[4] = {"red", "green", "blue", "white"};

enum class LutShape { curve, matrix, text };

LutShape shapeOf(const HuevaneDataLut& lut, std::vector<double>* values, huevane::mat4* matrix) {
    bool enabled = false;
    if (huevane::isMatrixNode(lut.first.id) &&
        huevane::getMatrixFromText(lut.second, &enabled, matrix)) {
        return LutShape::matrix;
    }
    return getLutValues(lut.second, values) ? LutShape::curve : LutShape::text;
}

bool isShown(const HuevaneModelLut& lut, const HuevanePlotOptions& options) {
    std::vector<double> values;
    huevane::mat4 matrix;
    if (!options.node.empty() && huevane::getNodeLabel(lut.lut.first.id) != options.node)
        return false;
    return options.matrices || shapeOf(lut.lut, &values, &matrix) != LutShape::matrix;
}

std::string number(double value) {
    char text[32];
    snprintf(text, sizeof(text), "%.6g", value);
    return text;
}

std::string coordinate(double value) {
    char text[32];
    snprintf(text, sizeof(text), "%.1f", value);
    return text;
}

std::string textAt(int x, int y, const std::string& text, const char* anchor = "start") {
    return "<text x='" + std::to_string(x) + "' y='" + std::to_string(y) + "' text-anchor='" +
           anchor + "'>" + escapeMarkup(text) + "</text>\n";
}

std::string title(const HuevaneModelLut& lut, int y) {
    const pvx_colormode_data_header& h = lut.lut.first;
    std::string text = huevane::getNodeLabel(h.id) + " (node " + std::to_string(h.id) + ") attr " +
                       std::to_string(h.attr0) + "," + std::to_string(h.attr1) + "," +
                       std::to_string(h.attr2) + "," + std::to_string(h.attr3);
    if (!lut.place.document.empty()) text += "  " + placeText(lut.place, true);
    return "<text x='10' y='" + std::to_string(y + 20) + "' class='title'>" + escapeMarkup(text) +
           "</text>\n";
}

std::string curvePanel(const HuevaneModelLut& lut, const std::vector<double>& values, int y) {
    double low = *std::min_element(values.begin(), values.end());
    double high = *std::max_element(values.begin(), values.end());
    if (high == low) high = low + 1;
    const double last = values.size() > 1 ? static_cast<double>(values.size() - 1) : 1;
    std::string svg = title(lut, y);
    svg += "<path class='axis' d='M" + std::to_string(LEFT) + " " + std::to_string(y + TOP) + "V" +
           std::to_string(y + BOTTOM) + "H" + std::to_string(RIGHT) + "'/>\n";
    svg += "<polyline class='curve' points='";
    for (size_t i = 0; i < values.size(); i++) {
        double px = LEFT + (RIGHT - LEFT) * static_cast<double>(i) / last;
        double py = y + BOTTOM - (BOTTOM - TOP) * (values[i] - low) / (high - low);
        svg += (i ? " " : "") + coordinate(px) + "," + coordinate(py);
    }
    svg += "'/>\n";
    svg += textAt(LEFT - 4, y + TOP + 4, number(high), "end");
    svg += textAt(LEFT - 4, y + BOTTOM, number(low), "end");
    svg += textAt(LEFT, y + BOTTOM + 14, "0", "middle");
    svg += textAt(RIGHT, y + BOTTOM + 14, std::to_string(values.size() - 1), "middle");
    svg += textAt((LEFT + RIGHT) / 2, y + BOTTOM + 28,
                  "index (" + std::to_string(values.size()) + " values)", "middle");
    svg += "<text x='16' y='" + std::to_string(y + (TOP + BOTTOM) / 2) +
           "' text-anchor='middle' transform='rotate(-90 16 " +
           std::to_string(y + (TOP + BOTTOM) / 2) + ")'>value</text>\n";
    return svg;
}

std::string swatch(int x, int y, const std::array<float, 3>& rgb) {
    auto channel = [](float v) {
        return std::to_string(
                static_cast<int>(std::lround(std::min(1.0f, std::max(0.0f, v)) * 255)));
    };
    return "<rect x='" + std::to_string(x) + "' y='" + std::to_string(y) +
           "' width='14' height='14' fill='rgb(" + channel(rgb[0]) + "," + channel(rgb[1]) + "," +
           channel(rgb[2]) + ")'/>\n";
}

std::string matrixPanel(const HuevaneModelLut& lut, const huevane::mat4& matrix, int y) {
    std::string svg = title(lut, y);
    svg += textAt(10, y + 40, "matrix (rows)");
    for (int r = 0; r < 4; r++) {
        for (int c = 0; c < 4; c++) {
            svg += textAt(120 + 80 * c, y + 40 + 18 * r, number(matrix[4 * c + r]), "end");
        }
    }
    const auto primaries = getMatrixPrimaries(matrix);
    for (int p = 0; p < 4; p++) {
        const int row = y + 124 + 16 * (p % 2);
        const int x = 10 + 310 * (p / 2);
        std::array<float, 3> in = {p == 0 || p == 3 ? 1.0f : 0.0f, p == 1 || p == 3 ? 1.0f : 0.0f,
                                   p == 2 || p == 3 ? 1.0f : 0.0f};
        svg += swatch(x, row - 11, in) + swatch(x + 18, row - 11, primaries[p]);
        svg += textAt(x + 40, row,
                      std::string(PRIMARY_NAMES[p]) + " -> (" + number(primaries[p][0]) + ", " +
                              number(primaries[p][1]) + ", " + number(primaries[p][2]) + ")");
    }
    return svg;
}

std::string textPanel(const HuevaneModelLut& lut, int y) {
    return title(lut, y) + textAt(10, y + 40,
                                  "text of " + std::to_string(lut.lut.second.size()) +
                                          " bytes, not a list of numbers");
}

}  // namespace

std::string escapeMarkup(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '\'':
                out += "&#39;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                // Control bytes are not allowed in XML at all.
                out += static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t' ? '?' : c;
        }
    }
    return out;
}

std::array<std::array<float, 3>, 4> getMatrixPrimaries(const huevane::mat4& m) {
    std::array<std::array<float, 3>, 4> out{};
    for (int p = 0; p < 4; p++) {
        for (int i = 0; i < 3; i++) {
            float value = m[12 + i];
            for (int c = 0; c < 3; c++) {
                if (p == c || p == 3) value += m[4 * c + i];
            }
            out[p][i] = value;
        }
    }
    return out;
}

size_t countPlottedLuts(const HuevaneModelPair& pair, const HuevanePlotOptions& options) {
    size_t count = 0;
    for (const HuevaneModelLut& lut : pair.luts) count += isShown(lut, options);
    return count;
}

std::string plotPairSvg(const HuevaneModelPair& pair, const HuevanePlotOptions& options) {
    std::string body;
    int y = 30;
    for (const HuevaneModelLut& lut : pair.luts) {
        if (!isShown(lut, options)) continue;
        std::vector<double> values;
        huevane::mat4 matrix;
        switch (shapeOf(lut.lut, &values, &matrix)) {
            case LutShape::curve:
                body += curvePanel(lut, values, y);
                y += CURVE_PANEL;
                break;
            case LutShape::matrix:
                body += matrixPanel(lut, matrix, y);
                y += MATRIX_PANEL;
                break;
            case LutShape::text:
                body += textPanel(lut, y);
                y += TEXT_PANEL;
                break;
        }
    }
    std::string svg = options.xmlDeclaration ? "<?xml version='1.0' encoding='UTF-8'?>\n" : "";
    svg += "<svg xmlns='http://www.w3.org/2000/svg' width='" + std::to_string(WIDTH) +
           "' height='" + std::to_string(y) + "' viewBox='0 0 " + std::to_string(WIDTH) + " " +
           std::to_string(y) + "' font-family='sans-serif' font-size='11'>\n";
    svg += "<style>.title{font-weight:bold;font-size:12px}.axis{fill:none;stroke:#444}"
           ".curve{fill:none;stroke:#1565c0;stroke-width:1.2}</style>\n";
    svg += "<rect width='100%' height='100%' fill='white'/>\n";
    if (options.xmlDeclaration) {
        svg += textAt(10, 18,
                      "mode " + std::to_string(pair.mode.modeId) + " " + pair.mode.modeName +
                              ", intent " + std::to_string(pair.intent.intentId) + " " +
                              pair.intent.intentName);
    }
    return svg + body + "</svg>\n";
}

const HuevaneModelPair* findToolPair(HuevaneToolContext& context,
                                     const HuevaneCalibrationModel& model, uint32_t modeId,
                                     uint32_t intentId) {
    if (!reportModelProblems(model, context.diagnostics)) return nullptr;
    const HuevaneModelPair* pair = model.findPair(modeId, intentId);
    if (pair != nullptr) return pair;
    std::string offered;
    for (const HuevaneModelPair& other : model.pairs) {
        offered += (offered.empty() ? "" : ", ") + std::to_string(other.mode.modeId) + "/" +
                   std::to_string(other.intent.intentId);
    }
    context.diagnostics.error(
            model.document, 0,
            "no mode " + std::to_string(modeId) + " with intent " + std::to_string(intentId) +
                    "; offered (mode/intent): " + (offered.empty() ? "none" : offered));
    return nullptr;
}

namespace {

struct PlotCommandOptions {
    std::string file;
    uint32_t mode = 0;
    uint32_t intent = 0;
    std::string node;
};

int runPlot(HuevaneToolContext& context, const PlotCommandOptions& options) {
    if (!options.node.empty() && huevane::getNodeId(options.node.c_str()) == 0) {
        context.diagnostics.error("--node " + options.node + " is no LUT node name");
        return TOOL_USAGE;
    }
    HuevaneLibraryLogGuard quiet(context.common.logLevel);
    HuevaneCalibrationModel model =
            options.file.empty()
                    ? loadDeviceCalibration(context.common.root, context.common.display)
                    : loadCalibrationFile(options.file);
    const HuevaneModelPair* pair = findToolPair(context, model, options.mode, options.intent);
    if (pair == nullptr) return TOOL_FAILED;
    HuevanePlotOptions plot;
    plot.node = options.node;
    if (countPlottedLuts(*pair, plot) == 0) {
        context.diagnostics.error(model.document, 0,
                                  "mode " + std::to_string(options.mode) + ", intent " +
                                          std::to_string(options.intent) + " has no " +
                                          (options.node.empty() ? "LUT" : options.node + " LUT"));
        return TOOL_FAILED;
    }
    context.out << plotPairSvg(*pair, plot);
    return TOOL_OK;
}

}  // namespace

HuevaneToolRun setupPlotCommand(CLI::App& command) {
    command.description(
            "Draws the LUTs of one mode and intent as a plain SVG picture (-o FILE.svg): each\n"
            "list of numbers as a curve of value against index, each matrix as its numbers and\n"
            "what it makes of red, green, blue and white. Reads the device tree of --root and\n"
            "--display, or the calibration document FILE.");
    auto options = std::make_shared<PlotCommandOptions>();
    command.add_option("FILE", options->file, "a calibration document instead of a device tree");
    command.add_option("--mode", options->mode, "colour mode id")->type_name("M")->required();
    command.add_option("--intent", options->intent, "render intent id (default 0)")->type_name("I");
    command.add_option("--node", options->node, "only the LUTs of this node (a node name)")
            ->type_name("NAME");
    return [options](HuevaneToolContext& context) { return runPlot(context, *options); };
}
