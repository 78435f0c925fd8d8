#include "HuevaneToolExplain.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstring>
#include <memory>

#include "HuevaneImplExtension.h"
#include "HuevaneImplMatrix.h"
#include "HuevaneImplTransform.h"
#include "HuevaneImplUtil.h"
#include "HuevaneImplementation.h"
#include "HuevaneNodeTable.h"
#include "HuevaneToolDevice.h"
#include "HuevaneToolJson.h"
#include "IHuevane.h"

namespace {

struct StagedLut {
    HuevaneDataLut lut;
    HuevaneLutOrigin origin;
};

std::vector<HuevaneExtension> extensionEntries(const HuevaneToolRequest& request, size_t count) {
    std::vector<HuevaneExtension> entries;
    for (size_t i = 0; i < count; i++) {
        HuevaneExtension entry;
        entry.id = request.extensions[i].id;
        entry.data = request.extensions[i].text.c_str();
        entry.size = static_cast<uint32_t>(request.extensions[i].text.size());
        entries.push_back(entry);
    }
    return entries;
}

// The extension source's LUTs, each with the index of the list entry that made it: the source is
// given ever longer prefixes of the list, so its own rules decide which entries make a LUT.
std::vector<StagedLut> extensionLuts(const HuevaneToolRequest& request) {
    std::vector<StagedLut> staged;
    for (size_t count = 1; count <= request.extensions.size(); count++) {
        HuevaneImplExtension source;
        source.setDataLuts(extensionEntries(request, count));
        HuevaneDataLutList luts = source.getDataLuts();
        if (luts.size() > staged.size()) {
            HuevaneLutOrigin origin;
            origin.sourceKind = huevane::SOURCE_KIND_EXTENSION;
            origin.extensionEntry = static_cast<int>(count - 1);
            staged.push_back({luts.back(), origin});
        }
    }
    return staged;
}

std::vector<StagedLut> stagedLuts(const HuevaneCalibrationModel& model,
                                  const HuevaneToolRequest& request, int kind) {
    std::vector<StagedLut> staged;
    if (kind == huevane::SOURCE_KIND_COLOR_MODE) {
        const HuevaneModelPair* pair =
                model.findPair(request.mode, request.hasIntent ? request.intent : 0);
        if (pair == nullptr) return staged;
        for (const HuevaneModelLut& lut : pair->luts) {
            staged.push_back({lut.lut, {huevane::SOURCE_KIND_COLOR_MODE, lut.place, -1}});
        }
    } else if (kind == huevane::SOURCE_KIND_TRANSFORM && request.hasTransform) {
        HuevaneImplTransform source;
        source.setDataLuts(std::vector<float>(request.transform, request.transform + 16));
        for (const HuevaneDataLut& lut : source.getDataLuts()) {
            staged.push_back({lut, {huevane::SOURCE_KIND_TRANSFORM, {}, -1}});
        }
    } else if (kind == huevane::SOURCE_KIND_EXTENSION) {
        staged = extensionLuts(request);
    }
    return staged;
}

// One matrix stage with a note of which LUT last set each source's matrix.
struct AccountedStage {
    explicit AccountedStage(uint8_t nodeId) : stage(nodeId) {}
    HuevaneImplMatrix stage;
    HuevaneLutOrigin lastOrigin[3];
    std::vector<HuevaneExplainEntry> emitted;

