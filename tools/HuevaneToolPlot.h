// `plot`: the LUTs of one mode and intent as a plain SVG picture. Numeric LUT texts become curves
// of value against index; matrices show their numbers and what they make of the primaries and of
// white.
#ifndef HUEVANE_TOOLS_HUEVANETOOLPLOT_H
#define HUEVANE_TOOLS_HUEVANETOOLPLOT_H

#include <array>
#include <string>
#include <vector>

#include "HuevaneMatrixText.h"
#include "HuevaneToolCommand.h"
#include "HuevaneToolModel.h"

struct HuevanePlotOptions {
    std::string node;            // only LUTs of this node name; empty for all
    bool matrices = true;        // draw matrix panels (the report shows them as tables instead)
    bool xmlDeclaration = true;  // a stand-alone file; off when embedded in a page
    // Per LUT of the pair, false leaves it out (the report draws a LUT seen before only once).
    const std::vector<bool>* drawn = nullptr;
};

// How many LUTs of the pair the picture shows.
size_t countPlottedLuts(const HuevaneModelPair& pair, const HuevanePlotOptions& options);

std::string plotPairSvg(const HuevaneModelPair& pair, const HuevanePlotOptions& options);

// What the matrix (read column-major) makes of red, green, blue and white: out = M (r, g, b, 1).
std::array<std::array<float, 3>, 4> getMatrixPrimaries(const huevane::mat4& matrix);

// Text made safe for XML and HTML character data and attribute values.
std::string escapeMarkup(const std::string& text);

// The pair of a loaded model, or null with the reason reported (the model's errors, or the pairs
// that are offered).
const HuevaneModelPair* findToolPair(HuevaneToolContext& context,
                                     const HuevaneCalibrationModel& model, uint32_t modeId,
                                     uint32_t intentId);

#endif  // HUEVANE_TOOLS_HUEVANETOOLPLOT_H
