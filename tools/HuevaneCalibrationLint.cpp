#include "HuevaneCalibrationLint.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneDecimal.h"
#include "HuevaneDeviceFile.h"
#include "HuevaneImplColorModeXml.h"
#include "HuevaneImplColorModeXmlBase.h"
#include "HuevaneImplTransform.h"
#include "HuevaneImplUtil.h"
#include "HuevaneMatrixText.h"
#include "HuevaneNodeTable.h"
#include "HuevaneParcel.h"
#include "HuevaneToolFile.h"
#include "HuevaneXmlError.h"
#include "HuevaneXmlOwners.h"

namespace {

const char* const ATTRIBUTE_PROPERTIES[] = {"att0", "att1", "att2", "att3"};
// What the engine sizes a parcel with besides the calibration LUTs: the parcel header, the
// colour-transform budget, and the floor of the coefficient size.
constexpr int64_t TRANSFORM_BUDGET = HuevaneImplTransform::TRANSFORM_MAX_SIZE;
constexpr int64_t MAX_TEXT = PVX_PARCEL_MAX_SIZE - PVX_DATA_HEADER_SIZE - 1;
// How far a row sum of a matrix's 3x3 part may stray from 1 before white visibly shifts.
constexpr float WHITE_TOLERANCE = 0.01f;

// True when a comma-separated field holds digits the library reads, but outside 32 bits.
bool hasFieldOutOfRange(const std::string& text) {
    const char* p = text.data();
    const char* const end = p + text.size();
    while (p <= end) {
        const char* comma = p;
        while (comma < end && *comma != ',') comma++;
        int64_t number = 0;
        if (huevane::parseDecimal(p, comma, &number) && (number < INT32_MIN || number > INT32_MAX)) {
            return true;
        }
        p = comma + 1;
    }
    return false;
}

using LutKey = std::pair<uint32_t, uint32_t>;

bool isElement(const xmlNode* node, const char* name) {
    return HuevaneImplColorModeXmlBase::isElementNamed(node, name);
}

std::string nameOf(const xmlNode* node) {
    return reinterpret_cast<const char*>(node->name);
}

// A LUT as the parcel will carry it: its identity and its entry size.
struct LintLut {
    uint8_t id = 0;
    uint8_t attr[4] = {};
    long line = 0;
    int64_t size = 0;
};

uint8_t lutNodeId(const xmlNode* node) {
    if (node->type != XML_ELEMENT_NODE) return 0;
    return static_cast<uint8_t>(huevane::getNodeId(reinterpret_cast<const char*>(node->name)));
}

uint64_t getIdentity(const LintLut& lut) {
    uint64_t identity = lut.id;
    for (uint8_t attr : lut.attr) identity = identity << 8 | attr;
    return identity;
}

// An optional sign and digits, nothing else: what a calibration engineer means to write. The
// library reads more than this (see checkNumber), which is exactly what lint points out.
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

class CalibrationLint {
  public:
    CalibrationLint(const std::string& path, HuevaneDiagnostics& diagnostics)
        : mPath(path), mDiagnostics(diagnostics) {}
    void run();

  private:
    void report(const char* rule, const std::string& file, long line, HuevaneSeverity severity,
                const std::string& message);
    HuevaneXmlDoc parse(const std::string& file);
    static void onXmlError(void* context, HuevaneXmlErrorPtr error);
    void lintModeNode(xmlDocPtr document, xmlNodePtr node);
    bool checkModeProperties(xmlNodePtr node);
    uint32_t checkNumber(const std::string& file, xmlNodePtr node, const char* property);
    void checkModeIdentity(xmlNodePtr node, uint32_t modeId, uint32_t gamutId);
    int64_t lintLutNodes(const std::string& file, xmlDocPtr document, xmlNodePtr first);
    static bool isSubDocument(xmlNodePtr root);
    void lintLut(const std::string& file, xmlDocPtr document, xmlNodePtr node, uint8_t id,
                 std::vector<LintLut>* luts);
    bool lintSubDocument(xmlNodePtr node, int64_t* sum);
    xmlNodePtr findTuneMode(const std::string& file, xmlDocPtr document);
    void checkParcelRoom();
    void lintMatrix(const std::string& file, long line, const std::string& node,
                    const std::string& text);

