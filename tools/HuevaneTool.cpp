// The command registry and the parts every command shares: option parsing through CLI11, the
// common options, help, --version, -o, and the exit status.
#include "HuevaneTool.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <memory>
#include <utility>

#include "HuevaneToolCommand.h"

#ifndef HUEVANE_TOOL_VERSION
#define HUEVANE_TOOL_VERSION "unknown"
#endif
#ifndef HUEVANE_TOOL_COMMIT
#define HUEVANE_TOOL_COMMIT "unknown"
#endif

namespace {

// Every command of the tool, in the order help lists them.
const HuevaneToolCommand COMMANDS[] = {
        {"modes", "colour modes and their render intents, as the compositor sees them",
         setupModesCommand},
        {"parcel", "build one coefficient parcel through IHuevane", setupParcelCommand, true},
        {"decode", "decode and check a parcel ('-' reads standard input)", setupDecodeCommand},
        {"lint", "check calibration documents (a CI gate)", setupLintCommand},
        {"diff", "compare two calibrations by meaning, or two parcels entry by entry",
         setupDiffCommand},
        {"explain", "where every entry of a parcel comes from, matrix products included",
         setupExplainCommand},
        {"plot", "the LUTs of one mode and intent as an SVG picture", setupPlotCommand},
        {"report", "one self-contained HTML page for a device's calibration", setupReportCommand},
        {"replay", "rebuild a device's parcels from its log and compare them with the printed ones",
         setupReplayCommand},
};

const char* const DESCRIPTION =
        "Reads a device tree copied to this machine through libhuevane_default itself, so what\n"
        "it shows is what the device gets.";
const char* const FOOTER = "exit status: 0 success, 1 failure or problems found, 2 usage error";
const char* const COMMAND_FOOTER =
        "common options, before or after the command: --root DIR, --display ID, --json,\n"
        "--strict, -o FILE, --log-level N (see 'huevane-tool help')\n"
        "exit status: 0 success, 1 failure or problems found, 2 usage error";

std::string getVersionText() {
    return std::string("huevane-tool ") + HUEVANE_TOOL_VERSION + " (libhuevane_default " +
           HUEVANE_TOOL_VERSION + ", commit " + HUEVANE_TOOL_COMMIT + ")";
}

void addCommonOptions(CLI::App& app, HuevaneToolCommon* common) {
    app.add_option("--root", common->root, "folder that stands for the device's '/' (default '/')")
            ->type_name("DIR");
    app.add_option("--display", common->display, "display id (default 0)")->type_name("ID");
    app.add_flag("--json", common->json, "one JSON document instead of text");
    app.add_flag("--strict", common->strict, "count warnings as errors");
    app.add_option("-o,--output", common->output, "write the output to FILE ('-' standard output)")
            ->type_name("FILE");
    app.add_option("--log-level", common->logLevel,
                   "engine log level; also lets the library's log lines through to stderr")
            ->type_name("N")
            ->check(CLI::Range(0, 100));
}

struct Registered {
    const HuevaneToolCommand* command;
    CLI::App* app;
    HuevaneToolRun run;
};

class HuevaneToolMain {
  public:
    HuevaneToolMain(std::ostream& out, std::ostream& err) : mOut(out), mErr(err) {}
    int run(const std::vector<std::string>& args);

  private:
    void build();
    int usageError(const std::string& message, const CLI::App* command);
    int runHelp();
    int runCommand(const Registered& registered);

    std::ostream& mOut;
    std::ostream& mErr;
    CLI::App mApp{DESCRIPTION, "huevane-tool"};
    HuevaneToolCommon mCommon;
    std::vector<Registered> mCommands;
    CLI::App* mHelp = nullptr;
    std::string mHelpTopic;
};

void HuevaneToolMain::build() {
    mApp.set_version_flag("--version", getVersionText());
    mApp.footer(FOOTER);
    mApp.require_subcommand(0, 1);
    addCommonOptions(mApp, &mCommon);
    for (const HuevaneToolCommand& command : COMMANDS) {
        CLI::App* sub = mApp.add_subcommand(command.name, command.summary);
        sub->fallthrough();  // common options after the command name too
        sub->footer(COMMAND_FOOTER);
        mCommands.push_back({&command, sub, command.setup(*sub)});
    }
    mHelp = mApp.add_subcommand("help", "help for the tool or for one command");
    mHelp->add_option("COMMAND", mHelpTopic, "the command to explain");
}

int HuevaneToolMain::usageError(const std::string& message, const CLI::App* command) {
    // The formatter names only the subcommand; say where it sits.
    const std::string usage =
            command != nullptr ? CLI::Formatter().make_usage(
                                         command, "huevane-tool [OPTIONS] " + command->get_name())
                               : CLI::Formatter().make_usage(&mApp, "huevane-tool");
    mErr << "huevane-tool: error: " << message << "\n" << usage;
    mErr << "run 'huevane-tool help" << (command != nullptr ? " " + command->get_name() : "")
         << "' for more\n";
    return TOOL_USAGE;
}

int HuevaneToolMain::runHelp() {
    if (mHelpTopic.empty()) {
        mOut << mApp.help();
        return TOOL_OK;
    }
    for (const Registered& registered : mCommands) {
        if (mHelpTopic == registered.command->name) {
            mOut << registered.app->help("huevane-tool [OPTIONS]");
            return TOOL_OK;
        }
    }
    return usageError("no command '" + mHelpTopic + "'", nullptr);
}

int HuevaneToolMain::runCommand(const Registered& registered) {
    HuevaneDiagnostics diagnostics(mErr, mCommon.strict);
    std::ofstream file;
    const bool toFile =
            !registered.command->handlesOutput && !mCommon.output.empty() && mCommon.output != "-";
    if (toFile) {
        file.open(mCommon.output, std::ios::binary);
        if (!file) {
            diagnostics.error(mCommon.output, 0, std::string("cannot write: ") + strerror(errno));
            return TOOL_FAILED;
        }
    }
    HuevaneToolContext context{mCommon, toFile ? file : mOut, mErr, diagnostics, *registered.app};
    int status = registered.run(context);
    if (toFile) {
        file.close();
        if (!file) diagnostics.error(mCommon.output, 0, "writing failed");
    }
    return std::max(status, diagnostics.getExitStatus());
}

int HuevaneToolMain::run(const std::vector<std::string>& args) {
    build();
    std::vector<std::string> reversed(args.rbegin(), args.rend());
    try {
        mApp.parse(reversed);
    } catch (const CLI::Success& success) {  // --help, --version
        return mApp.exit(success, mOut, mErr);
    } catch (const CLI::ParseError& error) {
        const CLI::App* command = nullptr;
        for (const Registered& registered : mCommands) {
            if (registered.app->parsed()) command = registered.app;
        }
        return usageError(error.what(), command);
    }
    if (mHelp->parsed()) return runHelp();
    for (const Registered& registered : mCommands) {
        if (registered.app->parsed()) return runCommand(registered);
    }
    return usageError("no command given", nullptr);
}

}  // namespace

int runHuevaneTool(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    // The libraries the tool uses may throw (CLI11, nlohmann-json, the standard library); none of
    // it crosses this line.
    try {
        HuevaneToolMain tool(out, err);
        return tool.run(args);
    } catch (const std::exception& exception) {
        err << "huevane-tool: error: " << exception.what() << "\n";
        return TOOL_FAILED;
    }
}
