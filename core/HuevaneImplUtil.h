// The CRC-16 that protects every data LUT's text, and the test of whether a display has a
// calibration file at all.
#ifndef HUEVANE_CORE_HUEVANEIMPLUTIL_H
#define HUEVANE_CORE_HUEVANEIMPLUTIL_H

#include <cstdint>
#include <string>
#include <vector>

class HuevaneImplUtil {
  public:
    // CRC-16 over `length` bytes; 0xFF25 for length < 1 without touching `data`.
    static unsigned short getCrc16(const unsigned char* data, int32_t length);
    static void genCrc16Table();

    // True when at least one non-empty name is an existing device file.
    static bool isExist(std::vector<std::string> names);

    static std::vector<unsigned short> mCrcTable;
};

#endif  // HUEVANE_CORE_HUEVANEIMPLUTIL_H
