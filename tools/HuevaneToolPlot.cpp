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

constexpr int WIDTH = 720;
constexpr int FONT = 11;  // px; labels and numbers
// Room a label takes: at most this many px per character at FONT (digits and most letters of a
// sans-serif face are narrower).
constexpr double CHAR_WIDTH = 0.62 * FONT;
constexpr int HEADING = 36;  // two title lines above each panel's drawing
constexpr int CURVE_PANEL = 260;
constexpr int MATRIX_PANEL = 190;
constexpr int TEXT_PANEL = 60;
// Plot area inside a curve panel; the left edge leaves room for the value labels.
constexpr int RIGHT = WIDTH - 30, TOP = HEADING + 12, BOTTOM = CURVE_PANEL - 44;

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

std::string coordinate(double value) {
    char text[32];
    snprintf(text, sizeof(text), "%.1f", value);
    return text;
}

std::string textAt(int x, int y, const std::string& text, const char* anchor = "start",
                   const char* cls = nullptr) {
    return "<text x='" + std::to_string(x) + "' y='" + std::to_string(y) + "' text-anchor='" +
           anchor + "'" + (cls ? std::string(" class='") + cls + "'" : "") + ">" +
           escapeMarkup(text) + "</text>\n";
}

int textWidth(const std::string& text) {
    return static_cast<int>(std::ceil(static_cast<double>(text.size()) * CHAR_WIDTH));
}

// Two lines: the entry as sent, then what it was stored as and where it was written.
std::string title(const HuevaneModelLut& lut, int y) {
    const pvx_colormode_data_header& h = lut.lut.first;
    std::string first = huevane::getNodeLabel(h.id) + " (node " + std::to_string(h.id) + ") attr " +
                        std::to_string(h.attr0) + "," + std::to_string(h.attr1) + "," +
                        std::to_string(h.attr2) + "," + std::to_string(h.attr3) + ": " +
                        getSentText(lut);
    std::string second = getStoredText(lut);
    if (!second.empty()) second += " before the stage rewrote it";
    const std::string place = placeText(lut.place, true);
    if (!place.empty()) second += (second.empty() ? "written at " : ", written at ") + place;
    return "<text x='10' y='" + std::to_string(y + 16) + "' class='title'>" + escapeMarkup(first) +
           "</text>\n" + textAt(10, y + 31, second, "start", "sub");
}

// Round tick values (1, 2 or 5 times a power of ten apart) inside [low, high], at most `most`.
std::vector<double> getTicks(double low, double high, int most) {
    const double raw = (high - low) / most;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    double step = power;
    for (double factor : {1.0, 2.0, 5.0, 10.0}) {
        step = factor * power;
        if (step >= raw) break;
    }
    std::vector<double> ticks;
    for (double k = std::ceil(low / step); k * step <= high + step * 1e-9; k++) {
        ticks.push_back(k * step == 0 ? 0 : k * step);  // no "-0"
    }
    return ticks;
}

// A tick value with as many decimals as the ticks' spacing needs.
std::string tickText(double value, const std::vector<double>& ticks) {
    const double step = ticks.size() > 1 ? ticks[1] - ticks[0] : 1;
    const int decimals = step >= 1 ? 0 : static_cast<int>(std::ceil(-std::log10(step) - 1e-9));
    char text[40];
    snprintf(text, sizeof(text), "%.*f", decimals, value);
    return text;
}

std::string curvePanel(const HuevaneModelLut& lut, const std::vector<double>& values, int y) {
    double low = *std::min_element(values.begin(), values.end());
    double high = *std::max_element(values.begin(), values.end());
    if (high == low) high = low + 1;
    const double last = values.size() > 1 ? static_cast<double>(values.size() - 1) : 1;
    const std::vector<double> yTicks = getTicks(low, high, 5);
    const std::vector<double> xTicks = getTicks(0, last, 6);
    int labelWidth = 0;
    for (double tick : yTicks) labelWidth = std::max(labelWidth, textWidth(tickText(tick, yTicks)));
    // The rotated axis name, a gap, the longest value label, a gap, the tick mark.
    const int left = 22 + labelWidth + 10;
    auto px = [&](double index) { return left + (RIGHT - left) * index / last; };
    auto py = [&](double value) {
        return y + BOTTOM - (BOTTOM - TOP) * (value - low) / (high - low);
    };
    std::string svg = title(lut, y);
    svg += "<path class='axis' d='M" + std::to_string(left) + " " + std::to_string(y + TOP) + "V" +
           std::to_string(y + BOTTOM) + "H" + std::to_string(RIGHT) + "'/>\n";
    std::string ticks;
    for (double tick : yTicks) {
        const std::string at = coordinate(py(tick));
        ticks += "M" + std::to_string(left - 4) + " " + at + "H" + std::to_string(left);
        svg += textAt(left - 7, static_cast<int>(std::lround(py(tick))) + 4, tickText(tick, yTicks),
                      "end");
    }
    for (double tick : xTicks) {
        const std::string at = coordinate(px(tick));
        ticks += "M" + at + " " + std::to_string(y + BOTTOM) + "V" + std::to_string(y + BOTTOM + 4);
        svg += textAt(static_cast<int>(std::lround(px(tick))), y + BOTTOM + 16,
                      tickText(tick, xTicks), "middle");
    }
    svg += "<path class='axis' d='" + ticks + "'/>\n";
    svg += "<polyline class='curve' points='";
    for (size_t i = 0; i < values.size(); i++) {
        svg += (i ? " " : "") + coordinate(px(static_cast<double>(i))) + "," +
               coordinate(py(values[i]));
    }
    svg += "'/>\n";
    svg += textAt((left + RIGHT) / 2, y + BOTTOM + 32,
                  "index (" + std::to_string(values.size()) + " values)", "middle");
    const int middle = y + (TOP + BOTTOM) / 2;
    svg += "<text x='14' y='" + std::to_string(middle) +
           "' text-anchor='middle' transform='rotate(-90 14 " + std::to_string(middle) +
           ")'>value</text>\n";
    return svg;
}

