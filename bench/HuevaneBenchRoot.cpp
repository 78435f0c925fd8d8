// Built into each library the benchmark loads: the one way in from outside, besides the entry
// points, is pointing the library at the benchmark's device tree. Earlier trees kept the device
// root beside the CRC.
#include <string>

#if __has_include("HuevaneDeviceFile.h")
#include "HuevaneDeviceFile.h"
#define HUEVANE_SET_DEVICE_ROOT huevane::setDeviceRoot
#else
#include "HuevaneImplUtil.h"
#define HUEVANE_SET_DEVICE_ROOT HuevaneImplUtil::setDeviceRoot
#endif

extern "C" __attribute__((visibility("default"))) void huevaneBenchSetDeviceRoot(const char* root) {
    HUEVANE_SET_DEVICE_ROOT(root);
}
