#include "HuevaneToolReport.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <unordered_map>
#include <utility>
#include <vector>

#include "HuevaneCalibrationLint.h"
#include "HuevaneDataLut.h"
#include "HuevaneMatrixText.h"
#include "HuevaneNodeTable.h"
#include "HuevaneToolPlot.h"
#include "HuevaneToolRequest.h"

namespace {

const char* const STYLE =
        "body{font-family:sans-serif;margin:2em;max-width:64em;color:#222}"
        "table{border-collapse:collapse;margin:.5em 0 1em}"
        "td,th{border:1px solid #bbb;padding:2px 8px;text-align:left;vertical-align:top}"
        "td.n,.luts td:nth-child(n+2):nth-child(-n+6),.modes td:nth-child(odd)"
        "{text-align:right;font-family:monospace;white-space:nowrap}"
        "td a{white-space:nowrap}h2{border-top:2px solid #1565c0;padding-top:.5em;margin-top:2em}"
        ".findings "
        "td:first-child{text-align:right}.error{color:#b71c1c}.warning{color:#e65100}.note{color:#"
        "555}"
        ".banner{background:#b71c1c;color:#fff;padding:.5em 1em;margin:.3em 0;font-weight:bold}"
        ".counts{padding:.5em 1em;margin:.3em 0;font-weight:bold;color:#fff}"
        ".counts a{color:#fff}.counts.bad{background:#b71c1c}.counts.warn{background:#e65100}"
        ".counts.good{background:#2e7d32}td.swatch{width:3em;border:1px solid #888}";

std::string cell(const std::string& text, const char* tag = "td", const char* cls = nullptr) {
    std::string open = std::string("<") + tag + (cls ? std::string(" class='") + cls + "'" : "");
    return open + ">" + escapeMarkup(text) + "</" + tag + ">";
}

std::string row(const std::vector<std::string>& cells, const char* tag = "td") {
    std::string html = "<tr>";
    for (const std::string& text : cells) html += cell(text, tag);
    return html + "</tr>\n";
}

std::string countText(size_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string link(const std::string& anchor, const std::string& text) {
    return "<a href='#" + anchor + "'>" + escapeMarkup(text) + "</a>";
}

std::string pairAnchor(const HuevaneModelPair& pair) {
    return "m" + std::to_string(pair.mode.modeId) + "i" + std::to_string(pair.intent.intentId);
}

std::string pairName(const HuevaneModelPair& pair) {
    return "mode " + std::to_string(pair.mode.modeId) + " " + pair.mode.modeName + ", intent " +
           std::to_string(pair.intent.intentId) + " " + pair.intent.intentName;
}

std::string attrText(const pvx_colormode_data_header& h) {
    return std::to_string(h.attr0) + "," + std::to_string(h.attr1) + "," + std::to_string(h.attr2) +
           "," + std::to_string(h.attr3);
}

// Where each distinct LUT (node, attributes and text as sent) is shown first: a calibration with
// many modes shares most of its LUTs, and each is drawn once.
class LutDirectory {
  public:
    struct Seen {
        std::string anchor;
        const HuevaneModelPair* pair;
    };
    // The first showing of `lut`, or null when this is it (and it is now recorded).
    const Seen* find(const HuevaneModelLut& lut, const HuevaneModelPair& pair) {
        const pvx_colormode_data_header& h = lut.lut.first;
        std::string key = {static_cast<char>(h.id), static_cast<char>(h.attr0),
                           static_cast<char>(h.attr1), static_cast<char>(h.attr2),
                           static_cast<char>(h.attr3)};
        key += lut.lut.second.str();
        auto found = mSeen.find(key);
        if (found != mSeen.end()) return &found->second;
        mSeen.emplace(std::move(key), Seen{"l" + std::to_string(mSeen.size()), &pair});
        mLast = "l" + std::to_string(mSeen.size() - 1);
        return nullptr;
    }
    const std::string& lastAnchor() const { return mLast; }
    // The first built pair that sent this sequence of LUTs (their anchors), or null when this
    // is it.
    const HuevaneModelPair* findSequence(const std::string& sequence, const HuevaneModelPair& pair) {
        auto inserted = mSequences.emplace(sequence, &pair);
        return inserted.second ? nullptr : inserted.first->second;
    }

  private:
    std::unordered_map<std::string, Seen> mSeen;
    std::unordered_map<std::string, const HuevaneModelPair*> mSequences;
    std::string mLast;
};

std::string documentsTable(const HuevaneCalibrationModel& model) {
    std::string html = "<h2 id='documents'>Documents</h2>\n<table>\n";
    if (!model.targetName.empty()) html += row({"target name", model.targetName});
    html += row({"calibration", model.document});
    for (const std::string& sub : model.subDocuments) html += row({"sub document", sub});
    for (const auto& unused : model.unusedDocuments) {
        html += row({"not used", unused.first + ": " + unused.second});
    }
    return html + "</table>\n";
}

// The modes and intents as offered, each pair linked to its section.
std::string contentsTable(const HuevaneCalibrationModel& model) {
    std::string html =
            "<h2 id='contents'>Colour modes and render intents</h2>\n<table class='modes'>\n" +
            row({"mode", "name", "gamut", "intent", "LUTs sent"}, "th");
    for (const HuevaneModelPair& pair : model.pairs) {
        html += "<tr>" + cell(std::to_string(pair.mode.modeId)) + cell(pair.mode.modeName) +
                cell(std::to_string(pair.mode.gamutId)) + "<td>" +
                link(pairAnchor(pair),
                     std::to_string(pair.intent.intentId) + " " + pair.intent.intentName) +
                "</td>" + cell(pair.built ? std::to_string(pair.luts.size()) : "refused") +
                "</tr>\n";
    }
    if (model.pairs.empty()) html += row({"", "", "", "", "none"});
    return html + "</table>\n";
}

std::string matrixTable(const HuevaneModelLut& lut, const huevane::mat4& m) {
    std::string html = "<p>" + escapeMarkup(huevane::getNodeLabel(lut.lut.first.id)) +
                       ", rows, value = fixed-point / 65536</p>\n<table>\n";
    html += row({"column 0", "column 1", "column 2", "column 3", "fixed-point", "makes of", "r",
                 "g", "b"},
                "th");
    const auto primaries = getMatrixPrimaries(m);
    static const char* const NAMES[4] = {"red", "green", "blue", "white"};
    for (int r = 0; r < 4; r++) {
        html += "<tr>";
        std::string fixed;
        for (int c = 0; c < 4; c++) {
            html += cell(getMatrixValueText(m[4 * c + r]), "td", "n");
            fixed += (c ? " " : "") + std::to_string(huevane::getFixedPointFromFloat(m[4 * c + r]));
        }
        html += cell(fixed, "td", "n") + cell(NAMES[r]);
        for (float v : primaries[r]) html += cell(getMatrixValueText(v), "td", "n");
        html += "</tr>\n";
    }
    return html + "</table>\n";
}

std::string pairSection(const HuevaneModelPair& pair, const std::string& document,
                        LutDirectory& directory, const HuevaneReportColour* colour) {
    std::string html =
            "<h2 id='" + pairAnchor(pair) + "'>" + escapeMarkup(pairName(pair)) + "</h2>\n";
    const std::string refused = getRefusedText(pair);
    if (!refused.empty()) {
        html += "<p class='error'>" + escapeMarkup(refused) + "; the LUTs as written:</p>\n";
    }
    if (pair.luts.empty()) return html + "<p>No LUTs: this pair sends nothing of its own.</p>\n";
    std::string rows =
            "<table class='luts'>\n" +
            row({"node", "id", "attr", pair.built ? "sent" : "written", "stored", "line", "shown"},
                "th");
    std::vector<bool> drawn(pair.luts.size(), false);
    std::string matrices, sequence, lines;
    for (size_t k = 0; k < pair.luts.size(); k++) {
        const HuevaneModelLut& lut = pair.luts[k];
        const pvx_colormode_data_header& h = lut.lut.first;
        const LutDirectory::Seen* seen = directory.find(lut, pair);
        drawn[k] = seen == nullptr;
        const std::string anchor = seen == nullptr ? directory.lastAnchor() : seen->anchor;
        // Lines of the calibration document go without its name: a page of thousands of
        // modes stays small.
        const std::string place = lut.place.document == document ? std::to_string(lut.place.line)
                                                                 : placeText(lut.place, true);
        sequence += anchor + " ";
        lines += (k ? ", " : "") + place;
        rows += "<tr" + (seen == nullptr ? " id='" + anchor + "'" : std::string()) + ">" +
                cell(huevane::getNodeLabel(h.id)) + cell(std::to_string(h.id)) + cell(attrText(h)) +
                cell(getSentText(lut)) +
                cell(lut.isRewritten() ? getStoredText(lut).substr(7) : "same") + cell(place) +
                "<td>" +
                (seen == nullptr
                         ? std::string("below")
                         : link(anchor, "as in mode " + std::to_string(seen->pair->mode.modeId) +
                                                ", intent " +
                                                std::to_string(seen->pair->intent.intentId))) +
                "</td></tr>\n";
        bool enabled = false;
        huevane::mat4 matrix;
        if (drawn[k] && huevane::isMatrixNode(h.id) &&
            huevane::getMatrixFromText(lut.lut.second, &enabled, &matrix)) {
            matrices += matrixTable(lut, matrix);
        }
    }
    const HuevaneModelPair* same = pair.built ? directory.findSequence(sequence, pair) : nullptr;
    if (same != nullptr) {
        // Thousands of modes may send one set of LUTs: one line each, not a table.
        html += "<p>Sends the same " + countText(pair.luts.size(), "LUT") + " as " +
                link(pairAnchor(*same), pairName(*same)) + ", written at " + escapeMarkup(lines) +
                ".</p>\n";
    } else {
        html += rows + "</table>\n";
    }
    HuevanePlotOptions options;
    options.matrices = false;
    options.xmlDeclaration = false;
    options.drawn = &drawn;
    if (countPlottedLuts(pair, options) > 0) html += plotPairSvg(pair, options);
    html += matrices;
    if (colour != nullptr) {
        const auto section =
                colour->sections.find(std::make_pair(pair.mode.modeId, pair.intent.intentId));
        if (section != colour->sections.end()) html += section->second;
    }
    return html;
}

// Grouped by file, so that the thousands of findings a large calibration may have keep the page
// small.
std::string findingsSection(const std::vector<HuevaneFinding>& findings) {
    std::string html = "<h2 id='findings'>Findings</h2>\n";
    if (findings.empty()) return html + "<p>None.</p>\n";
    std::vector<const HuevaneFinding*> sorted;
    sorted.reserve(findings.size());
    for (const HuevaneFinding& finding : findings) sorted.push_back(&finding);
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const HuevaneFinding* a, const HuevaneFinding* b) {
                         return a->file != b->file ? a->file < b->file : a->line < b->line;
                     });
    // Past this many findings of one rule the page only counts them: lint lists every one.
    constexpr size_t LISTED_PER_RULE = 100;
    std::map<std::string, size_t> perRule;
    const std::string* file = nullptr;
    for (const HuevaneFinding* finding : sorted) {
        if (++perRule[finding->rule] > LISTED_PER_RULE) continue;
        if (file == nullptr || *file != finding->file) {
            if (file != nullptr) html += "</table>\n";
            file = &finding->file;
            html += "<p>" + escapeMarkup(file->empty() ? "(no file)" : *file) +
                    "</p>\n<table class='findings'>\n" +
                    row({"line", "severity", "rule", "finding"}, "th");
        }
        const char* severity = getSeverityName(finding->severity);
        html += std::string("<tr class='") + severity + "'>" +
                cell(finding->line > 0 ? std::to_string(finding->line) : "") + cell(severity) +
                cell(finding->rule) + cell(finding->message) + "</tr>\n";
    }
    html += "</table>\n";
    for (const auto& rule : perRule) {
        if (rule.second <= LISTED_PER_RULE) continue;
        html += "<p>" + escapeMarkup(rule.first.empty() ? "findings without a rule" : rule.first) +
                ": " + std::to_string(rule.second - LISTED_PER_RULE) + " more (" +
                std::to_string(rule.second) + " in all); huevane-tool lint lists every one.</p>\n";
    }
    return html;
}