    std::string mPath;
    HuevaneDiagnostics& mDiagnostics;
    std::string mParsing;  // file whose parse errors onXmlError is collecting
    std::set<std::string> mReported;
    // (node id, attributes) -> line of the LUT of the mode node being read.
    std::unordered_map<uint64_t, long> mLutIdentities;
    std::map<LutKey, std::pair<long, int64_t>> mKeys;  // line of the mode node, LUT bytes
    std::map<uint32_t, std::pair<long, HuevaneMode>> mModes;
    int64_t mMaxSum = 0;
};

void CalibrationLint::report(const char* rule, const std::string& file, long line,
                             HuevaneSeverity severity, const std::string& message) {
    // A sub document shared by several mode nodes is checked once per node; say it once.
    std::string key = file + ":" + std::to_string(line) + ":" + rule + ":" + message;
    if (!mReported.insert(std::move(key)).second) return;
    mDiagnostics.report({severity, rule, file, line, message});
}

void CalibrationLint::onXmlError(void* context, HuevaneXmlErrorPtr error) {
    CalibrationLint* lint = static_cast<CalibrationLint*>(context);
    std::string message = error->message != nullptr ? error->message : "unknown XML error";
    while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) {
        message.pop_back();
    }
    bool warning = error->level == XML_ERR_WARNING;
    lint->report(warning ? "xml-warning" : "xml-error", lint->mParsing, error->line,
                 warning ? HuevaneSeverity::WARNING : HuevaneSeverity::ERROR,
                 "XML: " + message + (warning ? "" : " (the library cannot read this document)"));
}

HuevaneXmlDoc CalibrationLint::parse(const std::string& file) {
    mParsing = file;
    xmlSetStructuredErrorFunc(this, onXmlError);
    HuevaneXmlDoc document(
            xmlReadFile(file.c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_BIG_LINES));
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    return document;
}

void CalibrationLint::run() {
    const std::string refusal = getToolFileRefusal(mPath);
    if (!refusal.empty()) {
        report("file-unreadable", mPath, 0, HuevaneSeverity::ERROR, "cannot read: " + refusal);
        return;
    }
    const HuevaneXmlDoc owner = parse(mPath);
    if (owner == nullptr) return;
    xmlDocPtr document = owner.get();
    xmlNodePtr root = xmlDocGetRootElement(document);
    if (root == nullptr) {
        report("document-empty", mPath, 1, HuevaneSeverity::ERROR,
               "no root element: the library reads an empty document");
    } else if (!isElement(root, "Calib_Data")) {
        report("root-wrong", mPath, xmlGetLineNo(root), HuevaneSeverity::ERROR,
               "root element is <" + nameOf(root) +
                       ">, not <Calib_Data>: the library refuses "
                       "the document");
    } else if (isSubDocument(root)) {
        // Only the first tune mode's LUT nodes are read from a sub document.
        lintLutNodes(mPath, document, findTuneMode(mPath, document)->children);
    } else {
        for (xmlNodePtr child = root->children; child != nullptr; child = child->next) {
            if (child->type != XML_ELEMENT_NODE) continue;
            if (isElement(child, "mode")) {
                lintModeNode(document, child);
            } else {
                report("node-not-mode", mPath, xmlGetLineNo(child), HuevaneSeverity::WARNING,
                       "<" + nameOf(child) + "> is not a mode node: the library ignores it");
            }
        }
        if (mKeys.empty())
            report("modes-none", mPath, xmlGetLineNo(root), HuevaneSeverity::WARNING,
                   "no usable mode node");
        checkParcelRoom();
    }
}

// A sub document names its LUT set with a tune mode that carries no mode properties; a main
// document never needs one.
bool CalibrationLint::isSubDocument(xmlNodePtr root) {
    xmlNodePtr tune = HuevaneImplColorModeXmlBase::getTuneModeNode(root);
    return tune != nullptr && !HuevaneImplColorModeXmlBase::hasXmlProperty(tune, "mode_id");
}

