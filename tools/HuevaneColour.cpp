#include "HuevaneColour.h"

#include <lcms2.h>
#include <lcms2_plugin.h>

#include <cmath>
#include <cstring>
#include <utility>

#include "HuevaneColourData.h"
#include "HuevaneToolFile.h"

namespace {

struct ProfileCloser {
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};
struct TransformDeleter {
    void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
struct CurveDeleter {
    void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};
using Profile = std::unique_ptr<void, ProfileCloser>;
using Transform = std::unique_ptr<void, TransformDeleter>;
using Curve = std::unique_ptr<cmsToneCurve, CurveDeleter>;

// No ICC profile a panel or a target needs comes near this.
constexpr size_t MAX_PROFILE_BYTES = 16 << 20;
constexpr size_t ICC_HEADER_BYTES = 128;
// Curves of LUT-based profiles are sampled at this many points.
constexpr int CURVE_SAMPLES = 1024;

// lcms2 says why it refused through one global handler; the tool runs one command at a time.
std::string gLcmsMessage;

void onLcmsError(cmsContext, cmsUInt32Number, const char* text) {
    gLcmsMessage = text != nullptr ? text : "";
}

void listenToLcms() {
    static const bool installed = [] {
        cmsSetLogErrorHandler(onLcmsError);
        return true;
    }();
    (void)installed;
    gLcmsMessage.clear();
}

std::string lcmsReason() {
    return gLcmsMessage.empty() ? "lcms2 gives no reason" : "lcms2: " + gLcmsMessage;
}

cmsMAT3 toLcms(const HuevaneMatrix3& m) {
    cmsMAT3 out;
    for (size_t r = 0; r < 3; r++) _cmsVEC3init(&out.v[r], m[3 * r], m[3 * r + 1], m[3 * r + 2]);
    return out;
}

HuevaneMatrix3 fromLcms(const cmsMAT3& m) {
    HuevaneMatrix3 out;
    for (int r = 0; r < 3; r++) {
        for (int c = 0; c < 3; c++) out[3 * r + c] = m.v[r].n[c];
    }
    return out;
}

cmsCIEXYZ toLcms(const HuevaneXyz& xyz) {
    return {xyz.X, xyz.Y, xyz.Z};
}

HuevaneXyz fromLcms(const cmsCIEXYZ& xyz) {
    return {xyz.X, xyz.Y, xyz.Z};
}

HuevaneMatrix3 identity() {
    return {1, 0, 0, 0, 1, 0, 0, 0, 1};
}

// CIE 1960 UCS, in which the Planckian locus is measured.
HuevaneXy getUv1960(const HuevaneXy& xy) {
    const double d = -2 * xy.x + 12 * xy.y + 3;
    return {4 * xy.x / d, 6 * xy.y / d};
}

std::string signatureText(uint32_t signature) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = static_cast<char>((signature >> shift) & 0xFF);
        if (c != ' ') text += c;
    }
    return text;
}

uint32_t readBigEndian32(const std::string& bytes, size_t offset) {
    uint32_t value = 0;
    for (size_t k = 0; k < 4; k++) value = value << 8 | static_cast<uint8_t>(bytes[offset + k]);
    return value;
}

// Why a profile cannot stand for a display (or, `colourSpaceToo`, an RGB colour space); empty
// when it can.
std::string getClassRefusal(cmsHPROFILE profile, bool colourSpaceToo) {
    const cmsColorSpaceSignature space = cmsGetColorSpace(profile);
    if (space != cmsSigRgbData) {
        return "a " + signatureText(space) + " profile, not RGB";
    }
    switch (cmsGetDeviceClass(profile)) {
        case cmsSigDisplayClass:
            return "";
        case cmsSigColorSpaceClass:
            return colourSpaceToo ? "" : "an RGB colour space profile, not a display's";
        case cmsSigOutputClass:
            return "describes a printer (output device class), not a display";
        case cmsSigInputClass:
            return "describes an input device (scanner or camera class), not a display";
        default:
            return "a " + signatureText(cmsGetDeviceClass(profile)) +
                   " class profile, not a display's";
    }
}

// Bytes 24 to 35 of the header hold the creation date and time.
void setFixedDate(std::vector<uint8_t>* bytes) {
    static const uint8_t DATE[12] = {0x07, 0xE8, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0};  // 2024-01-01
    memcpy(bytes->data() + 24, DATE, sizeof(DATE));
}

