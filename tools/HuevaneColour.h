// huevane-tool's colour maths, all of it through lcms2: RGB colour spaces read from ICC profiles
// or built from primaries, conversions to the profile connection space (XYZ, D50, white adapted
// with Bradford), CIE L*a*b*, CIEDE2000, correlated colour temperature. lcms2's header stays in
// HuevaneColour.cpp; the rest of the tool sees these types only.
#ifndef HUEVANE_TOOLS_HUEVANECOLOUR_H
#define HUEVANE_TOOLS_HUEVANECOLOUR_H

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct HuevaneXyz {
    double X = 0, Y = 0, Z = 0;
};
struct HuevaneXy {
    double x = 0, y = 0;
};
struct HuevaneLab {
    double L = 0, a = 0, b = 0;
};
// Red, green, blue; 0 to 1 is the range a node or the panel takes.
using HuevaneRgb = std::array<double, 3>;
// 3x3, row-major.
using HuevaneMatrix3 = std::array<double, 9>;

HuevaneXyz getD50();
HuevaneXy getChromaticity(const HuevaneXyz& xyz);
HuevaneXyz getXyz(const HuevaneXy& xy, double luminance);
// L*a*b* of a colour in the profile connection space, against its white (D50).
HuevaneLab getLab(const HuevaneXyz& pcs);
HuevaneXyz getPcsFromLab(const HuevaneLab& lab);
double getDeltaE2000(const HuevaneLab& a, const HuevaneLab& b);

HuevaneMatrix3 getBradfordMatrix(const HuevaneXyz& fromWhite, const HuevaneXyz& toWhite);
HuevaneMatrix3 multiplyMatrices(const HuevaneMatrix3& a, const HuevaneMatrix3& b);
// False when `m` has no inverse.
bool invertMatrix(const HuevaneMatrix3& m, HuevaneMatrix3* inverse);
std::array<double, 3> applyMatrix(const HuevaneMatrix3& m, const std::array<double, 3>& v);
HuevaneXyz applyMatrix(const HuevaneMatrix3& m, const HuevaneXyz& xyz);

// A white point as a display suite states it: chromaticity, correlated colour temperature
// (kelvin; 0 when it has none) and the signed distance from the Planckian locus in CIE 1960 uv
// (positive above the locus, towards green).
struct HuevaneWhitePoint {
    HuevaneXy xy;
    double cct = 0;
    double duv = 0;
};
HuevaneWhitePoint getWhitePoint(const HuevaneXyz& xyz);
// The Planckian radiator's chromaticity at `kelvin`, from Planck's law and the CIE 1931 observer.
HuevaneXy getPlanckianChromaticity(double kelvin);
// CIE 1976 u'v' distance between two chromaticities.
double getChromaticityDistance(const HuevaneXy& a, const HuevaneXy& b);

// How a colour space decodes its signal values per channel.
struct HuevaneTransfer {
    enum Kind { POWER, SRGB, BT2020 } kind = SRGB;
    double gamma = 2.2;  // POWER: linear = signal ^ gamma
};

// An RGB colour space: a target, or a panel's native response. Values are signal values (0 to 1
// per channel) as the space's own encoding has them; colours are in the profile connection space
// (XYZ, D50, each space's white adapted to D50 as its profile says).
class HuevaneColourSpace {
  public:
    // "srgb", "display-p3", "bt2020"; null for any other name.
    static std::unique_ptr<HuevaneColourSpace> fromName(const std::string& name);
    static std::unique_ptr<HuevaneColourSpace> fromPrimaries(const std::string& name,
                                                             const std::array<HuevaneXy, 3>& rgb,
                                                             const HuevaneXy& white,
                                                             const HuevaneTransfer& transfer);
    // An RGB ICC profile of a display (or, with `colourSpaceToo`, of an RGB colour space). Null,
    // with the reason in `error`, for anything else: not a profile, truncated, not RGB, a printer.
    static std::unique_ptr<HuevaneColourSpace> fromProfile(const std::string& path,
                                                           bool colourSpaceToo, std::string* error);
    // The names fromName knows, for messages.
    static const char* getKnownNames();

    ~HuevaneColourSpace();
    HuevaneColourSpace(const HuevaneColourSpace&) = delete;
    HuevaneColourSpace& operator=(const HuevaneColourSpace&) = delete;

    const std::string& getName() const { return mName; }
    // True for a matrix/TRC profile; false for one made of lookup tables.
    bool isMatrixShaper() const;

    HuevaneXyz toPcs(const HuevaneRgb& signal) const;
    // The signal values of a colour; outside 0..1 when the space cannot show it. Only for a space
    // that canEncode(): a LUT-based profile may hold no tables back from the connection space.
    HuevaneRgb fromPcs(const HuevaneXyz& pcs) const;
    bool canEncode() const;
    // A colour as the space really shows it, its own white undone from the adaptation to D50.
    HuevaneXyz toNative(const HuevaneXyz& pcs) const;
    HuevaneXyz getNativeWhite() const { return toNative(toPcs({1, 1, 1})); }

    // Columns: what full red, green and blue add to black, in the connection space. Linear light
    // of the space times this matrix is its colour (exact for matrix/TRC profiles).
    const HuevaneMatrix3& getPrimaryMatrix() const { return mPrimaries; }
    // One channel's linear light from its signal value, and back.
    double toLinear(int channel, double signal) const;
    double fromLinear(int channel, double linear) const;

    // The space as an ICC display profile (v4, matrix/TRC), byte for byte the same on every run.
    // Empty for a space read from a file.
    std::vector<uint8_t> getProfileBytes() const;

  private:
    struct State;
    HuevaneColourSpace(std::string name, std::unique_ptr<State> state);
    bool setUp(std::string* error);
    bool setUpCurves(std::string* error);

    std::string mName;
    std::unique_ptr<State> mState;
    HuevaneMatrix3 mPrimaries{};
};

#endif  // HUEVANE_TOOLS_HUEVANECOLOUR_H
