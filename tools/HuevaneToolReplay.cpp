// huevane-tool replay LOG: rebuilds a device's parcels from its log on the device tree of
// --root, and says for every update whether the rebuilt parcel is the one the device printed,
// or where they first differ and where the rebuilt entry came from.
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "HuevaneLogReader.h"
#include "HuevaneReplayEngine.h"
#include "HuevaneReplayLog.h"
#include "HuevaneReplayRequests.h"
#include "HuevaneToolCommand.h"
#include "HuevaneToolFile.h"
#include "HuevaneToolJson.h"

namespace {

const char* const LIBRARY_TAG = "libhuevane";
// logd keeps at most some tens of megabytes in all its buffers; a larger file is no capture.
constexpr size_t LOG_MAX_BYTES = size_t{256} << 20;

// The file is read into a buffer of the bound's size: a file's own size is bound enough.
size_t getReadBound(const std::string& path) {
    struct stat info;
    if (path == "-" || stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode) ||
        static_cast<uint64_t>(info.st_size) >= LOG_MAX_BYTES) {
        return LOG_MAX_BYTES;
    }
    return static_cast<size_t>(info.st_size);
}

struct EngineReplay {
    const ReplayEngineLog* log = nullptr;
    size_t number = 0;  // 1-based, in log order
    uint32_t display = 0;
    bool displayFromLog = false;
    ReplayRequests requests;
    ReplayEngineRun run;
    bool replayed = false;
};

struct ReplaySession {
    std::string path;
    HuevaneLogRead read;
    ReplayLog log;
    std::vector<EngineReplay> engines;
    bool unusable = false;  // an error: exit 2
};

// Where a cycle's dumps read more than one way (a gamma_matrix LUT without attributes that
// either caller source could have staged), the readings under which the requests follow on and
// the device's parcels come out are the ones the device took. A matrix that a stage keeps may
// show a wrong reading only cycles later, so the readings are followed cycle by cycle: every
// reading of an open cycle is tried behind each of the best so far, and those under which the
// fewest updates up to the next open cycle differ are kept.
class ReadingSearch {
  public:
    ReadingSearch(const std::string& root, int logLevel, EngineReplay* engine)
        : mRoot(root), mLogLevel(logLevel), mEngine(engine) {}
    void run();

  private:
    struct Candidate {
        std::vector<size_t> readings;
        size_t score = 0;
    };
    size_t getScore(const std::vector<size_t>& readings, long until);

    // Readings kept behind each open cycle.
    static constexpr size_t KEPT = 16;
    // Replays spent on one engine at most; then the best so far stands.
    static constexpr int REPLAYS = 600;
    const std::string& mRoot;
    int mLogLevel;
    EngineReplay* mEngine;
    int mReplays = REPLAYS;
};

// How wrong a replay up to `until` goes: updates that differ, and a stop weighs more than all.
size_t ReadingSearch::getScore(const std::vector<size_t>& readings, long until) {
    mReplays--;
    const ReplayRequests requests = rebuildReplayRequests(*mEngine->log, readings);
    // Only the replay that stands lets the engine's own lines through.
    const ReplayEngineRun run =
            replayEngineLog(mRoot, mEngine->display, *mEngine->log, requests, -1, until);
    size_t score = 0;
    for (const ReplayUpdate& u : run.updates) {
        if (until == 0 || u.line <= until) score += u.result == ReplayUpdate::DIFFERENT;
    }
    if (requests.stopLine != 0 && (until == 0 || requests.stopLine <= until)) score += 1 << 20;
    return score;
}

void ReadingSearch::run() {
    const std::vector<ReplayOpenCycle> open = rebuildReplayRequests(*mEngine->log, {}).open;
    std::vector<Candidate> kept = {{}};
    for (size_t c = 0; c < open.size() && mReplays > 0; c++) {
        const long until = c + 1 < open.size() ? open[c + 1].firstLine - 1 : 0;
        std::vector<Candidate> tried;
        size_t best = SIZE_MAX;
        for (const Candidate& candidate : kept) {
            for (size_t r = 0; r < open[c].readings && mReplays > 0; r++) {
                Candidate next{candidate.readings, 0};
                next.readings.resize(c + 1, 0);
                next.readings[c] = r;
                next.score = getScore(next.readings, until);
                best = std::min(best, next.score);
                tried.push_back(std::move(next));
            }
        }
        if (tried.empty()) break;
        kept.clear();
        for (Candidate& candidate : tried) {
            if (candidate.score == best && kept.size() < KEPT) kept.push_back(std::move(candidate));
        }
    }
    mEngine->requests = rebuildReplayRequests(*mEngine->log, kept.front().readings);
    mEngine->run =
            replayEngineLog(mRoot, mEngine->display, *mEngine->log, mEngine->requests, mLogLevel);
}

