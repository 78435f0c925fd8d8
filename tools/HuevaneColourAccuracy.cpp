#include "HuevaneColourAccuracy.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>

#include "HuevaneColourData.h"
#include "HuevaneNodeTable.h"

namespace {

constexpr int GREY_STEPS = 11;  // 0 %, 10 %, ... 100 %

HuevaneRgb clampSignal(HuevaneRgb signal) {
    for (double& channel : signal) channel = std::min(std::max(channel, 0.0), 1.0);
    return signal;
}

std::string originText(const huevane::HuevaneLutOrigin& origin) {
    switch (origin.sourceKind) {
        case huevane::SOURCE_KIND_COLOR_MODE:
            return "colour mode";
        case huevane::SOURCE_KIND_TRANSFORM:
            return "colour transform";
        case huevane::SOURCE_KIND_EXTENSION:
            return "extension entry " + std::to_string(origin.extensionEntry);
        default:
            return "unknown source";
    }
}

std::string number(const char* format, double value) {
    char text[32];
    snprintf(text, sizeof(text), format, value);
    return text;
}

}  // namespace

std::vector<HuevanePatch> getPatchSet(const HuevaneColourSpace& target) {
    std::vector<HuevanePatch> patches;
    for (const HuevaneChartPatch& chart : COLORCHECKER_CLASSIC_D50) {
        const HuevaneXyz pcs = getPcsFromLab({chart.L, chart.a, chart.b});
        patches.push_back({chart.name, clampSignal(target.fromPcs(pcs))});
    }
    for (int k = 0; k < GREY_STEPS; k++) {
        const double level = static_cast<double>(k) / (GREY_STEPS - 1);
        patches.push_back({"grey " + std::to_string(k * 10) + "%", {level, level, level}});
    }
    patches.push_back({"red", {1, 0, 0}});
    patches.push_back({"green", {0, 1, 0}});
    patches.push_back({"blue", {0, 0, 1}});
    patches.push_back({"cyan", {0, 1, 1}});
    patches.push_back({"magenta", {1, 0, 1}});
    patches.push_back({"yellow", {1, 1, 0}});
    return patches;
}

HuevaneDeltaStats getDeltaStats(const std::vector<double>& deltas,
                                const std::vector<std::string>& names) {
    HuevaneDeltaStats stats;
    if (deltas.empty()) return stats;
    const size_t worst =
            static_cast<size_t>(std::max_element(deltas.begin(), deltas.end()) - deltas.begin());
    stats.max = deltas[worst];
    stats.worst = worst < names.size() ? names[worst] : "";
    stats.mean =
            std::accumulate(deltas.begin(), deltas.end(), 0.0) / static_cast<double>(deltas.size());
    std::vector<double> sorted = deltas;
    std::sort(sorted.begin(), sorted.end());
    const double rank = 0.95 * static_cast<double>(sorted.size() - 1);
    const size_t below = static_cast<size_t>(rank);
    const size_t above = std::min(below + 1, sorted.size() - 1);
    stats.p95 =
            sorted[below] + (rank - static_cast<double>(below)) * (sorted[above] - sorted[below]);
    return stats;
}

HuevaneWhitePoint getPredictedWhite(const HuevanePanel& panel, const HuevanePipeline& pipeline) {
    return getWhitePoint(panel.response->toNative(predictPcs(panel, pipeline, {1, 1, 1})));
}

HuevaneAccuracy getAccuracy(const HuevanePanel& panel, const HuevanePipeline& pipeline,
                            const HuevaneColourSpace& target) {
    HuevaneAccuracy accuracy;
    std::vector<double> deltas;
    std::vector<std::string> names;
    for (const HuevanePatch& patch : getPatchSet(target)) {
        HuevanePatchResult result;
        result.patch = patch;
        result.expected = getLab(target.toPcs(patch.signal));
        result.predicted = getLab(predictPcs(panel, pipeline, patch.signal));
        result.deltaE = getDeltaE2000(result.expected, result.predicted);
        deltas.push_back(result.deltaE);
        names.push_back(patch.name);
        accuracy.patches.push_back(result);
    }
    accuracy.stats = getDeltaStats(deltas, names);
    accuracy.white = getPredictedWhite(panel, pipeline);
    accuracy.targetWhite = getWhitePoint(target.getNativeWhite());
    for (int c = 0; c < 3; c++) {
        HuevaneRgb unit = {0, 0, 0};
        unit[c] = 1;
        accuracy.primaries[c] =
                getChromaticity(panel.response->toNative(predictPcs(panel, pipeline, unit)));
        accuracy.targetPrimaries[c] = getChromaticity(target.toNative(target.toPcs(unit)));
    }
    return accuracy;
}

std::vector<HuevaneSentLut> getSentLuts(const huevane::HuevaneInspection& inspection,
                                        const huevane::HuevaneInspectedParcel& parcel) {
    std::vector<HuevaneSentLut> luts;
    for (const huevane::HuevaneParcelEntry& entry : parcel.entries) {
        HuevaneSentLut lut;
        lut.lut = entry.sent;
        const huevane::HuevaneLutOrigin& origin = entry.origin;
        if (origin.sourceKind == huevane::SOURCE_KIND_COLOR_MODE && !origin.place.document.empty()) {
            lut.file = inspection.getHostPath(origin.place.document);
            lut.line = origin.place.line;
        }
        lut.origin = entry.stage != 0 ? huevane::getNodeLabel(entry.stage) + " stage's product"
                                      : originText(origin);
        luts.push_back(lut);
    }
    return luts;
}

std::string describePair(const HuevaneMode& mode, const DisplayRenderIntent& intent) {
    return "mode " + std::to_string(mode.modeId) + " " + mode.modeName + ", intent " +
           std::to_string(intent.intentId) + " " + intent.intentName;
}

HuevaneJson whiteJson(const HuevaneWhitePoint& white) {
    return {{"x", white.xy.x}, {"y", white.xy.y}, {"cct", white.cct}, {"duv", white.duv}};
}

HuevaneJson statsJson(const HuevaneDeltaStats& stats) {
    return {{"mean", stats.mean}, {"p95", stats.p95}, {"max", stats.max}, {"worst", stats.worst}};
}

std::string statsText(const HuevaneDeltaStats& stats) {
    return "mean " + number("%.2f", stats.mean) + "  p95 " + number("%.2f", stats.p95) + "  max " +
           number("%.2f", stats.max) + " (" + stats.worst + ")";
}

std::string whiteText(const HuevaneWhitePoint& white) {
    return "x " + number("%.4f", white.xy.x) + " y " + number("%.4f", white.xy.y) + "  " +
           (white.cct > 0 ? number("%.0f K", white.cct) + "  duv " + number("%+.4f", white.duv)
                          : std::string("no colour temperature"));
}
