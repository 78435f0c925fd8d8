#include "HuevaneCalibrationLint.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "HuevaneCalibrationLimits.h"
#include "HuevaneDataLut.h"
#include "HuevaneDecimal.h"
#include "HuevaneInspection.h"
#include "HuevaneMatrixText.h"
#include "HuevaneNodeTable.h"
#include "HuevaneParcel.h"
#include "HuevaneToolFile.h"
#include "HuevaneToolModel.h"

namespace {

using huevane::HuevaneDocumentRecord;
using huevane::HuevaneReaderNote;
using Note = HuevaneReaderNote;

constexpr uint32_t VALUE_ABSENT = 0xFFFFFFFF;
// How far a row sum of a matrix's 3x3 part may stray from 1 before white visibly shifts.
constexpr float WHITE_TOLERANCE = 0.01f;
// A colour transform reaches the parcel as one more matrix entry, at most this long.
constexpr int64_t TRANSFORM_ENTRY_MAX_SIZE =
        huevane::getDataLutEntrySize(huevane::MATRIX_TEXT_MAX_LENGTH);

// An optional sign and digits, nothing else: what a calibration engineer means to write. The
// library reads more than this, which is exactly what lint points out.
bool isPlainDecimal(std::string text) {
    while (!text.empty() && isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
    size_t i = 0;
    while (i < text.size() && isspace(static_cast<unsigned char>(text[i]))) i++;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) i++;
    if (i == text.size()) return false;
    for (; i < text.size(); i++) {
        if (text[i] < '0' || text[i] > '9') return false;
    }
    return true;
}

bool isAttribute(const std::string& property) {
    return property.size() == 4 && property.compare(0, 3, "att") == 0;
}

class CalibrationLint {
  public:
    CalibrationLint(const std::string& path, HuevaneDiagnostics& diagnostics)
        : mPath(path), mDiagnostics(diagnostics) {}
    void run();

  private:
    void report(const char* rule, const std::string& file, long line, HuevaneSeverity severity,
                const std::string& message);
    std::string file(const std::string& devicePath) const {
        return mInspection->getHostPath(devicePath);
    }
    void reportXml();
    bool reportDocument(const HuevaneDocumentRecord& document);
    void lintNote(const Note& note);
    void lintNumber(const Note& note);
    void lintSubXml(const Note& note);
    void lintLuts(const std::vector<huevane::HuevaneLutRecord>& luts);
    void lintMatrix(const std::string& where, long line, const std::string& node,
                    const std::string& text);
    void lintValues(const std::string& where, long line, const std::string& node,
                    const std::string& text);
    void lintParcelRoom();
    void lintModeIdentities();
    const HuevaneDocumentRecord* findDocument(const std::string& path) const;
    static bool isSubDocument(const huevane::HuevaneInspection& inspection);

