// Realistic calibration files for the benchmarks: every mode node carries the twelve LUT nodes
// with texts of the sizes panels ship (fixed-point tables, comma separated, broken into
// indented lines), and the two matrix nodes carry valid matrix texts.
#ifndef HUEVANE_BENCH_HUEVANEBENCHCALIBRATION_H
#define HUEVANE_BENCH_HUEVANEBENCHCALIBRATION_H

#include <cstddef>
#include <string>

// A calibration document with `modes` x `intents` mode nodes.
std::string makeCalibration(int modes, int intents);

#endif  // HUEVANE_BENCH_HUEVANEBENCHCALIBRATION_H
