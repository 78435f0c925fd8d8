#include "HuevaneColourReport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

#include "HuevaneColourData.h"
#include "HuevaneInspection.h"
#include "HuevaneToolPlot.h"

namespace {

// The diagram's frame: x from 0 to 0.8, y from 0 to 0.9, 500 pixels per unit.
constexpr double SCALE = 500;
constexpr double LEFT = 40, TOP = 10;
constexpr double WIDTH = 0.8 * SCALE, HEIGHT = 0.9 * SCALE;

std::string px(double value) {
    char text[32];
    snprintf(text, sizeof(text), "%.1f", value);
    return text;
}

std::string point(const HuevaneXy& xy) {
    return px(LEFT + xy.x * SCALE) + "," + px(TOP + HEIGHT - xy.y * SCALE);
}

std::string fixed(double value, const char* format = "%.2f") {
    char text[32];
    snprintf(text, sizeof(text), format, value);
    return text;
}

std::string locusPath() {
    std::string points;
    for (const HuevaneObserverRow& row : CIE1931_2DEG) {
        // The far red end crowds into one point; its chromaticity is all the diagram needs.
        if (row.wavelength > 700) break;
        points += (points.empty() ? "" : " ") + point(getChromaticity({row.x, row.y, row.z}));
    }
    return "<polygon class='locus' points='" + points + "'/>\n";
}

std::string gridLines() {
    std::string svg;
    for (int k = 0; k <= 8; k++) {
        const double x = LEFT + k * 0.1 * SCALE;
        svg += "<line class='grid' x1='" + px(x) + "' y1='" + px(TOP) + "' x2='" + px(x) + "' y2='" +
               px(TOP + HEIGHT) + "'/><text x='" + px(x) + "' y='" + px(TOP + HEIGHT + 14) +
               "' text-anchor='middle'>" + fixed(k * 0.1, "%.1f") + "</text>\n";
    }
    for (int k = 0; k <= 9; k++) {
        const double y = TOP + HEIGHT - k * 0.1 * SCALE;
        svg += "<line class='grid' x1='" + px(LEFT) + "' y1='" + px(y) + "' x2='" +
               px(LEFT + WIDTH) + "' y2='" + px(y) + "'/><text x='" + px(LEFT - 4) + "' y='" +
               px(y + 4) + "' text-anchor='end'>" + fixed(k * 0.1, "%.1f") + "</text>\n";
    }
    return svg;
}

std::string triangle(const std::array<HuevaneXy, 3>& primaries, const char* cls) {
    return "<polygon class='" + std::string(cls) + "' points='" + point(primaries[0]) + " " +
           point(primaries[1]) + " " + point(primaries[2]) + "'/>\n";
}

std::string whiteMark(const HuevaneXy& xy, const char* cls) {
    return "<circle class='" + std::string(cls) + "' cx='" + px(LEFT + xy.x * SCALE) + "' cy='" +
           px(TOP + HEIGHT - xy.y * SCALE) + "' r='4'/>\n";
}

std::string legend() {
    const double x = LEFT + 0.5 * SCALE, y = TOP + 20;
    return "<line class='target' x1='" + px(x) + "' y1='" + px(y) + "' x2='" + px(x + 24) +
           "' y2='" + px(y) + "'/><text x='" + px(x + 30) + "' y='" + px(y + 4) +
           "'>target</text>\n<line class='predicted' x1='" + px(x) + "' y1='" + px(y + 18) +
           "' x2='" + px(x + 24) + "' y2='" + px(y + 18) + "'/><text x='" + px(x + 30) + "' y='" +
           px(y + 22) + "'>predicted</text>\n";
}

std::string hex(double channel) {
    char text[8];
    snprintf(text, sizeof(text), "%02x",
             static_cast<int>(std::lround(std::min(std::max(channel, 0.0), 1.0) * 255)));
    return text;
}

std::string swatch(const HuevaneLab& lab) {
    return "<td class='swatch' style='background:" + getSwatchColour(getPcsFromLab(lab)) + "'></td>";
}

std::string patchTable(const HuevaneAccuracy& accuracy) {
    std::string html =
            "<table class='patches'>\n<tr><th>patch</th><th>signal</th><th>target</th>"
            "<th>predicted</th><th>target L*a*b*</th><th>predicted L*a*b*</th>"
            "<th>ΔE2000</th></tr>\n";
    for (const HuevanePatchResult& p : accuracy.patches) {
        const auto lab = [](const HuevaneLab& v) {
            return fixed(v.L, "%.1f") + " " + fixed(v.a, "%.1f") + " " + fixed(v.b, "%.1f");
        };
        html += "<tr><td>" + escapeMarkup(p.patch.name) + "</td><td class='n'>" +
                fixed(p.patch.signal[0], "%.3f") + " " + fixed(p.patch.signal[1], "%.3f") + " " +
                fixed(p.patch.signal[2], "%.3f") + "</td>" + swatch(p.expected) +
                swatch(p.predicted) + "<td class='n'>" + lab(p.expected) + "</td><td class='n'>" +
                lab(p.predicted) + "</td><td class='n'>" + fixed(p.deltaE) + "</td></tr>\n";
    }
    return html + "</table>\n";
}

}  // namespace

std::string getSwatchColour(const HuevaneXyz& pcs) {
    static const std::unique_ptr<HuevaneColourSpace> SRGB = HuevaneColourSpace::fromName("srgb");
    const HuevaneRgb rgb = SRGB->fromPcs(pcs);
    return "#" + hex(rgb[0]) + hex(rgb[1]) + hex(rgb[2]);
}

