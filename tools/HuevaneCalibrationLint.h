// Checks a calibration document for what the library would skip silently or refuse at run time,
// judging with the library's own node table, number reader and matrix text reader.
#ifndef HUEVANE_TOOLS_HUEVANECALIBRATIONLINT_H
#define HUEVANE_TOOLS_HUEVANECALIBRATIONLINT_H

#include <string>

#include "HuevaneToolDiagnostics.h"

// Reports every finding, with its rule id, to `diagnostics`. Sub documents named by subxml are
// looked for beside `path`, named as the library names them.
void lintCalibrationFile(const std::string& path, HuevaneDiagnostics& diagnostics);

#endif  // HUEVANE_TOOLS_HUEVANECALIBRATIONLINT_H
