#include "HuevaneToolEngine.h"

#include <android/log.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

#include "HuevaneImplColorMode.h"
#include "HuevaneImplColorModeXml.h"
#include "HuevaneImplUtil.h"
#include "HuevaneLogSink.h"
#include "HuevaneParcel.h"
#include "HuevaneParcelDecoder.h"
#include "HuevaneToolJson.h"
#include "IHuevane.h"

namespace {

const char* const MODES_USAGE =
        "usage: huevane-tool [--root DIR] [--display ID] modes [--json] [--log-level N]\n"
        "\n"
        "Lists the colour modes of the display and, under each, its render intents, exactly as\n"
        "the compositor receives them from getColorModes() and getRenderIntents().\n"
        "\n"
        "  --json          one JSON document for scripts\n"
        "  --log-level N   engine log level; also lets the library's log lines through to stderr\n";

const char* const PARCEL_USAGE =
        "usage: huevane-tool [--root DIR] [--display ID] parcel --mode M [--intent I]\n"
        "           [--transform identity | --transform 16-FLOATS]\n"
        "           [--attributes \"A B C D\"] [--extension ID:TEXT ...]\n"
        "           [-o FILE] [--json] [--full] [--log-level N]\n"
        "\n"
        "Drives one engine through IHuevane: setColorMode (or setColorModeWithRenderIntent when\n"
        "--intent is given), setColorTransform, setColorExtension, getColorCoefSize and\n"
        "updateColorCoef; then prints the parcel decoded, or writes its raw bytes.\n"
        "\n"
        "  --mode M           colour mode id\n"
        "  --intent I         render intent id (without it the engine uses intent 0)\n"
        "  --transform ...    colour transform: 'identity', or 16 floats in column-major order,\n"
        "                     as one argument (\"1,0,0,0, 0,1,0,0, ...\") or as 16 arguments\n"
        "  --attributes TEXT  attribute entry: sets attr0..attr3 of the --extension LUTs after it\n"
        "  --extension ID:TEXT  extension LUT for node ID (1-12 or a node name such as hsc);\n"
        "                     TEXT '@FILE' reads the text from FILE\n"
        "  -o FILE            write the parcel's raw bytes to FILE ('-' for standard output)\n"
        "  --json, --full     decoded print as JSON / with every LUT text whole\n"
        "  --log-level N      engine log level; also lets the library's log lines through\n";

// The library writes through liblog; by default the tool keeps stdout and stderr to itself and
// only collects the error lines, to tell the user what the library refused.
struct LogState {
    bool forward = false;
    bool quiet = false;               // while the tool's own reader repeats the engine's reading
    std::vector<std::string> opened;  // calibration documents the reader used, main one first
    std::vector<std::string> errors;  // what the library refused, for the user to see
};
LogState gLog;

bool toolLogger(const HuevaneLogRecord& record) {
    if (gLog.quiet) return false;
    const char* message = record.message;
    const size_t length = strlen(message);
    if (record.priority >= ANDROID_LOG_ERROR && length > 0) {
        gLog.errors.emplace_back(message, message[length - 1] == '\n' ? length - 1 : length);
    }
    return gLog.forward;
}

void setUpLog(int logLevel) {
    gLog.forward = logLevel >= 0;
    setHuevaneLogSink(toolLogger);
    __android_log_set_minimum_priority(gLog.forward ? ANDROID_LOG_VERBOSE : ANDROID_LOG_INFO);
}

// The documents the library's reader used, asked of a reader built beside the engine: it reads
// the same files the same way, and its lines were already seen with the engine's.
std::vector<std::string> getUsedDocuments(uint32_t display) {
    gLog.quiet = true;
    HuevaneImplColorMode source(display);
    gLog.quiet = false;
    std::vector<std::string> used;
    for (const HuevaneCalibrationDocument& document : source.getCalibrationDocuments()) {
        if (document.outcome == HuevaneCalibrationDocument::USED) used.push_back(document.path);
    }
    return used;
}

struct EngineDeleter {
    void operator()(IHuevane* engine) const { destroyInstance(engine); }
};
using Engine = std::unique_ptr<IHuevane, EngineDeleter>;

Engine openEngine(const HuevaneToolGlobals& globals, int logLevel) {
    setUpLog(logLevel);
    HuevaneImplUtil::setDeviceRoot(globals.root);
    Engine engine(createInstance(globals.display));
    if (!engine) {
        fprintf(stderr, "huevane-tool: display %u has no calibration file under root %s; tried:\n",
                globals.display, globals.root.c_str());
        for (const std::string& name : HuevaneImplColorMode::getXmlNames(globals.display)) {
            fprintf(stderr, "  %s\n", name.c_str());
        }
        return engine;
    }
    if (logLevel >= 0) engine->setLogLevel(logLevel);
    if (!gLog.forward) {
        for (const std::string& error : gLog.errors) {
            fprintf(stderr, "huevane-tool: warning: the library says: %s\n", error.c_str());
        }
    }
    gLog.errors.clear();
    gLog.opened = getUsedDocuments(globals.display);
    if (gLog.opened.empty()) {
        fprintf(stderr,
                "huevane-tool: warning: no calibration file of display %u could be read; "
                "the engine offers nothing (see --log-level 1)\n",
                globals.display);
    }
    return engine;
}

bool readLogLevel(HuevaneToolArgs& args, const std::string& option, int* logLevel) {
    std::string text;
    uint32_t level = 0;
    if (!args.value(option, &text)) return false;
    if (!parseUnsigned(text, &level) || level > 100) {
        args.fail("--log-level needs a level from 0 to 100, not '" + text + "'");
        return false;
    }
    *logLevel = static_cast<int>(level);
    return true;
}

void printModesText(IHuevane& engine, const HuevaneToolGlobals& globals) {
    printf("display %u\n", globals.display);
    for (size_t i = 0; i < gLog.opened.size(); i++) {
        printf("  %-13s %s\n", i == 0 ? "calibration" : "sub document", gLog.opened[i].c_str());
    }
    std::vector<HuevaneMode> modes = engine.getColorModes();
    printf("  %zu colour mode%s\n\n", modes.size(), modes.size() == 1 ? "" : "s");
    for (const HuevaneMode& mode : modes) {
        printf("mode %u  %s  (gamut %u)\n", mode.modeId, mode.modeName.c_str(), mode.gamutId);
        for (const DisplayRenderIntent& intent : engine.getRenderIntents(mode.modeId)) {
            printf("    intent %u  %s\n", intent.intentId, intent.intentName.c_str());
        }
    }
}

void printModesJson(IHuevane& engine, const HuevaneToolGlobals& globals) {
    std::string out = "{\"display\":" + std::to_string(globals.display) + ",\"documents\":[";
    for (size_t i = 0; i < gLog.opened.size(); i++) {
        out += (i ? "," : "") + jsonString(gLog.opened[i]);
    }
    out += "],\"modes\":[";
    std::vector<HuevaneMode> modes = engine.getColorModes();
    for (size_t m = 0; m < modes.size(); m++) {
        out += (m ? ",{" : "{") + std::string("\"modeId\":") + std::to_string(modes[m].modeId);
        out += ",\"gamutId\":" + std::to_string(modes[m].gamutId);
        out += ",\"modeName\":" + jsonString(modes[m].modeName) + ",\"intents\":[";
        std::vector<DisplayRenderIntent> intents = engine.getRenderIntents(modes[m].modeId);
        for (size_t i = 0; i < intents.size(); i++) {
            out += (i ? ",{" : "{") + std::string("\"intentId\":") +
                   std::to_string(intents[i].intentId) +
                   ",\"intentName\":" + jsonString(intents[i].intentName) + "}";
        }
        out += "]}";
    }
    printf("%s]}\n", out.c_str());
}

// One parcel request as the command line gave it. Extension texts live here so that the
// HuevaneExtension entries can point into them.
struct ParcelRequest {
    bool hasMode = false;
    uint32_t mode = 0;
    bool hasIntent = false;
    uint32_t intent = 0;
    bool hasTransform = false;
    float transform[16] = {};
    std::vector<std::pair<uint32_t, std::string>> extensions;  // id 0: attribute entry
    std::string output;
    HuevaneDecodeOptions decode;
    int logLevel = -1;
};

bool readTransform(HuevaneToolArgs& args, ParcelRequest* request) {
    std::string first;
    if (!args.value("--transform", &first)) return false;
    std::vector<std::string> values;
    if (first == "identity") {
        values = {"1", "0", "0", "0", "0", "1", "0", "0", "0", "0", "1", "0", "0", "0", "0", "1"};
    } else {
        values = splitList(first);
        // Separate arguments: take the numbers that follow until there are 16.
        auto startsWithNumber = [](const std::string& text) {
            std::vector<std::string> pieces = splitList(text);
            float number = 0;
            return !pieces.empty() && parseFloat(pieces[0], &number);
        };
        std::string more;
        while (values.size() < 16 && args.peek(&more) && startsWithNumber(more)) {
            args.value("--transform", &more);
            for (const std::string& piece : splitList(more)) values.push_back(piece);
        }
    }
    if (values.size() != 16) {
        args.fail("--transform needs 16 floats, got " + std::to_string(values.size()));
        return false;
    }
    for (size_t i = 0; i < 16; i++) {
        if (!parseFloat(values[i], &request->transform[i])) {
            args.fail("--transform: '" + values[i] + "' is not a number");
            return false;
        }
    }
    request->hasTransform = true;
    return true;
}

bool readNodeId(const std::string& text, uint32_t* id) {
    for (uint32_t i = 1; i < HuevaneImplColorModeXml::PVX_COLORMODE_NODE_COUNT; i++) {
        if (text == HuevaneImplColorModeXml::PVX_COLORMODE_NODE[i]) {
            *id = i;
            return true;
        }
    }
    return parseUnsigned(text, id) && HuevaneImplColorModeXml::getPvxColorModeNode(*id) != nullptr;
}

bool readExtension(HuevaneToolArgs& args, ParcelRequest* request) {
    std::string text;
    if (!args.value("--extension", &text)) return false;
    size_t colon = text.find(':');
    uint32_t id = 0;
    if (colon == std::string::npos || !readNodeId(text.substr(0, colon), &id)) {
        args.fail("--extension needs ID:TEXT with ID a node id 1-12 or a node name, not '" + text +
                  "'");
        return false;
    }
    std::string lut = text.substr(colon + 1);
    if (!lut.empty() && lut[0] == '@') {
        std::ifstream file(lut.substr(1), std::ios::binary);
        if (!file) {
            args.fail("--extension: cannot read " + lut.substr(1));
            return false;
        }
        std::stringstream content;
        content << file.rdbuf();
        lut = content.str();
    }
    request->extensions.emplace_back(id, lut);
    return true;
}

bool readParcelOption(HuevaneToolArgs& args, const std::string& arg, ParcelRequest* request) {
    std::string text;
    if (arg == "--mode" || arg == "--intent") {
        if (!args.value(arg, &text)) return false;
        uint32_t* target = arg == "--mode" ? &request->mode : &request->intent;
        if (!parseUnsigned(text, target)) {
            args.fail(arg + " needs an unsigned number, not '" + text + "'");
            return false;
        }
        (arg == "--mode" ? request->hasMode : request->hasIntent) = true;
        return true;
    }
    if (arg == "--transform") return readTransform(args, request);
    if (arg == "--extension") return readExtension(args, request);
    if (arg == "--attributes") {
        if (!args.value(arg, &text)) return false;
        request->extensions.emplace_back(0, text);
        return true;
    }
    if (arg == "-o") return args.value(arg, &request->output);
    if (arg == "--json") return request->decode.json = true;
    if (arg == "--full") return request->decode.fullText = true;
    if (arg == "--log-level") return readLogLevel(args, arg, &request->logLevel);
    args.fail("parcel: unknown option '" + arg + "' (see parcel --help)");
    return false;
}

// Requests the library accepts but answers with nothing are worth a word: the parcel would
// silently lack the calibration LUTs.
void noteUnknownPair(IHuevane& engine, const ParcelRequest& request) {
    bool modeKnown = false;
    for (const HuevaneMode& mode : engine.getColorModes()) modeKnown |= mode.modeId == request.mode;
    bool intentKnown = false;
    for (const DisplayRenderIntent& intent : engine.getRenderIntents(request.mode)) {
        intentKnown |= intent.intentId == request.intent;
    }
    if (!modeKnown) {
        fprintf(stderr, "huevane-tool: note: mode %u is not offered; no calibration LUTs staged\n",
                request.mode);
    } else if (!intentKnown) {
        fprintf(stderr,
                "huevane-tool: note: mode %u offers no intent %u; no calibration LUTs "
                "staged\n",
                request.mode, request.intent);
    }
}

int stageRequest(IHuevane& engine, const ParcelRequest& request) {
    int32_t result = request.hasIntent
                             ? engine.setColorModeWithRenderIntent(request.mode, request.intent)
                             : engine.setColorMode(request.mode);
    if (result != 0) {
        fprintf(stderr, "huevane-tool: the engine refused mode %u\n", request.mode);
        return TOOL_FAILED;
    }
    noteUnknownPair(engine, request);
    if (request.hasTransform && engine.setColorTransform(request.transform, 0) != 0) {
        fprintf(stderr, "huevane-tool: the engine refused the colour transform\n");
        return TOOL_FAILED;
    }
    if (!request.extensions.empty()) {
        std::vector<HuevaneExtension> entries;
        for (const auto& extension : request.extensions) {
            HuevaneExtension entry;
            entry.id = extension.first;
            entry.data = extension.second.c_str();
            entry.size = static_cast<uint32_t>(extension.second.size());
            entries.push_back(entry);
        }
        engine.setColorExtension(entries);
    }
    return TOOL_OK;
}

int writeParcel(const std::vector<uint8_t>& buffer, size_t size, const std::string& output) {
    FILE* file = output == "-" ? stdout : fopen(output.c_str(), "wb");
    if (file == nullptr) {
        fprintf(stderr, "huevane-tool: cannot write %s: %s\n", output.c_str(), strerror(errno));
        return TOOL_FAILED;
    }
    bool written = fwrite(buffer.data(), 1, size, file) == size;
    written = (file == stdout ? fflush(file) : fclose(file)) == 0 && written;
    if (!written) {
        fprintf(stderr, "huevane-tool: writing %s failed\n", output.c_str());
        return TOOL_FAILED;
    }
    if (file != stdout) printf("wrote %zu bytes to %s\n", size, output.c_str());
    return TOOL_OK;
}

void printRequest(const ParcelRequest& request, const HuevaneToolGlobals& globals,
                  int32_t bufferSize) {
    size_t luts = 0;
    for (const auto& extension : request.extensions) luts += extension.first != 0;
    printf("request     display %u, mode %u, intent %u%s, %s, %zu extension LUT%s\n",
           globals.display, request.mode, request.intent, request.hasIntent ? "" : " (setColorMode)",
           request.hasTransform ? "colour transform" : "no colour transform", luts,
           luts == 1 ? "" : "s");
    printf("buffer      %d bytes (getColorCoefSize)\n", bufferSize);
}

}  // namespace

