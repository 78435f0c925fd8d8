#include "HuevanePanel.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>

#include "HuevaneNodeTable.h"
#include "HuevaneToolFile.h"
#include "HuevaneToolJson.h"
#include "HuevaneToolModel.h"

namespace {

constexpr size_t MAX_DESCRIPTION_BYTES = 1 << 20;
constexpr size_t MAX_CURVE_ENTRIES = 65536;
constexpr int MAX_OUTPUT_BITS = 24;

std::string folderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

// A path in the description is relative to the description's folder.
std::string resolvePath(const std::string& description, const std::string& path) {
    return path.empty() || path[0] == '/' ? path : folderOf(description) + path;
}

// Reads one description, reporting each problem under the key it is about.
class DescriptionReader {
  public:
    DescriptionReader(HuevanePanel* panel, HuevaneDiagnostics& diagnostics)
        : mPanel(*panel), mDiagnostics(diagnostics) {}

    bool read(const HuevaneJson& root, bool needsOrder);

  private:
    void problem(const std::string& key, const std::string& message) {
        mDiagnostics.error(mPanel.path, 0, key + ": " + message);
        mFailed = true;
    }
    bool getNumber(const HuevaneJson& value, const std::string& key, double low, double high,
                   double* out);
    bool getInteger(const HuevaneJson& value, const std::string& key, int64_t low, int64_t high,
                    int64_t* out);
    bool getChromaticity(const HuevaneJson& value, const std::string& key, HuevaneXy* out);
    bool checkKeys(const HuevaneJson& object, const std::string& key,
                   const std::set<std::string>& known);
    void readOrder(const HuevaneJson& order);
    void readCurve(const std::string& key, const HuevaneJson& curve, HuevaneCurveLayout* layout);
    void readCurves(const HuevaneJson& curves);
    void readResponse(const HuevaneJson& response);
    void readPrimaries(const HuevaneJson& response);
    void readTargets(const HuevaneJson& targets);

