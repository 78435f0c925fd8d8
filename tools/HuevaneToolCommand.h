// What a huevane-tool command is: a name, a one-line summary, and a function that adds the
// command's own options to its CLI11 subcommand and returns what runs it once the command line
// is parsed. Each command lives in its own source file; the list of commands is in
// HuevaneTool.cpp. Options every command takes are parsed once, into HuevaneToolCommon.
#ifndef HUEVANE_TOOLS_HUEVANETOOLCOMMAND_H
#define HUEVANE_TOOLS_HUEVANETOOLCOMMAND_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

#include "HuevaneTool.h"
#include "HuevaneToolDiagnostics.h"

namespace CLI {
class App;
class Validator;
}  // namespace CLI

// Accepted before or after the command name.
struct HuevaneToolCommon {
    std::string root = "/";  // --root: the folder standing for the device's '/'
    uint32_t display = 0;    // --display
    bool json = false;       // --json: one JSON document on the output instead of text
    bool strict = false;     // --strict: warnings count as errors
    std::string output;      // -o FILE: where the output goes ('-' standard output)
    int logLevel = -1;       // --log-level N: engine log level, lets the library's lines through
};

struct HuevaneToolContext {
    const HuevaneToolCommon& common;
    // The command's output: -o FILE when given (unless the command handles -o itself).
    std::ostream& out;
    std::ostream& err;
    HuevaneDiagnostics& diagnostics;
    // The parsed subcommand, for options whose order on the command line matters.
    const CLI::App& command;
};

// Returns the exit status; the tool exits 1 anyway once an error was reported.
using HuevaneToolRun = std::function<int(HuevaneToolContext& context)>;
using HuevaneToolSetup = HuevaneToolRun (*)(CLI::App& command);

// What a command writes on its output.
enum class HuevaneToolOutput {
    TEXT,     // text, or one JSON document with --json
    MARKUP,   // a picture or a page (-o FILE); --json is a usage error
    HANDLED,  // the command handles -o itself (parcel writes raw bytes there)
};

struct HuevaneToolCommand {
    const char* name;
    const char* summary;
    HuevaneToolSetup setup;
    HuevaneToolOutput output = HuevaneToolOutput::TEXT;
    // True when the command's JSON document carries its findings itself (lint).
    bool findingsInDocument = false;
};

// A check that a number (`whole`: a whole number) lies in [low, high], worded by the tool and
// invisible in the usage line.
CLI::Validator getRangeCheck(double low, double high, bool whole = false);

// The commands' setup functions, one per command source file.
HuevaneToolRun setupModesCommand(CLI::App& command);
HuevaneToolRun setupParcelCommand(CLI::App& command);
HuevaneToolRun setupDecodeCommand(CLI::App& command);
// Prints a parcel decoded (text or --json) as `decode` does; `parcel` shows its result with it.
// TOOL_FAILED when anything in the parcel is inconsistent.
int writeDecodedParcel(HuevaneToolContext& context, const uint8_t* bytes, size_t size,
                       bool fullText);
HuevaneToolRun setupLintCommand(CLI::App& command);
HuevaneToolRun setupDiffCommand(CLI::App& command);
HuevaneToolRun setupExplainCommand(CLI::App& command);
HuevaneToolRun setupPlotCommand(CLI::App& command);
HuevaneToolRun setupReportCommand(CLI::App& command);
HuevaneToolRun setupProfileCommand(CLI::App& command);
HuevaneToolRun setupMatrixCommand(CLI::App& command);
HuevaneToolRun setupSimulateCommand(CLI::App& command);
HuevaneToolRun setupVerifyCommand(CLI::App& command);
HuevaneToolRun setupReplayCommand(CLI::App& command);

#endif  // HUEVANE_TOOLS_HUEVANETOOLCOMMAND_H
