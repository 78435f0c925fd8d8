// `diff`: two calibrations (files or device trees) compared by meaning, or two parcels compared
// entry by entry.
#ifndef HUEVANE_TOOLS_HUEVANETOOLDIFF_H
#define HUEVANE_TOOLS_HUEVANETOOLDIFF_H

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "HuevaneParcelReader.h"
#include "HuevaneToolCommand.h"
#include "HuevaneToolModel.h"

struct HuevaneDifference {
    // mode_ and intent_ added, removed, changed, offered_twice, order; lut_added, lut_removed,
    // lut_changed; parcel_changed, entry_added, entry_removed, entry_changed.
    std::string kind;
    int64_t modeId = -1;  // -1: not about one mode
    int64_t intentId = -1;
    int64_t entry = -1;  // parcel entry index
    std::string node;    // LUT node name, or the parcel field
    std::vector<int> attrs;
    HuevaneLutPlace a, b;  // where the thing stands in A and in B (line 0: not there)
    std::string detail;
    int64_t index = -1;  // first differing value
    std::string aValue, bValue;
    // A LUT's entry as the device receives it in A and in B ("1257 bytes, crc 0xFFCA"; "" where
    // there is none).
    std::string aSent, bSent;
};

std::vector<HuevaneDifference> diffCalibrations(const HuevaneCalibrationModel& a,
                                                const HuevaneCalibrationModel& b);
// Parcels as the parcel reader gives them; entries without a header are not compared.
std::vector<HuevaneDifference> diffParcels(const HuevaneDecodedParcel& a,
                                           const HuevaneDecodedParcel& b);

// Text, one difference per line, or one JSON document.
void writeDifferences(const std::vector<HuevaneDifference>& differences, bool json,
                      std::ostream& out);

// What `diff A B` compares, found from the arguments: two directories are device roots (of
// `display`), two files starting with a parcel magic are parcels, other files calibrations.
// Returns 0 same, 1 different, 2 trouble (each reason reported to `diagnostics`).
int runDiff(const std::string& a, const std::string& b, uint32_t display, bool json,
            std::ostream& out, HuevaneDiagnostics& diagnostics);

#endif  // HUEVANE_TOOLS_HUEVANETOOLDIFF_H
