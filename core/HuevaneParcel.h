// The coefficient parcel's wire layout and size rule: a 12-byte parcel header, then per data
// LUT its 12-byte header, its text and a zero byte, without gaps. Little-endian, as the hardware
// block reads it.
#ifndef HUEVANE_CORE_HUEVANEPARCEL_H
#define HUEVANE_CORE_HUEVANEPARCEL_H

#include <cstddef>
#include <cstdint>

#include "HuevaneDataLut.h"

constexpr uint16_t PVX_PARCEL_HEADER_SIZE = 12;
constexpr uint32_t PVX_PARCEL_MAGIC_WORD = 0x000000DA;
// The smallest buffer the engine ever asks for.
constexpr int32_t PVX_MIN_COEF_SIZE = 4096;
// total_size and num_data are 16-bit fields.
constexpr int32_t PVX_PARCEL_MAX_SIZE = 65535;
// The longest text one entry can carry: its entry size must fit total_size's 16 bits.
constexpr int32_t PVX_DATA_TEXT_MAX_SIZE =
        PVX_PARCEL_MAX_SIZE - static_cast<int32_t>(huevane::getDataLutEntrySize(0));

// The coefficient size the engine asks for: what its sources may stage at most (the sum of their
// bounds) plus the parcel header, never below `minCoefSize`, saturated at INT32_MAX.
int32_t getPvxCoefSize(int64_t sourcesMaxSize, int32_t minCoefSize);
// How many bytes of a buffer of `coefSize` bytes one parcel may fill.
int32_t getPvxParcelLimit(int32_t coefSize);

struct __attribute__((packed)) pvx_colormode_parcel_header {
    uint8_t magic;
    uint8_t seq_num;
    uint16_t total_size;
    uint16_t header_size;
    uint16_t num_data;
    uint32_t magic_word;
};

static_assert(sizeof(pvx_colormode_parcel_header) == 12, "parcel header is 12 bytes on the wire");
static_assert(offsetof(pvx_colormode_parcel_header, magic) == 0, "magic at 0");
static_assert(offsetof(pvx_colormode_parcel_header, seq_num) == 1, "seq_num at 1");
static_assert(offsetof(pvx_colormode_parcel_header, total_size) == 2, "total_size at 2");
static_assert(offsetof(pvx_colormode_parcel_header, header_size) == 4, "header_size at 4");
static_assert(offsetof(pvx_colormode_parcel_header, num_data) == 6, "num_data at 6");
static_assert(offsetof(pvx_colormode_parcel_header, magic_word) == 8, "magic_word at 8");

#endif  // HUEVANE_CORE_HUEVANEPARCEL_H