    HuevanePanel& mPanel;
    HuevaneDiagnostics& mDiagnostics;
    bool mFailed = false;
};

bool DescriptionReader::getNumber(const HuevaneJson& value, const std::string& key, double low,
                                  double high, double* out) {
    if (!value.is_number()) {
        problem(key, "must be a number");
        return false;
    }
    *out = value.get<double>();
    if (!(*out >= low && *out <= high)) {
        char range[64];
        snprintf(range, sizeof(range), "%g is out of range (%g to %g)", *out, low, high);
        problem(key, range);
        return false;
    }
    return true;
}

bool DescriptionReader::getInteger(const HuevaneJson& value, const std::string& key, int64_t low,
                                   int64_t high, int64_t* out) {
    if (!value.is_number_integer()) {
        problem(key, "must be a whole number");
        return false;
    }
    *out = value.get<int64_t>();
    if (*out < low || *out > high) {
        problem(key, std::to_string(*out) + " is out of range (" + std::to_string(low) + " to " +
                             std::to_string(high) + ")");
        return false;
    }
    return true;
}

bool DescriptionReader::getChromaticity(const HuevaneJson& value, const std::string& key,
                                        HuevaneXy* out) {
    if (!value.is_array() || value.size() != 2) {
        problem(key, "must be a chromaticity [x, y]");
        return false;
    }
    if (!getNumber(value[0], key + "[0]", 0, 1, &out->x) ||
        !getNumber(value[1], key + "[1]", 0, 1, &out->y)) {
        return false;
    }
    if (out->y <= 0 || out->x + out->y > 1) {
        problem(key, "is no chromaticity: y must be above 0 and x + y at most 1");
        return false;
    }
    return true;
}

bool DescriptionReader::checkKeys(const HuevaneJson& object, const std::string& key,
                                  const std::set<std::string>& known) {
    if (!object.is_object()) {
        problem(key.empty() ? "(document)" : key, "must be an object");
        return false;
    }
    bool ok = true;
    for (const auto& item : object.items()) {
        if (known.count(item.key()) == 0) {
            problem(key.empty() ? item.key() : key + "." + item.key(), "unknown key");
            ok = false;
        }
    }
    return ok;
}

void DescriptionReader::readOrder(const HuevaneJson& order) {
    if (!order.is_array() || order.empty()) {
        problem("order", "must be a list of node names, in the order the hardware applies them");
        return;
    }
    for (size_t k = 0; k < order.size(); k++) {
        const std::string key = "order[" + std::to_string(k) + "]";
        const uint32_t id =
                order[k].is_string() ? huevane::getNodeId(order[k].get<std::string>().c_str()) : 0;
        if (id == 0) {
            problem(key, order[k].dump() + " is not a LUT node name");
        } else if (std::find(mPanel.order.begin(), mPanel.order.end(), id) != mPanel.order.end()) {
            problem(key, huevane::getNodeLabel(id) + " is listed twice");
        } else {
            mPanel.order.push_back(static_cast<uint8_t>(id));
        }
    }
}

void DescriptionReader::readCurve(const std::string& key, const HuevaneJson& curve,
                                  HuevaneCurveLayout* layout) {
    if (!checkKeys(curve, key,
                   {"entries", "input", "output_bits", "channels", "layout", "interpolation"})) {
        return;
    }
    for (const char* required : {"entries", "input", "output_bits", "channels"}) {
        if (!curve.contains(required)) problem(key + "." + required, "missing");
    }
    int64_t value = 0;
    if (curve.contains("entries") &&
        getInteger(curve["entries"], key + ".entries", 2, MAX_CURVE_ENTRIES, &value)) {
        layout->entries = static_cast<size_t>(value);
    }
    if (curve.contains("output_bits") &&
        getInteger(curve["output_bits"], key + ".output_bits", 1, MAX_OUTPUT_BITS, &value)) {
        layout->outputBits = static_cast<int>(value);
    }
    if (curve.contains("channels") &&
        getInteger(curve["channels"], key + ".channels", 1, 3, &value)) {
        if (value == 2) problem(key + ".channels", "must be 1 (one curve) or 3 (one per channel)");
        layout->channels = static_cast<int>(value);
    }
    if (curve.contains("input")) {
        const HuevaneJson& input = curve["input"];
        if (!input.is_array() || input.size() != 2) {
            problem(key + ".input", "must be the input domain [low, high]");
        } else if (getNumber(input[0], key + ".input[0]", -16, 16, &layout->inputLow) &&
                   getNumber(input[1], key + ".input[1]", -16, 16, &layout->inputHigh) &&
                   layout->inputHigh <= layout->inputLow) {
            problem(key + ".input", "high must be above low");
        }
    }
    const std::string arrangement = curve.value("layout", std::string());
    if (layout->channels == 3 && arrangement != "planar" && arrangement != "interleaved") {
        problem(key + ".layout",
                "3 channels need \"planar\" (all red, then green, then blue) or "
                "\"interleaved\" (r,g,b,r,g,b,...)");
    } else if (layout->channels == 1 && curve.contains("layout")) {
        problem(key + ".layout", "only for curves with 3 channels");
    }
    layout->interleaved = arrangement == "interleaved";
    const std::string interpolation = curve.value("interpolation", std::string("linear"));
    if (interpolation != "linear" && interpolation != "nearest") {
        problem(key + ".interpolation", "must be \"linear\" or \"nearest\"");
    }
    layout->nearest = interpolation == "nearest";
}

void DescriptionReader::readCurves(const HuevaneJson& curves) {
    if (!curves.is_object()) {
        problem("curves", "must be an object: node name -> how its text encodes its curve");
        return;
    }
    for (const auto& item : curves.items()) {
        const std::string key = "curves." + item.key();
        const uint32_t id = huevane::getNodeId(item.key().c_str());
        if (id == 0) {
            problem(key, "not a LUT node name");
        } else if (huevane::isMatrixNode(id)) {
            problem(key,
                    "a matrix node needs no description: its text is the library's matrix "
                    "text");
        } else if (std::find(mPanel.order.begin(), mPanel.order.end(), id) == mPanel.order.end()) {
            problem(key, item.key() + " is not in order");
        } else {
            readCurve(key, item.value(), &mPanel.curves[static_cast<uint8_t>(id)]);
        }
    }
    for (uint8_t id : mPanel.order) {
        if (!huevane::isMatrixNode(id) && mPanel.curves.count(id) == 0) {
            problem("order", huevane::getNodeLabel(id) +
                                     " is neither a matrix node nor described under curves");
        }
    }
}

void DescriptionReader::readPrimaries(const HuevaneJson& response) {
    const HuevaneJson& primaries = response["primaries"];
    std::array<HuevaneXy, 3> rgb;
    HuevaneXy white;
    HuevaneTransfer transfer;
    bool ok = checkKeys(primaries, "response.primaries", {"red", "green", "blue"});
    static const char* const NAMES[3] = {"red", "green", "blue"};
    for (int c = 0; ok && c < 3; c++) {
        if (!primaries.contains(NAMES[c])) {
            problem(std::string("response.primaries.") + NAMES[c], "missing");
            ok = false;
        } else {
            ok = getChromaticity(primaries[NAMES[c]], std::string("response.primaries.") + NAMES[c],
                                 &rgb[c]);
        }
    }
    for (const char* required : {"white", "transfer"}) {
        if (!response.contains(required)) {
            problem(std::string("response.") + required, "missing");
            ok = false;
        }
    }
    ok = ok && getChromaticity(response["white"], "response.white", &white);
    const HuevaneJson& curve = response.contains("transfer") ? response["transfer"] : HuevaneJson();
    if (ok && curve.is_string() && curve.get<std::string>() == "srgb") {
        transfer.kind = HuevaneTransfer::SRGB;
    } else if (ok && curve.is_number()) {
        transfer.kind = HuevaneTransfer::POWER;
        ok = getNumber(curve, "response.transfer", 1, 4, &transfer.gamma);
    } else if (ok) {
        problem("response.transfer", "must be \"srgb\" or a power (2.2 for a gamma of 2.2)");
        ok = false;
    }
    if (!ok) return;
    const double area = (rgb[1].x - rgb[0].x) * (rgb[2].y - rgb[0].y) -
                        (rgb[2].x - rgb[0].x) * (rgb[1].y - rgb[0].y);
    if (std::fabs(area) < 1e-6) {
        problem("response.primaries", "the three primaries make no triangle");
        return;
    }
    mPanel.response = HuevaneColourSpace::fromPrimaries(mPanel.name.empty() ? "panel" : mPanel.name,
                                                        rgb, white, transfer);
    mPanel.responseFromPrimaries = true;
    mPanel.responseText = "primaries, white point and transfer curve";
    if (!mPanel.response) problem("response", "lcms2 cannot make a colour space of it");
}

void DescriptionReader::readResponse(const HuevaneJson& response) {
    if (!checkKeys(response, "response", {"profile", "primaries", "white", "transfer"})) return;
    const bool profile = response.contains("profile");
    if (profile == response.contains("primaries")) {
        problem("response",
                "give either \"profile\" (an ICC display profile) or \"primaries\", "
                "\"white\" and \"transfer\"");
        return;
    }
    if (!profile) {
        readPrimaries(response);
        return;
    }
    if (response.contains("white") || response.contains("transfer")) {
        problem("response", "a profile states its own white and transfer curve");
        return;
    }
    if (!response["profile"].is_string()) {
        problem("response.profile", "must be the path of an ICC profile");
        return;
    }
    const std::string path = resolvePath(mPanel.path, response["profile"].get<std::string>());
    std::string error;
    mPanel.response = HuevaneColourSpace::fromProfile(path, false, &error);
    mPanel.responseText = "profile " + path;
    if (!mPanel.response) {
        mDiagnostics.error(path, 0, error);
        problem("response.profile", "cannot be used as the panel's response");
    }
}

void DescriptionReader::readTargets(const HuevaneJson& targets) {
    if (!targets.is_object()) {
        problem("targets", "must be an object: mode name -> target");
        return;
    }
    for (const auto& item : targets.items()) {
        if (!item.value().is_string() || item.value().get<std::string>().empty()) {
            problem("targets." + item.key(), std::string("must be a target: ") +
                                                     HuevaneColourSpace::getKnownNames() +
                                                     ", or the path of an ICC profile");
            continue;
        }
        std::string target = item.value().get<std::string>();
        if (!HuevaneColourSpace::fromName(target)) target = resolvePath(mPanel.path, target);
        mPanel.targets[item.key()] = target;
    }
}

bool DescriptionReader::read(const HuevaneJson& root, bool needsOrder) {
    if (!checkKeys(root, "", {"name", "order", "curves", "response", "targets"})) return false;
    if (root.contains("name")) {
        if (root["name"].is_string()) {
            mPanel.name = root["name"].get<std::string>();
        } else {
            problem("name", "must be a string");
        }
    }
    if (root.contains("order")) {
        readOrder(root["order"]);
    } else if (needsOrder) {
        problem("order", "missing: the hardware order of the nodes that act on colour");
    }
    if (root.contains("curves")) {
        readCurves(root["curves"]);
    } else if (!mPanel.order.empty()) {
        readCurves(HuevaneJson::object());
    }
    if (root.contains("response")) {
        readResponse(root["response"]);
    } else {
        problem("response", "missing: the panel's native response");
    }
    if (root.contains("targets")) readTargets(root["targets"]);
    return !mFailed;
}

int64_t getCurveMaximum(const HuevaneCurveLayout& layout) {
    return (int64_t{1} << layout.outputBits) - 1;
}

std::string placeOf(const HuevaneSentLut& sent) {
    return sent.file.empty() ? " (" + sent.origin + ")" : "";
}

HuevaneFinding makeProblem(const HuevaneSentLut& sent, HuevaneSeverity severity,
                           const std::string& message) {
    HuevaneFinding finding;
    finding.severity = severity;
    finding.file = sent.file;
    finding.line = sent.line;
    finding.message = describeLut(sent.lut.first) + placeOf(sent) + ": " + message;
    return finding;
}

bool readCurveStage(const HuevaneSentLut& sent, const HuevaneCurveLayout& layout,
                    HuevaneStage* stage, std::vector<HuevaneFinding>* problems) {
    std::vector<double> values;
    const size_t expected = layout.entries * static_cast<size_t>(layout.channels);
    if (!getLutValues(sent.lut.second, &values)) {
        problems->push_back(makeProblem(sent, HuevaneSeverity::ERROR,
                                        "its text is not a list of whole numbers"));
        return false;
    }
    if (values.size() != expected) {
        problems->push_back(makeProblem(sent, HuevaneSeverity::ERROR,
                                        "holds " + std::to_string(values.size()) +
                                                " values; the description says " +
                                                std::to_string(layout.entries) + " entries x " +
                                                std::to_string(layout.channels) + " channel" +
                                                (layout.channels == 1 ? "" : "s")));
        return false;
    }
    const double maximum = static_cast<double>(getCurveMaximum(layout));
    for (size_t k = 0; k < values.size(); k++) {
        if (values[k] < 0 || values[k] > maximum) {
            char text[96];
            snprintf(text, sizeof(text), "value %.0f at index %zu is beyond %d output bits",
                     values[k], k, layout.outputBits);
            problems->push_back(makeProblem(sent, HuevaneSeverity::ERROR, text));
            return false;
        }
    }
    for (int c = 0; c < 3; c++) {
        std::vector<double>& curve = stage->curves[c];
        const int source = layout.channels == 1 ? 0 : c;
        for (size_t k = 0; k < layout.entries; k++) {
            const size_t index = layout.channels == 1 ? k
                                 : layout.interleaved
                                         ? 3 * k + static_cast<size_t>(source)
                                         : static_cast<size_t>(source) * layout.entries + k;
            curve.push_back(values[index] / maximum);
        }
    }
    stage->layout = layout;
    return true;
}

bool readMatrixStage(const HuevaneSentLut& sent, HuevaneStage* stage,
                     std::vector<HuevaneFinding>* problems) {
    bool enabled = false;
    if (huevane::readMatrixText(sent.lut.second, &enabled, &stage->elements) !=
        huevane::MATRIX_TEXT_OK) {
        problems->push_back(makeProblem(sent, HuevaneSeverity::ERROR,
                                        "its text does not read as a matrix text"));
        return false;
    }
    // A disabled matrix is the library's identity.
    if (!enabled) stage->sent = false;
    return true;
}

double evaluateCurve(const std::vector<double>& curve, const HuevaneCurveLayout& layout,
                     double input) {
    const double clamped = std::min(std::max(input, layout.inputLow), layout.inputHigh);
    const double position = (clamped - layout.inputLow) / (layout.inputHigh - layout.inputLow) *
                            static_cast<double>(curve.size() - 1);
    if (layout.nearest) return curve[static_cast<size_t>(std::lround(position))];
    const size_t below = std::min(static_cast<size_t>(position), curve.size() - 2);
    const double t = position - static_cast<double>(below);
    return curve[below] + t * (curve[below + 1] - curve[below]);
}

}  // namespace

