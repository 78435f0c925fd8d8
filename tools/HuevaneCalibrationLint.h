// Checks a calibration document for what the library would skip silently or refuse at run time,
// judging with the library's own node table, number reader and matrix text reader.
#ifndef HUEVANE_TOOLS_HUEVANECALIBRATIONLINT_H
#define HUEVANE_TOOLS_HUEVANECALIBRATIONLINT_H

#include <cstddef>
#include <string>

// Appends one "FILE:LINE: error|warning: message" line per problem to `out` and returns the
// number of problems. Sub documents named by subxml are looked for beside `path`.
size_t lintCalibrationFile(const std::string& path, std::string* out);

#endif  // HUEVANE_TOOLS_HUEVANECALIBRATIONLINT_H
