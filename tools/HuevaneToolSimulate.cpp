// `simulate`: what the panel is predicted to show for input colours under one request (mode,
// intent, colour transform, extension LUTs): the values after each modelled node, then the
// colour as XYZ, xy and L*a*b*.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "HuevaneColourAccuracy.h"
#include "HuevaneNodeTable.h"
#include "HuevaneToolCommand.h"
#include "HuevaneToolDevice.h"
#include "HuevaneToolJson.h"
#include "HuevaneToolRequest.h"

namespace {

struct SimulateOptions {
    std::string panel;
    HuevaneToolRequestOptions request;
    std::vector<std::string> colours;
};

struct Simulated {
    HuevaneRgb input;
    std::vector<HuevaneRgb> afterEach;
    HuevaneRgb drive;
    HuevaneXyz xyz;  // as the panel shows it, its white at Y = 1
    HuevaneXy xy;
    HuevaneLab lab;  // in the connection space (D50)
};

bool readColour(const std::string& text, HuevaneRgb* rgb) {
    size_t begin = 0;
    for (int c = 0; c < 3; c++) {
        const size_t end = c < 2 ? text.find(',', begin) : text.size();
        if (end == std::string::npos || end == begin) return false;
        const std::string field = text.substr(begin, end - begin);
        char* stop = nullptr;
        (*rgb)[c] = strtod(field.c_str(), &stop);
        if (*stop != '\0' || !((*rgb)[c] >= 0 && (*rgb)[c] <= 1)) return false;
        begin = end + 1;
    }
    return true;
}

std::string triple(const std::array<double, 3>& v, const char* format = "%9.5f") {
    std::string text;
    for (double value : v) {
        char field[32];
        snprintf(field, sizeof(field), format, value);
        text += field;
    }
    return text;
}

void writeText(const HuevanePanel& panel, const HuevanePipeline& pipeline,
               const std::vector<Simulated>& colours, std::ostream& out) {
    for (size_t k = 0; k < colours.size(); k++) {
        const Simulated& s = colours[k];
        out << "colour " << k + 1 << "    input          " << triple(s.input) << "\n";
        for (size_t n = 0; n < pipeline.stages.size(); n++) {
            const HuevaneStage& stage = pipeline.stages[n];
            char label[32];
            snprintf(label, sizeof(label), "  %-13s  ", huevane::getNodeLabel(stage.node).c_str());
            out << "           " << label
                << (stage.sent ? triple(s.afterEach[n]) : "  (not sent: passes unchanged)") << "\n";
        }
        out << "             drive          " << triple(s.drive) << "\n"
            << "             XYZ            " << triple({s.xyz.X, s.xyz.Y, s.xyz.Z})
            << "   (panel white Y = 1)\n"
            << "             xy             " << triple({s.xy.x, s.xy.y, 0}).substr(0, 18) << "\n"
            << "             L*a*b*         " << triple({s.lab.L, s.lab.a, s.lab.b}, "%9.3f")
            << "   (D50, the panel's white adapted to it)\n";
    }
    (void)panel;
}

void writeJsonDocument(const HuevanePanel& panel, const HuevanePipeline& pipeline,
                       const std::vector<Simulated>& colours, std::ostream& out) {
    HuevaneJson items = HuevaneJson::array();
    for (const Simulated& s : colours) {
        HuevaneJson stages = HuevaneJson::array();
        for (size_t n = 0; n < pipeline.stages.size(); n++) {
            const HuevaneStage& stage = pipeline.stages[n];
            stages.push_back({{"node", huevane::getNodeLabel(stage.node)},
                              {"sent", stage.sent},
                              {"values", s.afterEach[n]}});
        }
        items.push_back({{"input", s.input},
                         {"stages", stages},
                         {"drive", s.drive},
                         {"xyz", {s.xyz.X, s.xyz.Y, s.xyz.Z}},
                         {"xy", {s.xy.x, s.xy.y}},
                         {"lab", {s.lab.L, s.lab.a, s.lab.b}}});
    }
    writeJson(out, {{"panel", panel.path}, {"colours", items}});
}

int runSimulate(HuevaneToolContext& context, const SimulateOptions& options) {
    std::vector<HuevaneRgb> inputs;
    for (const std::string& text : options.colours) {
        HuevaneRgb rgb;
        if (!readColour(text, &rgb)) {
            context.diagnostics.error("colour '" + text + "': give R,G,B, each from 0 to 1");
            return TOOL_USAGE;
        }
        inputs.push_back(rgb);
    }
    HuevaneToolRequest request;
    if (!getToolRequest(context, options.request, &request)) return TOOL_USAGE;
    HuevanePanel panel;
    if (!readPanel(options.panel, true, &panel, context.diagnostics)) return TOOL_FAILED;
    HuevaneToolDevice device(context);
    if (!device.open()) return TOOL_FAILED;
    if (stageToolRequest(device.getEngine(), request, context.diagnostics) != TOOL_OK) {
        return TOOL_FAILED;
    }
    huevane::HuevaneInspection& inspection = device.getInspection();
    const huevane::HuevaneInspectedParcel parcel = inspection.update(getExtensionEntries(request));
    if (!parcel.built) {
        context.diagnostics.error("the engine could not build the parcel (--log-level 1 says why)");
        return TOOL_FAILED;
    }
    HuevanePipeline pipeline;
    std::vector<HuevaneFinding> problems;
    const bool modelled =
            buildPipeline(panel, getSentLuts(inspection, parcel), &pipeline, &problems);
    for (const HuevaneFinding& problem : problems) context.diagnostics.report(problem);
    if (!modelled) return TOOL_FAILED;
    std::vector<Simulated> colours;
    for (const HuevaneRgb& input : inputs) {
        Simulated s;
        s.input = input;
        s.drive = pipeline.run(input, &s.afterEach);
        const HuevaneXyz pcs = panel.response->toPcs(s.drive);
        s.xyz = panel.response->toNative(pcs);
        s.xy = getChromaticity(s.xyz);
        s.lab = getLab(pcs);
        colours.push_back(s);
    }
    context.common.json ? writeJsonDocument(panel, pipeline, colours, context.out)
                        : writeText(panel, pipeline, colours, context.out);
    return TOOL_OK;
}

}  // namespace

HuevaneToolRun setupSimulateCommand(CLI::App& command) {
    command.description(
            "Builds the parcel of one request, as parcel does, and predicts what the panel shows\n"
            "for each input colour (R,G,B, each 0 to 1, as the compositor sends it): the values\n"
            "after each node of the panel description's order, the panel's drive, and the colour\n"
            "as XYZ, xy and L*a*b*. Put the colours before the options, or after '--'.");
    auto options = std::make_shared<SimulateOptions>();
    command.add_option("--panel", options->panel, "panel description (JSON)")
            ->type_name("FILE")
            ->required();
    addRequestOptions(command, &options->request, true);
    command.add_option("COLOURS", options->colours, "input colours, R,G,B each 0 to 1")
            ->type_name("R,G,B")
            ->required();
    return [options](HuevaneToolContext& context) { return runSimulate(context, *options); };
}