    std::string mPath;
    HuevaneDiagnostics& mDiagnostics;
    std::unique_ptr<huevane::HuevaneInspection> mInspection;
    std::set<std::string> mReported;
    // Sorted into document order before they are reported.
    std::vector<HuevaneFinding> mFindings;
};

void CalibrationLint::report(const char* rule, const std::string& file, long line,
                             HuevaneSeverity severity, const std::string& message) {
    // A sub document shared by several mode nodes is read once per node; say it once.
    std::string key = file + ":" + std::to_string(line) + ":" + rule + ":" + message;
    if (!mReported.insert(std::move(key)).second) return;
    mFindings.push_back({severity, rule, file, line, message});
}

// A sub document names its LUT set with a tune mode that carries no mode properties; a main
// document never needs one.
bool CalibrationLint::isSubDocument(const huevane::HuevaneInspection& inspection) {
    for (const Note& note : inspection.getAccount().notes) {
        if (note.kind == Note::MODE_INCOMPLETE && note.name == "tune") return true;
    }
    return false;
}

void CalibrationLint::run() {
    const std::string refusal = getToolFileRefusal(mPath);
    if (!refusal.empty()) {
        report("file-unreadable", mPath, 0, HuevaneSeverity::ERROR, "cannot read: " + refusal);
    } else {
        mInspection = huevane::HuevaneInspection::openFile(mPath);
        if (mInspection->getEngine().getColorModes().empty() && isSubDocument(*mInspection)) {
            // Only the first tune mode's LUT nodes are read from a sub document.
            mInspection = huevane::HuevaneInspection::openSubDocument(mPath);
        }
        reportXml();
        const HuevaneDocumentRecord* main = findDocument(mPath);
        if (main != nullptr && reportDocument(*main)) {
            for (const Note& note : mInspection->getAccount().notes) lintNote(note);
            lintLuts(mInspection->getAccount().luts);
            lintModeIdentities();
            if (!mInspection->getAccount().modeNodes.empty()) lintParcelRoom();
        }
    }
    // The main document first, then each sub document in the order the reader met it.
    std::map<std::string, size_t> rank{{mPath, 0}};
    for (const HuevaneFinding& finding : mFindings) rank.emplace(finding.file, rank.size());
    std::stable_sort(mFindings.begin(), mFindings.end(),
                     [&](const HuevaneFinding& a, const HuevaneFinding& b) {
                         const size_t ra = rank[a.file], rb = rank[b.file];
                         return ra != rb ? ra < rb : a.line < b.line;
                     });
    for (HuevaneFinding& finding : mFindings) mDiagnostics.report(std::move(finding));
}

void CalibrationLint::reportXml() {
    for (const HuevaneFinding& message : getXmlFindings(*mInspection)) {
        const bool warning = message.severity == HuevaneSeverity::WARNING;
        report(warning ? "xml-warning" : "xml-error", message.file, message.line, message.severity,
               "XML: " + message.message +
                       (warning ? "" : " (the library cannot read this document)"));
    }
}

const HuevaneDocumentRecord* CalibrationLint::findDocument(const std::string& path) const {
    for (const HuevaneDocumentRecord& document : mInspection->getAccount().documents) {
        if (document.path == path) return &document;
    }
    return nullptr;
}

// True when the library reads the document's modes; otherwise says why not.
bool CalibrationLint::reportDocument(const HuevaneDocumentRecord& document) {
    const std::string& file = mPath;
    switch (document.outcome) {
        case HuevaneDocumentRecord::USED:
            if (mInspection->getEngine().getColorModes().empty() &&
                mInspection->getSubDocumentLuts().empty()) {
                report("modes-none", file, document.rootLine, HuevaneSeverity::WARNING,
                       "no usable mode node");
            }
            return true;
        case HuevaneDocumentRecord::NO_ROOT:
            report("document-empty", file, 1, HuevaneSeverity::ERROR,
                   "no root element: the library reads an empty document");
            return false;
        case HuevaneDocumentRecord::WRONG_ROOT:
            report("root-wrong", file, document.rootLine, HuevaneSeverity::ERROR,
                   "root element is <" + document.rootName +
                           ">, not <Calib_Data>: the library refuses the document");
            return false;
        case HuevaneDocumentRecord::NOT_PARSED:
            return false;  // libxml2's report says why
        case HuevaneDocumentRecord::TOO_LARGE:
            report("document-too-large", file, 0, HuevaneSeverity::ERROR,
                   getDocumentReason(document) + ": the library refuses the document");
            return false;
        case HuevaneDocumentRecord::TEXT_BUDGET:
            report("text-budget", file, 0, HuevaneSeverity::ERROR,
                   getDocumentReason(document) + ": the library refuses the document");
            return false;
        default:
            report("file-unreadable", file, 0, HuevaneSeverity::ERROR,
                   "cannot read: " + getDocumentReason(document));
            return false;
    }
}

void CalibrationLint::lintNote(const Note& note) {
    const std::string where = file(note.place.document);
    const long line = note.place.line;
    switch (note.kind) {
        case Note::MODE_INCOMPLETE:
            report("mode-properties", where, line, HuevaneSeverity::ERROR,
                   "mode node lacks " + note.text + ": the library skips it whole");
            break;
        case Note::NOT_A_MODE_NODE:
            report("node-not-mode", where, line, HuevaneSeverity::WARNING,
                   "<" + note.name + "> is not a mode node: the library ignores it");
            break;
        case Note::NOT_A_LUT_NODE:
            report("node-not-lut", where, line, HuevaneSeverity::WARNING,
                   "<" + note.name + "> is not a LUT node: the library skips it");
            break;
        case Note::NUMBER:
            lintNumber(note);
            break;
        case Note::KEY_REPEATED:
            report("key-repeated", where, line, HuevaneSeverity::WARNING,
                   "(mode " + std::to_string(note.key.first) + ", intent " +
                           std::to_string(note.key.second) + ") repeats the mode node at line " +
                           std::to_string(note.earlier.line) + ": only this node's LUTs remain");
            break;
        default:
            lintSubXml(note);
            break;
    }
}

// Says when a number does not read as what it seems to mean.
void CalibrationLint::lintNumber(const Note& note) {
    const std::string where = file(note.place.document);
    int64_t number = 0;
    const bool digits =
            huevane::parseDecimal(note.text.data(), note.text.data() + note.text.size(), &number);
    const std::string quoted = note.name + "='" + note.text + "'";
    // An id is offered to the compositor as an unsigned 32-bit number; an attribute is cut to
    // its byte below.
    const bool id = !isAttribute(note.name);
    const std::string read =
            id ? std::to_string(note.value) : std::to_string(static_cast<int32_t>(note.value));
    if (note.value == VALUE_ABSENT && !(digits && number == -1)) {
        report(digits ? "number-range" : "number-invalid", where, note.place.line,
               HuevaneSeverity::ERROR,
               quoted + (digits ? " is outside the signed 32-bit range" : " is not a number") +
                       ": it reads as absent (4294967295)" +
                       (id ? ", the number the compositor is offered" : ""));
    } else if (!isPlainDecimal(note.text)) {
        report("number-trailing", where, note.place.line, HuevaneSeverity::WARNING,
               quoted + " reads as " + read + ": the library ignores what follows the number");
    } else if (id && number < 0) {
        report("number-negative", where, note.place.line, HuevaneSeverity::WARNING,
               quoted + " is offered to the compositor as " + read +
                       (note.value == VALUE_ABSENT
                                ? ", the number that also stands for an absent id"
                                : ""));
    }
    const int32_t value = static_cast<int32_t>(note.value);
    if (isAttribute(note.name) && note.value != VALUE_ABSENT && (value < -1 || value > 255)) {
        report("attribute-truncated", where, note.place.line, HuevaneSeverity::WARNING,
               note.name + "=" + std::to_string(value) +
                       " keeps only its low 8 bits: " + std::to_string(note.value & 0xFF));
    }
}

void CalibrationLint::lintSubXml(const Note& note) {
    const std::string where = file(note.place.document);
    const long line = note.place.line;
    const std::string sub = file(note.document);
    switch (note.kind) {
        case Note::SUBXML_NOT_A_FILE_NAME:
            report("subxml-name", where, line, HuevaneSeverity::ERROR,
                   "subxml='" + note.text + "' is not a file name: the library ignores it");
            return;
        case Note::SUBXML_NO_NAME:
            report("subxml-name", where, line, HuevaneSeverity::WARNING,
                   "subxml given, but the file name has no .xml to derive the sub document's "
                   "name from");
            return;
        case Note::SUBXML_NOT_FOUND: {
            const HuevaneDocumentRecord* document = findDocument(note.document);
            report("subxml-missing", where, line, HuevaneSeverity::WARNING,
                   "sub document " + sub + " cannot be read (" +
                           (document != nullptr ? getDocumentReason(*document)
                                                : std::string("not found")) +
                           "): this node's own LUTs are used");
            return;
        }
        case Note::SUBXML_NOT_USED:
            break;
        default:
            return;
    }
    const HuevaneDocumentRecord* document = findDocument(note.document);
    if (document == nullptr) return;
    switch (document->outcome) {
        case HuevaneDocumentRecord::NOT_PARSED:
            report("subxml-unparsed", where, line, HuevaneSeverity::WARNING,
                   "sub document " + sub + " does not parse: this node's own LUTs are used");
            return;
        case HuevaneDocumentRecord::WRONG_ROOT:
            report("root-wrong", sub, document->rootLine, HuevaneSeverity::ERROR,
                   "root element is <" + document->rootName +
                           ">, not <Calib_Data>: the library ignores this sub document");
            [[fallthrough]];
        case HuevaneDocumentRecord::NO_ROOT:
        case HuevaneDocumentRecord::NO_TUNE_MODE:
            report("subxml-tune", where, line, HuevaneSeverity::WARNING,
                   "sub document " + sub + " has no tune mode: this node's own LUTs are used");
            return;
        case HuevaneDocumentRecord::EMPTY_TUNE_MODE:
            report("subxml-tune", where, line, HuevaneSeverity::WARNING,
                   "sub document " + sub + "'s tune mode is empty: this node's own LUTs are used");
            return;
        default:
            report("subxml-missing", where, line, HuevaneSeverity::WARNING,
                   "sub document " + sub + " cannot be read (" + getDocumentReason(*document) +
                           "): this node's own LUTs are used");
            return;
    }
}

// Every LUT node the library read, later-replaced mode nodes included.
void CalibrationLint::lintLuts(const std::vector<huevane::HuevaneLutRecord>& luts) {
    // (node id, attributes) -> line, among the LUTs of the mode node being read.
    std::unordered_map<uint64_t, long> identities;
    size_t modeNode = SIZE_MAX;
    for (const huevane::HuevaneLutRecord& record : luts) {
        if (record.modeNode != modeNode) identities.clear();
        modeNode = record.modeNode;
        const std::string where = file(record.place.document);
        const long line = record.place.line;
        const HuevaneDataLut& lut = record.lut;
        const std::string node = huevane::getNodeLabel(lut.first.id);
        if (static_cast<int64_t>(lut.second.size()) > PVX_DATA_TEXT_MAX_SIZE) {
            report("text-too-long", where, line, HuevaneSeverity::ERROR,
                   "text of " + std::to_string(lut.second.size()) +
                           " bytes does not fit a parcel entry (at most " +
                           std::to_string(PVX_DATA_TEXT_MAX_SIZE) + "): the parcel is refused");
        }
        if (lut.second.empty()) {
            report("text-empty", where, line, HuevaneSeverity::WARNING,
                   "<" + node +
                           "> has an empty text (an external entity reads as empty): the "
                           "hardware receives an empty LUT");
        } else if (huevane::isMatrixNode(lut.first.id)) {
            lintMatrix(where, line, node, lut.second);
        } else {
            lintValues(where, line, node, lut.second);
        }
        auto earlier = identities.emplace(huevane::getDataLutIdentity(lut.first), line);
        if (!earlier.second) {
            report("lut-replaced", where, line, HuevaneSeverity::WARNING,
                   "<" + node + "> has the same attributes as the one at line " +
                           std::to_string(earlier.first->second) +
                           ": only this one reaches the parcel");
            earlier.first->second = line;
        }
    }
}

// A LUT text that is a list of numbers but for a few fields holds typing slips (a letter O for
// a zero, a missing value), which the hardware receives as they are.
void CalibrationLint::lintValues(const std::string& where, long line, const std::string& node,
                                 const std::string& text) {
    size_t numbers = 0;
    std::vector<std::pair<size_t, std::string>> others;  // field index and text
    const std::vector<std::string> fields = getLutFields(text);
    for (size_t i = 0; i < fields.size(); i++) {
        if (isPlainDecimal(fields[i])) {
            numbers++;
        } else {
            others.emplace_back(i, fields[i]);
        }
    }
    // A text of words is some other grammar, not a slip.
    if (numbers == 0 || others.size() > numbers) return;
    for (const auto& other : others) {
        // The field's line: the node's, plus the line breaks of the text before the field.
        size_t at = 0;
        for (size_t field = 0; field < other.first; field++) at = text.find(',', at) + 1;
        at = std::min(text.size(), text.find_first_not_of(" \t\r\n", at));
        const long fieldLine =
                line + static_cast<long>(std::count(text.begin(), text.begin() + at, '\n'));
        report("lut-token", where, fieldLine, HuevaneSeverity::ERROR,
               "<" + node + "> value at index " + std::to_string(other.first) + " is " +
                       (other.second.empty() ? std::string("empty") : "'" + other.second + "'") +
                       ", not a number: the hardware receives the text as written");
    }
}

// What the matrix stages do with a matrix text: combine it when it reads, send it as it is when
// it does not. A matrix that reads can still be suspicious to the engineer who wrote it.
void CalibrationLint::lintMatrix(const std::string& where, long line, const std::string& node,
                                 const std::string& text) {
    bool enabled = false;
    huevane::mat4 matrix;
    const huevane::MatrixTextRead read = huevane::readMatrixText(text, &enabled, &matrix);
    if (read != huevane::MATRIX_TEXT_OK) {
        const bool range = read == huevane::MATRIX_TEXT_OUT_OF_RANGE;
        report(range ? "matrix-range" : "matrix-text", where, line, HuevaneSeverity::ERROR,
               "<" + node + "> text " +
                       (range ? "has a value outside the signed 32-bit fixed-point range"
                              : "is not a matrix text (a flag and 16 fixed-point numbers)") +
                       ": it is sent as it is instead of being combined");
        return;
    }
    // Column-major: row r of the 3x3 part is elements r, 4 + r, 8 + r.
    for (size_t r = 0; r < 3; r++) {
        const float sum = matrix[r] + matrix[4 + r] + matrix[8 + r];
        if (std::fabs(sum - 1.0f) > WHITE_TOLERANCE) {
            char value[32];
            snprintf(value, sizeof(value), "%.4f", sum);
            report("matrix-white", where, line, HuevaneSeverity::NOTE,
                   "<" + node + "> row " + std::to_string(r) + " sums to " + value +
                           ": white does not stay white");
        }
        if (matrix[5 * r] < 0.0f) {
            report("matrix-negative-gain", where, line, HuevaneSeverity::NOTE,
                   "<" + node + "> gain of row " + std::to_string(r) + " is negative");
        }
    }
}

// The compositor names a colour mode by its id alone.
void CalibrationLint::lintModeIdentities() {
    std::map<uint32_t, const huevane::HuevaneModeNodeRecord*> first;
    for (const huevane::HuevaneModeNodeRecord& node : mInspection->getAccount().modeNodes) {
        auto known = first.emplace(node.mode.modeId, &node);
        const HuevaneMode& earlier = known.first->second->mode;
        if (known.second ||
            (earlier.modeName == node.mode.modeName && earlier.gamutId == node.mode.gamutId)) {
            continue;
        }
        report("mode-identity", file(node.place.document), node.place.line, HuevaneSeverity::WARNING,
               "mode " + std::to_string(node.mode.modeId) + " is also listed as '" +
                       earlier.modeName + "' (gamut " + std::to_string(earlier.gamutId) +
                       ", line " + std::to_string(known.first->second->place.line) +
                       "): the compositor sees two colour modes with one id");
    }
}

// The engine sizes every parcel from the largest calibration LUT set, so only the 16-bit size
// field can leave a (mode, intent) without room.
void CalibrationLint::lintParcelRoom() {
    const int64_t limit = getPvxParcelLimit(mInspection->getEngine().getColorCoefSize());
    // The mode node that last brought each key is the one whose LUTs are stored.
    std::map<huevane::HuevaneLutKey, long> lines;
    for (const huevane::HuevaneModeNodeRecord& node : mInspection->getAccount().modeNodes) {
        lines[node.key] = node.place.line;
    }
    for (const auto& entry : lines) {
        int64_t need = PVX_PARCEL_HEADER_SIZE;
        for (const huevane::HuevaneStoredLut& lut :
             mInspection->getStoredLuts(entry.first.first, entry.first.second)) {
            need += huevane::getDataLutEntrySize(lut.lut.second.size());
        }
        const std::string pair = "(mode " + std::to_string(entry.first.first) + ", intent " +
                                 std::to_string(entry.first.second) + ")";
        if (need > limit) {
            report("parcel-overflow", mPath, entry.second, HuevaneSeverity::ERROR,
                   "LUTs of " + pair + " need a parcel of " + std::to_string(need) +
                           " bytes, more than the " + std::to_string(limit) +
                           " the library allows: every update with it fails");
        } else if (need + TRANSFORM_ENTRY_MAX_SIZE > limit) {
            report("parcel-transform-room", mPath, entry.second, HuevaneSeverity::WARNING,
                   "LUTs of " + pair + " leave no room in the parcel for a colour transform");
        }
    }
}

}  // namespace

void lintCalibrationFile(const std::string& path, HuevaneDiagnostics& diagnostics) {
    CalibrationLint lint(path, diagnostics);
    lint.run();
}
