#include "HuevaneBenchCalibration.h"

#include <cstdint>
#include <utility>

#include "HuevaneNodeTable.h"

namespace {

// The number of table values in each LUT node's text, by node id (the library's node table
// gives the names; the two matrix nodes carry matrix texts). Tables of 3 x 17 x 17 points for
// the colour-gamut nodes, 3 x 257 for the tone curves, smaller ones for the rest: about 30 KB of
// text per mode node, so one mode's parcel stays well inside the 16-bit parcel size.
const int TABLE_VALUES[huevane::PVX_COLORMODE_NODE_COUNT] = {0,   867, 867, 48, 771, 771, 0,
                                                             576, 288, 130, 64, 0,   256};

const char GAMMA_MATRIX[] =
        "1,78643,-6554,-6554,0,-3277,72090,-3277,0,0,-13107,78643,0,0,0,0,65536";
const char LINEAR_MATRIX[] = "1,65536,0,0,0,0,65536,0,0,0,0,65536,0,0,0,0,65536";

// Deterministic table values (a small linear congruential sequence), 16 per indented line.
std::string tableText(int values, uint32_t seed) {
    std::string text = "\n        ";
    uint32_t state = seed * 2654435761u + 1;
    for (int i = 0; i < values; i++) {
        state = state * 1664525u + 1013904223u;
        text += std::to_string(state >> 20);  // 0..4095, a 12-bit hardware value
        text += i + 1 < values ? (i % 16 == 15 ? ",\n        " : ",") : "\n      ";
    }
    return text;
}

std::string modeNode(int mode, int intent) {
    std::string node = "  <mode name='mode" + std::to_string(mode) + "' mode_id='" +
                       std::to_string(mode) + "' gamut_id='" + std::to_string(mode % 3) +
                       "' gamut_name='gamut" + std::to_string(mode % 3) + "' intent_id='" +
                       std::to_string(intent) + "' intent_name='intent" + std::to_string(intent) +
                       "'>\n";
    uint32_t seed = static_cast<uint32_t>(mode * 131 + intent * 17);
    for (int id = 1; id < huevane::PVX_COLORMODE_NODE_COUNT; id++) {
        std::string name = huevane::getNodeName(id);
        std::string text = id == huevane::PVX_NODE_GAMMA_MATRIX ? GAMMA_MATRIX
                           : id == huevane::PVX_NODE_LINEAR_MATRIX
                                   ? LINEAR_MATRIX
                                   : tableText(TABLE_VALUES[id], seed++);
        node += "    <" + name + " att0='" + std::to_string(intent) + "' att1='0'>" + text + "</" +
                name + ">\n";
    }
    return node + "  </mode>\n";
}

}  // namespace

std::string makeCalibration(int modes, int intents) {
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Calib_Data>\n";
    for (int mode = 0; mode < modes; mode++) {
        for (int intent = 0; intent < intents; intent++) document += modeNode(mode, intent);
    }
    return document + "</Calib_Data>\n";
}
