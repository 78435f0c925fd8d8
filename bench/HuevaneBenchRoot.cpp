// Built into each library the benchmark loads: the one way in from outside, besides the entry
// points, is pointing the library at the benchmark's device tree.
#include <string>

#include "HuevaneImplUtil.h"

extern "C" __attribute__((visibility("default"))) void huevaneBenchSetDeviceRoot(const char* root) {
    HuevaneImplUtil::setDeviceRoot(root);
}
