// `profile`: the ICC display profile of a panel whose description gives its response as
// primaries, white point and transfer curve, made with lcms2. The same description always gives
// the same bytes, so a committed profile can be checked against its description.
#include <CLI/CLI.hpp>
#include <memory>

#include "HuevanePanel.h"
#include "HuevaneToolCommand.h"

namespace {

int runProfile(HuevaneToolContext& context, const std::string& path) {
    if (context.common.output.empty() || context.common.json) {
        context.diagnostics.error("profile writes an ICC profile: give -o FILE.icc (not --json)");
        return TOOL_USAGE;
    }
    HuevanePanel panel;
    if (!readPanel(path, false, &panel, context.diagnostics)) return TOOL_FAILED;
    if (!panel.responseFromPrimaries) {
        context.diagnostics.error(path, 0,
                                  "response: is a profile already; profile makes one from "
                                  "\"primaries\", \"white\" and \"transfer\"");
        return TOOL_FAILED;
    }
    const std::vector<uint8_t> bytes = panel.response->getProfileBytes();
    if (bytes.empty()) {
        context.diagnostics.error(path, 0, "lcms2 could not write the profile");
        return TOOL_FAILED;
    }
    context.out.write(reinterpret_cast<const char*>(bytes.data()),
                      static_cast<std::streamsize>(bytes.size()));
    return TOOL_OK;
}

}  // namespace

HuevaneToolRun setupProfileCommand(CLI::App& command) {
    command.description(
            "Writes (-o FILE.icc) the ICC display profile (v4, matrix/TRC) of a panel described\n"
            "by its primaries, white point and transfer curve, made with lcms2; the same\n"
            "description always gives the same bytes.");
    auto path = std::make_shared<std::string>();
    command.add_option("--panel", *path, "panel description (JSON)")->type_name("FILE")->required();
    return [path](HuevaneToolContext& context) { return runProfile(context, *path); };
}
