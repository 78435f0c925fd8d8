#include "HuevaneToolReport.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <sstream>
#include <utility>

#include "HuevaneCalibrationLint.h"
#include "HuevaneDataLut.h"
#include "HuevaneMatrixText.h"
#include "HuevaneNodeTable.h"
#include "HuevaneToolPlot.h"
#include "HuevaneToolRequest.h"

namespace {

const char* const STYLE =
        "body{font-family:sans-serif;margin:2em;max-width:60em;color:#222}"
        "table{border-collapse:collapse;margin:.5em 0 1em}"
        "td,th{border:1px solid #bbb;padding:2px 8px;text-align:left}"
        "td.n{text-align:right;font-family:monospace}"
        "h2{border-top:2px solid #1565c0;padding-top:.5em;margin-top:2em}"
        ".error{color:#b71c1c}.warning{color:#e65100}.note{color:#555}"
        ".banner{background:#b71c1c;color:#fff;padding:.5em 1em;margin:.3em 0;font-weight:bold}"
        "td.swatch{width:3em;border:1px solid #888}td.n{white-space:nowrap}";

std::string cell(const std::string& text, const char* tag = "td", const char* cls = nullptr) {
    std::string open = std::string("<") + tag + (cls ? std::string(" class='") + cls + "'" : "");
    return open + ">" + escapeMarkup(text) + "</" + tag + ">";
}

std::string row(const std::vector<std::string>& cells, const char* tag = "td") {
    std::string html = "<tr>";
    for (const std::string& text : cells) html += cell(text, tag);
    return html + "</tr>\n";
}

std::string hex(unsigned value) {
    char text[16];
    snprintf(text, sizeof(text), "0x%04X", value);
    return text;
}

std::string modesTable(const HuevaneCalibrationModel& model) {
    std::string html =
            "<table>\n" + row({"mode", "name", "gamut", "intent", "intent name", "LUTs"}, "th");
    for (const HuevaneModelPair& pair : model.pairs) {
        html += row({std::to_string(pair.mode.modeId), pair.mode.modeName,
                     std::to_string(pair.mode.gamutId), std::to_string(pair.intent.intentId),
                     pair.intent.intentName, std::to_string(pair.luts.size())});
    }
    return html + "</table>\n";
}

std::string lutTable(const HuevaneModelPair& pair) {
    std::string html =
            "<table>\n" + row({"node", "id", "attr", "bytes", "crc", "written at"}, "th");
    for (const HuevaneModelLut& lut : pair.luts) {
        const pvx_colormode_data_header& h = lut.lut.first;
        html += row({huevane::getNodeLabel(h.id), std::to_string(h.id),
                     std::to_string(h.attr0) + "," + std::to_string(h.attr1) + "," +
                             std::to_string(h.attr2) + "," + std::to_string(h.attr3),
                     std::to_string(h.total_size), hex(h.crc), placeText(lut.place, true)});
    }
    return html + "</table>\n";
}

std::string number(float value) {
    char text[32];
    snprintf(text, sizeof(text), "%.6f", value);
    return text;
}

std::string matrixTable(const HuevaneModelLut& lut, const huevane::mat4& m) {
    std::string html = "<p>" + escapeMarkup(huevane::getNodeLabel(lut.lut.first.id)) + " at " +
                       escapeMarkup(placeText(lut.place, true)) + "</p>\n<table>\n";
    html += row({"column 0", "column 1", "column 2", "column 3", "makes of", "r", "g", "b"}, "th");
    const auto primaries = getMatrixPrimaries(m);
    static const char* const NAMES[4] = {"red", "green", "blue", "white"};
    for (int r = 0; r < 4; r++) {
        html += "<tr>";
        for (int c = 0; c < 4; c++) html += cell(number(m[4 * c + r]), "td", "n");
        html += cell(NAMES[r]);
        for (float v : primaries[r]) html += cell(number(v), "td", "n");
        html += "</tr>\n";
    }
    return html + "</table>\n";
}

std::string pairSection(const HuevaneModelPair& pair, const HuevaneReportColour* colour) {
    std::string html = "<h2>mode " + std::to_string(pair.mode.modeId) + " " +
                       escapeMarkup(pair.mode.modeName) + ", intent " +
                       std::to_string(pair.intent.intentId) + " " +
                       escapeMarkup(pair.intent.intentName) + "</h2>\n";
    if (pair.luts.empty()) return html + "<p>No LUTs: this pair sends nothing of its own.</p>\n";
    html += lutTable(pair);
    HuevanePlotOptions options;
    options.matrices = false;
    options.xmlDeclaration = false;
    if (countPlottedLuts(pair, options) > 0) html += plotPairSvg(pair, options);
    for (const HuevaneModelLut& lut : pair.luts) {
        bool enabled = false;
        huevane::mat4 matrix;
        const uint8_t id = lut.lut.first.id;
        if (huevane::isMatrixNode(id) &&
            huevane::getMatrixFromText(lut.lut.second, &enabled, &matrix)) {
            html += matrixTable(lut, matrix);
        }
    }
    if (colour != nullptr) {
        const auto section =
                colour->sections.find(std::make_pair(pair.mode.modeId, pair.intent.intentId));
        if (section != colour->sections.end()) html += section->second;
    }
    return html;
}

std::string findingsSection(const std::vector<HuevaneFinding>& findings) {
    std::string html = "<h2>Lint findings</h2>\n<table>\n" +
                       row({"where", "severity", "rule", "finding"}, "th");
    for (const HuevaneFinding& finding : findings) {
        const char* severity = getSeverityName(finding.severity);
        html += "<tr>" + cell(finding.file + ":" + std::to_string(finding.line)) +
                cell(severity, "td", severity) + cell(finding.rule) + cell(finding.message) +
                "</tr>\n";
    }
    if (findings.empty()) html += row({"", "", "", "none"});
    return html + "</table>\n";
}

}  // namespace