std::vector<uint8_t> saveProfile(cmsHPROFILE profile) {
    cmsUInt32Number size = 0;
    if (!cmsSaveProfileToMem(profile, nullptr, &size)) return {};
    std::vector<uint8_t> bytes(size);
    if (!cmsSaveProfileToMem(profile, bytes.data(), &size)) return {};
    return bytes;
}

}  // namespace

struct HuevaneColourSpace::State {
    Profile profile;
    bool generated = false;
    Transform toPcs;
    Transform fromPcs;
    std::array<Curve, 3> curves;
    std::array<Curve, 3> inverseCurves;
    HuevaneMatrix3 toNative = identity();
    bool lutBased = false;
};

HuevaneXyz getD50() {
    return fromLcms(*cmsD50_XYZ());
}

HuevaneXy getChromaticity(const HuevaneXyz& xyz) {
    const cmsCIEXYZ in = toLcms(xyz);
    cmsCIExyY out;
    cmsXYZ2xyY(&out, &in);
    return {out.x, out.y};
}

HuevaneXyz getXyz(const HuevaneXy& xy, double luminance) {
    const cmsCIExyY in = {xy.x, xy.y, luminance};
    cmsCIEXYZ out;
    cmsxyY2XYZ(&out, &in);
    return fromLcms(out);
}

HuevaneLab getLab(const HuevaneXyz& pcs) {
    const cmsCIEXYZ in = toLcms(pcs);
    cmsCIELab lab;
    cmsXYZ2Lab(cmsD50_XYZ(), &lab, &in);
    return {lab.L, lab.a, lab.b};
}

HuevaneXyz getPcsFromLab(const HuevaneLab& lab) {
    const cmsCIELab in = {lab.L, lab.a, lab.b};
    cmsCIEXYZ out;
    cmsLab2XYZ(cmsD50_XYZ(), &out, &in);
    return fromLcms(out);
}

double getDeltaE2000(const HuevaneLab& a, const HuevaneLab& b) {
    const cmsCIELab x = {a.L, a.a, a.b};
    const cmsCIELab y = {b.L, b.a, b.b};
    return cmsCIE2000DeltaE(&x, &y, 1, 1, 1);
}

// lcms2 adapts one colour at a time; the adaptation is linear, so the images of the three unit
// vectors are the matrix's columns.
HuevaneMatrix3 getBradfordMatrix(const HuevaneXyz& fromWhite, const HuevaneXyz& toWhite) {
    const cmsCIEXYZ from = toLcms(fromWhite);
    const cmsCIEXYZ to = toLcms(toWhite);
    HuevaneMatrix3 m{};
    for (int c = 0; c < 3; c++) {
        cmsCIEXYZ unit = {c == 0 ? 1.0 : 0.0, c == 1 ? 1.0 : 0.0, c == 2 ? 1.0 : 0.0};
        cmsCIEXYZ adapted;
        cmsAdaptToIlluminant(&adapted, &from, &to, &unit);
        m[c] = adapted.X;
        m[3 + c] = adapted.Y;
        m[6 + c] = adapted.Z;
    }
    return m;
}

HuevaneMatrix3 multiplyMatrices(const HuevaneMatrix3& a, const HuevaneMatrix3& b) {
    const cmsMAT3 x = toLcms(a);
    const cmsMAT3 y = toLcms(b);
    cmsMAT3 product;
    _cmsMAT3per(&product, &x, &y);
    return fromLcms(product);
}

bool invertMatrix(const HuevaneMatrix3& m, HuevaneMatrix3* inverse) {
    const cmsMAT3 in = toLcms(m);
    cmsMAT3 out;
    if (!_cmsMAT3inverse(&in, &out)) return false;
    *inverse = fromLcms(out);
    return true;
}

std::array<double, 3> applyMatrix(const HuevaneMatrix3& m, const std::array<double, 3>& v) {
    const cmsMAT3 matrix = toLcms(m);
    cmsVEC3 in;
    _cmsVEC3init(&in, v[0], v[1], v[2]);
    cmsVEC3 out;
    _cmsMAT3eval(&out, &matrix, &in);
    return {out.n[0], out.n[1], out.n[2]};
}

HuevaneXyz applyMatrix(const HuevaneMatrix3& m, const HuevaneXyz& xyz) {
    const std::array<double, 3> out = applyMatrix(m, std::array<double, 3>{xyz.X, xyz.Y, xyz.Z});
    return {out[0], out[1], out[2]};
}