std::string getFormsText(const HuevaneLogRead& read) {
    std::string text;
    for (HuevaneLogForm form : read.forms) {
        text += std::string(text.empty() ? "" : ", ") + getLogFormName(form);
    }
    return text.empty() ? "no form" : text;
}

// The log as a whole: can it be replayed at all?
bool checkLog(HuevaneToolContext& context, ReplaySession& session) {
    HuevaneDiagnostics& diagnostics = context.diagnostics;
    const HuevaneLogRead& read = session.read;
    if (read.forms.empty()) {
        diagnostics.error(session.path, 0,
                          "no line is in a form replay reads (adb logcat -v threadtime, time, "
                          "brief or long, or liblog's stderr form)");
        return false;
    }
    for (size_t i = 0; i < read.garbled.size(); i++) {
        if (i == 10) {
            diagnostics.error(session.path, read.garbled[i],
                              "and " + std::to_string(read.garbled.size() - i) +
                                      " more lines that name " + LIBRARY_TAG + " in no log form");
            break;
        }
        diagnostics.error(
                session.path, read.garbled[i],
                std::string("names ") + LIBRARY_TAG + " but is in no log form: cut or garbled");
    }
    session.unusable = !read.garbled.empty();
    if (read.cutLine != 0) {
        diagnostics.warning(session.path, read.cutLine,
                            "the log ends inside this line (no line break): it is left out");
    }
    if (read.lines.empty()) {
        diagnostics.error(session.path, 0,
                          std::string("no line of tag ") + LIBRARY_TAG + " among its " +
                                  std::to_string(read.lineCount) + " lines (" + getFormsText(read) +
                                  ")");
        return false;
    }
    return true;
}

void reportLogProblems(HuevaneToolContext& context, ReplaySession& session) {
    for (const ReplayLogProblem& problem : session.log.problems) {
        if (problem.error) {
            context.diagnostics.error(session.path, problem.line, problem.message);
            session.unusable = true;
        } else {
            context.diagnostics.warning(session.path, problem.line, problem.message);
        }
    }
    std::set<int> processes;
    for (const ReplayEngineLog& engine : session.log.engines) processes.insert(engine.pid);
    for (const HuevaneLogDrop& drop : session.read.drops) {
        if (drop.pid >= 0 && processes.count(drop.pid) == 0) continue;
        context.diagnostics.warning(session.path, drop.number,
                                    "logd dropped lines of process " + std::to_string(drop.pid) +
                                            " here: requests may be missing");
    }
}

bool hasUpdate(const ReplayEngineLog& engine) {
    for (const ReplayLogItem& item : engine.items) {
        if (item.kind == ReplayLogItem::PRINT || item.kind == ReplayLogItem::FAILED) return true;
    }
    return false;
}

