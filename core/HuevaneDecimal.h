// The one reader of decimal numbers: calibration ids and attributes, extension attributes and
// matrix elements all go through it, and so does huevane-tool's lint.
#ifndef HUEVANE_CORE_HUEVANEDECIMAL_H
#define HUEVANE_CORE_HUEVANEDECIMAL_H

#include <cstdint>

namespace huevane {

// Reads a decimal number at the start of [begin, end): leading white space, an optional sign,
// digits; what follows is ignored. False when there are no digits. Values beyond +-2^40 are
// clamped there, which keeps them outside every 32-bit range the callers accept.
bool parseDecimal(const char* begin, const char* end, int64_t* value);

}  // namespace huevane

#endif  // HUEVANE_CORE_HUEVANEDECIMAL_H
