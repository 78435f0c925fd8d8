// `parcel`: drives one engine through the real IHuevane calls and builds one parcel; prints it
// decoded, or writes its raw bytes with -o.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>

#include "HuevaneParcel.h"
#include "HuevaneToolCommand.h"
#include "HuevaneToolDevice.h"
#include "HuevaneToolFile.h"
#include "HuevaneToolRequest.h"

namespace {

struct ParcelOptions {
    HuevaneToolRequestOptions request;
    bool full = false;
};

int writeRaw(HuevaneToolContext& context, const std::vector<uint8_t>& buffer, size_t size) {
    const std::string& output = context.common.output;
    if (output == "-") {
        context.out.write(reinterpret_cast<const char*>(buffer.data()), size);
        return context.out ? TOOL_OK : TOOL_FAILED;
    }
    std::string error;
    if (!writeToolFile(output, std::string(reinterpret_cast<const char*>(buffer.data()), size),
                       &error)) {
        context.diagnostics.error(output, 0, "cannot write: " + error);
        return TOOL_FAILED;
    }
    if (!context.common.json) context.out << "wrote " << size << " bytes to " << output << "\n";
    return TOOL_OK;
}

void writeRequest(HuevaneToolContext& context, const HuevaneToolRequest& request,
                  int32_t bufferSize) {
    const size_t luts = request.getExtensionLutCount();
    context.out << "request     display " << context.common.display << ", mode " << request.mode
                << ", intent " << request.intent << (request.hasIntent ? "" : " (setColorMode)")
                << ", " << (request.hasTransform ? "colour transform" : "no colour transform")
                << ", " << luts << " extension LUT" << (luts == 1 ? "" : "s") << "\n";
    context.out << "buffer      " << bufferSize << " bytes (getColorCoefSize)\n";
}

int runParcel(HuevaneToolContext& context, const ParcelOptions& options) {
    if (context.common.output == "-" && context.common.json) {
        context.diagnostics.error("-o - and --json both want standard output; give -o a file");
        return TOOL_USAGE;
    }
    HuevaneToolRequest request;
    if (!getToolRequest(context, options.request, &request)) return TOOL_USAGE;
    HuevaneToolDevice device(context);
    if (!device.open()) return TOOL_FAILED;
    if (stageToolRequest(device.getEngine(), request, context.diagnostics) != TOOL_OK) {
        return TOOL_FAILED;
    }
    // updateColorCoef, with the engine's account of why it refused, if it does.
    const huevane::HuevaneInspectedParcel parcel =
            device.getInspection().update(getExtensionEntries(request));
    if (!parcel.built) {
        reportRefusedParcel(parcel, context.diagnostics);
        return TOOL_FAILED;
    }
    if (!context.common.output.empty()) {
        const int written = writeRaw(context, parcel.bytes, parcel.bytes.size());
        if (written != TOOL_OK || !context.common.json) return written;
    }
    if (!context.common.json) writeRequest(context, request, parcel.bufferSize);
    return writeDecodedParcel(context, parcel.bytes.data(), parcel.bytes.size(), options.full);
}

}  // namespace

HuevaneToolRun setupParcelCommand(CLI::App& command) {
    command.description(
            "Drives one engine through IHuevane: setColorMode (or setColorModeWithRenderIntent\n"
            "when --intent is given), setColorTransform, setColorExtension, getColorCoefSize and\n"
            "updateColorCoef; then prints the parcel decoded, or writes its raw bytes to -o FILE\n"
            "('-' standard output). Exit status 1 when the mode or intent is not offered.");
    auto options = std::make_shared<ParcelOptions>();
    addRequestOptions(command, &options->request, true);
    command.add_flag("--full", options->full, "print every LUT text whole");
    return [options](HuevaneToolContext& context) { return runParcel(context, *options); };
}