// The engines to replay: those of --display when it is given, each with the display its
// documents name (or --display, or 0, when the log does not say).
bool selectEngines(HuevaneToolContext& context, bool displayGiven, ReplaySession& session) {
    HuevaneDiagnostics& diagnostics = context.diagnostics;
    const uint32_t asked = context.common.display;
    std::string displays;
    long firstLine = session.read.lines.front().number;
    long firstTrace = 0;
    for (size_t i = 0; i < session.log.engines.size(); i++) {
        const ReplayEngineLog& log = session.log.engines[i];
        displays += std::string(displays.empty() ? "" : ", ") +
                    (log.display >= 0 ? std::to_string(log.display) : "unknown");
        if (displayGiven && log.display >= 0 && log.display != asked) continue;
        if (log.items.empty() && !log.traced && log.stopLine == 0) continue;
        EngineReplay engine;
        engine.log = &log;
        engine.number = i + 1;
        engine.displayFromLog = log.display >= 0;
        engine.display = log.display >= 0 ? static_cast<uint32_t>(log.display) : asked;
        if (log.traced && (firstTrace == 0 || log.tracedLine < firstTrace)) {
            firstTrace = log.tracedLine;
        }
        session.engines.push_back(std::move(engine));
    }
    bool traced = false;
    bool printed = false;
    bool stopped = false;  // its reason is reported already
    for (const EngineReplay& engine : session.engines) {
        traced |= engine.log->traced;
        printed |= hasUpdate(*engine.log);
        stopped |= engine.log->stopLine != 0;
    }
    if (session.engines.empty() && displayGiven) {
        diagnostics.error(session.path, 0,
                          "no engine of display " + std::to_string(asked) +
                                  " writes requests in the log (its engines: displays " +
                                  (displays.empty() ? "none" : displays) + ")");
        return false;
    }
    if (stopped) return true;
    if (!traced) {
        diagnostics.error(session.path, firstLine,
                          "the library's lines show no request: the engine's log level was "
                          "below 2 (setLogLevel(2) traces requests, setLogLevel(3) also prints "
                          "every parcel)");
        return false;
    }
    if (!printed) {
        diagnostics.error(session.path, firstTrace,
                          "no parcel print: the engine's log level was 2, and replay compares "
                          "parcels, which the engine prints from log level 3");
        return false;
    }
    return true;
}

// What the tree gives the display against what the device read.
bool checkTree(HuevaneToolContext& context, ReplaySession& session, const EngineReplay& engine) {
    const ReplayEngineLog& log = *engine.log;
    const long line = log.createdLine != 0 ? log.createdLine : log.firstLine;
    const std::vector<std::string>& tree = engine.run.treeDocuments;
    auto join = [](const std::vector<std::string>& paths) {
        std::string text;
        for (const std::string& path : paths) text += (text.empty() ? "" : ", ") + path;
        return text.empty() ? std::string("none") : text;
    };
    if (tree.empty() && (!log.documents.empty() || log.createdLine == 0)) {
        context.diagnostics.error(session.path, line,
                                  "the tree at " + context.common.root +
                                          " holds no calibration document that display " +
                                          std::to_string(engine.display) + " can read");
        return false;
    }
    if (!log.documents.empty() && log.documents != tree) {
        context.diagnostics.warning(session.path, line,
                                    "the device opened " + join(log.documents) +
                                            "; in the tree the engine reads " + join(tree));
    }
    bool modesDiffer = !log.modes.empty() && log.modes.size() != engine.run.treeModes.size();
    for (size_t i = 0; !modesDiffer && i < log.modes.size(); i++) {
        const HuevaneMode& mode = engine.run.treeModes[i];
        modesDiffer = log.modes[i].modeId != mode.modeId || log.modes[i].name != mode.modeName;
    }
    if (modesDiffer) {
        context.diagnostics.warning(session.path, log.modes.front().line,
                                    "the device offered other colour modes than the tree gives");
    }
    return true;
}

void replayEngines(HuevaneToolContext& context, ReplaySession& session) {
    for (EngineReplay& engine : session.engines) {
        if (!hasUpdate(*engine.log) && engine.log->stopLine == 0) {
            context.diagnostics.note(session.path, engine.log->firstLine,
                                     "engine " + std::to_string(engine.number) +
                                             " prints no parcel: nothing to compare");
            continue;
        }
        ReadingSearch(context.common.root, context.common.logLevel, &engine).run();
        engine.replayed = true;
        if (!checkTree(context, session, engine)) {
            session.unusable = true;
            engine.replayed = false;
            continue;
        }
        if (engine.requests.stopLine != 0) {
            context.diagnostics.error(session.path, engine.requests.stopLine,
                                      engine.requests.stopReason);
            session.unusable = true;
        }
    }
}

// ---- rendering ----

