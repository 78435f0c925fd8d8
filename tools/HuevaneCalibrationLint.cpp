#include "HuevaneCalibrationLint.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneDecimal.h"
#include "HuevaneImplColorModeXml.h"
#include "HuevaneImplColorModeXmlBase.h"
#include "HuevaneImplTransform.h"
#include "HuevaneImplUtil.h"
#include "HuevaneMatrixText.h"
#include "HuevaneParcel.h"
#include "HuevaneXmlError.h"

namespace {

const char* const ATTRIBUTE_PROPERTIES[] = {"att0", "att1", "att2", "att3"};
// What the engine sizes a parcel with besides the calibration LUTs: the parcel header, the
// colour-transform budget, and the floor of the coefficient size.
constexpr int64_t TRANSFORM_BUDGET = HuevaneImplTransform::TRANSFORM_MAX_SIZE;
constexpr int64_t MIN_COEF_SIZE = PVX_MIN_COEF_SIZE;
constexpr int64_t MAX_TEXT = PVX_PARCEL_MAX_SIZE - PVX_DATA_HEADER_SIZE - 1;

using LutKey = std::pair<uint32_t, uint32_t>;

bool isElement(const xmlNode* node, const char* name) {
    return HuevaneImplColorModeXmlBase::isElementNamed(node, name);
}

std::string nameOf(const xmlNode* node) {
    return reinterpret_cast<const char*>(node->name);
}

uint8_t lutNodeId(const xmlNode* node) {
    for (uint8_t id = 1; id < HuevaneImplColorModeXml::PVX_COLORMODE_NODE_COUNT; id++) {
        if (isElement(node, HuevaneImplColorModeXml::PVX_COLORMODE_NODE[id])) return id;
    }
    return 0;
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

// A LUT as the parcel will carry it: its identity and its entry size.
struct LintLut {
    uint8_t id = 0;
    uint8_t attr[4] = {};
    long line = 0;
    int64_t size = 0;
};

class CalibrationLint {
  public:
    CalibrationLint(const std::string& path, std::string* out) : mPath(path), mOut(out) {}
    size_t run();

  private:
    void report(const std::string& file, long line, const char* severity,
                const std::string& message);
    xmlDocPtr parse(const std::string& file);
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

    std::string mPath;
    std::string* mOut;
    std::string mParsing;  // file whose parse errors onXmlError is collecting
    std::set<std::string> mReported;
    size_t mProblems = 0;
    std::map<LutKey, std::pair<long, int64_t>> mKeys;  // line of the mode node, LUT bytes
    std::map<uint32_t, std::pair<long, HuevaneMode>> mModes;
    int64_t mMaxSum = 0;
};

void CalibrationLint::report(const std::string& file, long line, const char* severity,
                             const std::string& message) {
    std::string text = file + ":" + std::to_string(line) + ": " + severity + ": " + message;
    // A sub document shared by several mode nodes is checked once per node; say it once.
    if (!mReported.insert(text).second) return;
    *mOut += text + "\n";
    mProblems++;
}

void CalibrationLint::onXmlError(void* context, HuevaneXmlErrorPtr error) {
    CalibrationLint* lint = static_cast<CalibrationLint*>(context);
    std::string message = error->message != nullptr ? error->message : "unknown XML error";
    while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) {
        message.pop_back();
    }
    bool warning = error->level == XML_ERR_WARNING;
    lint->report(lint->mParsing, error->line, warning ? "warning" : "error",
                 "XML: " + message + (warning ? "" : " (the library cannot read this document)"));
}

xmlDocPtr CalibrationLint::parse(const std::string& file) {
    mParsing = file;
    xmlSetStructuredErrorFunc(this, onXmlError);
    xmlDocPtr document = xmlReadFile(file.c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_BIG_LINES);
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    return document;
}

size_t CalibrationLint::run() {
    if (access(mPath.c_str(), R_OK) != 0) {
        report(mPath, 0, "error", "cannot read the file");
        return mProblems;
    }
    xmlDocPtr document = parse(mPath);
    if (document == nullptr) return mProblems;
    xmlNodePtr root = xmlDocGetRootElement(document);
    if (root == nullptr) {
        report(mPath, 1, "error", "no root element: the library reads an empty document");
    } else if (!isElement(root, "Calib_Data")) {
        report(mPath, xmlGetLineNo(root), "error",
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
                report(mPath, xmlGetLineNo(child), "warning",
                       "<" + nameOf(child) + "> is not a mode node: the library ignores it");
            }
        }
        if (mKeys.empty()) report(mPath, xmlGetLineNo(root), "warning", "no usable mode node");
        checkParcelRoom();
    }
    xmlFreeDoc(document);
    return mProblems;
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
    report(mPath, xmlGetLineNo(node), "error",
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
        report(file, xmlGetLineNo(node), "error",
               quoted + (digits ? " is outside the signed 32-bit range" : " is not a number") +
                       ": it reads as absent (4294967295)");
    } else if (!isPlainDecimal(text)) {
        report(file, xmlGetLineNo(node), "warning",
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
        report(mPath, xmlGetLineNo(node), "warning",
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
        report(mPath, xmlGetLineNo(node), "warning",
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
    for (xmlNodePtr node = first; node != nullptr; node = node->next) {
        if (node->type != XML_ELEMENT_NODE) continue;
        uint8_t id = lutNodeId(node);
        if (id == 0) {
            report(file, xmlGetLineNo(node), "warning",
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
                report(file, lut.line, "warning",
                       std::string(ATTRIBUTE_PROPERTIES[i]) + "=" + std::to_string(number) +
                               " keeps only its low 8 bits: " + std::to_string(value & 0xFF));
            }
        }
        lut.attr[i] = static_cast<uint8_t>(value & 0xFF);
    }
    std::string text = HuevaneImplColorModeXmlBase::getLutText(document, node);
    lut.size = static_cast<int64_t>(text.size()) + PVX_DATA_HEADER_SIZE + 1;
    if (static_cast<int64_t>(text.size()) > MAX_TEXT) {
        report(file, lut.line, "error",
               "text of " + std::to_string(text.size()) +
                       " bytes does not fit a parcel entry "
                       "(at most " +
                       std::to_string(MAX_TEXT) + "): the parcel is refused");
    }
    bool enabled = false;
    huevane::mat4 matrix;
    if ((id == PVX_NODE_GAMMA_MATRIX || id == PVX_NODE_LINEAR_MATRIX) &&
        !huevane::getMatrixFromText(text, &enabled, &matrix)) {
        report(file, lut.line, "error",
               "<" + nameOf(node) +
                       "> text is not a matrix text (a flag and 16 fixed-point "
                       "numbers): it is sent as it is instead of being combined");
    }
    for (const LintLut& other : *luts) {
        if (other.id == lut.id && std::equal(other.attr, other.attr + 4, lut.attr)) {
            report(file, lut.line, "warning",
                   "<" + nameOf(node) + "> has the same attributes as the one at line " +
                           std::to_string(other.line) + ": only this one reaches the parcel");
            break;
        }
    }
    luts->push_back(lut);
}

xmlNodePtr CalibrationLint::findTuneMode(const std::string& file, xmlDocPtr document) {
    xmlNodePtr root = xmlDocGetRootElement(document);
    if (root == nullptr) return nullptr;
    if (!isElement(root, "Calib_Data")) {
        report(file, xmlGetLineNo(root), "error",
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
    size_t ext = mPath.rfind(".xml");
    if (ext == std::string::npos) {
        report(mPath, line, "warning",
               "subxml given, but the file name has no .xml to derive "
               "the sub document's name from");
        return false;
    }
    std::string file = mPath;
    file.insert(ext, "_" + subXml);
    if (access(file.c_str(), F_OK) != 0) {
        report(mPath, line, "warning",
               "sub document " + file +
                       " not found: this node's own "
                       "LUTs are used");
        return false;
    }
    xmlDocPtr document = parse(file);
    if (document == nullptr) {
        report(mPath, line, "warning",
               "sub document " + file +
                       " does not parse: this node's "
                       "own LUTs are used");
        return false;
    }
    xmlNodePtr tune = findTuneMode(file, document);
    if (tune == nullptr || tune->children == nullptr) {
        report(mPath, line, "warning",
               "sub document " + file +
                       (tune == nullptr ? " has no tune mode" : "'s tune mode is empty") +
                       ": this node's own LUTs are used");
        xmlFreeDoc(document);
        return false;
    }
    *sum = lintLutNodes(file, document, tune->children);
    xmlFreeDoc(document);
    return true;
}

// The engine sizes every parcel from the largest calibration LUT set, so only the 16-bit size
// field can leave a (mode, intent) without room.
void CalibrationLint::checkParcelRoom() {
    const int64_t coefSize =
            std::max(MIN_COEF_SIZE, mMaxSum + TRANSFORM_BUDGET + PVX_PARCEL_HEADER_SIZE);
    const int64_t limit = std::min<int64_t>(coefSize, PVX_PARCEL_MAX_SIZE);
    for (const auto& entry : mKeys) {
        const int64_t need = entry.second.second + PVX_PARCEL_HEADER_SIZE;
        std::string pair = "(mode " + std::to_string(entry.first.first) + ", intent " +
                           std::to_string(entry.first.second) + ")";
        if (need > limit) {
            report(mPath, entry.second.first, "error",
                   "LUTs of " + pair + " need a parcel of " + std::to_string(need) +
                           " bytes, more than the " + std::to_string(limit) +
                           " the library allows: every update with it fails");
        } else if (need + TRANSFORM_BUDGET > limit) {
            report(mPath, entry.second.first, "warning",
                   "LUTs of " + pair + " leave no room in the parcel for a colour transform");
        }
    }
}

}  // namespace

size_t lintCalibrationFile(const std::string& path, std::string* out) {
    CalibrationLint lint(path, out);
    return lint.run();
}
