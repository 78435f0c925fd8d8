#include "HuevaneBenchCalibration.h"

#include <cstdint>
#include <utility>

namespace {

// Node name and the number of table values in its text. Tables of 3 x 17 x 17 points for the
// colour-gamut nodes, 3 x 257 for the tone curves, smaller ones for the rest: about 30 KB of
// text per mode node, so one mode's parcel stays well inside the 16-bit parcel size.
const std::pair<const char*, int> LUT_NODES[] = {
        {"cgc17_enc", 867}, {"cgc17_con", 867},  {"cgc_dither", 48},   {"degamma", 771},
        {"gamma", 771},     {"gamma_matrix", 0}, {"hsc48_lcg", 576},   {"hsc", 288},
        {"scl", 130},       {"de", 64},          {"linear_matrix", 0}, {"atc", 256},
};

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
    for (const auto& lut : LUT_NODES) {
        std::string name = lut.first;
        std::string text = name == "gamma_matrix"    ? GAMMA_MATRIX
                           : name == "linear_matrix" ? LINEAR_MATRIX
                                                     : tableText(lut.second, seed++);
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
