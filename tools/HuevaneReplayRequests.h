// An engine's requests rebuilt from its log lines, in the order it received them: colour modes
// from the traces; colour transforms from the transform source's dump, whose fixed-point text
// maps back to floats that the library writes as the same text; extension LUTs from the
// extension source's dump. Both sources dump every LUT staged since the last update after each
// call, so a call's own LUTs are what its dump adds to the one before.
//
// Two readings are open where a dump line could be either source's: a gamma_matrix LUT without
// attributes whose text is a transform's. Each such place is a decision, read as a colour
// transform unless the caller asks for the other reading.
#ifndef HUEVANE_TOOLS_HUEVANEREPLAYREQUESTS_H
#define HUEVANE_TOOLS_HUEVANEREPLAYREQUESTS_H

#include <cstddef>
#include <cstdint>
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
    int decision = -1;       // the open reading that made this request, or -1
    bool beforeLog = false;  // staged before the log begins: only a later dump shows it
};

struct ReplayRequests {
    std::vector<ReplayRequest> requests;
    std::vector<long> decisions;  // the line of each open reading, in order
    long stopLine = 0;            // the requests from here on could not be rebuilt
    std::string stopReason;
};

// `alternatives[i]`: read the i-th open place as an extension LUT rather than a transform.
ReplayRequests rebuildReplayRequests(const ReplayEngineLog& engine,
                                     const std::vector<bool>& alternatives);

// The floats a transform's dumped matrix text comes from; false when no floats give that text.
bool getTransformFromText(const std::string& text, huevane::mat4* transform);

#endif  // HUEVANE_TOOLS_HUEVANEREPLAYREQUESTS_H
