// huevane-tool's verify of one (mode, intent) of the sample device, in process: the whole command
// (device tree, panel description and profile, the pair's parcel through the library, the model,
// 41 patches), and the colour part alone on a pipeline already built.
#include <benchmark/benchmark.h>

#include <sstream>
#include <string>
#include <vector>

#include "HuevaneColourAccuracy.h"
#include "HuevaneTool.h"

namespace {

const std::string SOURCE = HUEVANE_SOURCE_DIR;
const std::string DEVICE = SOURCE + "/examples/device";
const std::string PANEL = SOURCE + "/examples/panel/demo_panel.json";

void BM_VerifyCommandOnePair(benchmark::State& state) {
    const std::vector<std::string> args = {"--root", DEVICE, "verify",   "--panel", PANEL,
                                           "--mode", "1",    "--intent", "0"};
    for (auto _ : state) {
        std::ostringstream out, err;
        if (runHuevaneTool(args, out, err) != 0) state.SkipWithError("verify failed");
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(BM_VerifyCommandOnePair)->Unit(benchmark::kMillisecond);

void BM_AccuracyOfOnePair(benchmark::State& state) {
    std::ostringstream sink;
    HuevaneDiagnostics diagnostics(sink, false);
    HuevanePanel panel;
    auto inspection = huevane::HuevaneInspection::openDisplay(DEVICE, 0);
    auto target = HuevaneColourSpace::fromName("srgb");
    HuevanePipeline pipeline;
    std::vector<HuevaneFinding> problems;
    if (!readPanel(PANEL, true, &panel, diagnostics) ||
        !buildPipeline(panel, getSentLuts(*inspection, inspection->getPairParcel(1, 0)), &pipeline,
                       &problems)) {
        state.SkipWithError("the sample device cannot be modelled");
        return;
    }
    for (auto _ : state) benchmark::DoNotOptimize(getAccuracy(panel, pipeline, *target));
}
BENCHMARK(BM_AccuracyOfOnePair)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