std::string getSourceText(const ReplaySource& s) {
    std::string text;
    switch (s.sourceKind) {
        case huevane::SOURCE_KIND_COLOR_MODE:
            text = s.earlier ? "colour mode of an earlier update"
                             : "colour mode" + (s.file.empty() ? std::string()
                                                               : " " + s.file + ":" +
                                                                         std::to_string(s.line));
            break;
        case huevane::SOURCE_KIND_TRANSFORM:
            text = "colour transform";
            break;
        default:
            text = "extension LUT";
    }
    if (s.sourceKind != huevane::SOURCE_KIND_COLOR_MODE) {
        if (s.logLine != 0) text += " (log line " + std::to_string(s.logLine) + ")";
        if (s.earlier) text += " stored by an earlier update";
    }
    if (s.open) {
        text += " (the log shows a transform and an extension gamma_matrix without attributes "
                "alike there)";
    }
    return text;
}

std::string getSourcesText(const ReplayDifference& d) {
    if (d.sources.empty()) return "";
    std::string text = "; rebuilt ";
    text += d.stage.empty() ? "from " : "by the " + d.stage + " stage from ";
    for (size_t i = 0; i < d.sources.size(); i++) {
        text += (i == 0 ? "" : " x ") + getSourceText(d.sources[i]);
    }
    return text;
}

std::string getDifferenceText(const ReplayDifference& d) {
    const std::string lut = d.lut >= 0 ? "LUT " + std::to_string(d.lut) + " " + d.lutName : "";
    std::string text;
    if (d.field == "lut") {
        text = "LUT " + std::to_string(d.lut) + " is " + d.device + " on the device, " + d.rebuilt +
               " rebuilt";
    } else if (d.field == "text") {
        text = lut + ": text at byte " + std::to_string(d.offset) + ": device \"" + d.device +
               "\", rebuilt \"" + d.rebuilt + "\"";
    } else if (d.field == "luts") {
        text = "the device's parcel has " + d.device + " LUTs, the rebuilt one " + d.rebuilt +
               ": LUT " + std::to_string(d.lut) + " " + d.lutName + " is only in the " +
               (d.sources.empty() ? "device's" : "rebuilt");
    } else if (d.field == "built") {
        text = "the device's update: " + d.device + "; the rebuilt one: " + d.rebuilt;
    } else if (d.field == "needed_size") {
        text = "both refuse the parcel, the device's needing " + d.device +
               " bytes, the rebuilt one " + d.rebuilt;
    } else {
        text = (lut.empty() ? "parcel header" : lut) + ": " + d.field + " " + d.device +
               " on the device, " + d.rebuilt + " rebuilt";
        if (d.offset >= 0) {
            text += " (the texts differ past byte " + std::to_string(d.offset) +
                    ", where the print stops)";
        }
    }
    return text + getSourcesText(d);
}

std::string getUpdateText(const ReplayUpdate& u) {
    std::string text = "line " + std::to_string(u.line);
    if (u.seqNum >= 0) text += ", seq_num " + std::to_string(u.seqNum);
    text += ": ";
    if (u.result == ReplayUpdate::NOT_COMPARED) {
        text += "not compared";
    } else if (u.result == ReplayUpdate::DIFFERENT) {
        text += "DIFFERS: " + getDifferenceText(u.difference);
    } else if (u.failed) {
        text += "identical: neither the device nor the rebuilt engine could build this parcel";
    } else {
        text += "identical, " + std::to_string(u.luts) + " LUTs, " + std::to_string(u.size) +
                " bytes";
        for (size_t i = 0; i < u.cuts.size(); i++) {
            text += (i == 0 ? "; the print carries " : ", ") + std::string("LUT ") +
                    std::to_string(u.cuts[i].lut) + " to byte " +
                    std::to_string(u.cuts[i].compared) + " of " + std::to_string(u.cuts[i].length);
        }
    }
    for (const std::string& caveat : u.caveats) text += "; note: " + caveat;
    return text;
}

std::string getLabel(const std::string& label) {
    return label.size() < 12 ? label + std::string(12 - label.size(), ' ') : label + " ";
}