bool CalibrationLint::checkModeProperties(xmlNodePtr node) {
    std::string missing;
    for (const char* property : HuevaneImplColorModeXmlBase::MODE_PROPERTIES) {
        if (!HuevaneImplColorModeXmlBase::hasXmlProperty(node, property)) {
            missing += std::string(missing.empty() ? "" : ", ") + property;
        }
    }
    if (missing.empty()) return true;
    report("mode-properties", mPath, xmlGetLineNo(node), HuevaneSeverity::ERROR,
           "mode node lacks " + missing + ": the library skips it whole");
    return false;
}

// Returns the value the library reads, and says when that is not what the text seems to mean.
uint32_t CalibrationLint::checkNumber(const std::string& file, xmlNodePtr node,
                                      const char* property) {
    const uint32_t value = HuevaneImplColorModeXmlBase::getValueFromXmlProperty(node, property);
    std::string text;
    HuevaneImplColorModeXmlBase::getTextFromXmlProperty(node, property, &text);
    int64_t number = 0;
    const bool digits = huevane::parseDecimal(text.data(), text.data() + text.size(), &number);
    const std::string quoted = std::string(property) + "='" + text + "'";
    if (value == PVX_VALUE_ABSENT && !(digits && number == -1)) {
        report(digits ? "number-range" : "number-invalid", file, xmlGetLineNo(node),
               HuevaneSeverity::ERROR,
               quoted + (digits ? " is outside the signed 32-bit range" : " is not a number") +
                       ": it reads as absent (4294967295)");
    } else if (!isPlainDecimal(text)) {
        report("number-trailing", file, xmlGetLineNo(node), HuevaneSeverity::WARNING,
               quoted + " reads as " + std::to_string(static_cast<int32_t>(value)) +
                       ": the library ignores what follows the number");
    }
    return value;
}

void CalibrationLint::checkModeIdentity(xmlNodePtr node, uint32_t modeId, uint32_t gamutId) {
    HuevaneMode mode;
    mode.modeId = modeId;
    mode.gamutId = gamutId;
    HuevaneImplColorModeXmlBase::getTextFromXmlProperty(node, "name", &mode.modeName);
    auto known = mModes.find(modeId);
    if (known == mModes.end()) {
        mModes.emplace(modeId, std::make_pair(xmlGetLineNo(node), mode));
        return;
    }
    const HuevaneMode& first = known->second.second;
    if (first.modeName != mode.modeName || first.gamutId != gamutId) {
        report("mode-identity", mPath, xmlGetLineNo(node), HuevaneSeverity::WARNING,
               "mode " + std::to_string(modeId) + " is also listed as '" + first.modeName +
                       "' (gamut " + std::to_string(first.gamutId) + ", line " +
                       std::to_string(known->second.first) +
                       "): the compositor sees two colour modes with one id");
    }
}

void CalibrationLint::lintModeNode(xmlDocPtr document, xmlNodePtr node) {
    if (!checkModeProperties(node)) return;
    uint32_t modeId = checkNumber(mPath, node, "mode_id");
    uint32_t gamutId = checkNumber(mPath, node, "gamut_id");
    uint32_t intentId = checkNumber(mPath, node, "intent_id");
    checkModeIdentity(node, modeId, gamutId);
    LutKey key(modeId, intentId);
    auto earlier = mKeys.find(key);
    if (earlier != mKeys.end()) {
        report("key-repeated", mPath, xmlGetLineNo(node), HuevaneSeverity::WARNING,
               "(mode " + std::to_string(modeId) + ", intent " + std::to_string(intentId) +
                       ") repeats the mode node at line " + std::to_string(earlier->second.first) +
                       ": only this node's LUTs remain");
    }
    int64_t sum = 0;
    if (!lintSubDocument(node, &sum)) sum = lintLutNodes(mPath, document, node->children);
    mKeys[key] = std::make_pair(static_cast<long>(xmlGetLineNo(node)), sum);
    mMaxSum = std::max(mMaxSum, sum);
}

