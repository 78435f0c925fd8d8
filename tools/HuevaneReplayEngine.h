// Replays one engine's log: a real engine on a device tree, built through the inspection as the
// compositor builds it, gets the requests the log shows through IHuevane, and every parcel it
// builds is held against the one the device printed, entry by entry. A difference names where
// the rebuilt entry came from, through the same accounting as `explain`: the calibration
// document and line, or the log line of the request.
#ifndef HUEVANE_TOOLS_HUEVANEREPLAYENGINE_H
#define HUEVANE_TOOLS_HUEVANEREPLAYENGINE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "HuevaneInspection.h"
#include "HuevaneReplayLog.h"
#include "HuevaneReplayRequests.h"

// Where a rebuilt entry, or one factor of a stage's entry, came from.
struct ReplaySource {
    int32_t sourceKind = -1;  // a huevane::SourceKind
    std::string file;         // colour mode: the host path of its document ...
    long line = 0;            // ... and the line there
    long logLine = 0;         // transform, extension: the log line of the request
    bool earlier = false;     // stored by an earlier update
    bool open = false;        // the log reads that line alike as either caller source's
};

struct ReplayDifference {
    std::string field;    // "text", "total_size", "crc", "id", "attr", "magic", "header_size",
                          // "luts", "built", "needed_size"
    long lut = -1;        // the entry, or -1 for the parcel as a whole
    std::string lutName;  // node and attributes of the entry
    std::string device;   // the values, as text
    std::string rebuilt;
    long offset = -1;   // text: the first byte that differs
    std::string stage;  // a stage's entry: the stage's node name
    std::vector<ReplaySource> sources;
};

struct ReplayUpdate {
    enum Result { IDENTICAL, DIFFERENT, NOT_COMPARED };
    Result result = NOT_COMPARED;
    size_t number = 0;    // 1-based among the engine's updates
    long line = 0;        // the device's print, or its "failed to fill luts"
    bool failed = false;  // the device could not build this parcel
    int seqNum = -1;      // the device's
    size_t luts = 0;
    size_t size = 0;
    struct Cut {
        size_t lut;
        size_t compared;
        size_t length;
    };
    std::vector<Cut> cuts;  // texts the print carries only in part
    ReplayDifference difference;
    std::vector<std::string> caveats;  // what the log leaves unknown about this update
};

struct ReplayEngineRun {
    std::vector<ReplayUpdate> updates;       // one per update of the log, compared or not
    std::vector<std::string> treeDocuments;  // device paths the tree's engine read
    std::vector<HuevaneMode> treeModes;
};

// Replays `requests` on a new engine of `display` in the tree at `root`, those up to line
// `until` when it is not 0. `logLevel` >= 0 sets the replayed engine's own log level (its lines
// then reach stderr).
ReplayEngineRun replayEngineLog(const std::string& root, uint32_t display,
                                const ReplayEngineLog& log, const ReplayRequests& requests,
                                int logLevel, long until = 0);

#endif  // HUEVANE_TOOLS_HUEVANEREPLAYENGINE_H
