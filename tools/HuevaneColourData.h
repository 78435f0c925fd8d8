// Published colour tables, each named by its source: the CIE 1931 standard observer and the
// ColorChecker's reference colours. Data only; HuevaneColour does the colour maths with them.
#ifndef HUEVANE_TOOLS_HUEVANECOLOURDATA_H
#define HUEVANE_TOOLS_HUEVANECOLOURDATA_H

#include <cstddef>

// CIE 1931 2-degree colour-matching functions, 380 to 780 nm in 5 nm steps (CIE 15:2004,
// table T.4). The spectral locus is their chromaticity.
struct HuevaneObserverRow {
    int wavelength;  // nm
    double x, y, z;
};
constexpr size_t CIE1931_ROWS = 81;
extern const HuevaneObserverRow CIE1931_2DEG[CIE1931_ROWS];

// The 24 patches of the ColorChecker Classic chart in CIE L*a*b* (D50, 2-degree observer), as its
// maker published them for charts made before November 2014, in chart order (row by row).
struct HuevaneChartPatch {
    const char* name;
    double L, a, b;
};
constexpr size_t COLORCHECKER_PATCHES = 24;
extern const HuevaneChartPatch COLORCHECKER_CLASSIC_D50[COLORCHECKER_PATCHES];

#endif  // HUEVANE_TOOLS_HUEVANECOLOURDATA_H