HuevaneXy getPlanckianChromaticity(double kelvin) {
    // Second radiation constant, m K (ITS-90); the first cancels in a chromaticity.
    constexpr double C2 = 1.4388e-2;
    HuevaneXyz sum;
    for (const HuevaneObserverRow& row : CIE1931_2DEG) {
        const double metres = row.wavelength * 1e-9;
        const double radiance = 1 / (std::pow(metres, 5) * std::expm1(C2 / (metres * kelvin)));
        sum.X += radiance * row.x;
        sum.Y += radiance * row.y;
        sum.Z += radiance * row.z;
    }
    return getChromaticity(sum);
}

HuevaneWhitePoint getWhitePoint(const HuevaneXyz& xyz) {
    HuevaneWhitePoint white;
    white.xy = getChromaticity(xyz);
    const cmsCIExyY xyY = {white.xy.x, white.xy.y, 1};
    double kelvin = 0;
    if (!cmsTempFromWhitePoint(&kelvin, &xyY)) return white;
    white.cct = kelvin;
    const HuevaneXy uv = getUv1960(white.xy);
    const HuevaneXy locus = getUv1960(getPlanckianChromaticity(kelvin));
    const double distance = std::hypot(uv.x - locus.x, uv.y - locus.y);
    white.duv = uv.y >= locus.y ? distance : -distance;
    return white;
}

double getChromaticityDistance(const HuevaneXy& a, const HuevaneXy& b) {
    const auto uv = [](const HuevaneXy& xy) {
        const double d = -2 * xy.x + 12 * xy.y + 3;
        return HuevaneXy{4 * xy.x / d, 9 * xy.y / d};
    };
    const HuevaneXy p = uv(a), q = uv(b);
    return std::hypot(p.x - q.x, p.y - q.y);
}

HuevaneColourSpace::HuevaneColourSpace(std::string name, std::unique_ptr<State> state)
    : mName(std::move(name)), mState(std::move(state)) {}

HuevaneColourSpace::~HuevaneColourSpace() = default;

const char* HuevaneColourSpace::getKnownNames() {
    return "srgb, display-p3, bt2020";
}

std::unique_ptr<HuevaneColourSpace> HuevaneColourSpace::fromName(const std::string& name) {
    HuevaneTransfer transfer;
    const HuevaneXy d65 = {0.3127, 0.3290};
    // ITU-R BT.709 / IEC 61966-2-1, SMPTE EG 432-1, ITU-R BT.2020.
    if (name == "srgb") {
        return fromPrimaries(name, {{{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}}}, d65, transfer);
    }
    if (name == "display-p3") {
        return fromPrimaries(name, {{{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}}}, d65,
                             transfer);
    }
    if (name == "bt2020") {
        transfer.kind = HuevaneTransfer::BT2020;
        return fromPrimaries(name, {{{0.708, 0.292}, {0.170, 0.797}, {0.131, 0.046}}}, d65,
                             transfer);
    }
    return nullptr;
}

std::unique_ptr<HuevaneColourSpace> HuevaneColourSpace::fromPrimaries(
        const std::string& name, const std::array<HuevaneXy, 3>& rgb, const HuevaneXy& white,
        const HuevaneTransfer& transfer) {
    listenToLcms();
    // lcms2's parametric type 4: Y = (aX + b)^g for X >= d, cX below.
    cmsFloat64Number params[5] = {transfer.gamma, 1, 0, 0, 0};
    cmsInt32Number type = 1;
    if (transfer.kind == HuevaneTransfer::SRGB) {  // IEC 61966-2-1
        const cmsFloat64Number srgb[5] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
        memcpy(params, srgb, sizeof(params));
        type = 4;
    } else if (transfer.kind == HuevaneTransfer::BT2020) {  // ITU-R BT.2020, inverse of its OETF
        const cmsFloat64Number bt2020[5] = {1 / 0.45, 1 / 1.099, 0.099 / 1.099, 1 / 4.5, 0.081};
        memcpy(params, bt2020, sizeof(params));
        type = 4;
    }
    Curve curve(cmsBuildParametricToneCurve(nullptr, type, params));
    if (!curve) return nullptr;
    cmsToneCurve* const curves[3] = {curve.get(), curve.get(), curve.get()};
    const cmsCIExyY whitePoint = {white.x, white.y, 1};
    const cmsCIExyYTRIPLE primaries = {
            {rgb[0].x, rgb[0].y, 1}, {rgb[1].x, rgb[1].y, 1}, {rgb[2].x, rgb[2].y, 1}};
    auto state = std::make_unique<State>();
    state->profile.reset(cmsCreateRGBProfile(&whitePoint, &primaries, curves));
    if (!state->profile) return nullptr;
    state->generated = true;
    cmsMLU* description = cmsMLUalloc(nullptr, 1);
    cmsMLUsetASCII(description, "en", "US", name.c_str());
    cmsWriteTag(state->profile.get(), cmsSigProfileDescriptionTag, description);
    cmsMLUfree(description);
    std::unique_ptr<HuevaneColourSpace> space(new HuevaneColourSpace(name, std::move(state)));
    std::string error;
    return space->setUp(&error) ? std::move(space) : nullptr;
}

