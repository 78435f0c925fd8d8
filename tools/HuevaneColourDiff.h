// What `diff --panel` adds to a diff: per (mode, intent) that both calibrations offer and whose
// parcels differ, how far apart the panel's colours are predicted to be over the patch set, and
// how far its white point moves. Two parcels are compared as one pair.
#ifndef HUEVANE_TOOLS_HUEVANECOLOURDIFF_H
#define HUEVANE_TOOLS_HUEVANECOLOURDIFF_H

#include <cstdint>
#include <ostream>
#include <string>

#include "HuevaneToolDiagnostics.h"
#include "HuevaneToolJson.h"

struct HuevaneColourDiffRequest {
    std::string panel;   // the description
    std::string target;  // the patches' target; empty: the mode's, else srgb
    std::string a, b;    // device roots, calibration documents or parcels, as diff takes them
    uint32_t display = 0;
};

// `json`: {panel, pairs: [...]}; `text`: one line per pair, and a summary. False when the panel
// or an input cannot be used; every reason has been reported.
bool diffColours(const HuevaneColourDiffRequest& request, HuevaneDiagnostics& diagnostics,
                 HuevaneJson* json, std::string* text);

#endif  // HUEVANE_TOOLS_HUEVANECOLOURDIFF_H
