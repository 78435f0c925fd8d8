// What the fuzz targets share: a quiet process, a scratch device tree, and an update into a
// heap buffer of exactly the reported size, so that any write past it is caught.
#ifndef HUEVANE_FUZZ_HUEVANEFUZZSUPPORT_H
#define HUEVANE_FUZZ_HUEVANEFUZZSUPPORT_H

#include <cstddef>
#include <cstdint>

#include "HuevaneDeviceTree.h"
#include "IHuevane.h"

// Silences liblog and libxml2's error printing in this process only; call once.
void fuzzQuietProcess();

// The scratch device tree of the whole process, removed at exit.
DeviceTree& fuzzDeviceTree();

// getColorCoefSize(), then updateColorCoef() into a fresh heap buffer of exactly that size.
// Checks what every successful parcel must satisfy and aborts when it does not.
int32_t fuzzUpdate(IHuevane* engine, bool throughPvxNames = false);

#endif  // HUEVANE_FUZZ_HUEVANEFUZZSUPPORT_H
