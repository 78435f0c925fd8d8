// The colour section `report --panel` adds to each (mode, intent): a CIE 1931 xy diagram
// (spectral locus, target and predicted gamut, white points) as inline SVG, and the patch table
// with target and predicted swatches side by side and their CIEDE2000.
#ifndef HUEVANE_TOOLS_HUEVANECOLOURREPORT_H
#define HUEVANE_TOOLS_HUEVANECOLOURREPORT_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "HuevaneColourAccuracy.h"

// The xy diagram; `accuracy` gives the gamuts and white points.
std::string getChromaticityDiagramSvg(const HuevaneAccuracy& accuracy);

// The section of one pair: its heading line, the statistics, the diagram and the table. `notes`:
// what the model could not take into account.
std::string getColourSectionHtml(const std::string& targetName, const HuevaneAccuracy& accuracy,
                                 const std::vector<std::string>& notes);

struct HuevaneReportColourRequest {
    std::string panel;
    std::string target;  // every pair's; empty: the one the description names for its mode
    bool gate = false;   // --fail-above given
    double failAbove = 0;
    std::string root;
    uint32_t display = 0;
};

// What the page adds: a banner for every pair past --fail-above, and a section per (mode, intent).
struct HuevaneReportColour {
    std::vector<std::string> banners;
    std::map<std::pair<uint32_t, uint32_t>, std::string> sections;
};

// False when the description or a target cannot be used; every reason has been reported.
bool getReportColour(const HuevaneReportColourRequest& request, HuevaneDiagnostics& diagnostics,
                     HuevaneReportColour* colour);

// "#rrggbb" of a colour in the connection space, as an sRGB screen shows it (held to its gamut).
std::string getSwatchColour(const HuevaneXyz& pcs);

#endif  // HUEVANE_TOOLS_HUEVANECOLOURREPORT_H