std::string reportHtml(const HuevaneCalibrationModel& model, const std::string& heading,
                       const std::vector<HuevaneFinding>& findings,
                       const HuevaneReportColour* colour) {
    std::string html =
            "<!DOCTYPE html>\n<html lang='en'>\n<head>\n<meta charset='utf-8'>\n<title>" +
            escapeMarkup(heading) + "</title>\n<style>" + STYLE +
            "</style>\n</head>\n<body>\n<h1>" + escapeMarkup(heading) + "</h1>\n";
    if (colour != nullptr) {
        for (const std::string& banner : colour->banners) {
            html += "<div class='banner'>" + escapeMarkup(banner) + "</div>\n";
        }
    }
    html += "<p>Calibration " + escapeMarkup(model.document);
    for (const std::string& sub : model.subDocuments) {
        html += "<br>\nsub document " + escapeMarkup(sub);
    }
    html += "</p>\n<h2>Colour modes and render intents</h2>\n" + modesTable(model);
    for (const HuevaneModelPair& pair : model.pairs) html += pairSection(pair, colour);
    html += findingsSection(findings);
    return html + "</body>\n</html>\n";
}

HuevaneToolRun setupReportCommand(CLI::App& command) {
    command.description(
            "Writes one self-contained HTML page (-o FILE.html) for the calibration of --display\n"
            "in the device tree of --root: the modes and intents, per pair its LUTs with their\n"
            "curves and its matrices, and the lint findings. With --panel, per pair also a CIE\n"
            "1931 xy diagram and the patch table against the mode's target, and a banner at the\n"
            "top for every pair whose CIEDE2000 maximum is above --fail-above. The page fetches\n"
            "nothing.");
    auto request = std::make_shared<HuevaneReportColourRequest>();
    command.add_option("--panel", request->panel, "panel description (JSON): add the colours")
            ->type_name("FILE");
    command.add_option("--target", request->target,
                       "with --panel, every pair's target (default: the mode's in the description)")
            ->type_name("T");
    CLI::Option* gate = command.add_option("--fail-above", request->failAbove,
                                           "with --panel, a banner for every pair whose "
                                           "CIEDE2000 maximum is above DE")
                                ->type_name("DE")
                                ->check(CLI::Range(0.0, 1000.0));
    return [request, gate](HuevaneToolContext& context) {
        HuevaneLibraryLogGuard quiet(context.common.logLevel);
        HuevaneReportColour colour;
        if (!request->panel.empty()) {
            request->gate = gate->count() > 0;
            request->root = context.common.root;
            request->display = context.common.display;
            if (!getReportColour(*request, context.diagnostics, &colour)) return TOOL_FAILED;
        }
        HuevaneCalibrationModel model =
                loadDeviceCalibration(context.common.root, context.common.display);
        if (!reportModelProblems(model, context.diagnostics)) return TOOL_FAILED;
        std::ostringstream unused;
        HuevaneDiagnostics lint(unused, false);
        lint.setCollecting(true);
        lintCalibrationFile(model.document, lint);
        context.out << reportHtml(
                model, "Calibration of display " + std::to_string(context.common.display),
                lint.getFindings(), request->panel.empty() ? nullptr : &colour);
        return TOOL_OK;
    };
}