std::string swatch(int x, int y, const std::array<float, 3>& rgb) {
    auto channel = [](float v) {
        return std::to_string(
                static_cast<int>(std::lround(std::min(1.0f, std::max(0.0f, v)) * 255)));
    };
    // The outline keeps a white swatch visible on the white page.
    return "<rect x='" + std::to_string(x) + "' y='" + std::to_string(y) +
           "' width='14' height='14' class='swatch' fill='rgb(" + channel(rgb[0]) + "," +
           channel(rgb[1]) + "," + channel(rgb[2]) + ")'/>\n";
}

std::string matrixPanel(const HuevaneModelLut& lut, const huevane::mat4& matrix, int y) {
    std::string svg = title(lut, y);
    svg += textAt(10, y + HEADING + 14, "rows, value = fixed-point / 65536");
    // As the text views print it: the values, then the fixed-point integers the text holds.
    for (int r = 0; r < 4; r++) {
        const int row = y + HEADING + 32 + 16 * r;
        for (int c = 0; c < 4; c++) {
            const float value = matrix[4 * c + r];
            svg += textAt(90 + 80 * c, row, getMatrixValueText(value), "end");
            svg += textAt(430 + 70 * c, row, std::to_string(huevane::getFixedPointFromFloat(value)),
                          "end");
        }
        svg += textAt(356, row, "|", "middle");
    }
    const auto primaries = getMatrixPrimaries(matrix);
    for (int p = 0; p < 4; p++) {
        const int row = y + HEADING + 112 + 18 * (p % 2);
        const int x = 10 + 350 * (p / 2);
        std::array<float, 3> in = {p == 0 || p == 3 ? 1.0f : 0.0f, p == 1 || p == 3 ? 1.0f : 0.0f,
                                   p == 2 || p == 3 ? 1.0f : 0.0f};
        svg += swatch(x, row - 11, in) + swatch(x + 18, row - 11, primaries[p]);
        svg += textAt(x + 40, row,
                      std::string(PRIMARY_NAMES[p]) + " -> (" + getMatrixValueText(primaries[p][0]) +
                              ", " + getMatrixValueText(primaries[p][1]) + ", " +
                              getMatrixValueText(primaries[p][2]) + ")");
    }
    return svg;
}

std::string textPanel(const HuevaneModelLut& lut, int y) {
    return title(lut, y) + textAt(10, y + HEADING + 14,
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
    for (size_t k = 0; k < pair.luts.size(); k++) {
        count += isShown(pair.luts[k], options) && (!options.drawn || (*options.drawn)[k]);
    }
    return count;
}

std::string plotPairSvg(const HuevaneModelPair& pair, const HuevanePlotOptions& options) {
    std::string body;
    const std::string refused = getRefusedText(pair);
    int y = options.xmlDeclaration ? (refused.empty() ? 30 : 46) : 4;
    for (size_t k = 0; k < pair.luts.size(); k++) {
        const HuevaneModelLut& lut = pair.luts[k];
        if (!isShown(lut, options) || (options.drawn && !(*options.drawn)[k])) continue;
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
    svg += "<svg xmlns='http://www.w3.org/2000/svg' width='" + std::to_string(WIDTH) + "' height='" +
           std::to_string(y) + "' viewBox='0 0 " + std::to_string(WIDTH) + " " + std::to_string(y) +
           "' font-family='sans-serif' font-size='" + std::to_string(FONT) + "'>\n";
    svg += "<style>.title{font-weight:bold;font-size:12px}.sub{fill:#555}"
           ".axis{fill:none;stroke:#444}.curve{fill:none;stroke:#1565c0;stroke-width:1.2}"
           ".swatch{stroke:#444;stroke-width:1}</style>\n";
    svg += "<rect width='100%' height='100%' fill='white'/>\n";
    if (options.xmlDeclaration) {
        svg += textAt(10, 18,
                      "mode " + std::to_string(pair.mode.modeId) + " " + pair.mode.modeName +
                              ", intent " + std::to_string(pair.intent.intentId) + " " +
                              pair.intent.intentName);
        if (!refused.empty()) svg += textAt(10, 34, refused + "; the LUTs as written");
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
