// Reads a coefficient parcel back into its parts: the parcel header, every entry's header and
// text, matrices inside gamma_matrix and linear_matrix entries, and every way in which the bytes
// disagree with the layout. Built for bytes of unknown origin (a buffer dump, a truncated file,
// garbage): it never reads outside [data, data + size). huevane-tool's decoder prints what it
// reads; the tests and fuzz targets hold every parcel the engine writes to it.
#ifndef HUEVANE_CORE_HUEVANEPARCELREADER_H
#define HUEVANE_CORE_HUEVANEPARCELREADER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneMatrixText.h"
#include "HuevaneParcel.h"

struct HuevaneDecodedEntry {
    size_t offset = 0;
    bool hasHeader = false;
    bool hasText = false;  // false when total_size could not be trusted
    pvx_colormode_data_header header{};
    std::string text;
    unsigned short crc = 0;  // computed over the wire bytes of text and terminator
    bool hasMatrix = false;
    bool enabled = false;
    huevane::mat4 matrix{};
    std::vector<std::string> errors;
    std::vector<std::string> warnings;
};

struct HuevaneDecodedParcel {
    size_t size = 0;
    bool hasHeader = false;
    pvx_colormode_parcel_header header{};
    std::vector<HuevaneDecodedEntry> entries;
    std::vector<std::string> errors;
    std::vector<std::string> warnings;

    bool consistent() const {
        if (!errors.empty()) return false;
        for (const HuevaneDecodedEntry& entry : entries) {
            if (!entry.errors.empty()) return false;
        }
        return true;
    }
};

HuevaneDecodedParcel readParcel(const uint8_t* data, size_t size);

#endif  // HUEVANE_CORE_HUEVANEPARCELREADER_H
