// Every file the library reads is a device path ("/vendor/etc/pvx/...", "/sys/class/pvx/..."),
// opened here: read-only, without ever blocking, and checked on the open descriptor to be a
// regular file. On a device the root is empty and paths are used as they stand; host tools and
// tests point the root at a copied device tree.
#ifndef HUEVANE_CORE_HUEVANEDEVICEFILE_H
#define HUEVANE_CORE_HUEVANEDEVICEFILE_H

#include <cstdint>
#include <string>

namespace huevane {

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

// Opens a device file. Non-blocking, so that a FIFO without a writer cannot hold creation; the
// type is checked on the descriptor itself, leaving no gap between check and use. `size` gets the
// file's size in bytes.
HuevaneFileOpen openDeviceFile(const std::string& devicePath, HuevaneFd* fd, int64_t* size);

// A name read from outside (a target name, a subxml value) only ever names a file inside the
// calibration folder: no "/" and not "..".
bool isPlainFileName(const std::string& name);

// The host path of a device path under the device root. Internal: never exported from the shared
// library.
std::string getDevicePath(const std::string& devicePath);
void setDeviceRoot(const std::string& root);
// The host path of a device path under `root` (not necessarily the current device root).
std::string getDevicePath(const std::string& root, const std::string& devicePath);

}  // namespace huevane

#endif  // HUEVANE_CORE_HUEVANEDEVICEFILE_H
