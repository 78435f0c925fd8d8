// `decode`: reads a parcel back from a file and checks it: headers, node names, sizes, CRCs, and
// matrix texts as 4x4 matrices.
#include <CLI/CLI.hpp>
#include <memory>

#include "HuevaneParcel.h"
#include "HuevaneParcelDecoder.h"
#include "HuevaneToolCommand.h"
#include "HuevaneToolFile.h"

namespace {

struct DecodeOptions {
    std::string file;
    bool full = false;
};

int runDecode(HuevaneToolContext& context, const DecodeOptions& options) {
    // A dump of a whole coefficient buffer may run past the parcel, but never past what a
    // parcel can describe.
    HuevaneToolFileRead file = readToolFile(options.file, PVX_PARCEL_MAX_SIZE);
    if (!file.ok) {
        context.diagnostics.error(options.file, 0, "cannot read: " + file.error);
        return TOOL_FAILED;
    }
    if (file.truncated) {
        context.diagnostics.warning(options.file, 0,
                                    "longer than the " + std::to_string(PVX_PARCEL_MAX_SIZE) +
                                            " bytes a parcel can hold; the rest is not read");
    }
    return writeDecodedParcel(context, reinterpret_cast<const uint8_t*>(file.bytes.data()),
                              file.bytes.size(), options.full);
}

}  // namespace

int writeDecodedParcel(HuevaneToolContext& context, const uint8_t* bytes, size_t size,
                       bool fullText) {
    HuevaneDecodeOptions decode;
    decode.json = context.common.json;
    decode.fullText = fullText;
    std::string out;
    const int result = decodeParcel(bytes, size, decode, &out);
    context.out << out;
    return result == 0 ? TOOL_OK : TOOL_FAILED;
}

HuevaneToolRun setupDecodeCommand(CLI::App& command) {
    command.description(
            "Decodes a coefficient parcel ('-' reads standard input): the parcel header, every\n"
            "entry's header, node name, size and CRC checked against its text, and matrix texts\n"
            "as 4x4 matrices next to their fixed-point numbers. Exit status 1 when anything in\n"
            "the parcel is inconsistent. FIFOs and devices are refused; at most 65535 bytes are\n"
            "read.");
    auto options = std::make_shared<DecodeOptions>();
    command.add_option("FILE", options->file, "the parcel ('-' standard input)")->required();
    command.add_flag("--full", options->full, "print every LUT text whole");
    return [options](HuevaneToolContext& context) { return runDecode(context, *options); };
}
