// `explain`: where every entry of a parcel comes from, and for the matrix entries the matrices
// that the stage multiplied, in order, and their product.
#ifndef HUEVANE_TOOLS_HUEVANETOOLEXPLAIN_H
#define HUEVANE_TOOLS_HUEVANETOOLEXPLAIN_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneMatrixText.h"
#include "HuevaneToolCommand.h"
#include "HuevaneToolModel.h"
#include "HuevaneToolRequest.h"

// Which source staged a LUT: source kind 0 (colour mode, with its place in the calibration),
// 1 (colour transform) or 2 (extension, with its index in the extension list).
struct HuevaneLutOrigin {
    int sourceKind = 0;
    HuevaneLutPlace place;
    int extensionEntry = -1;
};

struct HuevaneExplainFactor {
    HuevaneLutOrigin origin;  // the LUT that last set this source's matrix
    huevane::mat4 matrix{};
};

struct HuevaneExplainEntry {
    size_t offset = 0;
    HuevaneDataLut lut;
    HuevaneLutOrigin origin;  // the LUT that was offered (for a combined entry: the last taken)
    bool combined = false;    // made by a matrix stage
    // Left to right as the stage multiplies them: the first factor is the leftmost.
    std::vector<HuevaneExplainFactor> factors;
    huevane::mat4 product{};
};

struct HuevaneExplanation {
    size_t parcelSize = 0;
    std::vector<HuevaneExplainEntry> entries;
};

// Builds the parcel of an engine that has `request` staged (and nothing else) and accounts for
// each of its entries, following the sources through `model`, the engine's calibration. False,
// with the reason reported, when the engine cannot build the parcel or the account does not give
// the engine's parcel byte for byte.
bool explainStagedRequest(IHuevane& engine, const HuevaneCalibrationModel& model,
                          const HuevaneToolRequest& request, HuevaneExplanation* explanation,
                          HuevaneDiagnostics& diagnostics);

void writeExplanation(const HuevaneExplanation& explanation, bool json, std::ostream& out);

// The 4x4 matrix as rows ("row r holds index 4c + r"), values and fixed-point numbers.
void writeMatrixRows(const huevane::mat4& matrix, const std::string& indent, std::ostream& out);

#endif  // HUEVANE_TOOLS_HUEVANETOOLEXPLAIN_H
