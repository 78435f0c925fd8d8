#include "HuevaneToolExplain.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <vector>

#include "HuevaneNodeTable.h"
#include "HuevaneToolDevice.h"
#include "HuevaneToolJson.h"
#include "HuevaneToolModel.h"
#include "HuevaneToolRequest.h"

namespace {

using huevane::HuevaneLutOrigin;
using huevane::HuevaneParcelEntry;

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

std::string originText(const huevane::HuevaneInspection& inspection,
                       const HuevaneLutOrigin& origin) {
    std::string text = sourceName(origin);
    if (origin.earlier) return text + " (stored by an earlier update)";
    if (origin.sourceKind == huevane::SOURCE_KIND_COLOR_MODE && !origin.place.document.empty()) {
        text += " " + inspection.getHostPath(origin.place.document) + ":" +
                std::to_string(origin.place.line);
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

void writeText(const huevane::HuevaneInspection& inspection,
               const huevane::HuevaneInspectedParcel& parcel, std::ostream& out) {
    out << "parcel      " << parcel.bytes.size() << " bytes, " << parcel.entries.size()
        << (parcel.entries.size() == 1 ? " LUT" : " LUTs")
        << ": the engine's parcel, accounted for entry by entry\n";
    for (size_t k = 0; k < parcel.entries.size(); k++) {
        const HuevaneParcelEntry& entry = parcel.entries[k];
        const pvx_colormode_data_header& h = entry.sent.first;
        out << "LUT " << k << "       " << huevane::getNodeLabel(h.id) << " (node " << int(h.id)
            << ") attr " << attrText(h) << " at offset " << entry.offset << ", " << h.total_size
            << " bytes, crc " << getCrcText(h.crc) << "\n";
        const pvx_colormode_data_header& stored = entry.stored.first;
        if (stored.total_size != h.total_size || stored.crc != h.crc) {
            out << "  stored    " << stored.total_size << " bytes, crc " << getCrcText(stored.crc)
                << ": the text as written, before the stage rewrote it\n";
        }
        if (entry.stage == 0) {
            out << "  from      " << originText(inspection, entry.origin) << "\n";
            continue;
        }
        const size_t n = entry.factors.size();
        out << "  from      " << huevane::getNodeLabel(h.id) << " stage: the product of " << n
            << " stored matri" << (n == 1 ? "x" : "ces") << ", left to right\n";
        for (size_t f = 0; f < entry.factors.size(); f++) {
            out << "  factor " << f + 1 << "  " << originText(inspection, entry.factors[f].origin)
                << "\n";
            writeMatrixRows(entry.factors[f].matrix, "            ", out);
        }
        out << "  product\n";
        writeMatrixRows(entry.product, "            ", out);
    }
}

HuevaneJson originJson(const huevane::HuevaneInspection& inspection,
                       const HuevaneLutOrigin& origin) {
    static const char* const SOURCES[] = {"colour_mode", "colour_transform", "extension"};
    HuevaneJson json = {{"source", origin.sourceKind >= 0 && origin.sourceKind < 3
                                           ? SOURCES[origin.sourceKind]
                                           : "unknown"}};
    if (origin.earlier) json["earlier_update"] = true;
    if (origin.sourceKind == huevane::SOURCE_KIND_COLOR_MODE && !origin.earlier) {
        json["file"] =
                origin.place.document.empty() ? "" : inspection.getHostPath(origin.place.document);
        json["line"] = origin.place.line;
    }
    if (origin.sourceKind == huevane::SOURCE_KIND_EXTENSION && !origin.earlier) {
        json["extension_entry"] = origin.extensionEntry;
    }
    return json;
}

HuevaneJson matrixJson(const huevane::mat4& m) {
    std::vector<int32_t> fixed;
    for (float value : m) fixed.push_back(huevane::getFixedPointFromFloat(value));
    return {{"values", m}, {"fixed", fixed}};
}

void writeJsonDocument(const huevane::HuevaneInspection& inspection,
                       const huevane::HuevaneInspectedParcel& parcel, std::ostream& out) {
    HuevaneJson entries = HuevaneJson::array();
    for (const HuevaneParcelEntry& entry : parcel.entries) {
        const pvx_colormode_data_header& h = entry.sent.first;
        HuevaneJson item = {{"offset", entry.offset},
                            {"id", h.id},
                            {"node", huevane::getNodeLabel(h.id)},
                            {"attr", {h.attr0, h.attr1, h.attr2, h.attr3}},
                            {"total_size", h.total_size},
                            {"crc", h.crc},
                            {"from", originJson(inspection, entry.origin)},
                            {"combined", entry.stage != 0}};
        const pvx_colormode_data_header& stored = entry.stored.first;
        if (stored.total_size != h.total_size || stored.crc != h.crc) {
            item["stored"] = {{"total_size", stored.total_size}, {"crc", stored.crc}};
        }
        if (entry.stage != 0) {
            HuevaneJson factors = HuevaneJson::array();
            for (const HuevaneParcelEntry::Factor& factor : entry.factors) {
                HuevaneJson f = matrixJson(factor.matrix);
                f["from"] = originJson(inspection, factor.origin);
                factors.push_back(f);
            }
            item["factors"] = factors;
            item["product"] = matrixJson(entry.product);
        }
        entries.push_back(item);
    }
    writeJson(out, {{"parcel_size", parcel.bytes.size()}, {"entries", entries}});
}

// Where a LUT came from, as a finding's file and line and a name for the rest.
void getPlace(const huevane::HuevaneInspection& inspection, const HuevaneLutOrigin& origin,
              std::string* file, long* line, std::string* name) {
    if (origin.sourceKind == huevane::SOURCE_KIND_COLOR_MODE && !origin.place.document.empty()) {
        *file = inspection.getHostPath(origin.place.document);
        *line = origin.place.line;
    }
    *name = origin.sourceKind == huevane::SOURCE_KIND_COLOR_MODE
                    ? ""
                    : " (" + originText(inspection, origin) + ")";
}

// Matrix LUTs that reach the parcel as written because a stage could not read them, and matrix
// LUTs a stage took without sending anything for them.
void reportLeftOut(const huevane::HuevaneInspection& inspection,
                   const huevane::HuevaneInspectedParcel& parcel, HuevaneDiagnostics& diagnostics) {
    for (const HuevaneParcelEntry& entry : parcel.entries) {
        if (entry.stage != 0 || !huevane::isMatrixNode(entry.sent.first.id)) continue;
        bool enabled = false;
        huevane::mat4 matrix;
        const bool range = huevane::readMatrixText(entry.stored.second, &enabled, &matrix) ==
                           huevane::MATRIX_TEXT_OUT_OF_RANGE;
        std::string file, name;
        long line = 0;
        getPlace(inspection, entry.origin, &file, &line, &name);
        diagnostics.warning(file, line,
                            "<" + huevane::getNodeLabel(entry.sent.first.id) + ">" + name +
                                    (range ? " has a value outside the signed 32-bit fixed-point "
                                             "range"
                                           : " does not read as a matrix text") +
                                    ": it is sent as written and left out of the stage's product");
    }
    for (const HuevaneLutOrigin& origin : parcel.vanished) {
        std::string file, name;
        long line = 0;
        getPlace(inspection, origin, &file, &line, &name);
        diagnostics.note(
                file, line,
                "a disabled matrix" + name +
                        " while no source holds one: the stage takes it and sends nothing");
    }
}

int runExplain(HuevaneToolContext& context, const HuevaneToolRequestOptions& options) {
    HuevaneToolRequest request;
    if (!getToolRequest(context, options, &request)) return TOOL_USAGE;
    HuevaneToolDevice device(context);
    if (!device.open()) return TOOL_FAILED;
    if (stageToolRequest(device.getEngine(), request, context.diagnostics) != TOOL_OK) {
        return TOOL_FAILED;
    }
    const huevane::HuevaneInspectedParcel parcel =
            device.getInspection().update(getExtensionEntries(request));
    if (!parcel.built) {
        reportRefusedParcel(parcel, context.diagnostics);
        return TOOL_FAILED;
    }
    reportLeftOut(device.getInspection(), parcel, context.diagnostics);
    writeExplanation(device.getInspection(), parcel, context.common.json, context.out);
    return TOOL_OK;
}

}  // namespace

void writeExplanation(const huevane::HuevaneInspection& inspection,
                      const huevane::HuevaneInspectedParcel& parcel, bool json, std::ostream& out) {
    json ? writeJsonDocument(inspection, parcel, out) : writeText(inspection, parcel, out);
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