std::string getChromaticityDiagramSvg(const HuevaneAccuracy& accuracy) {
    std::string svg = "<svg xmlns='http://www.w3.org/2000/svg' class='xy' width='" +
                      px(LEFT + WIDTH + 10) + "' height='" + px(TOP + HEIGHT + 40) +
                      "'>\n<style>.grid{stroke:#ddd}.locus{fill:none;stroke:#222}"
                      ".target{fill:none;stroke:#1565c0;stroke-dasharray:6 3;stroke-width:2}"
                      ".predicted{fill:none;stroke:#c62828;stroke-width:1.5}"
                      "text{font:11px sans-serif}</style>\n";
    svg += gridLines() + locusPath();
    svg += triangle(accuracy.targetPrimaries, "target") + triangle(accuracy.primaries, "predicted");
    svg += whiteMark(accuracy.targetWhite.xy, "target") + whiteMark(accuracy.white.xy, "predicted");
    svg += legend();
    svg += "<text x='" + px(LEFT + WIDTH / 2) + "' y='" + px(TOP + HEIGHT + 32) +
           "' text-anchor='middle'>CIE 1931 x</text>\n";
    return svg + "</svg>\n";
}

std::string getColourSectionHtml(const std::string& targetName, const HuevaneAccuracy& accuracy,
                                 const std::vector<std::string>& notes) {
    std::string html = "<h3>Colour on the panel, against " + escapeMarkup(targetName) + "</h3>\n";
    html += "<p>ΔE2000 " + escapeMarkup(statsText(accuracy.stats)) + " over " +
            std::to_string(accuracy.patches.size()) + " patches<br>\nwhite " +
            escapeMarkup(whiteText(accuracy.white)) + " (target " +
            escapeMarkup(whiteText(accuracy.targetWhite)) + ")</p>\n";
    for (const std::string& note : notes) {
        html += "<p class='warning'>" + escapeMarkup(note) + "</p>\n";
    }
    html += getChromaticityDiagramSvg(accuracy);
    html += "<p class='note'>Swatches as an sRGB screen shows them; colours beyond sRGB are held "
            "to its gamut.</p>\n";
    return html + patchTable(accuracy);
}

namespace {

// One pair's section, or why it has none.
std::string getPairSection(huevane::HuevaneInspection& inspection, const HuevanePanel& panel,
                           const huevane::HuevaneStoredPair& pair, const std::string& targetName,
                           const HuevaneColourSpace& target,
                           const HuevaneReportColourRequest& request, HuevaneReportColour* colour) {
    const huevane::HuevaneInspectedParcel parcel =
            inspection.getPairParcel(pair.mode.modeId, pair.intent.intentId);
    HuevanePipeline pipeline;
    std::vector<HuevaneFinding> problems;
    std::vector<std::string> notes;
    const bool modelled = parcel.built && buildPipeline(panel, getSentLuts(inspection, parcel),
                                                        &pipeline, &problems);
    notes.reserve(problems.size());
    for (const HuevaneFinding& problem : problems) notes.push_back(problem.message);
    if (!modelled) {
        std::string html = "<h3>Colour on the panel</h3>\n<p class='error'>Not predicted: " +
                           escapeMarkup(parcel.built ? "its LUTs do not match the description"
                                                     : "the engine built no parcel") +
                           "</p>\n";
        for (const std::string& note : notes)
            html += "<p class='error'>" + escapeMarkup(note) + "</p>\n";
        return html;
    }
    const HuevaneAccuracy accuracy = getAccuracy(panel, pipeline, target);
    if (request.gate && accuracy.stats.max > request.failAbove) {
        colour->banners.push_back(describePair(pair.mode, pair.intent) + ": ΔE2000 maximum " +
                                  fixed(accuracy.stats.max) + " (" + accuracy.stats.worst +
                                  ") is above " + fixed(request.failAbove) + " against " +
                                  targetName);
    }
    return getColourSectionHtml(targetName, accuracy, notes);
}

}  // namespace

bool getReportColour(const HuevaneReportColourRequest& request, HuevaneDiagnostics& diagnostics,
                     HuevaneReportColour* colour) {
    HuevanePanel panel;
    if (!readPanel(request.panel, true, &panel, diagnostics)) return false;
    auto inspection = huevane::HuevaneInspection::openDisplay(request.root, request.display);
    std::map<std::string, std::unique_ptr<HuevaneColourSpace>> targets;
    for (const huevane::HuevaneStoredPair& pair : inspection->getPairs()) {
        const std::string* named = panel.findTarget(pair.mode.modeName);
        const std::string name = !request.target.empty() ? request.target
                                 : named != nullptr      ? *named
                                                         : "";
        const auto key = std::make_pair(pair.mode.modeId, pair.intent.intentId);
        if (name.empty()) {
            colour->sections[key] =
                    "<h3>Colour on the panel</h3>\n<p class='note'>No target: the "
                    "panel description names none for mode " +
                    escapeMarkup(pair.mode.modeName) + ".</p>\n";
            continue;
        }
        std::unique_ptr<HuevaneColourSpace>& target = targets[name];
        std::string error;
        if (!target) target = openTarget(name, &error);
        if (!target) {
            diagnostics.error(name, 0, error);
            return false;
        }
        colour->sections[key] =
                getPairSection(*inspection, panel, pair, name, *target, request, colour);
    }
    return true;
}