void writeEngineText(const EngineReplay& engine, std::ostream& out) {
    const ReplayEngineLog& log = *engine.log;
    out << getLabel("engine " + std::to_string(engine.number)) << "display " << engine.display
        << (engine.displayFromLog ? "" : " (the log does not name it)") << ", process " << log.pid;
    if (log.createdLine != 0) {
        out << ", created at line " << log.createdLine;
    } else {
        out << ", created before the log begins";
    }
    out << "\n";
    for (const std::string& document : log.documents) out << "  opened    " << document << "\n";
    for (const std::string& note : log.creationNotes) out << "  noted     " << note << "\n";
    for (const ReplayUpdate& u : engine.run.updates) {
        out << getLabel("update " + std::to_string(u.number)) << getUpdateText(u) << "\n";
    }
    const long stop = log.stopLine != 0 ? log.stopLine : engine.requests.stopLine;
    if (stop != 0) {
        out << "  stopped   at line " << stop << ": "
            << (log.stopLine != 0 ? log.stopReason : engine.requests.stopReason) << "\n";
    }
}

struct Tally {
    size_t updates = 0;
    size_t identical = 0;
    size_t different = 0;
};

Tally getTally(const ReplaySession& session) {
    Tally tally;
    for (const EngineReplay& engine : session.engines) {
        for (const ReplayUpdate& u : engine.run.updates) {
            tally.updates++;
            tally.identical += u.result == ReplayUpdate::IDENTICAL;
            tally.different += u.result == ReplayUpdate::DIFFERENT;
        }
    }
    return tally;
}

void writeText(const ReplaySession& session, std::ostream& out) {
    out << getLabel("log") << session.path << ": " << session.read.lineCount << " lines ("
        << getFormsText(session.read) << "), " << session.read.lines.size() << " of "
        << LIBRARY_TAG;
    if (session.read.unreadCount > 0) out << ", " << session.read.unreadCount << " in no form";
    out << "\n";
    for (const EngineReplay& engine : session.engines) {
        if (engine.replayed) writeEngineText(engine, out);
    }
    const Tally tally = getTally(session);
    out << getLabel("result") << tally.updates << " update" << (tally.updates == 1 ? "" : "s")
        << ": " << tally.identical << " identical, " << tally.different << " differ"
        << (tally.different == 1 ? "s" : "") << ", "
        << tally.updates - tally.identical - tally.different << " not compared\n";
}

HuevaneJson getSourceJson(const ReplaySource& s) {
    static const char* const SOURCES[] = {"colour_mode", "colour_transform", "extension"};
    HuevaneJson json = {
            {"source", s.sourceKind >= 0 && s.sourceKind < 3 ? SOURCES[s.sourceKind] : "unknown"}};
    if (s.sourceKind == huevane::SOURCE_KIND_COLOR_MODE) {
        json["file"] = s.file;
        json["line"] = s.line;
    } else {
        json["log_line"] = s.logLine;
    }
    json["earlier_update"] = s.earlier;
    json["open_reading"] = s.open;
    return json;
}

HuevaneJson getUpdateJson(const ReplayUpdate& u) {
    static const char* const RESULTS[] = {"identical", "different", "not_compared"};
    HuevaneJson cuts = HuevaneJson::array();
    for (const ReplayUpdate::Cut& cut : u.cuts) {
        cuts.push_back({{"lut", cut.lut}, {"compared", cut.compared}, {"length", cut.length}});
    }
    HuevaneJson difference = nullptr;
    if (u.result == ReplayUpdate::DIFFERENT) {
        const ReplayDifference& d = u.difference;
        HuevaneJson from = HuevaneJson::array();
        for (const ReplaySource& source : d.sources) from.push_back(getSourceJson(source));
        difference = {{"field", d.field},
                      {"lut", d.lut >= 0 ? HuevaneJson(d.lut) : HuevaneJson(nullptr)},
                      {"lut_name", d.lutName},
                      {"device", d.device},
                      {"rebuilt", d.rebuilt},
                      {"offset", d.offset >= 0 ? HuevaneJson(d.offset) : HuevaneJson(nullptr)},
                      {"stage", d.stage.empty() ? HuevaneJson(nullptr) : HuevaneJson(d.stage)},
                      {"from", from}};
    }
    return {{"update", u.number},
            {"line", u.line},
            {"seq_num", u.seqNum >= 0 ? HuevaneJson(u.seqNum) : HuevaneJson(nullptr)},
            {"failed", u.failed},
            {"result", RESULTS[u.result]},
            {"luts", u.luts},
            {"size", u.size},
            {"cut", cuts},
            {"difference", difference},
            {"caveats", u.caveats}};
}