std::string countsBanner(const std::vector<HuevaneFinding>& findings) {
    size_t counts[3] = {0, 0, 0};
    for (const HuevaneFinding& finding : findings) {
        counts[static_cast<int>(finding.severity)]++;
    }
    const size_t errors = counts[static_cast<int>(HuevaneSeverity::ERROR)];
    const size_t warnings = counts[static_cast<int>(HuevaneSeverity::WARNING)];
    const size_t notes = counts[static_cast<int>(HuevaneSeverity::NOTE)];
    const char* cls = errors > 0 ? "bad" : warnings > 0 ? "warn" : "good";
    return std::string("<div class='counts ") + cls + "'>" +
           link("findings", countText(errors, "error") + ", " + countText(warnings, "warning") +
                                    ", " + countText(notes, "note")) +
           "</div>\n";
}

}  // namespace

std::string reportHtml(const HuevaneCalibrationModel& model, const std::string& heading,
                       const std::vector<HuevaneFinding>& findings,
                       const HuevaneReportColour* colour) {
    std::string html =
            "<!DOCTYPE html>\n<html lang='en'>\n<head>\n<meta charset='utf-8'>\n<title>" +
            escapeMarkup(heading) + "</title>\n<style>" + STYLE +
            "</style>\n</head>\n<body>\n<h1>" + escapeMarkup(heading) + "</h1>\n";
    html += countsBanner(findings);
    if (colour != nullptr) {
        for (const std::string& banner : colour->banners) {
            html += "<div class='banner'>" + escapeMarkup(banner) + "</div>\n";
        }
    }
    html += documentsTable(model) + contentsTable(model);
    LutDirectory directory;
    for (const HuevaneModelPair& pair : model.pairs)
        html += pairSection(pair, model.document, directory, colour);
    html += findingsSection(findings);
    return html + "</body>\n</html>\n";
}