int runModes(HuevaneToolArgs& args, const HuevaneToolGlobals& globals) {
    bool json = false;
    int logLevel = -1;
    std::string arg;
    while (args.next(&arg)) {
        if (arg == "--json") {
            json = true;
        } else if (arg == "--log-level") {
            readLogLevel(args, arg, &logLevel);
        } else {
            args.fail("modes: unknown option '" + arg + "' (see modes --help)");
        }
    }
    if (globals.help) {
        fputs(MODES_USAGE, stdout);
        return TOOL_OK;
    }
    if (args.failed()) return TOOL_USAGE;
    Engine engine = openEngine(globals, logLevel);
    if (!engine) return TOOL_FAILED;
    json ? printModesJson(*engine, globals) : printModesText(*engine, globals);
    return TOOL_OK;
}

int runParcel(HuevaneToolArgs& args, const HuevaneToolGlobals& globals) {
    ParcelRequest request;
    std::string arg;
    while (args.next(&arg)) readParcelOption(args, arg, &request);
    if (globals.help) {
        fputs(PARCEL_USAGE, stdout);
        return TOOL_OK;
    }
    if (!args.failed() && !request.hasMode) args.fail("parcel needs --mode (see parcel --help)");
    if (args.failed()) return TOOL_USAGE;
    Engine engine = openEngine(globals, request.logLevel);
    if (!engine) return TOOL_FAILED;
    if (stageRequest(*engine, request) != TOOL_OK) return TOOL_FAILED;
    const int32_t bufferSize = engine->getColorCoefSize();
    std::vector<uint8_t> buffer(static_cast<size_t>(bufferSize), 0);
    if (engine->updateColorCoef(buffer.data()) != 0) {
        fprintf(stderr,
                "huevane-tool: the engine could not build the parcel "
                "(run with --log-level 1 to see why)\n");
        return TOOL_FAILED;
    }
    pvx_colormode_parcel_header header;
    memcpy(&header, buffer.data(), sizeof(header));
    if (!request.output.empty()) return writeParcel(buffer, header.total_size, request.output);
    if (!request.decode.json) printRequest(request, globals, bufferSize);
    std::string decoded;
    int result = decodeParcel(buffer.data(), header.total_size, request.decode, &decoded);
    fputs(decoded.c_str(), stdout);
    return result == 0 ? TOOL_OK : TOOL_FAILED;
}