    bool offer(const StagedLut& staged) {
        const size_t before = stage.getDataLuts().size();
        if (stage.setDataLuts(staged.origin.sourceKind, staged.lut) != 0) return false;
        lastOrigin[staged.origin.sourceKind] = staged.origin;
        HuevaneDataLutList made = stage.getDataLuts();
        if (made.size() == before) return true;  // taken, nothing to emit
        HuevaneExplainEntry entry;
        entry.lut = made.back();
        entry.origin = staged.origin;
        entry.combined = true;
        // The stage multiplies from the most recently first-stored matrix down to the earliest.
        const auto& matrices = stage.getMatrices();
        for (auto it = matrices.rbegin(); it != matrices.rend(); ++it) {
            entry.factors.push_back({lastOrigin[it->first], it->second});
        }
        bool enabled = false;
        huevane::getMatrixFromText(entry.lut.second, &enabled, &entry.product);
        emitted.push_back(entry);
        return true;
    }
};

// Follows the engine's assembly with the library's own stages and list rule, keeping an account
// of every entry; the caller checks the result against the engine's parcel.
std::vector<HuevaneExplainEntry> assemble(const HuevaneCalibrationModel& model,
                                          const HuevaneToolRequest& request) {
    AccountedStage gamma(huevane::PVX_NODE_GAMMA_MATRIX), linear(huevane::PVX_NODE_LINEAR_MATRIX);
    HuevaneDataLutList list;
    std::vector<HuevaneExplainEntry> accounts;
    auto put = [&](const HuevaneExplainEntry& entry) {
        size_t i = 0;
        while (i < list.size() && !HuevaneImplementation::compareDataLut(list[i], entry.lut)) i++;
        HuevaneImplementation::putDataLut(list, entry.lut);
        if (i == accounts.size())
            accounts.push_back(entry);
        else
            accounts[i] = entry;
    };
    for (int kind : {huevane::SOURCE_KIND_COLOR_MODE, huevane::SOURCE_KIND_TRANSFORM,
                     huevane::SOURCE_KIND_EXTENSION}) {
        for (const StagedLut& staged : stagedLuts(model, request, kind)) {
            if (gamma.offer(staged) || linear.offer(staged)) continue;
            HuevaneExplainEntry entry;
            entry.lut = staged.lut;
            entry.origin = staged.origin;
            put(entry);
        }
    }
    for (const HuevaneExplainEntry& entry : gamma.emitted) put(entry);
    for (const HuevaneExplainEntry& entry : linear.emitted) put(entry);
    return accounts;
}

// True when the accounted entries pack into the engine's parcel, sequence number aside.
bool matchesParcel(HuevaneImplementation& engine, std::vector<HuevaneExplainEntry>* entries,
                   const std::vector<uint8_t>& parcel) {
    HuevaneDataLutList list;
    size_t size = PVX_PARCEL_HEADER_SIZE;
    for (const HuevaneExplainEntry& entry : *entries) {
        list.push_back(entry.lut);
        size += entry.lut.second.size() + PVX_DATA_HEADER_SIZE + 1;
    }
    std::vector<uint8_t> mine(size + PVX_MIN_COEF_SIZE, 0);
    if (engine.packDataLutsIntoParcel(list, mine.data()) != 0) return false;
    pvx_colormode_parcel_header header;
    memcpy(&header, parcel.data(), sizeof(header));
    if (header.total_size != size || memcmp(mine.data() + 2, parcel.data() + 2, size - 2) != 0) {
        return false;
    }
    size_t offset = PVX_PARCEL_HEADER_SIZE;
    for (HuevaneExplainEntry& entry : *entries) {
        entry.offset = offset;
        offset += entry.lut.first.total_size;
    }
    return true;
}

std::string sourceName(const HuevaneLutOrigin& origin) {
    switch (origin.sourceKind) {
        case huevane::SOURCE_KIND_COLOR_MODE:
            return "colour mode";
        case huevane::SOURCE_KIND_TRANSFORM:
            return "colour transform";
        default:
            return "extension";
    }
}

std::string originText(const HuevaneLutOrigin& origin) {
    std::string text = sourceName(origin);
    if (origin.sourceKind == huevane::SOURCE_KIND_COLOR_MODE && !origin.place.file.empty()) {
        text += " " + origin.place.file + ":" + std::to_string(origin.place.line);
    }
    if (origin.sourceKind == huevane::SOURCE_KIND_EXTENSION) {
        text += " entry " + std::to_string(origin.extensionEntry);
    }
    return text;
}

std::string attrText(const pvx_colormode_data_header& h) {
    char text[32];
    snprintf(text, sizeof(text), "%d,%d,%d,%d", h.attr0, h.attr1, h.attr2, h.attr3);
    return text;
}

void writeText(const HuevaneExplanation& explanation, std::ostream& out) {
    out << "parcel      " << explanation.parcelSize << " bytes, " << explanation.entries.size()
        << " LUTs: the engine's parcel, accounted for entry by entry\n";
    for (size_t k = 0; k < explanation.entries.size(); k++) {
        const HuevaneExplainEntry& entry = explanation.entries[k];
        const pvx_colormode_data_header& h = entry.lut.first;
        out << "LUT " << k << "       " << huevane::getNodeLabel(h.id) << " (node " << int(h.id)
            << ") attr " << attrText(h) << " at offset " << entry.offset << ", " << h.total_size
            << " bytes\n";
        if (!entry.combined) {
            out << "  from      " << originText(entry.origin) << "\n";
            continue;
        }
        const size_t n = entry.factors.size();
        out << "  from      " << huevane::getNodeLabel(h.id) << " stage: the product of " << n
            << " stored matri" << (n == 1 ? "x" : "ces") << ", left to right\n";
        for (size_t f = 0; f < entry.factors.size(); f++) {
            out << "  factor " << f + 1 << "  " << originText(entry.factors[f].origin) << "\n";
            writeMatrixRows(entry.factors[f].matrix, "            ", out);
        }
        out << "  product\n";
        writeMatrixRows(entry.product, "            ", out);
    }
}

HuevaneJson originJson(const HuevaneLutOrigin& origin) {
    static const char* const SOURCES[] = {"colour_mode", "colour_transform", "extension"};
    HuevaneJson json = {{"source", SOURCES[origin.sourceKind]}};
    if (origin.sourceKind == huevane::SOURCE_KIND_COLOR_MODE) {
        json["file"] = origin.place.file;
        json["line"] = origin.place.line;
    }
    if (origin.sourceKind == huevane::SOURCE_KIND_EXTENSION)
        json["extension_entry"] = origin.extensionEntry;
    return json;
}

HuevaneJson matrixJson(const huevane::mat4& m) {
    std::vector<int32_t> fixed;
    for (float value : m) fixed.push_back(huevane::getFixedPointFromFloat(value));
    return {{"values", m}, {"fixed", fixed}};
}

void writeJsonDocument(const HuevaneExplanation& explanation, std::ostream& out) {
    HuevaneJson entries = HuevaneJson::array();
    for (const HuevaneExplainEntry& entry : explanation.entries) {
        const pvx_colormode_data_header& h = entry.lut.first;
        HuevaneJson item = {{"offset", entry.offset},
                            {"id", h.id},
                            {"node", huevane::getNodeLabel(h.id)},
                            {"attr", {h.attr0, h.attr1, h.attr2, h.attr3}},
                            {"total_size", h.total_size},
                            {"crc", h.crc},
                            {"from", originJson(entry.origin)},
                            {"combined", entry.combined}};
        if (entry.combined) {
            HuevaneJson factors = HuevaneJson::array();
            for (const HuevaneExplainFactor& factor : entry.factors) {
                HuevaneJson f = matrixJson(factor.matrix);
                f["from"] = originJson(factor.origin);
                factors.push_back(f);
            }
            item["factors"] = factors;
            item["product"] = matrixJson(entry.product);
        }
        entries.push_back(item);
    }
    writeJson(out, {{"parcel_size", explanation.parcelSize}, {"entries", entries}});
}

}  // namespace

