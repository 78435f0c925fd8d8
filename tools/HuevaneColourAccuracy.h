// How close a (mode, intent) comes to its target on the panel: the standard patch set (the 24
// ColorChecker patches, a grey ramp, primaries and secondaries) as signal values of the target,
// what the target shows for each and what the panel is predicted to show, their CIEDE2000
// differences and statistics, and the white point. verify, diff and report share it.
#ifndef HUEVANE_TOOLS_HUEVANECOLOURACCURACY_H
#define HUEVANE_TOOLS_HUEVANECOLOURACCURACY_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "HuevaneColour.h"
#include "HuevaneInspection.h"
#include "HuevanePanel.h"
#include "HuevaneToolJson.h"

struct HuevanePatch {
    std::string name;
    HuevaneRgb signal;
};

// In the target's own signal values; a ColorChecker patch the target cannot show is held to its
// gamut.
std::vector<HuevanePatch> getPatchSet(const HuevaneColourSpace& target);

struct HuevaneDeltaStats {
    double mean = 0;
    double p95 = 0;  // linear between the two nearest ranks
    double max = 0;
    std::string worst;  // the patch of the maximum
};
HuevaneDeltaStats getDeltaStats(const std::vector<double>& deltas,
                                const std::vector<std::string>& names);

struct HuevanePatchResult {
    HuevanePatch patch;
    HuevaneLab expected;  // what the target shows
    HuevaneLab predicted;
    double deltaE = 0;
};

struct HuevaneAccuracy {
    std::vector<HuevanePatchResult> patches;
    HuevaneDeltaStats stats;
    HuevaneWhitePoint white;  // predicted, as the panel really shows it
    HuevaneWhitePoint targetWhite;
    std::array<HuevaneXy, 3> primaries;  // predicted full red, green, blue
    std::array<HuevaneXy, 3> targetPrimaries;
};

HuevaneAccuracy getAccuracy(const HuevanePanel& panel, const HuevanePipeline& pipeline,
                            const HuevaneColourSpace& target);

// The white point the panel shows for full input, and its full primaries.
HuevaneWhitePoint getPredictedWhite(const HuevanePanel& panel, const HuevanePipeline& pipeline);

// A parcel's LUTs with where each came from, paths as this host names them.
std::vector<HuevaneSentLut> getSentLuts(const huevane::HuevaneInspection& inspection,
                                        const huevane::HuevaneInspectedParcel& parcel);

// "mode 1 srgb, intent 0 colorimetric"
std::string describePair(const HuevaneMode& mode, const DisplayRenderIntent& intent);

HuevaneJson whiteJson(const HuevaneWhitePoint& white);
HuevaneJson statsJson(const HuevaneDeltaStats& stats);
// "mean 0.42  p95 1.10  max 1.35 (dark skin)"
std::string statsText(const HuevaneDeltaStats& stats);
// "x 0.3127 y 0.3290  6504 K  duv +0.0032"
std::string whiteText(const HuevaneWhitePoint& white);

#endif  // HUEVANE_TOOLS_HUEVANECOLOURACCURACY_H
