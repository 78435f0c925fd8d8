#include "HuevaneToolModel.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <utility>

#include "HuevaneCalibrationLimits.h"
#include "HuevaneDecimal.h"
#include "HuevaneLogSink.h"

namespace {

using Document = huevane::HuevaneDocumentRecord;

bool gForwardLibraryLog = false;

bool onLibraryLine(const HuevaneLogRecord&) {
    return gForwardLibraryLog;
}

HuevaneFinding makeFinding(HuevaneSeverity severity, const std::string& file, long line,
                           const std::string& message, const char* rule = "") {
    HuevaneFinding finding;
    finding.severity = severity;
    finding.rule = rule;
    finding.file = file;
    finding.line = line;
    finding.message = message;
    return finding;
}

// The lint rule that finds the same about a document.
const char* getDocumentRule(const huevane::HuevaneDocumentRecord& document) {
    switch (document.outcome) {
        case Document::USED:
            return "";
        case Document::NOT_FOUND:
        case Document::NOT_A_FILE:
            return document.sub ? "subxml-missing" : "file-unreadable";
        case Document::TOO_LARGE:
            return "document-too-large";
        case Document::NOT_PARSED:
            return document.sub ? "subxml-unparsed" : "xml-error";
        case Document::TEXT_BUDGET:
            return "text-budget";
        case Document::NO_ROOT:
            return "document-empty";
        case Document::WRONG_ROOT:
            return "root-wrong";
        case Document::NO_TUNE_MODE:
        case Document::EMPTY_TUNE_MODE:
            return "subxml-tune";
    }
    return "";
}

std::string getHostPlace(const huevane::HuevaneInspection& inspection,
                         const huevane::HuevanePlace& place) {
    return place.document.empty() ? "" : inspection.getHostPath(place.document);
}

// A pair with the entries of the parcel the device gets for it alone.
HuevaneModelPair getModelPair(huevane::HuevaneInspection& inspection,
                              const huevane::HuevaneStoredPair& stored) {
    HuevaneModelPair pair{stored.mode, stored.intent, {}};
    const huevane::HuevaneInspectedParcel parcel =
            inspection.getPairParcel(stored.mode.modeId, stored.intent.intentId);
    pair.built = parcel.built;
    if (!parcel.built) {
        pair.neededSize = parcel.neededSize;
        pair.limit = parcel.limit;
        for (const huevane::HuevaneStoredLut& lut : stored.luts) {
            pair.luts.push_back(
                    {lut.lut, lut.lut, {getHostPlace(inspection, lut.place), lut.place.line}});
        }
        return pair;
    }
    for (const huevane::HuevaneParcelEntry& entry : parcel.entries) {
        const huevane::HuevanePlace& place = entry.origin.place;
        pair.luts.push_back(
                {entry.sent, entry.stored, {getHostPlace(inspection, place), place.line}});
    }
    return pair;
}

// The model of an inspection; `missing` is the error when no candidate could be read and
// nothing says why.
HuevaneCalibrationModel getModel(const std::shared_ptr<huevane::HuevaneInspection>& source,
                                 const HuevaneFinding& missing) {
    huevane::HuevaneInspection& inspection = *source;
    HuevaneCalibrationModel model;
    model.source = source;
    std::set<std::string> subDocuments, unused;
    for (const Document& document : inspection.getAccount().documents) {
        const std::string file = inspection.getHostPath(document.path);
        if (document.outcome != Document::USED) {
            const std::string why = document.outcome == Document::NOT_FOUND
                                            ? "not found (" + getDocumentReason(document) + ")"
                                            : getDocumentOutcomeText(document, document.sub);
            if (unused.insert(file + why).second) model.unusedDocuments.emplace_back(file, why);
            continue;
        }
        if (!document.sub) {
            model.document = file;
        } else if (subDocuments.insert(file).second) {
            model.subDocuments.push_back(file);
        }
    }
    if (!inspection.getAccount().targetName.node.empty()) {
        model.targetName = getTargetNameText(inspection.getAccount().targetName);
    }
    std::vector<HuevaneFinding> messages = getXmlFindings(inspection);
    if (model.document.empty()) {
        model.errors = messages;
        for (const Document& document : inspection.getAccount().documents) {
            if (document.sub || document.outcome == Document::NOT_FOUND) continue;
            model.errors.push_back(makeFinding(
                    HuevaneSeverity::ERROR, inspection.getHostPath(document.path), document.rootLine,
                    getDocumentOutcomeText(document, false), getDocumentRule(document)));
        }
        if (model.errors.empty()) model.errors.push_back(missing);
        return model;
    }
    // Read anyway: libxml2's reports are about candidates passed over or sub documents
    // replaced by a mode node's own LUTs, and what else the reader did without is a warning.
    for (HuevaneFinding& finding : getAccountFindings(inspection)) {
        if (finding.severity == HuevaneSeverity::ERROR) finding.severity = HuevaneSeverity::WARNING;
        model.warnings.push_back(std::move(finding));
    }
    model.modes = inspection.getEngine().getColorModes();
    std::set<uint32_t> listed;
    for (const HuevaneMode& mode : model.modes) {
        if (listed.insert(mode.modeId).second) {
            model.intents.emplace_back(mode.modeId,
                                       inspection.getEngine().getRenderIntents(mode.modeId));
        }
    }
    std::set<std::pair<uint32_t, uint32_t>> paired;
    for (const huevane::HuevaneStoredPair& stored : inspection.getPairs()) {
        // A mode id listed twice shares one intent list: its pairs are one set.
        if (!paired.insert({stored.mode.modeId, stored.intent.intentId}).second) continue;
        model.pairs.push_back(getModelPair(inspection, stored));
    }
    return model;
}

}  // namespace