bool explainStagedRequest(IHuevane& engine, const HuevaneCalibrationModel& model,
                          const HuevaneToolRequest& request, HuevaneExplanation* explanation,
                          HuevaneDiagnostics& diagnostics) {
    // The tool links the library's internals; every engine it creates is this class.
    HuevaneImplementation& implementation = static_cast<HuevaneImplementation&>(engine);
    std::vector<uint8_t> parcel(static_cast<size_t>(engine.getColorCoefSize()), 0);
    if (engine.updateColorCoef(parcel.data()) != 0) {
        diagnostics.error("the engine could not build the parcel (--log-level 1 says why)");
        return false;
    }
    explanation->entries = assemble(model, request);
    if (!matchesParcel(implementation, &explanation->entries, parcel)) {
        diagnostics.error("the account of the entries does not give the engine's parcel");
        return false;
    }
    pvx_colormode_parcel_header header;
    memcpy(&header, parcel.data(), sizeof(header));
    explanation->parcelSize = header.total_size;
    return true;
}

void writeExplanation(const HuevaneExplanation& explanation, bool json, std::ostream& out) {
    json ? writeJsonDocument(explanation, out) : writeText(explanation, out);
}

void writeMatrixRows(const huevane::mat4& matrix, const std::string& indent, std::ostream& out) {
    for (int r = 0; r < 4; r++) {
        char line[160];
        int n = 0;
        for (int c = 0; c < 4; c++) {
            n += snprintf(line + n, sizeof(line) - n, "%11.6f", matrix[4 * c + r]);
        }
        n += snprintf(line + n, sizeof(line) - n, "   |");
        for (int c = 0; c < 4; c++) {
            n += snprintf(line + n, sizeof(line) - n, "%11d",
                          huevane::getFixedPointFromFloat(matrix[4 * c + r]));
        }
        out << indent << line << "\n";
    }
}

namespace {

int runExplain(HuevaneToolContext& context, const HuevaneToolRequestOptions& options) {
    HuevaneToolRequest request;
    if (!getToolRequest(context, options, &request)) return TOOL_USAGE;
    HuevaneToolDevice device(context);
    if (!device.open()) return TOOL_FAILED;
    IHuevane& engine = device.getEngine();
    if (stageToolRequest(engine, request, context.diagnostics) != TOOL_OK) return TOOL_FAILED;
    HuevaneCalibrationModel model =
            loadDeviceCalibration(context.common.root, context.common.display);
    // The engine's opening has reported the calibration's warnings already.
    if (!model.errors.empty()) {
        reportModelProblems(model, context.diagnostics);
        return TOOL_FAILED;
    }
    HuevaneExplanation explanation;
    if (!explainStagedRequest(engine, model, request, &explanation, context.diagnostics)) {
        return TOOL_FAILED;
    }
    writeExplanation(explanation, context.common.json, context.out);
    return TOOL_OK;
}

}  // namespace

HuevaneToolRun setupExplainCommand(CLI::App& command) {
    command.description(
            "Builds the parcel of one request, as parcel does, and tells for every entry the\n"
            "source that produced it: the colour mode (document and line), the colour transform,\n"
            "or an extension (its index in the --extension/--attributes list). For gamma_matrix\n"
            "and linear_matrix it lists the matrices the stage multiplied, left to right, and\n"
            "their product.");
    auto options = std::make_shared<HuevaneToolRequestOptions>();
    addRequestOptions(command, options.get(), true);
    return [options](HuevaneToolContext& context) { return runExplain(context, *options); };
}
