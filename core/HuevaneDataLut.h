// The data LUT: the unit in which colour data travels to the hardware block. A 12-byte record
// header followed by the LUT's text; the header counts and checks the text's terminating zero.
#ifndef HUEVANE_CORE_HUEVANEDATALUT_H
#define HUEVANE_CORE_HUEVANEDATALUT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "HuevaneText.h"

constexpr uint8_t PVX_DATA_MAGIC = 0xDA;
constexpr uint16_t PVX_DATA_HEADER_SIZE = 12;
constexpr uint8_t PVX_ATTR_NONE = 0xFF;

// The headers are copied into the parcel as they lie in memory, so their 16- and 32-bit fields
// come out in the hardware's byte order only on a little-endian machine.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the parcel layout assumes a little-endian target");

// Lies in the parcel exactly as in memory.
struct __attribute__((packed)) pvx_colormode_data_header {
    uint8_t magic;
    uint8_t id;
    uint16_t total_size;
    uint16_t header_size;
    uint8_t attr0;
    uint8_t attr1;
    uint8_t attr2;
    uint8_t attr3;
    uint16_t crc;
};

static_assert(sizeof(pvx_colormode_data_header) == 12, "data header is 12 bytes on the wire");
static_assert(offsetof(pvx_colormode_data_header, magic) == 0, "magic at 0");
static_assert(offsetof(pvx_colormode_data_header, id) == 1, "id at 1");
static_assert(offsetof(pvx_colormode_data_header, total_size) == 2, "total_size at 2");
static_assert(offsetof(pvx_colormode_data_header, header_size) == 4, "header_size at 4");
static_assert(offsetof(pvx_colormode_data_header, attr0) == 6, "attr0 at 6");
static_assert(offsetof(pvx_colormode_data_header, attr1) == 7, "attr1 at 7");
static_assert(offsetof(pvx_colormode_data_header, attr2) == 8, "attr2 at 8");
static_assert(offsetof(pvx_colormode_data_header, attr3) == 9, "attr3 at 9");
static_assert(offsetof(pvx_colormode_data_header, crc) == 10, "crc at 10");

// The text does not hold the terminating zero byte; total_size and crc include it. Lists share
// their texts rather than copy them (see HuevaneText).
using HuevaneDataLut = std::pair<pvx_colormode_data_header, HuevaneText>;
using HuevaneDataLutList = std::vector<HuevaneDataLut>;

namespace huevane {

// Bytes a text of `textLength` takes in a parcel: its header, the text and its zero byte. Also
// what total_size holds for it, as long as that fits 16 bits.
constexpr int64_t getDataLutEntrySize(int64_t textLength) {
    return textLength + PVX_DATA_HEADER_SIZE + 1;
}

// Two data LUTs stand for the same hardware slot when their id and four attribute bytes are
// equal; this packs exactly those five bytes into one number.
inline uint64_t getDataLutIdentity(const pvx_colormode_data_header& header) {
    return uint64_t{header.id} << 32 | uint32_t{header.attr0} << 24 | uint32_t{header.attr1} << 16 |
           uint32_t{header.attr2} << 8 | header.attr3;
}

// A header for `text`: magic, id, header_size, the attribute bytes, and total_size and crc
// computed from the text.
pvx_colormode_data_header getDataHeader(uint8_t id, const std::string& text,
                                        uint8_t attr0 = PVX_ATTR_NONE,
                                        uint8_t attr1 = PVX_ATTR_NONE, uint8_t attr2 = PVX_ATTR_NONE,
                                        uint8_t attr3 = PVX_ATTR_NONE);
// Recomputes total_size (cut to 16 bits) and crc of `header` for `text`.
void setDataHeaderText(pvx_colormode_data_header& header, const std::string& text);

}  // namespace huevane

#endif  // HUEVANE_CORE_HUEVANEDATALUT_H
