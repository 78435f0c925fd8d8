// The command registry and the parts every command shares: option parsing through CLI11, the
// common options, help, --version, -o, --json, and the exit status. Every message is the tool's
// own: CLI11's are translated, its help is not used.
#include "HuevaneTool.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <memory>
#include <regex>
#include <sstream>
#include <utility>

#include "HuevaneToolCommand.h"
#include "HuevaneToolFile.h"
#include "HuevaneToolJson.h"

#ifndef HUEVANE_TOOL_VERSION
#define HUEVANE_TOOL_VERSION "unknown"
#endif
#ifndef HUEVANE_TOOL_COMMIT
#define HUEVANE_TOOL_COMMIT "unknown"
#endif

namespace {

using Output = HuevaneToolOutput;

// Every command of the tool, in the order help lists them.
const HuevaneToolCommand COMMANDS[] = {
        {"modes", "colour modes and their render intents, as the compositor sees them",
         setupModesCommand},
        {"parcel", "build one coefficient parcel through IHuevane", setupParcelCommand,
         Output::HANDLED},
        {"decode", "decode and check a parcel ('-' reads standard input)", setupDecodeCommand},
        {"lint", "check calibration documents (a CI gate)", setupLintCommand, Output::TEXT, true},
        {"diff", "compare two calibrations by meaning, or two parcels entry by entry",
         setupDiffCommand},
        {"explain", "where every entry of a parcel comes from, matrix products included",
         setupExplainCommand},
        {"plot", "the LUTs of one mode and intent as an SVG picture", setupPlotCommand,
         Output::MARKUP},
        {"report", "one self-contained HTML page for a device's calibration", setupReportCommand,
         Output::MARKUP},
        {"profile", "the ICC profile of a panel described by its primaries", setupProfileCommand,
         Output::MARKUP},
        {"matrix", "the gamut matrix from a target to the panel, as a matrix text",
         setupMatrixCommand},
        {"simulate", "what the panel shows for input colours under one request",
         setupSimulateCommand},
        {"verify", "predicted accuracy of each mode against its target, in CIEDE2000",
         setupVerifyCommand},
        {"replay", "rebuild a device's parcels from its log and compare them with the printed ones",
         setupReplayCommand},
};

const char* const DESCRIPTION =
        "huevane-tool reads a device tree copied to this machine through libhuevane_default\n"
        "itself, so what it shows is what the device gets.\n";
const char* const EXIT_STATUS =
        "exit status: 0 success, 1 failure or problems found, 2 usage error\n";

std::string getVersionText() {
    return std::string("huevane-tool ") + HUEVANE_TOOL_VERSION + " (libhuevane_default " +
           HUEVANE_TOOL_VERSION + ", commit " + HUEVANE_TOOL_COMMIT + ")";
}

void addCommonOptions(CLI::App& app, HuevaneToolCommon* common) {
    app.add_option("--root", common->root, "the folder that stands for the device's '/' (default /)")
            ->type_name("DIR");
    app.add_option("--display", common->display, "the display id (default 0)")->type_name("ID");
    app.add_flag("--json", common->json, "one JSON document instead of text");
    app.add_flag("--strict", common->strict, "count warnings as errors");
    app.add_option("-o,--output", common->output,
                   "write the output to FILE, replaced only when the command succeeds "
                   "('-' standard output)")
            ->type_name("FILE");
    app.add_option("--log-level", common->logLevel,
                   "engine log level 0-100; also lets the library's log lines through to stderr")
            ->type_name("N")
            ->check(getRangeCheck(0, 100, true));
}

// "-o FILE", "--mode M" or "FILE...": how an option or argument is written on the command line.
std::string getOptionUsage(const CLI::Option& option) {
    if (option.get_positional()) {
        return option.get_name() + (option.get_expected_max() > 1 ? "..." : "");
    }
    std::string usage = option.get_name(false, true);
    usage = usage.substr(0, usage.find(','));
    // CLI11 appends what a check accepts to the type name (" N:INT in [0 - 100]"); the
    // description says it in words.
    std::string type = option.get_type_name();
    const size_t check = type.find(":INT");
    if (check != std::string::npos) type.resize(check);
    if (option.get_type_size_max() > 0 && !type.empty()) usage += " " + type;
    if (option.get_expected_max() > 1) usage += "...";
    return usage;
}

std::string getOptionLines(const CLI::App& app) {
    std::string lines;
    for (const CLI::Option* option : app.get_options()) {
        std::string usage = getOptionUsage(*option);
        usage.resize(std::max<size_t>(usage.size(), 24), ' ');
        lines += "  " + usage + " " + option->get_description() + "\n";
    }
    return lines;
}

// CLI11's complaint about a command line, in the tool's words. CLI11 names its errors
// inconsistently, so the complaint is recognised by its text.
std::string translateParseError(const CLI::ParseError& error) {
    const std::string what = error.what();
    std::smatch match;
    if (std::regex_search(what, match, std::regex("not expected: (.*)$"))) {
        // CLI11 lists the arguments last first.
        std::istringstream words(match[1].str());
        std::vector<std::string> extras{std::istream_iterator<std::string>(words), {}};
        std::string text;
        for (auto word = extras.rbegin(); word != extras.rend(); ++word) {
            text += (text.empty() ? "'" : ", '") + *word + "'";
        }
        return (extras.size() == 1 ? "unexpected argument " : "unexpected arguments ") + text;
    }
    if (std::regex_search(what, match, std::regex("^(\\S+) is required"))) {
        return "missing " + match[1].str();
    }
    if (std::regex_search(what, match, std::regex("convert: (\\S+) = (.*)$"))) {
        return match[1].str() + " needs a whole number, not '" + match[2].str() + "'";
    }
    if (std::regex_search(what, match, std::regex("^(\\S+?): (needs .*)$"))) {
        return match[1].str() + " " + match[2].str();
    }
    if (std::regex_search(what, match, std::regex("^(\\S+?): .*(missing|too many)"))) {
        return match[1].str() + " is given the wrong number of values";
    }
    return "this command line cannot be read";
}

std::string getNumberText(double value) {
    char text[32];
    snprintf(text, sizeof text, "%g", value);
    return text;
}

struct Registered {
    const HuevaneToolCommand* command;
    CLI::App* app;
    HuevaneToolRun run;
};

HuevaneJson getFindingJson(const HuevaneFinding& finding) {
    HuevaneJson json = {{"severity", getSeverityName(finding.severity)},
                        {"file", finding.file},
                        {"line", finding.line},
                        {"message", finding.message}};
    if (!finding.rule.empty()) json["rule"] = finding.rule;
    return json;
}

class HuevaneToolMain {
  public:
    HuevaneToolMain(std::ostream& out, std::ostream& err) : mOut(out), mErr(err) {}
    int run(const std::vector<std::string>& args);

