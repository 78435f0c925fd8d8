#include "HuevaneToolRequest.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cmath>
#include <cstdlib>

#include "HuevaneDataLut.h"
#include "HuevaneInspection.h"
#include "HuevaneMatrixText.h"
#include "HuevaneNodeTable.h"
#include "HuevaneParcel.h"
#include "HuevaneToolFile.h"

namespace {

const char* const IDENTITY = "1,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,0,1";

std::vector<std::string> splitList(const std::string& text) {
    std::vector<std::string> pieces;
    std::string piece;
    for (char c : text) {
        if (c == ',' || c == ' ' || c == '\t' || c == '\n') {
            if (!piece.empty()) pieces.push_back(piece);
            piece.clear();
        } else {
            piece += c;
        }
    }
    if (!piece.empty()) pieces.push_back(piece);
    return pieces;
}

bool parseFloat(const std::string& text, float* value) {
    errno = 0;
    char* end = nullptr;
    *value = strtof(text.c_str(), &end);
    // ERANGE on overflow still yields an infinity, which is reported below as such.
    return !text.empty() && *end == '\0';
}

// Column-major: element i sits in row i % 4, column i / 4.
std::string getElementName(size_t i) {
    return "--transform element " + std::to_string(i) + " (row " + std::to_string(i % 4) +
           ", column " + std::to_string(i / 4) + ")";
}

bool readTransform(HuevaneToolContext& context, const std::vector<std::string>& arguments,
                   HuevaneToolRequest* request) {
    std::vector<std::string> values;
    for (const std::string& argument : arguments) {
        for (const std::string& piece : splitList(argument == "identity" ? IDENTITY : argument)) {
            values.push_back(piece);
        }
    }
    if (values.size() != 16) {
        context.diagnostics.error("--transform needs 16 numbers or 'identity', got " +
                                  std::to_string(values.size()));
        return false;
    }
    for (size_t i = 0; i < 16; i++) {
        float& value = request->transform[i];
        if (!parseFloat(values[i], &value)) {
            context.diagnostics.error(getElementName(i) + ": '" + values[i] + "' is not a number");
            return false;
        }
        if (!huevane::isFixedPointInRange(value)) {
            context.diagnostics.warning(
                    getElementName(i) + " is " + values[i] +
                    (std::isnan(value)
                             ? ": the library writes it as 0"
                             : ": beyond the fixed-point range, the library saturates it"));
        }
    }
    request->hasTransform = true;
    return true;
}

bool readNodeId(const std::string& text, uint32_t* id) {
    *id = huevane::getNodeId(text.c_str());
    if (*id != 0) return true;
    char* end = nullptr;
    errno = 0;
    unsigned long number = strtoul(text.c_str(), &end, 10);
    if (text.empty() || text[0] == '-' || *end != '\0' || errno != 0) return false;
    *id = static_cast<uint32_t>(number);
    return huevane::getNodeName(static_cast<int64_t>(number)) != nullptr;
}

bool readExtension(HuevaneToolContext& context, const std::string& argument,
                   HuevaneToolRequest* request) {
    const size_t colon = argument.find(':');
    HuevaneToolExtension extension;
    if (colon == std::string::npos || !readNodeId(argument.substr(0, colon), &extension.id)) {
        context.diagnostics.error(
                "--extension needs ID:TEXT with ID a node id (1-12) or name, not '" + argument +
                "'");
        return false;
    }
    extension.text = argument.substr(colon + 1);
    if (!extension.text.empty() && extension.text[0] == '@') {
        const std::string path = extension.text.substr(1);
        // No text longer than a parcel could carry is worth reading.
        HuevaneToolFileRead file = readToolFile(path, PVX_PARCEL_MAX_SIZE);
        if (!file.ok) {
            context.diagnostics.error(path, 0, "cannot read: " + file.error);
            return false;
        }
        if (file.truncated) {
            context.diagnostics.error(path, 0, "longer than a parcel can carry");
            return false;
        }
        extension.text = file.bytes;
    }
    bool enabled = false;
    huevane::mat4 matrix;
    if (huevane::isMatrixNode(extension.id) &&
        !huevane::getMatrixFromText(extension.text, &enabled, &matrix)) {
        context.diagnostics.warning("--extension " + huevane::getNodeLabel(extension.id) +
                                    ": not a matrix text (a flag and 16 fixed-point numbers); "
                                    "it is sent as it is instead of being combined");
    }
    request->extensions.push_back(std::move(extension));
    return true;
}

// Says what the library sends for an attribute value that is not a plain byte: a word, a
// number outside 0..255, a fifth value.
void checkAttributes(HuevaneToolContext& context, const std::string& text) {
    const auto values = huevane::HuevaneInspection::getAttributeValues(text);
    for (size_t i = 0; i < values.size(); i++) {
        const std::string quoted = "--attributes value '" + values[i].first + "'";
        const std::string sent = std::to_string(values[i].second & 0xFF);
        const std::string& value = values[i].first;
        const bool plain = !value.empty() &&
                           value.find_first_not_of("0123456789") == std::string::npos &&
                           value.size() <= 3 && values[i].second <= 255;
        if (i >= 4) {
            context.diagnostics.warning(quoted +
                                        " is read and ignored: only four attributes "
                                        "reach a header");
        } else if (!plain) {
            context.diagnostics.warning(quoted + " is not a number from 0 to 255: the library " +
                                        "sends attribute byte " + sent);
        }
    }
}

// Attribute entries apply to the extension LUTs after them, so the two options are read in the
// order they stand on the command line.
bool readExtensions(HuevaneToolContext& context, const HuevaneToolRequestOptions& options,
                    HuevaneToolRequest* request) {
    size_t nextExtension = 0;
    size_t nextAttributes = 0;
    for (const CLI::Option* option : context.command.parse_order()) {
        if (option == options.extensionOption && nextExtension < options.extensions.size()) {
            if (!readExtension(context, options.extensions[nextExtension++], request)) return false;
        } else if (option == options.attributesOption &&
                   nextAttributes < options.attributes.size()) {
            const std::string& text = options.attributes[nextAttributes++];
            checkAttributes(context, text);
            request->extensions.push_back({0, text});
        }
    }
    return true;
}

}  // namespace

