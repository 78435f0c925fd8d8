#include "HuevaneColourDiff.h"

#include <sys/stat.h>

#include <cstdio>
#include <map>
#include <memory>
#include <set>

#include "HuevaneColourAccuracy.h"
#include "HuevaneInspection.h"
#include "HuevaneParcel.h"
#include "HuevaneParcelReader.h"
#include "HuevaneToolFile.h"

namespace {

using huevane::HuevaneInspection;

// One side of the comparison: a calibration (through the library) or a parcel's entries.
struct Side {
    std::unique_ptr<HuevaneInspection> inspection;
    std::vector<HuevaneSentLut> parcel;
    bool isParcel = false;
};

bool openSide(const HuevaneColourDiffRequest& request, const std::string& path,
              HuevaneDiagnostics& diagnostics, Side* side) {
    struct stat status;
    if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        side->inspection = HuevaneInspection::openDisplay(path, request.display);
        return true;
    }
    const HuevaneToolFileRead file = readToolFile(path, PVX_PARCEL_MAX_SIZE);
    if (!file.ok) {
        diagnostics.error(path, 0, "cannot read: " + file.error);
        return false;
    }
    if (file.bytes.empty() || static_cast<uint8_t>(file.bytes[0]) != PVX_DATA_MAGIC) {
        side->inspection = HuevaneInspection::openFile(path);
        return true;
    }
    side->isParcel = true;
    const HuevaneDecodedParcel parcel =
            readParcel(reinterpret_cast<const uint8_t*>(file.bytes.data()), file.bytes.size());
    for (size_t k = 0; k < parcel.entries.size(); k++) {
        if (!parcel.entries[k].hasText) continue;
        HuevaneSentLut lut;
        lut.lut = {parcel.entries[k].header, parcel.entries[k].text};
        lut.origin = path + " entry " + std::to_string(k);
        side->parcel.push_back(lut);
    }
    return true;
}

// Problems of both sides, each told once.
class ProblemSink {
  public:
    explicit ProblemSink(HuevaneDiagnostics& diagnostics) : mDiagnostics(diagnostics) {}
    void report(const std::vector<HuevaneFinding>& problems) {
        for (const HuevaneFinding& problem : problems) {
            if (mTold.insert(HuevaneDiagnostics::format(problem)).second) {
                mDiagnostics.report(problem);
            }
        }
    }

  private:
    HuevaneDiagnostics& mDiagnostics;
    std::set<std::string> mTold;
};

std::string number(const char* format, double value) {
    char text[32];
    snprintf(text, sizeof(text), format, value);
    return text;
}

class ColourDiff {
  public:
    ColourDiff(const HuevaneColourDiffRequest& request, const HuevanePanel& panel,
               HuevaneDiagnostics& diagnostics, HuevaneJson* json, std::string* text)
        : mRequest(request),
          mPanel(panel),
          mDiagnostics(diagnostics),
          mProblems(diagnostics),
          mJson(*json),
          mText(*text) {}

    bool comparePair(const std::string& label, const std::string& modeName,
                     const std::vector<HuevaneSentLut>& a, const std::vector<HuevaneSentLut>& b,
                     HuevaneJson item);
    void compareCalibrations(Side& a, Side& b);

  private:
    const HuevaneColourSpace* getTarget(const std::string& modeName, std::string* name);

    const HuevaneColourDiffRequest& mRequest;
    const HuevanePanel& mPanel;
    HuevaneDiagnostics& mDiagnostics;
    ProblemSink mProblems;
    HuevaneJson& mJson;
    std::string& mText;
    std::map<std::string, std::unique_ptr<HuevaneColourSpace>> mTargets;
    size_t mCompared = 0;
};

const HuevaneColourSpace* ColourDiff::getTarget(const std::string& modeName, std::string* name) {
    const std::string* named = mPanel.findTarget(modeName);
    *name = !mRequest.target.empty() ? mRequest.target : named != nullptr ? *named : "srgb";
    auto found = mTargets.find(*name);
    if (found != mTargets.end()) return found->second.get();
    std::string error;
    std::unique_ptr<HuevaneColourSpace> space = openTarget(*name, &error);
    if (!space) mDiagnostics.error(*name, 0, error);
    return (mTargets[*name] = std::move(space)).get();
}