std::vector<HuevaneFinding> getReportFindings(const HuevaneCalibrationModel& model, bool strict) {
    std::vector<HuevaneFinding> findings = model.warnings;
    std::ostringstream unused;
    HuevaneDiagnostics lint(unused, strict);
    lint.setCollecting(true);
    lintCalibrationFile(model.document, lint);
    for (const std::string& sub : model.subDocuments) lintCalibrationFile(sub, lint);
    // The reader's account and lint may find one thing (a libxml2 report, a missing sub
    // document) under one rule: show it once, in the account's words.
    std::set<std::string> seen;
    auto key = [](const HuevaneFinding& finding) {
        return finding.file + ":" + std::to_string(finding.line) + ":" + finding.rule +
               (finding.rule.empty() ? finding.message : "");
    };
    for (const HuevaneFinding& finding : findings) seen.insert(key(finding));
    for (const HuevaneFinding& finding : lint.getFindings()) {
        if (seen.insert(key(finding)).second) findings.push_back(finding);
    }
    return findings;
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
                                ->check(getRangeCheck(0, 1000));
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
        const std::vector<HuevaneFinding> findings = getReportFindings(model, context.common.strict);
        context.out << reportHtml(
                model, "Calibration of display " + std::to_string(context.common.display), findings,
                request->panel.empty() ? nullptr : &colour);
        if (!context.common.strict) return TOOL_OK;
        size_t errors = 0, warnings = 0;
        for (const HuevaneFinding& finding : findings) {
            errors += finding.severity == HuevaneSeverity::ERROR;
            warnings += finding.severity == HuevaneSeverity::WARNING;
        }
        if (errors + warnings == 0) return TOOL_OK;
        context.diagnostics.error(model.document, 0,
                                  "does not pass under --strict: " + countText(errors, "error") +
                                          " and " + countText(warnings, "warning") +
                                          " (the page lists them)");
        return TOOL_FAILED;
    };
}
