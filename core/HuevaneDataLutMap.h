// The data-LUT map: for every (mode id, intent id) of a calibration, the data LUTs of its mode
// node, in document order. The map owns their texts for the reader's lifetime; the lists it
// hands out borrow them.
#ifndef HUEVANE_CORE_HUEVANEDATALUTMAP_H
#define HUEVANE_CORE_HUEVANEDATALUTMAP_H

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>

#include "HuevaneDataLut.h"

namespace huevane {

// (mode id, intent id)
using HuevaneLutKey = std::pair<uint32_t, uint32_t>;

struct PairHash {
    // Both ids, mixed: keys such as (k, k) or (k, k ^ 1) must not share a bucket, or a file
    // with many of them makes building the map quadratic.
    size_t operator()(const HuevaneLutKey& key) const {
        uint64_t both = (uint64_t{key.first} << 32 | key.second) * 0x9E3779B97F4A7C15u;
        return static_cast<size_t>(both ^ both >> 32);
    }
};

// A data LUT as the map keeps it: the text owned here, once.
using HuevaneStoredDataLut = std::pair<pvx_colormode_data_header, std::string>;
using HuevaneStoredDataLutList = std::vector<HuevaneStoredDataLut>;
using HuevaneDataLutMap = std::unordered_map<HuevaneLutKey, HuevaneStoredDataLutList, PairHash>;

// Appends the stored LUTs to `luts` as entries that borrow their texts.
inline void putBorrowedDataLuts(const HuevaneStoredDataLutList& stored, HuevaneDataLutList* luts) {
    luts->reserve(luts->size() + stored.size());
    for (const HuevaneStoredDataLut& lut : stored) {
        luts->emplace_back(lut.first, HuevaneText::borrow(lut.second));
    }
}

// The stored LUTs as a data-LUT list that borrows their texts.
inline HuevaneDataLutList getBorrowedDataLuts(const HuevaneStoredDataLutList& stored) {
    HuevaneDataLutList luts;
    putBorrowedDataLuts(stored, &luts);
    return luts;
}

}  // namespace huevane

#endif  // HUEVANE_CORE_HUEVANEDATALUTMAP_H
