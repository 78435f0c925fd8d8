// `modes`: the colour modes and, under each, its render intents, as getColorModes() and
// getRenderIntents() return them, with the calibration documents the library opened.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "HuevaneToolCommand.h"
#include "HuevaneToolDevice.h"
#include "HuevaneToolJson.h"
#include "HuevaneToolModel.h"

namespace {

using Target = huevane::HuevaneTargetNameRecord;

void writeModesText(HuevaneToolContext& context, HuevaneToolDevice& device) {
    std::ostream& out = context.out;
    out << "display " << context.common.display << "\n";
    out << "  target name   " << getTargetNameText(device.getInspection().getAccount().targetName)
        << "\n";
    const std::vector<std::string>& documents = device.getDocuments();
    for (size_t i = 0; i < documents.size(); i++) {
        char label[16];
        snprintf(label, sizeof(label), "%-13s", i == 0 ? "calibration" : "sub document");
        out << "  " << label << " " << documents[i] << "\n";
    }
    std::vector<HuevaneMode> modes = device.getEngine().getColorModes();
    out << "  " << modes.size() << " colour mode" << (modes.size() == 1 ? "" : "s") << "\n\n";
    for (const HuevaneMode& mode : modes) {
        out << "mode " << mode.modeId << "  " << mode.modeName << "  (gamut " << mode.gamutId
            << ")\n";
        for (const DisplayRenderIntent& intent : device.getEngine().getRenderIntents(mode.modeId)) {
            out << "    intent " << intent.intentId << "  " << intent.intentName << "\n";
        }
    }
}

void writeModesJson(HuevaneToolContext& context, HuevaneToolDevice& device) {
    HuevaneJson document;
    const Target& target = device.getInspection().getAccount().targetName;
    document["display"] = context.common.display;
    document["target_name"] = {
            {"node", target.node},
            {"name", target.outcome == Target::READ ? HuevaneJson(target.name) : HuevaneJson()}};
    document["documents"] = device.getDocuments();
    document["modes"] = HuevaneJson::array();
    for (const HuevaneMode& mode : device.getEngine().getColorModes()) {
        HuevaneJson entry;
        entry["mode_id"] = mode.modeId;
        entry["mode_name"] = mode.modeName;
        entry["gamut_id"] = mode.gamutId;
        entry["intents"] = HuevaneJson::array();
        for (const DisplayRenderIntent& intent : device.getEngine().getRenderIntents(mode.modeId)) {
            entry["intents"].push_back(
                    {{"intent_id", intent.intentId}, {"intent_name", intent.intentName}});
        }
        document["modes"].push_back(entry);
    }
    writeJson(context.out, document);
}

int runModes(HuevaneToolContext& context) {
    HuevaneToolDevice device(context);
    if (!device.open()) return TOOL_FAILED;
    if (context.common.json) {
        writeModesJson(context, device);
    } else {
        writeModesText(context, device);
    }
    return TOOL_OK;
}

}  // namespace

HuevaneToolRun setupModesCommand(CLI::App& command) {
    command.description(
            "Lists the colour modes of the display and, under each, its render intents, exactly\n"
            "as the compositor receives them from getColorModes() and getRenderIntents(), and the\n"
            "calibration documents the library opened. Exit status 1 when no calibration\n"
            "document of the display can be read, or one is malformed.");
    return runModes;
}
