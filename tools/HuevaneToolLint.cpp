// `lint`: checks calibration documents for what the library would skip silently or refuse at
// run time; a gate for calibration CI.
#include <CLI/CLI.hpp>

#include <memory>

#include "HuevaneCalibrationLint.h"
#include "HuevaneToolCommand.h"

namespace {

struct LintOptions {
    std::vector<std::string> files;
};

int runLint(HuevaneToolContext& context, const LintOptions& options) {
    size_t problems = 0;
    for (const std::string& file : options.files) {
        std::string out;
        problems += lintCalibrationFile(file, &out);
        context.out << out;
    }
    return problems == 0 ? TOOL_OK : TOOL_FAILED;
}

}  // namespace

HuevaneToolRun setupLintCommand(CLI::App& command) {
    command.description(
            "Checks calibration documents for what the library would skip silently or refuse at\n"
            "run time. Sub documents named by subxml are looked for beside FILE.");
    auto options = std::make_shared<LintOptions>();
    command.add_option("FILE", options->files, "calibration documents")->required();
    return [options](HuevaneToolContext& context) { return runLint(context, *options); };
}