int64_t CalibrationLint::lintLutNodes(const std::string& file, xmlDocPtr document,
                                      xmlNodePtr first) {
    std::vector<LintLut> luts;
    mLutIdentities.clear();
    for (xmlNodePtr node = first; node != nullptr; node = node->next) {
        if (node->type != XML_ELEMENT_NODE) continue;
        uint8_t id = lutNodeId(node);
        if (id == 0) {
            report("node-not-lut", file, xmlGetLineNo(node), HuevaneSeverity::WARNING,
                   "<" + nameOf(node) + "> is not a LUT node: the library skips it");
            continue;
        }
        lintLut(file, document, node, id, &luts);
    }
    int64_t sum = 0;
    for (const LintLut& lut : luts) sum += lut.size;
    return sum;
}

void CalibrationLint::lintLut(const std::string& file, xmlDocPtr document, xmlNodePtr node,
                              uint8_t id, std::vector<LintLut>* luts) {
    LintLut lut;
    lut.id = id;
    lut.line = xmlGetLineNo(node);
    for (int i = 0; i < 4; i++) {
        uint32_t value = PVX_VALUE_ABSENT;
        if (HuevaneImplColorModeXmlBase::hasXmlProperty(node, ATTRIBUTE_PROPERTIES[i])) {
            value = checkNumber(file, node, ATTRIBUTE_PROPERTIES[i]);
            int32_t number = static_cast<int32_t>(value);
            if (value != PVX_VALUE_ABSENT && (number < -1 || number > 255)) {
                report("attribute-truncated", file, lut.line, HuevaneSeverity::WARNING,
                       std::string(ATTRIBUTE_PROPERTIES[i]) + "=" + std::to_string(number) +
                               " keeps only its low 8 bits: " + std::to_string(value & 0xFF));
            }
        }
        lut.attr[i] = static_cast<uint8_t>(value & 0xFF);
    }
    std::string text = HuevaneImplColorModeXmlBase::getLutText(document, node);
    lut.size = static_cast<int64_t>(text.size()) + PVX_DATA_HEADER_SIZE + 1;
    if (static_cast<int64_t>(text.size()) > MAX_TEXT) {
        report("text-too-long", file, lut.line, HuevaneSeverity::ERROR,
               "text of " + std::to_string(text.size()) +
                       " bytes does not fit a parcel entry "
                       "(at most " +
                       std::to_string(MAX_TEXT) + "): the parcel is refused");
    }
    if (id == huevane::PVX_NODE_GAMMA_MATRIX || id == huevane::PVX_NODE_LINEAR_MATRIX) {
        lintMatrix(file, lut.line, nameOf(node), text);
    }

    auto earlier = mLutIdentities.emplace(getIdentity(lut), lut.line);
    if (!earlier.second) {
        report("lut-replaced", file, lut.line, HuevaneSeverity::WARNING,
               "<" + nameOf(node) + "> has the same attributes as the one at line " +
                       std::to_string(earlier.first->second) + ": only this one reaches the parcel");
        earlier.first->second = lut.line;
    }
    luts->push_back(lut);
}

// What the matrix stages do with a matrix text: combine it when it reads, send it as it is when
// it does not. A matrix that reads can still be suspicious to the engineer who wrote it.
void CalibrationLint::lintMatrix(const std::string& file, long line, const std::string& node,
                                 const std::string& text) {
    bool enabled = false;
    huevane::mat4 matrix;
    if (!huevane::getMatrixFromText(text, &enabled, &matrix)) {
        const bool range = hasFieldOutOfRange(text);
        report(range ? "matrix-range" : "matrix-text", file, line, HuevaneSeverity::ERROR,
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
            report("matrix-white", file, line, HuevaneSeverity::NOTE,
                   "<" + node + "> row " + std::to_string(r) + " sums to " + value +
                           ": white does not stay white");
        }
        if (matrix[5 * r] < 0.0f) {
            report("matrix-negative-gain", file, line, HuevaneSeverity::NOTE,
                   "<" + node + "> gain of row " + std::to_string(r) + " is negative");
        }
    }
}