std::string getDocumentReason(const huevane::HuevaneDocumentRecord& document) {
    switch (document.outcome) {
        case Document::USED:
            return "used";
        case Document::NOT_FOUND:
            return strerror(document.error);
        case Document::NOT_A_FILE:
            return "not a regular file";
        case Document::TOO_LARGE:
            return "larger than the " + std::to_string(huevane::MAX_DOCUMENT_BYTES) +
                   " bytes the library reads";
        case Document::NOT_PARSED:
            return "does not parse";
        case Document::TEXT_BUDGET:
            return "entity references take its LUT texts past " +
                   std::to_string(huevane::MAX_LUT_TEXT_BYTES) + " bytes";
        case Document::NO_ROOT:
            return "no root element";
        case Document::WRONG_ROOT:
            return "root element is <" + document.rootName + ">, not <Calib_Data>";
        case Document::NO_TUNE_MODE:
            return "no mode named tune";
        case Document::EMPTY_TUNE_MODE:
            return "its tune mode has no child node";
    }
    return "not used";
}

std::string getDocumentOutcomeText(const huevane::HuevaneDocumentRecord& document, bool sub) {
    if (document.outcome == Document::USED || document.outcome == Document::NOT_FOUND) {
        return getDocumentReason(document);
    }
    if (sub) return getDocumentReason(document) + ": the mode node's own LUTs are used";
    const bool nothing =
            document.outcome == Document::NO_ROOT || document.outcome == Document::WRONG_ROOT;
    return getDocumentReason(document) +
           (nothing ? ": the library reads nothing from it" : ": skipped");
}

std::vector<HuevaneFinding> getXmlFindings(const huevane::HuevaneInspection& inspection) {
    std::vector<HuevaneFinding> findings;
    // Both candidates may name one file, which the library then parses twice: say it once.
    std::set<std::string> reported;
    for (const huevane::HuevaneXmlMessage& message : inspection.getXmlMessages()) {
        std::string text = message.message;
        while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
        const std::string file =
                message.document.empty() ? "" : inspection.getHostPath(message.document);
        if (!reported.insert(file + ":" + std::to_string(message.line) + ":" + text).second) {
            continue;
        }
        findings.push_back(makeFinding(
                message.warning ? HuevaneSeverity::WARNING : HuevaneSeverity::ERROR, file,
                message.line, text, message.warning ? "xml-warning" : "xml-error"));
    }
    return findings;
}

