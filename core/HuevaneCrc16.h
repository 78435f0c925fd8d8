// The two walks behind HuevaneImplUtil::getCrc16, exposed so that the tests can hold each one
// against the byte-wise walk. Both take and return the bare register (always below 0x100: the
// polynomial and the initial value fit in 8 bits), before the final inversion.
#ifndef HUEVANE_CORE_HUEVANECRC16_H
#define HUEVANE_CORE_HUEVANECRC16_H

#include <cstddef>
#include <cstdint>

namespace huevane {

constexpr unsigned int CRC16_POLY = 0x00DA;  // reflected; x^8 + x^6 + x^4 + x^3 + x + 1
constexpr unsigned int CRC16_INIT = 0x00DA;

// The register after `length` more bytes, through lookup tables: runs everywhere.
unsigned int walkCrc16Tables(const unsigned char* data, size_t length, unsigned int crc);
// The same through carry-less multiplication; call only where hasCrc16Fold() holds.
unsigned int walkCrc16Fold(const unsigned char* data, size_t length, unsigned int crc);
// True when this CPU multiplies carry-less (x86 PCLMULQDQ), checked once at run time.
bool hasCrc16Fold();
// The same fold four blocks to an instruction (x86 VPCLMULQDQ on AVX-512 registers); call only
// where hasCrc16FoldWide() holds.
unsigned int walkCrc16FoldWide(const unsigned char* data, size_t length, unsigned int crc);
bool hasCrc16FoldWide();

// The byte-wise table that every walk agrees with.
extern const uint8_t (&CRC16_TABLE)[256];

}  // namespace huevane

#endif  // HUEVANE_CORE_HUEVANECRC16_H