std::unique_ptr<HuevaneColourSpace> HuevaneColourSpace::fromProfile(const std::string& path,
                                                                    bool colourSpaceToo,
                                                                    std::string* error) {
    listenToLcms();
    const HuevaneToolFileRead file = readToolFile(path, MAX_PROFILE_BYTES);
    if (!file.ok) {
        *error = "cannot read: " + file.error;
        return nullptr;
    }
    if (file.truncated) {
        *error = "larger than the " + std::to_string(MAX_PROFILE_BYTES) +
                 " bytes a profile may take";
        return nullptr;
    }
    const std::string& bytes = file.bytes;
    if (bytes.size() < ICC_HEADER_BYTES) {
        *error = "truncated: an ICC profile starts with a 128-byte header, the file has " +
                 std::to_string(bytes.size()) + " bytes";
        return nullptr;
    }
    if (bytes.compare(36, 4, "acsp") != 0) {
        *error = "not an ICC profile: no 'acsp' signature in its header";
        return nullptr;
    }
    const uint32_t declared = readBigEndian32(bytes, 0);
    if (declared > bytes.size()) {
        *error = "truncated: its header says " + std::to_string(declared) +
                 " bytes, the file has " + std::to_string(bytes.size());
        return nullptr;
    }
    auto state = std::make_unique<State>();
    state->profile.reset(
            cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
    if (!state->profile) {
        *error = "not an ICC profile lcms2 can read (" + lcmsReason() + ")";
        return nullptr;
    }
    *error = getClassRefusal(state->profile.get(), colourSpaceToo);
    if (!error->empty()) return nullptr;
    std::unique_ptr<HuevaneColourSpace> space(new HuevaneColourSpace(path, std::move(state)));
    return space->setUp(error) ? std::move(space) : nullptr;
}

bool HuevaneColourSpace::setUp(std::string* error) {
    cmsHPROFILE profile = mState->profile.get();
    Profile xyz(cmsCreateXYZProfile());
    constexpr cmsUInt32Number FLAGS = cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE;
    mState->toPcs.reset(cmsCreateTransform(profile, TYPE_RGB_DBL, xyz.get(), TYPE_XYZ_DBL,
                                           INTENT_RELATIVE_COLORIMETRIC, FLAGS));
    if (!mState->toPcs) {
        *error = "no transform from it to XYZ can be built (" + lcmsReason() + ")";
        return false;
    }
    mState->fromPcs.reset(cmsCreateTransform(xyz.get(), TYPE_XYZ_DBL, profile, TYPE_RGB_DBL,
                                             INTENT_RELATIVE_COLORIMETRIC, FLAGS));
    mState->lutBased = cmsIsTag(profile, cmsSigAToB0Tag) || cmsIsTag(profile, cmsSigAToB1Tag) ||
                       cmsIsTag(profile, cmsSigDToB0Tag);
    const HuevaneXyz black = toPcs({0, 0, 0});
    for (int c = 0; c < 3; c++) {
        HuevaneRgb unit = {0, 0, 0};
        unit[c] = 1;
        const HuevaneXyz full = toPcs(unit);
        mPrimaries[c] = full.X - black.X;
        mPrimaries[3 + c] = full.Y - black.Y;
        mPrimaries[6 + c] = full.Z - black.Z;
    }
    const HuevaneXyz white = toPcs({1, 1, 1});
    if (!(white.Y > 0) || !std::isfinite(white.X + white.Y + white.Z)) {
        *error = "its white has no luminance";
        return false;
    }
    // A v4 profile records how its white was adapted to D50; a v2 display profile states its
    // white as the media white point.
    const auto* chad =
            static_cast<const cmsFloat64Number*>(cmsReadTag(profile, cmsSigChromaticAdaptationTag));
    const auto* media = static_cast<const cmsCIEXYZ*>(cmsReadTag(profile, cmsSigMediaWhitePointTag));
    HuevaneMatrix3 adaptation = identity();
    if (chad != nullptr) {
        std::copy(chad, chad + 9, adaptation.begin());
        if (!invertMatrix(adaptation, &mState->toNative)) {
            *error = "its chromatic adaptation matrix has no inverse";
            return false;
        }
    } else if (media != nullptr && media->Y > 0) {
        mState->toNative = getBradfordMatrix(getD50(), fromLcms(*media));
    }
    return setUpCurves(error);
}

bool HuevaneColourSpace::setUpCurves(std::string* error) {
    cmsHPROFILE profile = mState->profile.get();
    static const cmsTagSignature TRC[3] = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
    const double blackY = toPcs({0, 0, 0}).Y;
    for (int c = 0; c < 3; c++) {
        const auto* trc = static_cast<const cmsToneCurve*>(
                mState->lutBased ? nullptr : cmsReadTag(profile, TRC[c]));
        if (trc != nullptr) {
            mState->curves[c].reset(cmsDupToneCurve(trc));
        } else {
            // A LUT-based profile's channel, linearised by the luminance it gives alone.
            std::vector<cmsFloat32Number> samples(CURVE_SAMPLES);
            const double fullY = mPrimaries[3 + c];
            for (int k = 0; k < CURVE_SAMPLES; k++) {
                HuevaneRgb signal = {0, 0, 0};
                signal[c] = static_cast<double>(k) / (CURVE_SAMPLES - 1);
                samples[k] = static_cast<cmsFloat32Number>((toPcs(signal).Y - blackY) / fullY);
            }
            mState->curves[c].reset(
                    cmsBuildTabulatedToneCurveFloat(nullptr, CURVE_SAMPLES, samples.data()));
        }
        if (mState->curves[c])
            mState->inverseCurves[c].reset(cmsReverseToneCurve(mState->curves[c].get()));
        if (!mState->curves[c] || !mState->inverseCurves[c]) {
            *error = "its channel curves cannot be read or inverted (" + lcmsReason() + ")";
            return false;
        }
    }
    return true;
}

bool HuevaneColourSpace::isMatrixShaper() const {
    return !mState->lutBased;
}

HuevaneXyz HuevaneColourSpace::toPcs(const HuevaneRgb& signal) const {
    cmsCIEXYZ out;
    cmsDoTransform(mState->toPcs.get(), signal.data(), &out, 1);
    return fromLcms(out);
}

HuevaneRgb HuevaneColourSpace::fromPcs(const HuevaneXyz& pcs) const {
    HuevaneRgb out = {0, 0, 0};
    if (!mState->fromPcs) return out;
    const cmsCIEXYZ in = toLcms(pcs);
    cmsDoTransform(mState->fromPcs.get(), &in, out.data(), 1);
    return out;
}

bool HuevaneColourSpace::canEncode() const {
    return mState->fromPcs != nullptr;
}

HuevaneXyz HuevaneColourSpace::toNative(const HuevaneXyz& pcs) const {
    return applyMatrix(mState->toNative, pcs);
}

double HuevaneColourSpace::toLinear(int channel, double signal) const {
    return cmsEvalToneCurveFloat(mState->curves[channel].get(), static_cast<float>(signal));
}

double HuevaneColourSpace::fromLinear(int channel, double linear) const {
    return cmsEvalToneCurveFloat(mState->inverseCurves[channel].get(), static_cast<float>(linear));
}

// lcms2 stamps the time a profile is written into its header; a fixed date, and the profile ID
// computed after it, make the same space give the same bytes.
std::vector<uint8_t> HuevaneColourSpace::getProfileBytes() const {
    if (!mState->generated) return {};
    std::vector<uint8_t> bytes = saveProfile(mState->profile.get());
    if (bytes.size() < ICC_HEADER_BYTES) return {};
    setFixedDate(&bytes);
    Profile dated(cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
    if (!dated || !cmsMD5computeID(dated.get())) return {};
    return saveProfile(dated.get());
}
