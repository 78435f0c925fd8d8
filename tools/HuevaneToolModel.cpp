#include "HuevaneToolModel.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <utility>

#include "HuevaneDecimal.h"
#include "HuevaneDeviceFile.h"
#include "HuevaneImplColorMode.h"
#include "HuevaneImplColorModeXml.h"
#include "HuevaneImplUtil.h"
#include "HuevaneLogSink.h"
#include "HuevaneXmlError.h"

namespace {

bool gForwardLibraryLog = false;

bool onLibraryLine(const HuevaneLogRecord&) {
    return gForwardLibraryLog;
}

// Collects libxml2's complaints as one line each while the reader parses.
class XmlErrorLines {
  public:
    explicit XmlErrorLines(std::vector<HuevaneFinding>* lines) : mLines(lines) {
        xmlSetStructuredErrorFunc(this, onError);
    }
    ~XmlErrorLines() { xmlSetStructuredErrorFunc(nullptr, nullptr); }
    XmlErrorLines(const XmlErrorLines&) = delete;
    XmlErrorLines& operator=(const XmlErrorLines&) = delete;

  private:
    static void onError(void* context, HuevaneXmlErrorPtr error) {
        std::string message = error->message != nullptr ? error->message : "unknown XML error";
        while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) {
            message.pop_back();
        }
        HuevaneFinding finding;
        finding.severity =
                error->level == XML_ERR_WARNING ? HuevaneSeverity::WARNING : HuevaneSeverity::ERROR;
        finding.file = error->file != nullptr ? huevane::getDevicePath(error->file) : "";
        finding.line = error->line;
        finding.message = message;
        // Each candidate name that reaches the same file parses it again; say it once.
        std::vector<HuevaneFinding>* lines = static_cast<XmlErrorLines*>(context)->mLines;
        for (const HuevaneFinding& earlier : *lines) {
            if (earlier.file == finding.file && earlier.line == finding.line &&
                earlier.message == finding.message) {
                return;
            }
        }
        lines->push_back(finding);
    }
    std::vector<HuevaneFinding>* mLines;
};

// The reader names a document by its device path; this host knows it under the device root.
std::string documentFile(const xmlDoc* document) {
    return document->URL != nullptr
                   ? huevane::getDevicePath(reinterpret_cast<const char*>(document->URL))
                   : "";
}

bool isLutNode(const xmlNode* node) {
    for (int id = 1; id < HuevaneImplColorModeXml::PVX_COLORMODE_NODE_COUNT; id++) {
        if (HuevaneImplColorModeXmlBase::isElementNamed(
                    node, HuevaneImplColorModeXml::PVX_COLORMODE_NODE[id])) {
            return true;
        }
    }
    return false;
}

using Places = std::map<huevane::HuevaneLutKey, std::vector<HuevaneLutPlace>>;

void placeLutNodes(const xmlDoc* document, const xmlNode* first, std::vector<HuevaneLutPlace>* out) {
    out->clear();
    for (const xmlNode* node = first; node != nullptr; node = node->next) {
        if (isLutNode(node)) out->push_back({documentFile(document), xmlGetLineNo(node)});
    }
}

// Where each stored LUT stands in the files. The reader keeps no lines, so its walk is followed
// here through its own operations (mode-node test, key, sub-document choice); a later mode node
// with the same key wins, as in the reader.
Places placeLuts(HuevaneImplColorModeXml& reader, xmlDoc* document,
                 std::vector<std::string>* subDocuments) {
    Places places;
    xmlNodePtr root = xmlDocGetRootElement(document);
    if (root == nullptr) return places;
    for (xmlNodePtr child = root->children; child != nullptr; child = child->next) {
        if (!HuevaneImplColorModeXmlBase::isElementNamed(child, "mode") ||
            !HuevaneImplColorModeXml::isValidXmlProperties(child)) {
            continue;
        }
        huevane::HuevaneLutKey key(
                HuevaneImplColorModeXml::getColorModeFromXmlProperties(child).modeId,
                HuevaneImplColorModeXml::getRenderIntentFromXmlProperties(child).intentId);
        HuevaneXmlDoc sub(reader.getSubXmlDoc(child));
        xmlDocPtr subDocument = sub.get();
        xmlNodePtr first = sub ? HuevaneImplColorModeXml::getSubXmlNode(subDocument) : nullptr;
        if (first != nullptr) {
            placeLutNodes(sub.get(), first, &places[key]);
            const std::string file = documentFile(sub.get());
            bool known = false;
            for (const std::string& name : *subDocuments) known |= name == file;
            if (!known) subDocuments->push_back(file);
        } else {
            placeLutNodes(document, child->children, &places[key]);
        }
    }
    return places;
}

