#include "HuevaneReplayLog.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <string_view>
#include <utility>

namespace {

using std::string_view;

// The calibration documents are named after the display they serve: this stem, then its id.
const char* const CALIBRATION_STEM = "calib_data_colormode";

// Steps of a parcel print: the parcel header's six lines, then twelve per entry.
constexpr size_t PRINT_HEADER_STEPS = 6;
constexpr size_t PRINT_ENTRY_STEPS = 12;
constexpr size_t PRINT_TEXT_STEP = 11;

// One message: a log entry's lines joined again.
struct Message {
    long line = 0;
    long lastLine = 0;
    int pid = -1;
    int tid = -1;
    char priority = 0;
    HuevaneLogForm form = HuevaneLogForm::THREADTIME;
    std::string time;
    std::string text;
    bool printText = false;  // the text of a parcel print's entry ...
    size_t textLimit = 0;    // ... and the most of it the print can carry
};

// Matches the whole of `text` against one of the library's formats: %d a decimal, %x hex digits,
// %s the rest of the text (last only).
bool matchLine(string_view text, string_view pattern, long long* numbers = nullptr,
               std::string* rest = nullptr) {
    size_t t = 0;
    size_t count = 0;
    for (size_t p = 0; p < pattern.size(); p++) {
        if (pattern[p] != '%' || p + 1 == pattern.size()) {
            if (t >= text.size() || text[t] != pattern[p]) return false;
            t++;
            continue;
        }
        const char format = pattern[++p];
        if (format == 's') {
            if (rest != nullptr) *rest = std::string(text.substr(t));
            return true;
        }
        const bool negative = format == 'd' && t < text.size() && text[t] == '-';
        if (negative) t++;
        const int base = format == 'x' ? 16 : 10;
        long long value = 0;
        size_t digits = 0;
        for (; t < text.size() && digits < 18; t++, digits++) {
            const char c = text[t];
            int digit = c >= '0' && c <= '9' ? c - '0' : -1;
            if (base == 16 && c >= 'a' && c <= 'f') digit = c - 'a' + 10;
            if (digit < 0) break;
            value = value * base + digit;
        }
        if (digits == 0) return false;
        if (numbers != nullptr) numbers[count] = negative ? -value : value;
        count++;
    }
    return t == text.size();
}

// The library prints its 32-bit unsigned ids with %d.
uint32_t getPrintedId(long long value) {
    return static_cast<uint32_t>(static_cast<int64_t>(value));
}

bool isByte(long long value) {
    return value >= 0 && value <= 255;
}

int64_t getDisplayOfDocument(const std::string& path) {
    const size_t stem = path.rfind(CALIBRATION_STEM);
    if (stem == std::string::npos) return -1;
    size_t p = stem + strlen(CALIBRATION_STEM);
    int64_t display = -1;
    for (; p < path.size() && path[p] >= '0' && path[p] <= '9' && display < (1LL << 32); p++) {
        display = (display < 0 ? 0 : display * 10) + (path[p] - '0');
    }
    return display < (1LL << 32) ? display : -1;
}

enum class Kind {
    EMPTY,
    INIT,
    OPENED,
    CREATION,
    SET_MODE,
    SET_MODE_INTENT,
    DUMP,
    PREVIOUS_LUT,
    MODE_HEADING,
    MODE_ENTRY,
    INTENT_LIST,
    SOURCE_DUMP,
    PRINT_START,
    PRINT_LINE,
    FAILED,
    FAIL_REASON,
    GARBLED,
    UNKNOWN,
};

struct Classified {
    Kind kind = Kind::UNKNOWN;
    long long numbers[6] = {};
    std::string rest;
};

// The lines of a print other than its start, in any order: met outside a print they show that
// its start was lost.
bool isPrintLine(string_view text) {
    static const char* const PATTERNS[] = {
            "[header]",     "magic(0x%x)",     "seq_num(%d)", "total_size(%d)", "header_size(%d)",
            "num_data(%d)", "[data_header%d]", "id(%d)",      "crc(0x%x)",      "attr0(%d)",
            "attr1(%d)",    "attr2(%d)",       "attr3(%d)",   "[data%d]"};
    for (const char* pattern : PATTERNS) {
        if (matchLine(text, pattern)) return true;
    }
    return false;
}

// Lines that start like the library's traces, dumps and prints; one that does not read in full
// was cut or garbled.
bool looksLikeTrace(string_view text) {
    static const char* const STARTS[] = {"setColorMode",        "id[",
                                         "printParcel",         "previous lut",
                                         "dumpColorMode",       "dumpRenderIntent",
                                         "failed to fill luts", "HuevaneImplementation"};
    for (const char* start : STARTS) {
        if (text.substr(0, strlen(start)) == start) return true;
    }
    return false;
}

bool isCreationNote(string_view text) {
    static const char* const STARTS[] = {
            "no target name is found", "out of range of target name", "target name '",
            "empty document",          "document of the wrong type",  "subxml '"};
    for (const char* start : STARTS) {
        if (text.substr(0, strlen(start)) == start) return true;
    }
    return text.find(" is not a regular file") != string_view::npos ||
           text.find(" is larger than ") != string_view::npos ||
           text.find(": entity references take its LUT texts past ") != string_view::npos;
}

// The message as the library wrote it: the forms that show a message's last newline show the
// one its formats end with.
string_view getBody(const Message& m) {
    string_view text = m.text;
    if (!m.printText && isFinalNewlineShown(m.form) && !text.empty() && text.back() == '\n') {
        text.remove_suffix(1);
    }
    return text;
}

Classified classifyDebug(string_view text) {
    Classified c;
    long long* n = c.numbers;
    if (text == "HuevaneImplementation init completed") {
        c.kind = Kind::INIT;
    } else if (matchLine(text, "setColorMode:mode(%d)", n)) {
        c.kind = Kind::SET_MODE;
    } else if (matchLine(text, "setColorModeWithRenderIntent:mode(%d), intent(%d)", n)) {
        c.kind = Kind::SET_MODE_INTENT;
    } else if (matchLine(text, "id[%d] attr(%d,%d,%d,%d) %s", n, &c.rest) && isByte(n[0]) &&
               isByte(n[1]) && isByte(n[2]) && isByte(n[3]) && isByte(n[4])) {
        c.kind = Kind::DUMP;
    } else if (text == "[supported color modes]") {
        c.kind = Kind::MODE_HEADING;
    } else if (matchLine(text, "dumpColorModeList: modeId(%d), gamutId(%d), modeName(%s", n,
                         &c.rest) &&
               !c.rest.empty() && c.rest.back() == ')') {
        c.rest.pop_back();
        c.kind = Kind::MODE_ENTRY;
    } else if (text == "[supported render intents]" ||
               matchLine(text, "dumpRenderIntentList: intentId(%d), intentName(%s", n)) {
        c.kind = Kind::INTENT_LIST;
    } else if (matchLine(text, "id%d attr(%s") || matchLine(text, "[%d/%d] id%d attr(%s")) {
        c.kind = Kind::SOURCE_DUMP;
    } else if (matchLine(text, "printParcel: parcel(%x)")) {
        c.kind = Kind::PRINT_START;
    } else if (text == "failed to fill luts") {
        c.kind = Kind::FAILED;
    } else if (matchLine(text, "size mistmatch between data %d and header %d-%d-1")) {
        c.kind = Kind::FAIL_REASON;
    } else if (isPrintLine(text)) {
        c.kind = Kind::PRINT_LINE;
    } else if (isCreationNote(text)) {
        c.kind = Kind::CREATION;
    } else if (looksLikeTrace(text)) {
        c.kind = Kind::GARBLED;
    }
    return c;
}

Classified classify(const Message& m) {
    const string_view text = getBody(m);
    Classified c;
    if (text.empty()) {
        c.kind = Kind::EMPTY;
    } else if (m.priority == 'D') {
        c = classifyDebug(text);
    } else if (m.priority == 'I' && text.size() > 7 && text.substr(text.size() - 7) == " opened") {
        c.kind = Kind::OPENED;
        c.rest = std::string(text.substr(0, text.size() - 7));
    } else if (m.priority == 'W' &&
               matchLine(text, "previous lut (%d) has not been applied", c.numbers)) {
        c.kind = Kind::PREVIOUS_LUT;
    } else if (m.priority == 'E' && (matchLine(text,
                                               "parcel needs %d bytes, more than the %d "
                                               "bytes it may use") ||
                                     text == "no buffer for the parcel")) {
        c.kind = Kind::FAIL_REASON;
    } else if (m.priority == 'E' && isCreationNote(text)) {
        c.kind = Kind::CREATION;
    } else if (looksLikeTrace(text)) {
        c.kind = Kind::GARBLED;
    }
    return c;
}

// A thread's lines: its creation lines not yet claimed by an "init completed", and the parcel
// print it is in the middle of.
struct Stream {
    long creationLine = 0;
    std::vector<std::string> opened;
    std::vector<std::string> notes;
    std::string failDetail;
    bool inPrint = false;
    size_t printEngine = 0;
    size_t step = 0;
    int numData = 0;
    ReplayPrintedParcel print;
};

ReplayDumpLine getDumpLine(const Message& m, const Classified& c) {
    ReplayDumpLine dump;
    dump.line = m.line;
    dump.id = static_cast<uint8_t>(c.numbers[0]);
    for (int i = 0; i < 4; i++) dump.attr[i] = static_cast<uint8_t>(c.numbers[i + 1]);
    dump.text = c.rest;
    // An intact dump ends with its newline, which the message then still has (or, in logcat's
    // one-line forms, was dropped from a message shorter than the limit).
    const bool newline = isFinalNewlineShown(m.form) && !m.text.empty() && m.text.back() == '\n';
    dump.cut = m.text.size() >= HUEVANE_LOG_MESSAGE_MAX && !newline;
    return dump;
}

// Reads the line a print has at its current step into the print; false when it is not that
// line.
bool readPrintStep(Stream& stream, const Message& m) {
    const string_view text = getBody(m);
    ReplayPrintedParcel& print = stream.print;
    long long n[1] = {0};
    if (stream.step < PRINT_HEADER_STEPS) {
        static const char* const HEADER[] = {"[header]",       "magic(0x%x)",     "seq_num(%d)",
                                             "total_size(%d)", "header_size(%d)", "num_data(%d)"};
        if (m.priority != 'D' || !matchLine(text, HEADER[stream.step], n)) return false;
        int* const fields[] = {nullptr,          &print.magic,      &print.seqNum,
                               &print.totalSize, &print.headerSize, &stream.numData};
        if (fields[stream.step] != nullptr) *fields[stream.step] = static_cast<int>(n[0]);
        return true;
    }
    const size_t k = (stream.step - PRINT_HEADER_STEPS) / PRINT_ENTRY_STEPS;
    const size_t step = (stream.step - PRINT_HEADER_STEPS) % PRINT_ENTRY_STEPS;
    if (step == 0) print.entries.emplace_back();
    ReplayPrintedEntry& entry = print.entries.back();
    if (step == PRINT_TEXT_STEP) {
        if (m.priority != 'D' || !m.printText) return false;
        entry.text = m.text;
        entry.textLine = m.line;
        return true;
    }
    static const char* const ENTRY[] = {"[data_header%d]", "magic(0x%x)",    "id(%d)",
                                        "crc(0x%x)",       "total_size(%d)", "header_size(%d)",
                                        "attr0(%d)",       "attr1(%d)",      "attr2(%d)",
                                        "attr3(%d)",       "[data%d]"};
    if (m.priority != 'D' || !matchLine(text, ENTRY[step], n)) return false;
    int* const fields[] = {nullptr,          &entry.magic,      &entry.id,      &entry.crc,
                           &entry.totalSize, &entry.headerSize, &entry.attr[0], &entry.attr[1],
                           &entry.attr[2],   &entry.attr[3],    nullptr};
    if (fields[step] != nullptr) *fields[step] = static_cast<int>(n[0]);
    if (step == 0) entry.line = m.line;
    return fields[step] != nullptr || n[0] == static_cast<long long>(k);
}

class LogSorter {
  public:
    LogSorter(int64_t display, ReplayLog* log) : mDisplay(display), mLog(log) {}
    void take(const HuevaneLogLine& line);
    void finish();