  private:
    void build();
    int usageError(const std::string& message, const Registered* command);
    int runHelp(const std::string& topic);
    int runCommand(const Registered& registered);
    static std::string getCommandUsage(const Registered& registered);
    // The command's output with the problems that did not go to stderr.
    static std::string finishJson(const std::string& document, const HuevaneDiagnostics& diagnostics,
                                  const Registered& registered);

    std::ostream& mOut;
    std::ostream& mErr;
    CLI::App mApp{"", "huevane-tool"};
    HuevaneToolCommon mCommon;
    std::vector<Registered> mCommands;
    CLI::App* mHelp = nullptr;
    std::string mHelpTopic;
};

void HuevaneToolMain::build() {
    mApp.set_help_flag();
    mApp.require_subcommand(0, 1);
    addCommonOptions(mApp, &mCommon);
    for (const HuevaneToolCommand& command : COMMANDS) {
        CLI::App* sub = mApp.add_subcommand(command.name, command.summary);
        sub->set_help_flag();
        sub->fallthrough();  // common options after the command name too
        mCommands.push_back({&command, sub, command.setup(*sub)});
    }
    mHelp = mApp.add_subcommand("help", "help for the tool or for one command");
    mHelp->set_help_flag();
    mHelp->add_option("COMMAND", mHelpTopic, "the command to explain");
}

std::string HuevaneToolMain::getCommandUsage(const Registered& registered) {
    std::string usage =
            std::string("usage: huevane-tool [COMMON OPTIONS] ") + registered.command->name;
    for (const CLI::Option* option : registered.app->get_options()) {
        const std::string text = getOptionUsage(*option);
        usage += option->get_required() ? " " + text : " [" + text + "]";
    }
    return usage + "\n";
}

int HuevaneToolMain::usageError(const std::string& message, const Registered* command) {
    mErr << "huevane-tool: error: " << message << "\n";
    if (command != nullptr) mErr << getCommandUsage(*command);
    mErr << "run 'huevane-tool help"
         << (command != nullptr ? std::string(" ") + command->command->name : "") << "' for more\n";
    return TOOL_USAGE;
}

int HuevaneToolMain::runHelp(const std::string& topic) {
    if (topic.empty()) {
        mOut << DESCRIPTION << "\nusage: huevane-tool [COMMON OPTIONS] COMMAND [OPTIONS]\n"
             << "       huevane-tool help [COMMAND]\n       huevane-tool --version\n\ncommands:\n";
        for (const Registered& registered : mCommands) {
            std::string name = registered.command->name;
            name.resize(10, ' ');
            mOut << "  " << name << registered.command->summary << "\n";
        }
        mOut << "\ncommon options, before or after the command:\n"
             << getOptionLines(mApp) << "\n"
             << EXIT_STATUS;
        return TOOL_OK;
    }
    for (const Registered& registered : mCommands) {
        if (topic != registered.command->name) continue;
        mOut << getCommandUsage(registered) << "\n" << registered.app->get_description() << "\n";
        const std::string options = getOptionLines(*registered.app);
        if (!options.empty()) mOut << "\n" << options;
        mOut << "\ncommon options: --root DIR, --display ID, --json, --strict, -o FILE, "
                "--log-level N\n(see 'huevane-tool help')\n"
             << EXIT_STATUS;
        return TOOL_OK;
    }
    return usageError("no command '" + topic + "'", nullptr);
}

std::string HuevaneToolMain::finishJson(const std::string& document,
                                        const HuevaneDiagnostics& diagnostics,
                                        const Registered& registered) {
    HuevaneJson json = document.empty() ? HuevaneJson::object() : HuevaneJson::parse(document);
    if (!registered.command->findingsInDocument || document.empty()) {
        HuevaneJson problems = HuevaneJson::array();
        for (const HuevaneFinding& finding : diagnostics.getFindings()) {
            problems.push_back(getFindingJson(finding));
        }
        json["problems"] = problems;
    }
    std::ostringstream text;
    writeJson(text, json);
    return text.str();
}

int HuevaneToolMain::runCommand(const Registered& registered) {
    const Output output = registered.command->output;
    if (mCommon.json && output == Output::MARKUP) {
        return usageError(registered.command->name + std::string(" writes markup, not text: ") +
                                  "--json does not apply",
                          &registered);
    }
    HuevaneDiagnostics diagnostics(mErr, mCommon.strict);
    // With --json every problem goes into the one document instead of stderr.
    diagnostics.setCollecting(mCommon.json);
    std::ostringstream buffer;
    HuevaneToolContext context{mCommon, buffer, mErr, diagnostics, *registered.app};
    int status = registered.run(context);
    status = std::max(status, diagnostics.getExitStatus());
    std::string result = buffer.str();
    // A command that wrote nothing failed before its output; its -o FILE is left alone.
    const bool produced = !result.empty() && status != TOOL_USAGE;
    if (mCommon.json) result = finishJson(result, diagnostics, registered);
    const bool toFile =
            output != Output::HANDLED && !mCommon.output.empty() && mCommon.output != "-";
    if (toFile && produced) {
        std::string error;
        if (!writeToolFile(mCommon.output, result, &error)) {
            HuevaneDiagnostics late(mErr, false);
            late.error(mCommon.output, 0, "cannot write: " + error);
            return TOOL_FAILED;
        }
    } else if (!toFile || mCommon.json) {
        mOut << result;
    }
    return status;
}

int HuevaneToolMain::run(const std::vector<std::string>& args) {
    build();
    // --version and -h/--help answer whatever else the command line holds.
    for (const std::string& arg : args) {
        if (arg == "--version") {
            mOut << getVersionText() << "\n";
            return TOOL_OK;
        }
    }
    for (const std::string& arg : args) {
        if (arg != "-h" && arg != "--help") continue;
        for (const std::string& other : args) {
            for (const HuevaneToolCommand& command : COMMANDS) {
                if (other == command.name) return runHelp(other);
            }
        }
        return runHelp("");
    }
    std::vector<std::string> reversed(args.rbegin(), args.rend());
    const Registered* parsedCommand = nullptr;
    try {
        mApp.parse(reversed);
    } catch (const CLI::ParseError& error) {
        for (const Registered& registered : mCommands) {
            if (registered.app->parsed()) parsedCommand = &registered;
        }
        return usageError(translateParseError(error), parsedCommand);
    }
    for (const Registered& registered : mCommands) {
        if (registered.app->parsed()) parsedCommand = &registered;
    }
    if (mHelp->parsed()) return runHelp(mHelpTopic);
    if (parsedCommand != nullptr) return runCommand(*parsedCommand);
    return usageError("no command given", nullptr);
}

}  // namespace

CLI::Validator getRangeCheck(double low, double high, bool whole) {
    const std::string need = std::string("needs a ") + (whole ? "whole " : "") + "number from " +
                             getNumberText(low) + " to " + getNumberText(high);
    return CLI::Validator(
            [low, high, whole, need](std::string& text) -> std::string {
                const char* begin = text.c_str();
                char* end = nullptr;
                errno = 0;
                const double value = std::strtod(begin, &end);
                const bool read = end != begin && *end == '\0' && errno == 0 &&
                                  (!whole || value == std::floor(value));
                if (read && value >= low && value <= high) return "";
                return need + ", not '" + text + "'";
            },
            "", "range");
}

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