xmlNodePtr CalibrationLint::findTuneMode(const std::string& file, xmlDocPtr document) {
    xmlNodePtr root = xmlDocGetRootElement(document);
    if (root == nullptr) return nullptr;
    if (!isElement(root, "Calib_Data")) {
        report("root-wrong", file, xmlGetLineNo(root), HuevaneSeverity::ERROR,
               "root element is <" + nameOf(root) +
                       ">, not <Calib_Data>: the library ignores "
                       "this sub document");
        return nullptr;
    }
    return HuevaneImplColorModeXmlBase::getTuneModeNode(root);
}

// True when a sub document supplies the mode node's LUTs; `sum` receives their parcel bytes.
// The node's own LUTs are then a fallback for devices without the sub document, and are not
// judged here.
bool CalibrationLint::lintSubDocument(xmlNodePtr node, int64_t* sum) {
    std::string subXml;
    if (!HuevaneImplColorModeXmlBase::getTextFromXmlProperty(node, "subxml", &subXml)) {
        return false;
    }
    const long line = xmlGetLineNo(node);
    if (!huevane::isPlainFileName(subXml)) {
        report("subxml-name", mPath, line, HuevaneSeverity::ERROR,
               "subxml='" + subXml + "' is not a file name: the library ignores it");
        return false;
    }
    const std::vector<std::string> names = HuevaneImplColorModeXml::getSubXmlNames({mPath}, subXml);
    if (names.empty()) {
        report("subxml-name", mPath, line, HuevaneSeverity::WARNING,
               "subxml given, but the file name has no .xml to derive "
               "the sub document's name from");
        return false;
    }
    const std::string& file = names[0];
    const std::string refusal = getToolFileRefusal(file);
    if (!refusal.empty()) {
        report("subxml-missing", mPath, line, HuevaneSeverity::WARNING,
               "sub document " + file + " cannot be read (" + refusal +
                       "): this node's own LUTs are used");
        return false;
    }
    const HuevaneXmlDoc document = parse(file);
    if (document == nullptr) {
        report("subxml-unparsed", mPath, line, HuevaneSeverity::WARNING,
               "sub document " + file +
                       " does not parse: this node's "
                       "own LUTs are used");
        return false;
    }
    xmlNodePtr tune = findTuneMode(file, document.get());
    if (tune == nullptr || tune->children == nullptr) {
        report("subxml-tune", mPath, line, HuevaneSeverity::WARNING,
               "sub document " + file +
                       (tune == nullptr ? " has no tune mode" : "'s tune mode is empty") +
                       ": this node's own LUTs are used");
        return false;
    }
    *sum = lintLutNodes(file, document.get(), tune->children);
    return true;
}

// The engine sizes every parcel from the largest calibration LUT set, so only the 16-bit size
// field can leave a (mode, intent) without room.
void CalibrationLint::checkParcelRoom() {
    // The extension source claims no room of its own.
    const int64_t limit =
            getPvxParcelLimit(getPvxCoefSize(mMaxSum + TRANSFORM_BUDGET, PVX_MIN_COEF_SIZE));
    for (const auto& entry : mKeys) {
        const int64_t need = entry.second.second + PVX_PARCEL_HEADER_SIZE;
        std::string pair = "(mode " + std::to_string(entry.first.first) + ", intent " +
                           std::to_string(entry.first.second) + ")";
        if (need > limit) {
            report("parcel-overflow", mPath, entry.second.first, HuevaneSeverity::ERROR,
                   "LUTs of " + pair + " need a parcel of " + std::to_string(need) +
                           " bytes, more than the " + std::to_string(limit) +
                           " the library allows: every update with it fails");
        } else if (need + TRANSFORM_BUDGET > limit) {
            report("parcel-transform-room", mPath, entry.second.first, HuevaneSeverity::WARNING,
                   "LUTs of " + pair + " leave no room in the parcel for a colour transform");
        }
    }
}

}  // namespace

void lintCalibrationFile(const std::string& path, HuevaneDiagnostics& diagnostics) {
    CalibrationLint lint(path, diagnostics);
    lint.run();
}