HuevaneFinding error(const std::string& file, long line, const std::string& message) {
    HuevaneFinding finding;
    finding.file = file;
    finding.line = line;
    finding.message = message;
    return finding;
}

// `missing` is the error when no candidate could be read and libxml2 said nothing.
HuevaneCalibrationModel loadCalibration(std::vector<std::string> names,
                                        const HuevaneFinding& missing) {
    HuevaneCalibrationModel model;
    std::vector<HuevaneFinding> complaints;
    XmlErrorLines lines(&complaints);
    HuevaneImplColorModeXml reader(names);
    HuevaneXmlDoc document(HuevaneImplColorModeXmlBase::openColorModeFile(names));
    if (!document) {
        model.errors = complaints.empty() ? std::vector<HuevaneFinding>{missing} : complaints;
        return model;
    }
    model.document = documentFile(document.get());
    xmlNodePtr root = xmlDocGetRootElement(document.get());
    if (root == nullptr || !HuevaneImplColorModeXmlBase::isElementNamed(root, "Calib_Data")) {
        model.errors.push_back(error(model.document, root ? xmlGetLineNo(root) : 1,
                                     "the root element is not <Calib_Data>"));
        return model;
    }
    Places places = placeLuts(reader, document.get(), &model.subDocuments);
    // What was read anyway: candidates passed over, sub documents replaced by a node's own LUTs.
    for (HuevaneFinding& complaint : complaints) {
        complaint.severity = HuevaneSeverity::WARNING;
        model.warnings.push_back(complaint);
    }
    model.modes = reader.getColorModeList();
    for (const HuevaneMode& mode : model.modes) {
        for (const DisplayRenderIntent& intent : reader.getRenderIntentList(mode.modeId)) {
            HuevaneModelPair pair{mode, intent, {}};
            HuevaneDataLutList luts = reader.getDataLuts(mode.modeId, intent.intentId);
            const std::vector<HuevaneLutPlace>& where =
                    places[huevane::HuevaneLutKey(mode.modeId, intent.intentId)];
            for (size_t i = 0; i < luts.size(); i++) {
                pair.luts.push_back({luts[i], i < where.size() ? where[i] : HuevaneLutPlace()});
            }
            model.pairs.push_back(std::move(pair));
        }
    }
    return model;
}

}  // namespace

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
    if (place.file.empty()) return "";
    const size_t slash = brief ? place.file.rfind('/') : std::string::npos;
    return place.file.substr(slash == std::string::npos ? 0 : slash + 1) + ":" +
           std::to_string(place.line);
}

const HuevaneModelPair* HuevaneCalibrationModel::findPair(uint32_t modeId, uint32_t intentId) const {
    for (const HuevaneModelPair& pair : pairs) {
        if (pair.mode.modeId == modeId && pair.intent.intentId == intentId) return &pair;
    }
    return nullptr;
}

HuevaneCalibrationModel loadCalibrationFile(const std::string& path) {
    huevane::setDeviceRoot("");
    if (access(path.c_str(), R_OK) != 0) {
        HuevaneCalibrationModel model;
        model.errors.push_back(error(path, 0, strerror(errno)));
        return model;
    }
    return loadCalibration({path}, error(path, 0, "not a calibration document"));
}

HuevaneCalibrationModel loadDeviceCalibration(const std::string& root, uint32_t display) {
    huevane::setDeviceRoot(root);
    std::vector<std::string> names = HuevaneImplColorMode::getXmlNames(display);
    std::string tried;
    for (const std::string& name : names) {
        if (!name.empty()) tried += (tried.empty() ? "" : ", ") + name;
    }
    HuevaneCalibrationModel model = loadCalibration(
            names, error("", 0,
                         "no calibration document of display " + std::to_string(display) +
                                 " under " + root + " exists; tried " + tried));
    huevane::setDeviceRoot("");
    return model;
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
