// How much of a calibration document the reader takes on. No real panel's calibration comes
// near either limit; past them a document cannot hold creation for long or take much memory.
#ifndef HUEVANE_CORE_HUEVANECALIBRATIONLIMITS_H
#define HUEVANE_CORE_HUEVANECALIBRATIONLIMITS_H

#include <cstdint>

namespace huevane {

// A larger document is refused before parsing.
constexpr int64_t MAX_DOCUMENT_BYTES = int64_t{64} << 20;
// A document whose LUT texts, entity references expanded, come to more is refused.
constexpr uint64_t MAX_LUT_TEXT_BYTES = uint64_t{64} << 20;

}  // namespace huevane

#endif  // HUEVANE_CORE_HUEVANECALIBRATIONLIMITS_H
