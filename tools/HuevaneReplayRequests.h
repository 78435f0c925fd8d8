// An engine's requests rebuilt from its log lines, in the order it received them: colour modes
// from the traces; colour transforms from the transform source's dump, whose fixed-point text
// maps back to floats that the library writes as the same text; extension LUTs from the
// extension source's dump. Both sources dump every LUT staged since the last update after each
// call, so a call's own LUTs are what its dump adds to the one before.
//
// The dumps of one cycle (from one built parcel to the next) are read as a whole: each dump must
// repeat what its source held, and only the transform source warns before it dumps a second
// time. Where more than one reading fits every line (a gamma_matrix LUT without attributes that
// either source could have staged), the cycle is open: its readings that stage different LUTs
// are kept, the first being the one taken unless the caller asks for another.
#ifndef HUEVANE_TOOLS_HUEVANEREPLAYREQUESTS_H
#define HUEVANE_TOOLS_HUEVANEREPLAYREQUESTS_H

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "HuevaneMatrixText.h"
#include "HuevaneReplayLog.h"

struct ReplayExtensionLut {
    long line = 0;  // of its dump line
    uint8_t id = 0;
    uint8_t attr[4] = {0, 0, 0, 0};
    std::string text;
};

struct ReplayRequest {
    enum Kind { SET_MODE, SET_MODE_INTENT, TRANSFORM, EXTENSION, UPDATE };
    Kind kind = SET_MODE;
    long line = 0;
    uint32_t mode = 0;
    uint32_t intent = 0;
    huevane::mat4 transform{};
    std::vector<ReplayExtensionLut> luts;  // EXTENSION: the LUTs the call added
    size_t item = 0;                       // UPDATE: the engine's PRINT or FAILED item
    bool beforeLog = false;  // staged before the log begins: only a later dump shows it
};

// A cycle whose dumps read more than one way.
struct ReplayOpenCycle {
    long firstLine = 0;  // its first dump line
    size_t readings = 0;
};

struct ReplayRequests {
    std::vector<ReplayRequest> requests;
    std::vector<ReplayOpenCycle> open;  // in log order
    std::set<long> openLines;           // dump lines some reading takes as the other source's
    long stopLine = 0;                  // the requests from here on could not be rebuilt
    std::string stopReason;
};

// `readings[i]`: which reading of the i-th open cycle to take (0, the first, when not given).
ReplayRequests rebuildReplayRequests(const ReplayEngineLog& engine,
                                     const std::vector<size_t>& readings);

// The floats a transform's dumped matrix text comes from; false when no floats give that text.
bool getTransformFromText(const std::string& text, huevane::mat4* transform);

#endif  // HUEVANE_TOOLS_HUEVANEREPLAYREQUESTS_H