void writeJsonDocument(const ReplaySession& session, const HuevaneDiagnostics& diagnostics,
                       std::ostream& out) {
    HuevaneJson engines = HuevaneJson::array();
    for (const EngineReplay& engine : session.engines) {
        if (!engine.replayed) continue;
        const ReplayEngineLog& log = *engine.log;
        HuevaneJson updates = HuevaneJson::array();
        for (const ReplayUpdate& u : engine.run.updates) updates.push_back(getUpdateJson(u));
        const long stop = log.stopLine != 0 ? log.stopLine : engine.requests.stopLine;
        HuevaneJson stopped = nullptr;
        if (stop != 0) {
            stopped = {{"line", stop},
                       {"reason", log.stopLine != 0 ? log.stopReason : engine.requests.stopReason}};
        }
        engines.push_back({{"engine", engine.number},
                           {"display", engine.display},
                           {"display_from_log", engine.displayFromLog},
                           {"process", log.pid},
                           {"thread", log.tid >= 0 ? HuevaneJson(log.tid) : HuevaneJson(nullptr)},
                           {"created_line", log.createdLine != 0 ? HuevaneJson(log.createdLine)
                                                                 : HuevaneJson(nullptr)},
                           {"documents", log.documents},
                           {"creation_notes", log.creationNotes},
                           {"tree_documents", engine.run.treeDocuments},
                           {"updates", updates},
                           {"stopped", stopped}});
    }
    std::vector<std::string> forms;
    for (HuevaneLogForm form : session.read.forms) forms.push_back(getLogFormName(form));
    const Tally tally = getTally(session);
    const char* result = session.unusable || diagnostics.getErrorCount() > 0 ? "unusable"
                         : tally.different > 0                               ? "different"
                                                                             : "identical";
    writeJson(out, {{"log", session.path},
                    {"lines", session.read.lineCount},
                    {"forms", forms},
                    {"library_lines", session.read.lines.size()},
                    {"engines", engines},
                    {"result", result}});
}

bool isDisplayGiven(const CLI::App& command) {
    for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
        const CLI::Option* option = app->get_option_no_throw("--display");
        if (option != nullptr && option->count() > 0) return true;
    }
    return false;
}

int runReplay(HuevaneToolContext& context, const std::string& path) {
    ReplaySession session;
    session.path = path;
    const HuevaneToolFileRead file = readToolFile(path, getReadBound(path));
    if (!file.ok || file.truncated) {
        context.diagnostics.error(
                path, 0,
                file.ok ? "larger than a captured log can be" : "cannot read: " + file.error);
        return TOOL_USAGE;
    }
    session.read = readHuevaneLog(file.bytes, LIBRARY_TAG);
    if (!checkLog(context, session)) return TOOL_USAGE;
    const bool displayGiven = isDisplayGiven(context.command);
    session.log = readReplayLog(session.read,
                                displayGiven ? static_cast<int64_t>(context.common.display) : -1);
    reportLogProblems(context, session);
    if (!selectEngines(context, displayGiven, session)) return TOOL_USAGE;
    replayEngines(context, session);
    context.common.json ? writeJsonDocument(session, context.diagnostics, context.out)
                        : writeText(session, context.out);
    if (session.unusable || context.diagnostics.getErrorCount() > 0) return TOOL_USAGE;
    return getTally(session).different > 0 ? TOOL_FAILED : TOOL_OK;
}

}  // namespace

HuevaneToolRun setupReplayCommand(CLI::App& command) {
    command.description(
            "Rebuilds a device's parcels from its log: reads the library's lines of a capture\n"
            "(adb logcat -d in its threadtime, time, brief or long form, or liblog's stderr form\n"
            "on a host), drives an engine on the device tree of --root with the requests each\n"
            "engine of the log received, and holds every parcel it builds against the one the\n"
            "device printed. One line per update: identical, or the first difference and where\n"
            "the rebuilt entry came from. The engine must log at level 3. Exit 0 when every\n"
            "update is identical, 1 when one differs, 2 when the log cannot be used.");
    auto path = std::make_shared<std::string>();
    command.add_option("LOG", *path, "the captured log ('-' reads standard input)")
            ->required()
            ->type_name("LOG");
    return [path](HuevaneToolContext& context) { return runReplay(context, *path); };
}
