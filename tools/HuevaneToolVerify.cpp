// `verify`: for each (mode, intent), how close the panel is predicted to come to the mode's target
// over the standard patch set, as a display suite states it after measuring a screen: CIEDE2000
// mean, 95th percentile and maximum, and the white point. A gate with --fail-above.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <map>
#include <memory>

#include "HuevaneColourAccuracy.h"
#include "HuevaneToolCommand.h"
#include "HuevaneToolDevice.h"
#include "HuevaneToolJson.h"
#include "HuevaneToolRequest.h"

namespace {

struct VerifyOptions {
    std::string panel;
    std::string target;
    uint32_t mode = 0;
    uint32_t intent = 0;
    double failAbove = 0;
    CLI::Option* modeOption = nullptr;
    CLI::Option* intentOption = nullptr;
    CLI::Option* failOption = nullptr;
};

struct PairVerdict {
    HuevaneMode mode;
    DisplayRenderIntent intent;
    std::string target;
    bool verified = false;
    HuevaneAccuracy accuracy;
    std::vector<std::string> notModelled;
    bool passed = true;
};

std::string number(double value) {
    char text[32];
    snprintf(text, sizeof(text), "%.2f", value);
    return text;
}

// Targets are opened once however many pairs name them.
class TargetCache {
  public:
    const HuevaneColourSpace* get(const std::string& target, HuevaneDiagnostics& diagnostics) {
        auto found = mSpaces.find(target);
        if (found != mSpaces.end()) return found->second.get();
        std::string error;
        std::unique_ptr<HuevaneColourSpace> space = openTarget(target, &error);
        if (!space) diagnostics.error(target, 0, error);
        return (mSpaces[target] = std::move(space)).get();
    }