const std::string* HuevanePanel::findTarget(const std::string& modeName) const {
    const auto found = targets.find(modeName);
    return found == targets.end() ? nullptr : &found->second;
}

bool readPanel(const std::string& path, bool needsOrder, HuevanePanel* panel,
               HuevaneDiagnostics& diagnostics) {
    panel->path = path;
    const HuevaneToolFileRead file = readToolFile(path, MAX_DESCRIPTION_BYTES);
    if (!file.ok || file.truncated) {
        diagnostics.error(
                path, 0,
                file.ok ? "larger than a panel description may be" : "cannot read: " + file.error);
        return false;
    }
    const HuevaneJson root = HuevaneJson::parse(file.bytes, nullptr, false);
    if (root.is_discarded()) {
        diagnostics.error(path, 0, "not JSON: a panel description is one JSON object");
        return false;
    }
    return DescriptionReader(panel, diagnostics).read(root, needsOrder);
}

std::unique_ptr<HuevaneColourSpace> openTarget(const std::string& target, std::string* error) {
    std::unique_ptr<HuevaneColourSpace> space = HuevaneColourSpace::fromName(target);
    if (space) return space;
    if (access(target.c_str(), F_OK) != 0) {
        *error = std::string("neither a target (") + HuevaneColourSpace::getKnownNames() +
                 ") nor a file";
        return nullptr;
    }
    space = HuevaneColourSpace::fromProfile(target, true, error);
    if (space && !space->canEncode()) {
        *error = "has no tables from the connection space back to RGB, which a target needs";
        return nullptr;
    }
    return space;
}