bool ColourDiff::comparePair(const std::string& label, const std::string& modeName,
                             const std::vector<HuevaneSentLut>& a,
                             const std::vector<HuevaneSentLut>& b, HuevaneJson item) {
    HuevanePipeline pa, pb;
    std::vector<HuevaneFinding> problems;
    const bool modelled =
            buildPipeline(mPanel, a, &pa, &problems) && buildPipeline(mPanel, b, &pb, &problems);
    mProblems.report(problems);
    std::string targetName;
    const HuevaneColourSpace* target = getTarget(modeName, &targetName);
    if (!modelled || target == nullptr) return false;
    std::vector<double> deltas;
    std::vector<std::string> names;
    for (const HuevanePatch& patch : getPatchSet(*target)) {
        deltas.push_back(getDeltaE2000(getLab(predictPcs(mPanel, pa, patch.signal)),
                                       getLab(predictPcs(mPanel, pb, patch.signal))));
        names.push_back(patch.name);
    }
    const HuevaneDeltaStats stats = getDeltaStats(deltas, names);
    const HuevaneWhitePoint wa = getPredictedWhite(mPanel, pa), wb = getPredictedWhite(mPanel, pb);
    const double shift = getChromaticityDistance(wa.xy, wb.xy);
    mText += "colour  " + label + ": ΔE2000 A to B " + statsText(stats) + " (patches of " +
             targetName + "); white " + whiteText(wa) + " -> " + whiteText(wb) + ", moved " +
             number("%.4f", shift) + " in u'v'\n";
    item["target"] = targetName;
    item["delta_e"] = statsJson(stats);
    item["white_a"] = whiteJson(wa);
    item["white_b"] = whiteJson(wb);
    item["white_shift_uv"] = shift;
    mJson["pairs"].push_back(item);
    mCompared++;
    return true;
}

void ColourDiff::compareCalibrations(Side& a, Side& b) {
    const std::vector<huevane::HuevaneStoredPair> pairsB = b.inspection->getPairs();
    for (const huevane::HuevaneStoredPair& pair : a.inspection->getPairs()) {
        bool inB = false;
        for (const huevane::HuevaneStoredPair& other : pairsB) {
            inB |= other.mode.modeId == pair.mode.modeId &&
                   other.intent.intentId == pair.intent.intentId;
        }
        if (!inB) continue;
        const huevane::HuevaneInspectedParcel pa =
                a.inspection->getPairParcel(pair.mode.modeId, pair.intent.intentId);
        const huevane::HuevaneInspectedParcel pb =
                b.inspection->getPairParcel(pair.mode.modeId, pair.intent.intentId);
        if (!pa.built || !pb.built || pa.bytes == pb.bytes) continue;
        comparePair(describePair(pair.mode, pair.intent), pair.mode.modeName,
                    getSentLuts(*a.inspection, pa), getSentLuts(*b.inspection, pb),
                    {{"mode_id", pair.mode.modeId}, {"intent_id", pair.intent.intentId}});
    }
    mText += "colour  " + std::to_string(mCompared) + " (mode, intent) pair" +
             (mCompared == 1 ? "" : "s") + " change what the panel shows\n";
}

}  // namespace

bool diffColours(const HuevaneColourDiffRequest& request, HuevaneDiagnostics& diagnostics,
                 HuevaneJson* json, std::string* text) {
    HuevanePanel panel;
    if (!readPanel(request.panel, true, &panel, diagnostics)) return false;
    Side a, b;
    if (!openSide(request, request.a, diagnostics, &a) ||
        !openSide(request, request.b, diagnostics, &b)) {
        return false;
    }
    *json = {{"panel", request.panel}, {"pairs", HuevaneJson::array()}};
    ColourDiff diff(request, panel, diagnostics, json, text);
    if (a.isParcel && b.isParcel) {
        return diff.comparePair("parcel", "", a.parcel, b.parcel, HuevaneJson::object());
    }
    diff.compareCalibrations(a, b);
    return true;
}
