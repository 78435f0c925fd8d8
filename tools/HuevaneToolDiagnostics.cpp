#include "HuevaneToolDiagnostics.h"

#include <utility>

#include "HuevaneTool.h"

const char* getSeverityName(HuevaneSeverity severity) {
    switch (severity) {
        case HuevaneSeverity::ERROR:
            return "error";
        case HuevaneSeverity::WARNING:
            return "warning";
        case HuevaneSeverity::NOTE:
            return "note";
    }
    return "error";
}

std::string HuevaneDiagnostics::format(const HuevaneFinding& finding) {
    std::string text = finding.file.empty() ? "huevane-tool" : finding.file;
    // A finding under a rule always names its line, 0 for the file as a whole, so that one
    // pattern reads every finding.
    if (!finding.file.empty() && (finding.line > 0 || !finding.rule.empty())) {
        text += ":" + std::to_string(finding.line);
    }
    text += ": ";
    text += getSeverityName(finding.severity);
    text += ": " + finding.message;
    if (!finding.rule.empty()) text += " [" + finding.rule + "]";
    return text;
}

namespace {

// One line per finding: a message that spans lines (libxml2 writes some so) is folded, each line
// break and the blanks around it becoming one space.
std::string foldLines(const std::string& message) {
    std::string folded;
    bool pendingSpace = false;
    for (size_t i = 0; i < message.size(); i++) {
        const char c = message[i];
        if (c == '\n' || c == '\r') {
            while (!folded.empty() && (folded.back() == ' ' || folded.back() == '\t')) {
                folded.pop_back();
            }
            pendingSpace = true;
            continue;
        }
        if (pendingSpace && (c == ' ' || c == '\t')) continue;
        if (pendingSpace && !folded.empty()) folded += ' ';
        pendingSpace = false;
        folded += c;
    }
    return folded;
}

}  // namespace

void HuevaneDiagnostics::report(HuevaneFinding finding) {
    finding.message = foldLines(finding.message);
    if (mStrict && finding.severity == HuevaneSeverity::WARNING) {
        finding.severity = HuevaneSeverity::ERROR;
    }
    switch (finding.severity) {
        case HuevaneSeverity::ERROR:
            mErrors++;
            break;
        case HuevaneSeverity::WARNING:
            mWarnings++;
            break;
        case HuevaneSeverity::NOTE:
            mNotes++;
            break;
    }
    if (!mCollecting) mErr << format(finding) << "\n";
    mFindings.push_back(std::move(finding));
}

void HuevaneDiagnostics::error(const std::string& file, long line, const std::string& message) {
    report({HuevaneSeverity::ERROR, "", file, line, message});
}

void HuevaneDiagnostics::warning(const std::string& file, long line, const std::string& message) {
    report({HuevaneSeverity::WARNING, "", file, line, message});
}

void HuevaneDiagnostics::note(const std::string& file, long line, const std::string& message) {
    report({HuevaneSeverity::NOTE, "", file, line, message});
}

int HuevaneDiagnostics::getExitStatus() const {
    return mErrors > 0 ? TOOL_FAILED : TOOL_OK;
}
