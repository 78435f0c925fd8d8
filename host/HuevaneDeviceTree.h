// A temporary folder that stands for the device's "/" while it lives, for the tests, the fuzzers
// and the benchmarks alike: they write sysfs nodes and calibration files into it, and the library
// (the copy linked into the process) reads them there.
#ifndef HUEVANE_HOST_HUEVANEDEVICETREE_H
#define HUEVANE_HOST_HUEVANEDEVICETREE_H

#include <cstddef>
#include <cstdint>
#include <string>

class DeviceTree {
  public:
    // Under $TMPDIR (or /tmp); aborts when the folder cannot be made.
    DeviceTree();
    // Removes the folder and points the library back at the real "/".
    ~DeviceTree();
    DeviceTree(const DeviceTree&) = delete;
    DeviceTree& operator=(const DeviceTree&) = delete;

    const std::string& root() const { return mRoot; }
    std::string hostPath(const std::string& devicePath) const { return mRoot + devicePath; }
    // Writes `size` bytes at a device path such as "/vendor/etc/pvx/calib_data_colormode0.xml",
    // creating the folders on the way; aborts when it cannot.
    void writeFile(const std::string& devicePath, const void* data, size_t size) const;
    void writeFile(const std::string& devicePath, const std::string& content) const {
        writeFile(devicePath, content.data(), content.size());
    }
    void removeFile(const std::string& devicePath) const;
    // The calibration file of `display` under its default name.
    void writeCalibration(uint32_t display, const std::string& content) const;
    void writeTargetName(uint32_t display, const std::string& content) const;

  private:
    std::string mRoot;
};

#endif  // HUEVANE_HOST_HUEVANEDEVICETREE_H