std::string describeLut(const pvx_colormode_data_header& h) {
    char attr[32];
    snprintf(attr, sizeof(attr), "%d,%d,%d,%d", h.attr0, h.attr1, h.attr2, h.attr3);
    return huevane::getNodeLabel(h.id) + " (node " + std::to_string(h.id) + ") attr " + attr;
}

HuevaneRgb HuevaneStage::apply(const HuevaneRgb& in) const {
    if (!sent) return in;
    HuevaneRgb out;
    for (int r = 0; r < 3; r++) {
        if (matrix) {
            // out = M (r, g, b, 1): the offsets stand in the fourth column.
            out[r] = elements[12 + r];
            for (int c = 0; c < 3; c++) out[r] += double{elements[4 * c + r]} * in[c];
        } else {
            out[r] = evaluateCurve(curves[r], layout, in[r]);
        }
    }
    return out;
}

HuevaneRgb HuevanePipeline::run(const HuevaneRgb& signal, std::vector<HuevaneRgb>* afterEach) const {
    HuevaneRgb value = signal;
    for (const HuevaneStage& stage : stages) {
        value = stage.apply(value);
        if (afterEach != nullptr) afterEach->push_back(value);
    }
    for (double& channel : value) channel = std::min(std::max(channel, 0.0), 1.0);
    return value;
}

