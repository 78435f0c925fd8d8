// Static helpers shared by the whole library: the CRC-16 of data LUTs, the data-LUT header
// builder, and access to device files.
#ifndef HUEVANE_ENGINE_HUEVANEIMPLUTIL_H
#define HUEVANE_ENGINE_HUEVANEIMPLUTIL_H

#include <cstdint>
#include <string>
#include <vector>

#include "HuevaneDataLut.h"

// An open file descriptor, closed when its owner goes.
class HuevaneFd {
  public:
    explicit HuevaneFd(int fd = -1) : mFd(fd) {}
    ~HuevaneFd();
    HuevaneFd(HuevaneFd&& other) noexcept : mFd(other.mFd) { other.mFd = -1; }
    HuevaneFd& operator=(HuevaneFd&& other) noexcept;
    HuevaneFd(const HuevaneFd&) = delete;
    HuevaneFd& operator=(const HuevaneFd&) = delete;

    int get() const { return mFd; }

  private:
    int mFd;
};

// What opening a device file found.
enum class HuevaneFileOpen {
    OPENED,       // a regular file, open for reading
    NOT_OPENED,   // missing, or refused by the system
    NOT_REGULAR,  // a FIFO, device, socket or folder: never read, so never waited on
};

class HuevaneImplUtil {
  public:
    // CRC-16 over `length` bytes; 0xFF25 for length < 1 without touching `data`.
    static unsigned short getCrc16(const unsigned char* data, int32_t length);
    static void genCrc16Table();

    // Header for `text` with magic, header_size, total_size and crc set.
    static pvx_colormode_data_header getDataHeader(uint8_t id, const std::string& text,
                                                   uint8_t attr0 = PVX_ATTR_NONE,
                                                   uint8_t attr1 = PVX_ATTR_NONE,
                                                   uint8_t attr2 = PVX_ATTR_NONE,
                                                   uint8_t attr3 = PVX_ATTR_NONE);
    // The blank LUT the caller-given sources start from: empty text, no id, every attribute
    // 0xFF, total_size and crc 0.
    static HuevaneDataLut getInitialDataLut();
    // Recomputes total_size (cut to 16 bits) and crc of `header` for `text`.
    static void setDataHeaderText(pvx_colormode_data_header& header, const std::string& text);

    // True when at least one non-empty name is an existing device file.
    static bool isExist(std::vector<std::string> names);

    // Opens a device file read-only without ever blocking, and checks on the open descriptor
    // (no gap between check and use) that it is a regular file. `size` gets its size in bytes.
    static HuevaneFileOpen openRegularFile(const std::string& devicePath, HuevaneFd* fd,
                                           int64_t* size);
    // A name read from outside (a target name, a subxml value) only ever names a file inside
    // the calibration folder: no "/" and not "..".
    static bool isPlainFileName(const std::string& name);

    // The host path of a device path. On a device the root is empty and the path is unchanged;
    // host tools and tests point it at a copied device tree. Internal: never exported.
    static std::string getDevicePath(const std::string& devicePath);
    static void setDeviceRoot(const std::string& root);

    static std::vector<unsigned short> mCrcTable;

  private:
    static std::string mDeviceRoot;
};

#endif  // HUEVANE_ENGINE_HUEVANEIMPLUTIL_H