std::vector<HuevaneFinding> getAccountFindings(const huevane::HuevaneInspection& inspection) {
    using Target = huevane::HuevaneTargetNameRecord;
    using Note = huevane::HuevaneReaderNote;
    const huevane::HuevaneCalibrationAccount& account = inspection.getAccount();
    std::vector<HuevaneFinding> findings = getXmlFindings(inspection);
    const Target& target = account.targetName;
    const std::string node = target.node.empty() ? "" : inspection.getHostPath(target.node);
    const std::string fallback = ": both candidates are the default name";
    switch (target.outcome) {
        case Target::NOT_FOUND:
            if (!node.empty()) {
                findings.push_back(makeFinding(HuevaneSeverity::NOTE, node, 0,
                                               std::string("no target-name node (") +
                                                       strerror(target.error) + ")" + fallback,
                                               "target-name"));
            }
            break;
        case Target::NOT_A_FILE:
            findings.push_back(makeFinding(HuevaneSeverity::WARNING, node, 0,
                                           "the target-name node is not a regular file, so it "
                                           "is not read" +
                                                   fallback,
                                           "target-name"));
            break;
        case Target::OUT_OF_RANGE:
            findings.push_back(makeFinding(HuevaneSeverity::WARNING, node, 0,
                                           "the target-name node gave " +
                                                   std::to_string(target.readLength) +
                                                   " bytes, a name needs 1 to 127" + fallback,
                                           "target-name"));
            break;
        case Target::NOT_A_FILE_NAME:
            findings.push_back(makeFinding(
                    HuevaneSeverity::WARNING, node, 0,
                    "the target name '" + target.name + "' is not a file name" + fallback,
                    "target-name"));
            break;
        case Target::READ:
            if (target.text.empty() || target.text.back() != '\n') {
                findings.push_back(makeFinding(
                        HuevaneSeverity::WARNING, node, 0,
                        "the target name '" + target.text + "' does not end with a newline: the " +
                                "library drops its last byte and looks for '" + target.name + "'",
                        "target-name"));
            }
            break;
    }
    // The documents found and not used; a calibration candidate the next one stands in for is
    // an error all the same.
    std::set<std::string> reported;
    for (const Document& document : account.documents) {
        if (document.outcome == Document::USED || document.outcome == Document::NOT_FOUND) {
            continue;
        }
        const std::string file = inspection.getHostPath(document.path);
        const std::string text = getDocumentOutcomeText(document, document.sub);
        if (!reported.insert(file + ":" + text).second) continue;
        findings.push_back(
                makeFinding(document.sub ? HuevaneSeverity::WARNING : HuevaneSeverity::ERROR, file,
                            document.rootLine, text, getDocumentRule(document)));
    }
    for (const Note& note : account.notes) {
        std::string text;
        const char* rule = "subxml-name";
        if (note.kind == Note::SUBXML_NOT_FOUND) {
            rule = "subxml-missing";
            text = "sub document " + inspection.getHostPath(note.document) + " (subxml '" +
                   note.text + "') does not exist";
        } else if (note.kind == Note::SUBXML_NOT_A_FILE_NAME) {
            text = "subxml '" + note.text + "' is not a file name";
        } else if (note.kind == Note::SUBXML_NO_NAME) {
            text = "subxml '" + note.text +
                   "' names no sub document: no calibration name ends in .xml";
        } else {
            continue;
        }
        const std::string file = inspection.getHostPath(note.place.document);
        text += ": the mode node's own LUTs are used";
        if (reported.insert(file + ":" + std::to_string(note.place.line) + text).second) {
            findings.push_back(
                    makeFinding(HuevaneSeverity::WARNING, file, note.place.line, text, rule));
        }
    }
    return findings;
}

bool reportModelProblems(const HuevaneCalibrationModel& model, HuevaneDiagnostics& diagnostics) {
    for (const HuevaneFinding& finding : model.errors) diagnostics.report(finding);
    for (const HuevaneFinding& finding : model.warnings) diagnostics.report(finding);
    return model.errors.empty();
}

HuevaneLibraryLogGuard::HuevaneLibraryLogGuard(int logLevel) {
    gForwardLibraryLog = logLevel >= 0;
    setHuevaneLogSink(onLibraryLine);
}

HuevaneLibraryLogGuard::~HuevaneLibraryLogGuard() {
    setHuevaneLogSink(nullptr);
}

std::string placeText(const HuevaneLutPlace& place, bool brief) {
    if (place.document.empty()) return "";
    const size_t slash = brief ? place.document.rfind('/') : std::string::npos;
    return place.document.substr(slash == std::string::npos ? 0 : slash + 1) + ":" +
           std::to_string(place.line);
}