bool buildPipeline(const HuevanePanel& panel, const std::vector<HuevaneSentLut>& sent,
                   HuevanePipeline* pipeline, std::vector<HuevaneFinding>* problems) {
    bool ok = true;
    pipeline->stages.clear();
    for (uint8_t node : panel.order) {
        HuevaneStage stage;
        stage.node = node;
        stage.matrix = huevane::isMatrixNode(node);
        const HuevaneSentLut* used = nullptr;
        for (const HuevaneSentLut& lut : sent) {
            if (lut.lut.first.id != node) continue;
            if (used != nullptr) {
                problems->push_back(makeProblem(
                        *used, HuevaneSeverity::WARNING,
                        "not modelled: the parcel carries a later " + huevane::getNodeLabel(node) +
                                " entry, which the model applies in its place"));
            }
            used = &lut;
        }
        if (used != nullptr) {
            stage.sent = true;
            ok &= stage.matrix ? readMatrixStage(*used, &stage, problems)
                               : readCurveStage(*used, panel.curves.at(node), &stage, problems);
        }
        pipeline->stages.push_back(stage);
    }
    for (const HuevaneSentLut& lut : sent) {
        if (std::find(panel.order.begin(), panel.order.end(), lut.lut.first.id) ==
            panel.order.end()) {
            problems->push_back(makeProblem(lut, HuevaneSeverity::WARNING,
                                            "not modelled: the panel description does not place "
                                            "this node in the hardware order"));
        }
    }
    return ok;
}

HuevaneXyz predictPcs(const HuevanePanel& panel, const HuevanePipeline& pipeline,
                      const HuevaneRgb& signal) {
    return panel.response->toPcs(pipeline.run(signal));
}
