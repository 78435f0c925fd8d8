// The library's lines of a captured log, sorted into the engines that wrote them: for each
// engine the documents it opened when it was created, its requests as traced and dumped, and
// the parcels it printed. Lines are told apart by process and thread, by the "init completed"
// that starts every engine and by the display its documents name; whatever the log does not
// tell (two engines of one process whose lines cannot be told apart, a print that lost lines,
// a trace that does not read) becomes a problem with its line, never a guess.
#ifndef HUEVANE_TOOLS_HUEVANEREPLAYLOG_H
#define HUEVANE_TOOLS_HUEVANEREPLAYLOG_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "HuevaneLogReader.h"

// liblog formats every message into 1024 bytes: a longer one is cut to 1023.
constexpr size_t HUEVANE_LOG_MESSAGE_MAX = 1023;

// One line of a transform or extension source's dump: "id[%d] attr(%d,%d,%d,%d) %s".
struct ReplayDumpLine {
    long line = 0;
    uint8_t id = 0;
    uint8_t attr[4] = {0, 0, 0, 0};
    std::string text;
    bool cut = false;  // the message reached liblog's limit: the text may be longer

    bool isSameLut(const ReplayDumpLine& other) const;
};

struct ReplayPrintedEntry {
    long line = 0;  // "[data_header%d]"
    int magic = 0;
    int id = 0;
    int crc = 0;
    int totalSize = 0;
    int headerSize = 0;
    int attr[4] = {0, 0, 0, 0};
    long textLine = 0;
    std::string text;  // as far as the print carries it
};

struct ReplayPrintedParcel {
    long line = 0;  // "printParcel"
    int magic = 0;
    int seqNum = 0;
    int totalSize = 0;
    int headerSize = 0;
    std::vector<ReplayPrintedEntry> entries;
    // logcat's one-line forms drop a text's last newline (see isFinalNewlineShown).
    bool finalNewlineShown = true;
};

struct ReplayLogItem {
    enum Kind {
        SET_MODE,         // "setColorMode:mode(%d)"
        SET_MODE_INTENT,  // "setColorModeWithRenderIntent:mode(%d), intent(%d)"
        DUMP,             // a line of a source's dump
        PREVIOUS_LUT,     // "previous lut (%d) has not been applied"
        PRINT,            // a whole parcel print
        FAILED,           // "failed to fill luts"
    };
    Kind kind = SET_MODE;
    long line = 0;
    uint32_t mode = 0;
    uint32_t intent = 0;
    int count = 0;        // PREVIOUS_LUT
    ReplayDumpLine dump;  // DUMP
    size_t print = 0;     // PRINT: index into the engine's prints
    std::string detail;   // FAILED: what the engine logged about it just before
};

struct ReplayListedMode {
    long line = 0;
    uint32_t modeId = 0;
    uint32_t gamutId = 0;
    std::string name;
};

struct ReplayEngineLog {
    int pid = -1;
    int tid = -1;          // of the line that created it (or first named it)
    long createdLine = 0;  // "init completed"; 0 when the log does not show the creation
    long firstLine = 0;    // its first line in the log
    int64_t display = -1;  // read from the documents it opened; -1 when they do not tell
    std::vector<std::string> documents;      // device paths, in the order opened
    std::vector<std::string> creationNotes;  // what creation logged besides
    std::vector<ReplayListedMode> modes;     // its last dumpColorModeList
    std::vector<ReplayLogItem> items;
    std::vector<ReplayPrintedParcel> prints;
    bool traced = false;  // it wrote lines of log level 2 or more ...
    long tracedLine = 0;  // ... the first of them here
    long stopLine = 0;    // its lines from here on could not be used; 0 when all could
    std::string stopReason;
    bool superseded = false;  // a later engine of the same display in the same process
};

struct ReplayLogProblem {
    long line = 0;
    bool error = true;  // false: a warning
    std::string message;
};

struct ReplayLog {
    std::vector<ReplayEngineLog> engines;
    std::vector<ReplayLogProblem> problems;
};

// `display`: the --display asked for (it settles lines that could be several engines'), or -1.
ReplayLog readReplayLog(const HuevaneLogRead& read, int64_t display);

#endif  // HUEVANE_TOOLS_HUEVANEREPLAYLOG_H
