// `matrix`: the gamut-mapping matrix from a target's linear RGB to the panel's, white adapted
// with Bradford, as the library's matrix text, with what the panel is predicted to show of the
// target's primaries and white through it.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>

#include "HuevaneColourAccuracy.h"
#include "HuevaneToolCommand.h"
#include "HuevaneToolExplain.h"
#include "HuevaneToolJson.h"

namespace {

// A needed panel value this far outside 0..1 is clipped, not rounding.
constexpr double CLIP_TOLERANCE = 1e-4;
const char* const CHANNELS[3] = {"red", "green", "blue"};

struct MatrixOptions {
    std::string panel;
    std::string target;
};

struct Primary {
    std::string name;
    HuevaneRgb signal;
    HuevaneRgb needed;  // the panel's linear values the matrix asks for, before clipping
    HuevaneXy targetXy, predictedXy;
    double deltaE = 0;
};

// Both spaces' primaries in the connection space, each white already adapted to D50 with
// Bradford: the product maps the target's white onto the panel's.
bool getGamutMatrix(const HuevaneColourSpace& panel, const HuevaneColourSpace& target,
                    huevane::mat4* matrix) {
    HuevaneMatrix3 panelInverse;
    if (!invertMatrix(panel.getPrimaryMatrix(), &panelInverse)) return false;
    const HuevaneMatrix3 m = multiplyMatrices(panelInverse, target.getPrimaryMatrix());
    matrix->fill(0);
    for (int r = 0; r < 3; r++) {
        for (int c = 0; c < 3; c++) (*matrix)[4 * c + r] = static_cast<float>(m[3 * r + c]);
    }
    (*matrix)[15] = 1;
    return true;
}

// Through the matrix as the library sends it, with the curves on either side ideal: the
// target's decoding before it, the inverse of the panel's response after it.
Primary predict(const HuevaneColourSpace& panel, const HuevaneColourSpace& target,
                const huevane::mat4& sent, const std::string& name, const HuevaneRgb& signal) {
    Primary primary{name, signal, {}, {}, {}, 0};
    HuevaneRgb drive;
    for (int r = 0; r < 3; r++) {
        primary.needed[r] = sent[12 + r];
        for (int c = 0; c < 3; c++) {
            primary.needed[r] += double{sent[4 * c + r]} * target.toLinear(c, signal[c]);
        }
        drive[r] = panel.fromLinear(r, std::min(std::max(primary.needed[r], 0.0), 1.0));
    }
    const HuevaneXyz expected = target.toPcs(signal);
    const HuevaneXyz predicted = panel.toPcs(drive);
    primary.targetXy = getChromaticity(target.toNative(expected));
    primary.predictedXy = getChromaticity(panel.toNative(predicted));
    primary.deltaE = getDeltaE2000(getLab(expected), getLab(predicted));
    return primary;
}

std::string clipText(const Primary& p) {
    std::string text;
    for (int c = 0; c < 3; c++) {
        if (p.needed[c] >= -CLIP_TOLERANCE && p.needed[c] <= 1 + CLIP_TOLERANCE) continue;
        char line[96];
        snprintf(line, sizeof(line), "%spanel %s %.4f held to %d", text.empty() ? "" : ", ",
                 CHANNELS[c], p.needed[c], p.needed[c] < 0 ? 0 : 1);
        text += line;
    }
    return text;
}

void writeText(const HuevanePanel& panel, const HuevaneColourSpace& target,
               const huevane::mat4& sent, const std::vector<Primary>& primaries,
               const std::string& text, std::ostream& out) {
    out << "panel       " << (panel.name.empty() ? panel.path : panel.name) << ": "
        << panel.responseText << "\n            white "
        << whiteText(getWhitePoint(panel.response->getNativeWhite())) << "\n";
    out << "target      " << target.getName() << "\n            white "
        << whiteText(getWhitePoint(target.getNativeWhite())) << "\n";
    out << "matrix      target linear RGB to panel linear RGB, white adapted with Bradford\n";
    writeMatrixRows(sent, "            ", out);
    out << "predicted   through the matrix as sent, with ideal curves around it\n";
    std::string clipped;
    for (const Primary& p : primaries) {
        char line[160];
        snprintf(line, sizeof(line),
                 "  %-9s target x %.4f y %.4f  panel x %.4f y %.4f  ΔE2000 %.2f\n", p.name.c_str(),
                 p.targetXy.x, p.targetXy.y, p.predictedXy.x, p.predictedXy.y, p.deltaE);
        out << line;
        const std::string clip = clipText(p);
        if (!clip.empty()) clipped += "  " + p.name + ": " + clip + "\n";
    }
    out << "clipped     "
        << (clipped.empty() ? "none: the panel shows the whole target\n"
                            : "the target is wider than the panel\n" + clipped);
    out << text << "\n";
}

void writeJsonDocument(const HuevanePanel& panel, const HuevaneColourSpace& target,
                       const huevane::mat4& sent, const std::vector<Primary>& primaries,
                       const std::string& text, std::ostream& out) {
    HuevaneJson predicted = HuevaneJson::array();
    for (const Primary& p : primaries) {
        HuevaneJson clipped = HuevaneJson::array();
        for (int c = 0; c < 3; c++) {
            if (p.needed[c] < -CLIP_TOLERANCE || p.needed[c] > 1 + CLIP_TOLERANCE) {
                clipped.push_back({{"channel", CHANNELS[c]}, {"value", p.needed[c]}});
            }
        }
        predicted.push_back({{"name", p.name},
                             {"target_xy", {p.targetXy.x, p.targetXy.y}},
                             {"predicted_xy", {p.predictedXy.x, p.predictedXy.y}},
                             {"delta_e", p.deltaE},
                             {"panel_linear", p.needed},
                             {"clipped", clipped}});
    }
    std::vector<int32_t> fixed;
    for (float value : sent) fixed.push_back(huevane::getFixedPointFromFloat(value));
    writeJson(out, {{"panel", panel.path},
                    {"target", target.getName()},
                    {"matrix", {{"values", sent}, {"fixed", fixed}}},
                    {"predicted", predicted},
                    {"matrix_text", text}});
}

int runMatrix(HuevaneToolContext& context, const MatrixOptions& options) {
    HuevanePanel panel;
    if (!readPanel(options.panel, false, &panel, context.diagnostics)) return TOOL_FAILED;
    std::string error;
    std::unique_ptr<HuevaneColourSpace> target = openTarget(options.target, &error);
    if (!target) {
        context.diagnostics.error(options.target, 0, error);
        return TOOL_FAILED;
    }
    huevane::mat4 matrix;
    if (!getGamutMatrix(*panel.response, *target, &matrix)) {
        context.diagnostics.error(options.panel, 0,
                                  "response: the panel's primaries have no inverse");
        return TOOL_FAILED;
    }
    const std::string text = huevane::getMatrixTextFromFloats(matrix.data(), matrix.size());
    // Predict through what the library will really read, fixed point and all.
    bool enabled = false;
    huevane::mat4 sent;
    huevane::getMatrixFromText(text, &enabled, &sent);
    std::vector<Primary> primaries;
    primaries.reserve(4);
    static const HuevaneRgb SIGNALS[4] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}};
    static const char* const NAMES[4] = {"red", "green", "blue", "white"};
    for (int k = 0; k < 4; k++) {
        primaries.push_back(predict(*panel.response, *target, sent, NAMES[k], SIGNALS[k]));
    }
    context.common.json ? writeJsonDocument(panel, *target, sent, primaries, text, context.out)
                        : writeText(panel, *target, sent, primaries, text, context.out);
    return TOOL_OK;
}

}  // namespace

HuevaneToolRun setupMatrixCommand(CLI::App& command) {
    command.description(
            "Prints the matrix that takes the target's linear RGB to the panel's (the target's\n"
            "white adapted to the panel's with Bradford) as the library's matrix text, alone on\n"
            "the last line, and the predicted CIEDE2000 of the target's primaries and white\n"
            "through it. A target wider than the panel is clipped: each primary that needs a\n"
            "panel value outside 0..1 is named, with the value.");
    auto options = std::make_shared<MatrixOptions>();
    command.add_option("--panel", options->panel, "panel description (JSON)")
            ->type_name("FILE")
            ->required();
    command.add_option("--target", options->target,
                       std::string("target: ") + HuevaneColourSpace::getKnownNames() +
                               ", or an RGB ICC profile")
            ->type_name("T")
            ->required();
    return [options](HuevaneToolContext& context) { return runMatrix(context, *options); };
}