void addRequestOptions(CLI::App& command, HuevaneToolRequestOptions* options, bool modeRequired) {
    options->modeOption = command.add_option("--mode", options->mode, "colour mode id")
                                  ->type_name("M")
                                  ->required(modeRequired);
    options->intentOption =
            command.add_option("--intent", options->intent,
                               "render intent id (without it: setColorMode, intent 0)")
                    ->type_name("I");
    command.add_option("--transform", options->transform,
                       "colour transform: 'identity', or 16 column-major numbers, as one list "
                       "(\"1,0,0,0, 0,1,0,0, ...\") or 16 arguments")
            ->type_name("VALUES")
            ->expected(1, 16)
            ->allow_extra_args();
    options->extensionOption =
            command.add_option("--extension", options->extensions,
                               "extension LUT: node id (1-12) or name, ':' and the text; "
                               "TEXT '@FILE' reads it from FILE")
                    ->type_name("ID:TEXT")
                    ->allow_extra_args(false);
    options->attributesOption =
            command.add_option("--attributes", options->attributes,
                               "attribute entry: sets attr0..attr3 of the extension LUTs after it")
                    ->type_name("\"A B C D\"")
                    ->allow_extra_args(false);
}

size_t HuevaneToolRequest::getExtensionLutCount() const {
    size_t count = 0;
    for (const HuevaneToolExtension& extension : extensions) count += extension.id != 0;
    return count;
}

bool getToolRequest(HuevaneToolContext& context, const HuevaneToolRequestOptions& options,
                    HuevaneToolRequest* request) {
    request->mode = options.mode;
    request->hasIntent = options.intentOption->count() > 0;
    request->intent = request->hasIntent ? options.intent : 0;
    if (!options.transform.empty() && !readTransform(context, options.transform, request)) {
        return false;
    }
    return readExtensions(context, options, request);
}

int stageToolRequest(IHuevane& engine, const HuevaneToolRequest& request,
                     HuevaneDiagnostics& diagnostics) {
    std::string offered;
    bool modeOffered = false;
    for (const HuevaneMode& mode : engine.getColorModes()) {
        modeOffered |= mode.modeId == request.mode;
        offered += (offered.empty() ? "" : ", ") + std::to_string(mode.modeId);
    }
    if (!modeOffered) {
        diagnostics.error("mode " + std::to_string(request.mode) +
                          " is not offered; offered modes: " + (offered.empty() ? "none" : offered));
        return TOOL_FAILED;
    }
    offered.clear();
    bool intentOffered = false;
    for (const DisplayRenderIntent& intent : engine.getRenderIntents(request.mode)) {
        intentOffered |= intent.intentId == request.intent;
        offered += (offered.empty() ? "" : ", ") + std::to_string(intent.intentId);
    }
    if (!intentOffered) {
        diagnostics.error("mode " + std::to_string(request.mode) + " lists no intent " +
                          std::to_string(request.intent) + "; its intents: " + offered);
        return TOOL_FAILED;
    }
    const int32_t staged =
            request.hasIntent ? engine.setColorModeWithRenderIntent(request.mode, request.intent)
                              : engine.setColorMode(request.mode);
    if (staged != 0) {
        diagnostics.error("the engine refused mode " + std::to_string(request.mode));
        return TOOL_FAILED;
    }
    if (request.hasTransform && engine.setColorTransform(request.transform, 0) != 0) {
        diagnostics.error("the engine refused the colour transform");
        return TOOL_FAILED;
    }
    if (!request.extensions.empty()) {
        std::vector<HuevaneExtension> entries = getExtensionEntries(request);
        engine.setColorExtension(entries);
    }
    return TOOL_OK;
}

std::vector<HuevaneExtension> getExtensionEntries(const HuevaneToolRequest& request) {
    std::vector<HuevaneExtension> entries;
    for (const HuevaneToolExtension& extension : request.extensions) {
        HuevaneExtension entry;
        entry.id = extension.id;
        entry.data = extension.text.c_str();
        entry.size = static_cast<uint32_t>(extension.text.size());
        entries.push_back(entry);
    }
    return entries;
}

void reportRefusedParcel(const huevane::HuevaneInspectedParcel& parcel,
                         HuevaneDiagnostics& diagnostics) {
    if (parcel.neededSize > parcel.limit) {
        diagnostics.error("the parcel needs " + std::to_string(parcel.neededSize) +
                          " bytes, more than the " + std::to_string(parcel.limit) +
                          " bytes a parcel may take (a buffer of getColorCoefSize() " +
                          std::to_string(parcel.bufferSize) +
                          ", at most 65535): updateColorCoef refuses it");
    } else {
        diagnostics.error(
                "updateColorCoef refuses the parcel: a LUT text of 65523 bytes or more "
                "has a total_size that does not fit 16 bits");
    }
}