std::string getCrcText(unsigned crc) {
    char text[16];
    snprintf(text, sizeof(text), "0x%04X", crc & 0xFFFFu);
    return text;
}

std::string getMatrixValueText(float value) {
    char text[32];
    snprintf(text, sizeof(text), "%.6f", value);
    return text;
}

std::string getSentText(const HuevaneModelLut& lut) {
    return std::to_string(lut.lut.first.total_size) + " bytes, crc " + getCrcText(lut.lut.first.crc);
}

std::string getStoredText(const HuevaneModelLut& lut) {
    if (!lut.isRewritten()) return "";
    return "stored " + std::to_string(lut.stored.first.total_size) + " bytes, crc " +
           getCrcText(lut.stored.first.crc);
}

std::string getRefusedText(const HuevaneModelPair& pair) {
    if (pair.built) return "";
    if (pair.neededSize > pair.limit) {
        return "updateColorCoef refuses the parcel: it needs " + std::to_string(pair.neededSize) +
               " bytes, more than the " + std::to_string(pair.limit) + " a parcel may take";
    }
    return "updateColorCoef refuses the parcel: a LUT text of 65523 bytes or more has a "
           "total_size that does not fit 16 bits";
}

std::string getTargetNameText(const huevane::HuevaneTargetNameRecord& target) {
    using Target = huevane::HuevaneTargetNameRecord;
    if (target.outcome == Target::READ) return target.node + ": " + target.name;
    return target.node + (target.outcome == Target::NOT_FOUND ? ": not found" : ": not used");
}

const HuevaneModelPair* HuevaneCalibrationModel::findPair(uint32_t modeId, uint32_t intentId) const {
    for (const HuevaneModelPair& pair : pairs) {
        if (pair.mode.modeId == modeId && pair.intent.intentId == intentId) return &pair;
    }
    return nullptr;
}

HuevaneCalibrationModel loadCalibrationFile(const std::string& path) {
    if (access(path.c_str(), R_OK) != 0) {
        HuevaneCalibrationModel model;
        model.errors.push_back(makeFinding(HuevaneSeverity::ERROR, path, 0, strerror(errno)));
        return model;
    }
    std::shared_ptr<huevane::HuevaneInspection> inspection =
            huevane::HuevaneInspection::openFile(path);
    return getModel(inspection,
                    makeFinding(HuevaneSeverity::ERROR, path, 0, "not a calibration document"));
}

HuevaneCalibrationModel loadDeviceCalibration(const std::string& root, uint32_t display) {
    std::shared_ptr<huevane::HuevaneInspection> inspection =
            huevane::HuevaneInspection::openDisplay(root, display);
    std::string tried;
    for (const std::string& name : inspection->getCandidates()) {
        if (!name.empty()) tried += (tried.empty() ? "" : ", ") + name;
    }
    return getModel(inspection,
                    makeFinding(HuevaneSeverity::ERROR, "", 0,
                                "no calibration document of display " + std::to_string(display) +
                                        " under " + root + " exists; tried " + tried));
}

std::vector<std::string> getLutFields(const std::string& text) {
    std::vector<std::string> fields;
    size_t begin = 0;
    while (begin <= text.size()) {
        size_t end = text.find(',', begin);
        if (end == std::string::npos) end = text.size();
        size_t first = text.find_first_not_of(" \t\r\n", begin);
        size_t last = text.find_last_not_of(" \t\r\n", end == 0 ? 0 : end - 1);
        bool blank = first == std::string::npos || first >= end || last < first;
        // A comma at the very end opens no further field.
        if (!(blank && end == text.size() && !fields.empty())) {
            fields.push_back(blank ? "" : text.substr(first, last - first + 1));
        }
        begin = end + 1;
    }
    return fields;
}

bool getLutValues(const std::string& text, std::vector<double>* values) {
    values->clear();
    for (const std::string& field : getLutFields(text)) {
        int64_t value = 0;
        const char* begin = field.data();
        const char* end = begin + field.size();
        // Whole fields only: a word that starts with digits is not a value list.
        if (field.empty() || !huevane::parseDecimal(begin, end, &value) ||
            field.find_first_not_of("+-0123456789") != std::string::npos) {
            values->clear();
            return false;
        }
        values->push_back(static_cast<double>(value));
    }
    return !values->empty();
}
