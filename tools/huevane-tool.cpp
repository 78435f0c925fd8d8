// huevane-tool: looks at a device tree copied to a workstation through the library itself, so
// that what it shows is what the device gets.
#include <cstdio>
#include <string>
#include <vector>

#include "HuevaneCalibrationLint.h"
#include "HuevaneParcelDecoder.h"
#include "HuevaneToolEngine.h"
#include "HuevaneToolOptions.h"

namespace {

const char* const USAGE =
        "usage: huevane-tool [--root DIR] [--display ID] COMMAND [options]\n"
        "\n"
        "Reads a device tree copied to this machine through libhuevane_default itself.\n"
        "\n"
        "global options (accepted before or after COMMAND):\n"
        "  --root DIR     folder that stands for the device's '/' (default '/')\n"
        "  --display ID   display id (default 0)\n"
        "  --help         help for the tool or for one command\n"
        "\n"
        "commands:\n"
        "  modes          colour modes and their render intents\n"
        "  parcel         build one coefficient parcel through IHuevane\n"
        "  decode FILE    decode and check a parcel ('-' reads standard input)\n"
        "  lint FILE...   check calibration documents\n"
        "\n"
        "exit status: 0 success, 1 failure or problems found, 2 usage error\n";

const char* const DECODE_USAGE =
        "usage: huevane-tool decode [--json] [--full] FILE\n"
        "\n"
        "Decodes a coefficient parcel ('-' reads standard input): the parcel header, every\n"
        "entry's header, node name, size and CRC checked against its text, and matrix texts\n"
        "as 4x4 matrices next to their fixed-point numbers. Exit status 1 when anything in the\n"
        "parcel is inconsistent (truncated or garbage input included).\n"
        "\n"
        "  --json   one JSON document for scripts\n"
        "  --full   print every LUT text whole\n";

const char* const LINT_USAGE =
        "usage: huevane-tool lint FILE...\n"
        "\n"
        "Checks calibration documents for what the library would skip silently or refuse at\n"
        "run time, and reports each problem as FILE:LINE: error|warning: message.\n"
        "Sub documents named by subxml are looked for beside FILE.\n"
        "Exit status: 0 clean, 1 problems found, 2 usage error.\n";

bool readAll(const std::string& path, std::vector<uint8_t>* bytes) {
    FILE* file = path == "-" ? stdin : fopen(path.c_str(), "rb");
    if (file == nullptr) return false;
    uint8_t chunk[4096];
    size_t count = 0;
    while ((count = fread(chunk, 1, sizeof(chunk), file)) > 0) {
        bytes->insert(bytes->end(), chunk, chunk + count);
    }
    bool ok = ferror(file) == 0;
    if (file != stdin) fclose(file);
    return ok;
}

int runDecode(HuevaneToolArgs& args, const HuevaneToolGlobals& globals) {
    HuevaneDecodeOptions options;
    std::vector<std::string> files;
    std::string arg;
    while (args.next(&arg)) {
        if (arg == "--json") {
            options.json = true;
        } else if (arg == "--full") {
            options.fullText = true;
        } else if (arg.size() > 1 && arg[0] == '-') {
            args.fail("decode: unknown option '" + arg + "' (see decode --help)");
        } else {
            files.push_back(arg);
        }
    }
    if (globals.help) {
        fputs(DECODE_USAGE, stdout);
        return TOOL_OK;
    }
    if (!args.failed() && files.size() != 1) args.fail("decode needs exactly one FILE");
    if (args.failed()) return TOOL_USAGE;
    std::vector<uint8_t> bytes;
    if (!readAll(files[0], &bytes)) {
        fprintf(stderr, "huevane-tool: cannot read %s\n", files[0].c_str());
        return TOOL_FAILED;
    }
    std::string out;
    int result = decodeParcel(bytes.data(), bytes.size(), options, &out);
    fputs(out.c_str(), stdout);
    return result == 0 ? TOOL_OK : TOOL_FAILED;
}

int runLint(HuevaneToolArgs& args, const HuevaneToolGlobals& globals) {
    std::vector<std::string> files;
    std::string arg;
    while (args.next(&arg)) {
        if (arg.size() > 1 && arg[0] == '-') {
            args.fail("lint: unknown option '" + arg + "' (see lint --help)");
        } else {
            files.push_back(arg);
        }
    }
    if (globals.help) {
        fputs(LINT_USAGE, stdout);
        return TOOL_OK;
    }
    if (!args.failed() && files.empty()) args.fail("lint needs at least one FILE");
    if (args.failed()) return TOOL_USAGE;
    size_t problems = 0;
    for (const std::string& file : files) {
        std::string out;
        problems += lintCalibrationFile(file, &out);
        fputs(out.c_str(), stdout);
    }
    if (problems > 0) {
        fflush(stdout);
        fprintf(stderr, "%zu problem%s found\n", problems, problems == 1 ? "" : "s");
    }
    return problems == 0 ? TOOL_OK : TOOL_FAILED;
}

}  // namespace

int main(int argc, char** argv) {
    HuevaneToolGlobals globals;
    HuevaneToolArgs args(argc, argv, 1, &globals);
    std::string command;
    if (!args.next(&command)) {
        if (args.failed()) return TOOL_USAGE;
        fputs(USAGE, globals.help ? stdout : stderr);
        return globals.help ? TOOL_OK : TOOL_USAGE;
    }
    if (command == "modes") return runModes(args, globals);
    if (command == "parcel") return runParcel(args, globals);
    if (command == "decode") return runDecode(args, globals);
    if (command == "lint") return runLint(args, globals);
    fprintf(stderr, "huevane-tool: unknown command '%s'\n\n%s", command.c_str(), USAGE);
    return TOOL_USAGE;
}