  private:
    std::map<std::string, std::unique_ptr<HuevaneColourSpace>> mSpaces;
};

void verifyPair(huevane::HuevaneInspection& inspection, const HuevanePanel& panel,
                const HuevaneColourSpace& target, HuevaneDiagnostics& diagnostics,
                PairVerdict* verdict) {
    const huevane::HuevaneInspectedParcel parcel =
            inspection.getPairParcel(verdict->mode.modeId, verdict->intent.intentId);
    if (!parcel.built) {
        diagnostics.error(describePair(verdict->mode, verdict->intent) +
                          ": the engine could not build its parcel (--log-level 1 says why)");
        return;
    }
    HuevanePipeline pipeline;
    std::vector<HuevaneFinding> problems;
    const bool modelled =
            buildPipeline(panel, getSentLuts(inspection, parcel), &pipeline, &problems);
    for (const HuevaneFinding& problem : problems) {
        diagnostics.report(problem);
        if (problem.severity != HuevaneSeverity::ERROR)
            verdict->notModelled.push_back(problem.message);
    }
    if (!modelled) return;
    verdict->verified = true;
    verdict->accuracy = getAccuracy(panel, pipeline, target);
}

void writeText(const std::vector<PairVerdict>& verdicts, const VerifyOptions& options, bool gate,
               std::ostream& out) {
    size_t verified = 0, failed = 0;
    for (const PairVerdict& v : verdicts) {
        if (!v.verified) continue;
        verified++;
        failed += !v.passed;
        const HuevaneAccuracy& a = v.accuracy;
        out << describePair(v.mode, v.intent) << "\n  target    " << v.target << ", white "
            << whiteText(a.targetWhite) << "\n  ΔE2000    " << statsText(a.stats) << " over "
            << a.patches.size() << " patches\n  white     " << whiteText(a.white) << "\n";
        for (const std::string& note : v.notModelled) out << "  warning   " << note << "\n";
        if (gate) {
            out << "  verdict   " << (v.passed ? "pass: " : "FAIL: ") << "max "
                << number(a.stats.max) << (v.passed ? " is within " : " is above ")
                << number(options.failAbove) << "\n";
        }
    }
    out << verified << " pair" << (verified == 1 ? "" : "s") << " verified";
    if (gate) out << ", " << failed << " above " << number(options.failAbove);
    out << "\n";
}

HuevaneJson patchesJson(const HuevaneAccuracy& accuracy) {
    HuevaneJson patches = HuevaneJson::array();
    for (const HuevanePatchResult& p : accuracy.patches) {
        patches.push_back({{"name", p.patch.name},
                           {"signal", p.patch.signal},
                           {"target_lab", {p.expected.L, p.expected.a, p.expected.b}},
                           {"predicted_lab", {p.predicted.L, p.predicted.a, p.predicted.b}},
                           {"delta_e", p.deltaE}});
    }
    return patches;
}

void writeJsonDocument(const std::vector<PairVerdict>& verdicts, const VerifyOptions& options,
                       bool gate, bool passed, std::ostream& out) {
    HuevaneJson pairs = HuevaneJson::array();
    for (const PairVerdict& v : verdicts) {
        HuevaneJson item = {{"mode_id", v.mode.modeId},
                            {"mode_name", v.mode.modeName},
                            {"intent_id", v.intent.intentId},
                            {"intent_name", v.intent.intentName},
                            {"target", v.target},
                            {"verified", v.verified}};
        if (v.verified) {
            item["delta_e"] = statsJson(v.accuracy.stats);
            item["white"] = whiteJson(v.accuracy.white);
            item["target_white"] = whiteJson(v.accuracy.targetWhite);
            item["not_modelled"] = v.notModelled;
            item["passed"] = gate ? HuevaneJson(v.passed) : HuevaneJson();
            item["patches"] = patchesJson(v.accuracy);
        }
        pairs.push_back(item);
    }
    writeJson(out, {{"panel", options.panel},
                    {"fail_above", gate ? HuevaneJson(options.failAbove) : HuevaneJson()},
                    {"pairs", pairs},
                    {"passed", passed}});
}

// The pairs to verify: the one asked for, or every pair the engine offers.
bool selectPairs(HuevaneToolDevice& device, const VerifyOptions& options,
                 HuevaneDiagnostics& diagnostics, std::vector<PairVerdict>* verdicts) {
    const bool one = options.modeOption->count() > 0;
    if (one) {
        HuevaneToolRequest request;
        request.mode = options.mode;
        request.hasIntent = options.intentOption->count() > 0;
        request.intent = options.intent;
        if (stageToolRequest(device.getEngine(), request, diagnostics) != TOOL_OK) return false;
    }
    const bool oneIntent = one || options.intentOption->count() > 0;
    for (const huevane::HuevaneStoredPair& pair : device.getInspection().getPairs()) {
        if ((one && pair.mode.modeId != options.mode) ||
            (oneIntent && pair.intent.intentId != options.intent)) {
            continue;
        }
        PairVerdict verdict;
        verdict.mode = pair.mode;
        verdict.intent = pair.intent;
        verdicts->push_back(verdict);
    }
    return true;
}

int runVerify(HuevaneToolContext& context, const VerifyOptions& options) {
    HuevaneDiagnostics& diagnostics = context.diagnostics;
    HuevanePanel panel;
    if (!readPanel(options.panel, true, &panel, diagnostics)) return TOOL_FAILED;
    HuevaneToolDevice device(context);
    std::vector<PairVerdict> verdicts;
    if (!device.open() || !selectPairs(device, options, diagnostics, &verdicts)) return TOOL_FAILED;
    const bool gate = options.failOption->count() > 0;
    const bool one = options.modeOption->count() > 0;
    TargetCache targets;
    bool passed = true;
    for (PairVerdict& v : verdicts) {
        const std::string* named = panel.findTarget(v.mode.modeName);
        v.target = !options.target.empty() ? options.target : named != nullptr ? *named : "";
        if (v.target.empty()) {
            const std::string text = describePair(v.mode, v.intent) +
                                     ": no target (--target, or \"targets\" in the panel "
                                     "description names none for mode " +
                                     v.mode.modeName + ")";
            one ? diagnostics.error(text) : diagnostics.note("", 0, text + ": not verified");
            continue;
        }
        const HuevaneColourSpace* target = targets.get(v.target, diagnostics);
        if (target == nullptr) return TOOL_FAILED;
        verifyPair(device.getInspection(), panel, *target, diagnostics, &v);
        if (!v.verified || !gate) continue;
        v.passed = v.accuracy.stats.max <= options.failAbove;
        if (!v.passed) {
            diagnostics.error(describePair(v.mode, v.intent) + ": ΔE2000 maximum " +
                              number(v.accuracy.stats.max) + " (" + v.accuracy.stats.worst +
                              ") is above --fail-above " + number(options.failAbove));
        }
        passed &= v.passed;
    }
    passed &= diagnostics.getErrorCount() == 0;
    context.common.json ? writeJsonDocument(verdicts, options, gate, passed, context.out)
                        : writeText(verdicts, options, gate, context.out);
    return passed ? TOOL_OK : TOOL_FAILED;
}

}  // namespace

HuevaneToolRun setupVerifyCommand(CLI::App& command) {
    command.description(
            "Predicts what the panel shows for each (mode, intent) (or the one --mode and\n"
            "--intent name) and compares it with its target over the 24 ColorChecker patches, a\n"
            "grey ramp, primaries and secondaries: CIEDE2000 mean, 95th percentile and maximum,\n"
            "and the white point's colour temperature and duv. A mode's target is --target, or\n"
            "the one the panel description names for it. Exit 1 when a maximum is above\n"
            "--fail-above.");
    auto options = std::make_shared<VerifyOptions>();
    command.add_option("--panel", options->panel, "panel description (JSON)")
            ->type_name("FILE")
            ->required();
    options->modeOption =
            command.add_option("--mode", options->mode, "colour mode id (default: every pair)")
                    ->type_name("M");
    options->intentOption =
            command.add_option("--intent", options->intent,
                               "render intent id (with --mode, default 0; alone, that intent of "
                               "every mode)")
                    ->type_name("I");
    command.add_option("--target", options->target,
                       std::string("target of every pair: ") + HuevaneColourSpace::getKnownNames() +
                               ", or an RGB ICC profile")
            ->type_name("T");
    options->failOption = command.add_option("--fail-above", options->failAbove,
                                             "exit 1 when a pair's CIEDE2000 maximum is above DE")
                                  ->type_name("DE")
                                  ->check(getRangeCheck(0, 1000));
    return [options](HuevaneToolContext& context) { return runVerify(context, *options); };
}
