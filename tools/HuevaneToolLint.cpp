// `lint`: checks calibration documents for what the library would skip silently or refuse at
// run time; a gate for calibration CI. Errors exit 1; warnings too under --strict.
#include <CLI/CLI.hpp>
#include <memory>

#include "HuevaneCalibrationLint.h"
#include "HuevaneToolCommand.h"
#include "HuevaneToolJson.h"
#include "HuevaneToolModel.h"

namespace {

struct LintOptions {
    std::vector<std::string> files;
};

std::string getCountText(size_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void writeLintJson(HuevaneToolContext& context, const LintOptions& options) {
    const HuevaneDiagnostics& diagnostics = context.diagnostics;
    HuevaneJson findings = HuevaneJson::array();
    for (const HuevaneFinding& finding : diagnostics.getFindings()) {
        findings.push_back({{"rule", finding.rule},
                            {"severity", getSeverityName(finding.severity)},
                            {"file", finding.file},
                            {"line", finding.line},
                            {"message", finding.message}});
    }
    HuevaneJson document;
    document["findings"] = findings;
    document["summary"] = {{"files", options.files.size()},
                           {"errors", diagnostics.getErrorCount()},
                           {"warnings", diagnostics.getWarningCount()},
                           {"notes", diagnostics.getNoteCount()},
                           {"strict", diagnostics.isStrict()},
                           {"passed", diagnostics.getErrorCount() == 0}};
    writeJson(context.out, document);
}

int runLint(HuevaneToolContext& context, const LintOptions& options) {
    HuevaneLibraryLogGuard quiet(context.common.logLevel);
    HuevaneDiagnostics& diagnostics = context.diagnostics;
    // With -o FILE the findings go to FILE with the summary, as one report.
    const bool toFile = !context.common.output.empty() && context.common.output != "-";
    diagnostics.setCollecting(context.common.json || toFile);
    for (const std::string& file : options.files) lintCalibrationFile(file, diagnostics);
    if (context.common.json) {
        writeLintJson(context, options);
    } else {
        if (toFile) {
            for (const HuevaneFinding& finding : diagnostics.getFindings()) {
                context.out << HuevaneDiagnostics::format(finding) << "\n";
            }
        }
        context.out << getCountText(diagnostics.getErrorCount(), "error") << ", "
                    << getCountText(diagnostics.getWarningCount(), "warning") << ", "
                    << getCountText(diagnostics.getNoteCount(), "note") << " in "
                    << getCountText(options.files.size(), "file") << "\n";
    }
    return diagnostics.getExitStatus();
}

}  // namespace

HuevaneToolRun setupLintCommand(CLI::App& command) {
    command.description(
            "Checks calibration documents for what the library would skip silently or refuse at\n"
            "run time. Each finding is one line on stderr, FILE:LINE: SEVERITY: MESSAGE [RULE];\n"
            "--json writes the findings and a summary as one document instead. Sub documents\n"
            "named by subxml are looked for beside FILE. Exit status 1 when there is an error\n"
            "(with --strict, a warning too).");
    auto options = std::make_shared<LintOptions>();
    command.add_option("FILE", options->files, "calibration documents")->required();
    return [options](HuevaneToolContext& context) { return runLint(context, *options); };
}