  private:
    bool continues(const HuevaneLogLine& line) const;
    void dispatch(const Message& m);
    void dispatchItem(const Message& m, const Classified& c, Stream& stream);
    void startMessage(const HuevaneLogLine& line);
    Stream& getStream(const Message& m) { return mStreams[{m.pid, m.tid}]; }
    void createEngine(const Message& m, Stream& stream);
    size_t attribute(const Message& m);
    void stop(size_t engine, long line, const std::string& reason);
    void problem(long line, bool error, const std::string& message) {
        mLog->problems.push_back({line, error, message});
    }
    void feedPrint(Stream& stream, const Message& m);
    void finishPrint(Stream& stream);

    static constexpr size_t NO_ENGINE = static_cast<size_t>(-1);
    int64_t mDisplay;
    ReplayLog* mLog;
    std::map<std::pair<int, int>, Stream> mStreams;
    bool mHasPending = false;
    Message mPending;
    std::map<int, long> mAmbiguousReported;  // per process, the first line reported
    static constexpr long UNKNOWN_REPORTED = 5;
    long mUnknown = 0;
};

bool LogSorter::continues(const HuevaneLogLine& line) const {
    if (!mHasPending || line.boundary == HuevaneLogBoundary::ENTRY) return false;
    if (line.boundary == HuevaneLogBoundary::CONTINUATION) return true;
    const Message& m = mPending;
    // logcat prints the lines of one entry together, each behind the same prefix.
    if (line.number != m.lastLine + 1 || line.pid != m.pid || line.tid != m.tid ||
        line.priority != m.priority || line.time != m.time) {
        return false;
    }
    if (m.printText) {
        return m.text.size() + 1 + line.text.size() <= m.textLimit &&
               !matchLine(line.text, "[data_header%d]");
    }
    Message next = m;
    next.text = line.text;
    const Kind kind = classify(next).kind;
    return classify(m).kind == Kind::DUMP && (kind == Kind::UNKNOWN || kind == Kind::EMPTY);
}

void LogSorter::startMessage(const HuevaneLogLine& line) {
    mPending = Message();
    mPending.line = line.number;
    mPending.lastLine = line.number;
    mPending.pid = line.pid;
    mPending.tid = line.tid;
    mPending.priority = line.priority;
    mPending.form = line.form;
    mPending.time = line.time;
    mPending.text = line.text;
    const Stream& stream = getStream(mPending);
    if (stream.inPrint && stream.step >= PRINT_HEADER_STEPS &&
        (stream.step - PRINT_HEADER_STEPS) % PRINT_ENTRY_STEPS == PRINT_TEXT_STEP) {
        const int totalSize = stream.print.entries.back().totalSize;
        mPending.printText = true;
        mPending.textLimit =
                std::min<size_t>(totalSize > 13 ? totalSize - 13 : 0, HUEVANE_LOG_MESSAGE_MAX);
    }
    mHasPending = true;
}

void LogSorter::take(const HuevaneLogLine& line) {
    if (continues(line)) {
        mPending.text += '\n';
        mPending.text += line.text;
        mPending.lastLine = line.number;
        return;
    }
    if (mHasPending) dispatch(mPending);
    mHasPending = false;
    startMessage(line);
}

void LogSorter::finish() {
    if (mHasPending) dispatch(mPending);
    mHasPending = false;
    if (mUnknown > UNKNOWN_REPORTED) {
        problem(0, false,
                "and " + std::to_string(mUnknown - UNKNOWN_REPORTED) +
                        " more libhuevane lines replay does not know, skipped");
    }
    for (auto& entry : mStreams) {
        Stream& stream = entry.second;
        if (!stream.inPrint) continue;
        stream.inPrint = false;
        stop(stream.printEngine, stream.print.line,
             "the log ends inside the parcel print that begins here");
    }
}

void LogSorter::stop(size_t engine, long line, const std::string& reason) {
    ReplayEngineLog& e = mLog->engines[engine];
    if (e.stopLine != 0) return;
    e.stopLine = line;
    e.stopReason = reason;
    problem(line, true, reason);
}

void LogSorter::createEngine(const Message& m, Stream& stream) {
    ReplayEngineLog engine;
    engine.pid = m.pid;
    engine.tid = m.tid;
    engine.createdLine = m.line;
    engine.firstLine = stream.creationLine != 0 ? stream.creationLine : m.line;
    engine.documents = std::move(stream.opened);
    engine.creationNotes = std::move(stream.notes);
    if (!engine.documents.empty()) engine.display = getDisplayOfDocument(engine.documents[0]);
    // A second engine of a display in a process is the compositor's new one for it.
    for (ReplayEngineLog& other : mLog->engines) {
        if (other.pid == m.pid && !other.superseded && other.display == engine.display) {
            other.superseded = true;
        }
    }
    mLog->engines.push_back(std::move(engine));
    stream = Stream();
}

// Which engine wrote a line: the one engine of its process, or the one its thread created, or
// the one --display names.
size_t LogSorter::attribute(const Message& m) {
    std::vector<size_t> candidates;
    for (size_t i = 0; i < mLog->engines.size(); i++) {
        if (mLog->engines[i].pid == m.pid && !mLog->engines[i].superseded) candidates.push_back(i);
    }
    if (candidates.empty()) {  // the log begins after this engine was created
        ReplayEngineLog engine;
        engine.pid = m.pid;
        engine.tid = m.tid;
        engine.firstLine = m.line;
        engine.display = mDisplay;
        mLog->engines.push_back(std::move(engine));
        return mLog->engines.size() - 1;
    }
    if (candidates.size() == 1) return candidates[0];
    std::vector<size_t> sameThread;
    std::vector<size_t> sameDisplay;
    for (size_t i : candidates) {
        if (m.tid >= 0 && mLog->engines[i].tid == m.tid) sameThread.push_back(i);
        if (mDisplay >= 0 && mLog->engines[i].display == mDisplay) sameDisplay.push_back(i);
    }
    if (sameThread.size() == 1) return sameThread[0];
    if (sameDisplay.size() == 1) return sameDisplay[0];
    // Every engine it could be loses the line, so none of them can be replayed past it.
    for (size_t i : candidates) {
        if (mLog->engines[i].stopLine != 0) continue;
        mLog->engines[i].stopLine = m.line;
        mLog->engines[i].stopReason =
                "lines of process " + std::to_string(m.pid) + " cannot be told apart from here on";
    }
    if (mAmbiguousReported.emplace(m.pid, m.line).second) {
        std::string engines;
        for (size_t i : candidates) {
            const ReplayEngineLog& e = mLog->engines[i];
            engines += std::string(engines.empty() ? "" : ", ") + "display " +
                       (e.display >= 0 ? std::to_string(e.display) : "unknown") + " (line " +
                       std::to_string(e.createdLine != 0 ? e.createdLine : e.firstLine) + ")";
        }
        problem(m.line, true,
                "process " + std::to_string(m.pid) + " drives several engines (" + engines +
                        ") and this line cannot be told to be one's: " +
                        (m.tid < 0 ? "this log form prints no thread ids (capture with "
                                     "'-v threadtime'), "
                                   : "their threads do not tell, ") +
                        "so choose the display with --display");
    }
    return NO_ENGINE;
}

void LogSorter::dispatch(const Message& m) {
    Stream& stream = getStream(m);
    if (stream.inPrint) {
        feedPrint(stream, m);
        return;
    }
    const Classified c = classify(m);
    switch (c.kind) {
        case Kind::EMPTY:
            return;
        case Kind::INIT:
            createEngine(m, stream);
            return;
        case Kind::OPENED:
            if (stream.creationLine == 0) stream.creationLine = m.line;
            stream.opened.push_back(c.rest);
            return;
        case Kind::CREATION:
            if (stream.creationLine == 0) stream.creationLine = m.line;
            stream.notes.push_back(std::string(getBody(m)));
            return;
        case Kind::FAIL_REASON:
            stream.failDetail = std::string(getBody(m));
            return;
        case Kind::UNKNOWN:
            if (++mUnknown <= UNKNOWN_REPORTED) {
                problem(m.line, false,
                        "a libhuevane line replay does not know, skipped: '" +
                                std::string(getBody(m)).substr(0, 80) + "'");
            }
            return;
        default:
            dispatchItem(m, c, stream);
    }
}

void LogSorter::dispatchItem(const Message& m, const Classified& c, Stream& stream) {
    const size_t index = attribute(m);
    if (index == NO_ENGINE) return;
    ReplayEngineLog& engine = mLog->engines[index];
    // Failures and the "previous lut" warnings are written at every log level; the rest from
    // level 2 on.
    if (c.kind != Kind::FAILED && c.kind != Kind::PREVIOUS_LUT && !engine.traced) {
        engine.traced = true;
        engine.tracedLine = m.line;
    }
    if (c.kind == Kind::PRINT_START) {  // read through even for a stopped engine, then dropped
        stream.inPrint = true;
        stream.printEngine = index;
        stream.step = 0;
        stream.numData = 0;
        stream.print = ReplayPrintedParcel();
        stream.print.line = m.line;
        stream.print.finalNewlineShown = isFinalNewlineShown(m.form);
        return;
    }
    if (engine.stopLine != 0) return;
    ReplayLogItem item;
    item.line = m.line;
    switch (c.kind) {
        case Kind::SET_MODE:
        case Kind::SET_MODE_INTENT:
            item.kind = c.kind == Kind::SET_MODE ? ReplayLogItem::SET_MODE
                                                 : ReplayLogItem::SET_MODE_INTENT;
            item.mode = getPrintedId(c.numbers[0]);
            item.intent = c.kind == Kind::SET_MODE ? 0 : getPrintedId(c.numbers[1]);
            break;
        case Kind::DUMP:
            item.kind = ReplayLogItem::DUMP;
            item.dump = getDumpLine(m, c);
            break;
        case Kind::PREVIOUS_LUT:
            item.kind = ReplayLogItem::PREVIOUS_LUT;
            item.count = static_cast<int>(c.numbers[0]);
            break;
        case Kind::FAILED:
            item.kind = ReplayLogItem::FAILED;
            item.detail = std::move(stream.failDetail);
            stream.failDetail.clear();
            break;
        case Kind::MODE_HEADING:
            engine.modes.clear();
            return;
        case Kind::MODE_ENTRY:
            engine.modes.push_back(
                    {m.line, getPrintedId(c.numbers[0]), getPrintedId(c.numbers[1]), c.rest});
            return;
        case Kind::INTENT_LIST:
        case Kind::SOURCE_DUMP:
            return;
        case Kind::PRINT_LINE:
            stop(index, m.line,
                 "a line of a parcel print whose beginning ('printParcel: parcel(...)') is not "
                 "in the log: lines were lost");
            return;
        default:  // GARBLED
            stop(index, m.line,
                 "cannot read this libhuevane line (cut or garbled): '" +
                         std::string(getBody(m)).substr(0, 80) + "'");
            return;
    }
    engine.items.push_back(std::move(item));
}

void LogSorter::feedPrint(Stream& stream, const Message& m) {
    if (!readPrintStep(stream, m)) {
        stream.inPrint = false;
        stop(stream.printEngine, m.line,
             "the parcel print that begins at line " + std::to_string(stream.print.line) +
                     " breaks off here: lines were lost, or another thread's lines interleave");
        dispatch(m);
        return;
    }
    stream.step++;
    // logcat prints nothing for an empty message, so an empty text may have no line.
    const size_t step = (stream.step - PRINT_HEADER_STEPS) % PRINT_ENTRY_STEPS;
    if (stream.step > PRINT_HEADER_STEPS && step == PRINT_TEXT_STEP &&
        !stream.print.finalNewlineShown && stream.print.entries.back().totalSize <= 13) {
        stream.step++;
    }
    if (stream.step >= PRINT_HEADER_STEPS &&
        stream.step == PRINT_HEADER_STEPS + PRINT_ENTRY_STEPS * static_cast<size_t>(std::max(
                                                                        stream.numData, 0))) {
        finishPrint(stream);
    }
}

void LogSorter::finishPrint(Stream& stream) {
    stream.inPrint = false;
    ReplayEngineLog& engine = mLog->engines[stream.printEngine];
    if (engine.stopLine != 0) return;
    ReplayLogItem item;
    item.kind = ReplayLogItem::PRINT;
    item.line = stream.print.line;
    item.print = engine.prints.size();
    engine.prints.push_back(std::move(stream.print));
    engine.items.push_back(std::move(item));
}

}  // namespace

bool ReplayDumpLine::isSameLut(const ReplayDumpLine& other) const {
    return id == other.id && std::equal(attr, attr + 4, other.attr) && text == other.text;
}

ReplayLog readReplayLog(const HuevaneLogRead& read, int64_t display) {
    ReplayLog log;
    LogSorter sorter(display, &log);
    for (const HuevaneLogLine& line : read.lines) sorter.take(line);
    sorter.finish();
    return log;
}
