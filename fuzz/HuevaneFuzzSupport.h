// What the fuzz targets share: a quiet process, a scratch device tree, and an update into a
// heap buffer of exactly the reported size, so that any write past it is caught.
#ifndef HUEVANE_FUZZ_HUEVANEFUZZSUPPORT_H
#define HUEVANE_FUZZ_HUEVANEFUZZSUPPORT_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "IHuevane.h"

// Silences liblog and libxml2's error printing in this process only; call once.
void fuzzQuietProcess();

// A temporary folder standing for the device's "/" for the whole process, removed at exit.
class FuzzDeviceTree {
  public:
    static FuzzDeviceTree& get();
    void writeFile(const std::string& devicePath, const void* data, size_t size);
    void writeFile(const std::string& devicePath, const std::string& content) {
        writeFile(devicePath, content.data(), content.size());
    }
    void removeFile(const std::string& devicePath);

  private:
    FuzzDeviceTree();
    std::string mRoot;
};

// getColorCoefSize(), then updateColorCoef() into a fresh heap buffer of exactly that size.
// Checks what every successful parcel must satisfy and aborts when it does not.
int32_t fuzzUpdate(IHuevane* engine, bool throughPvxNames = false);

#endif  // HUEVANE_FUZZ_HUEVANEFUZZSUPPORT_H
