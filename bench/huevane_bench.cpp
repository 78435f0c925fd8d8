// Speed of the update path and of engine creation, measured from outside through IHuevane on
// the library as the compositor loads it, each against the floor it can never beat in the same
// run: memcpy of the parcel's bytes, or the reader's own parse of the same file. When the benchmark
// was built with an earlier tree ("today"), every iteration runs both builds, interleaved, and
// `vs_today` is now's time over today's. The update rows also report `x_once`, against one memcpy
// timed as an update is. The CRC is measured on its own against memcpy.
#include <android/log.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "HuevaneBenchCalibration.h"
#include "HuevaneBenchHeap.h"
#include "HuevaneBenchLibrary.h"
#include "HuevaneDeviceFile.h"
#include "HuevaneDeviceTree.h"
#include "HuevaneImplColorModeXmlBase.h"
#include "HuevaneImplUtil.h"

namespace {

using Clock = std::chrono::steady_clock;

const char CALIBRATION_FILE[] = "/vendor/etc/pvx/calib_data_colormode0.xml";

// A colour transform as a compositor sends it: a slight saturation boost.
const float TRANSFORM[16] = {1.1f,   -0.05f, -0.05f, 0, -0.05f, 1.1f, -0.05f, 0,
                             -0.05f, -0.05f, 1.1f,   0, 0,      0,    0,      1};
const char EXTENSION_HSC[] = "12,34,56,78,90,12,34,56,78,90,12,34,56,78,90,12";
const char EXTENSION_MATRIX[] = "1,65536,0,0,0,0,65536,0,0,0,0,65536,0,0,0,0,65536";
const char EXTENSION_ATTRIBUTES[] = "1 0";

DeviceTree& device() {
    static DeviceTree tree;
    return tree;
}

// Writes the calibration document of `modes` x `intents` once; returns its size in bytes.
size_t writeCalibration(int modes, int intents) {
    static std::string written;
    static size_t size = 0;
    const std::string key = std::to_string(modes) + "x" + std::to_string(intents);
    if (key != written) {
        const std::string document = makeCalibration(modes, intents);
        device().writeFile(CALIBRATION_FILE, document);
        written = key;
        size = document.size();
    }
    return size;
}

double seconds(Clock::time_point start, Clock::time_point end) {
    return std::chrono::duration<double>(end - start).count();
}

// The time of one memcpy of `bytes`, averaged over `repeat`. Eight make the in-cache floor,
// where reading the clock does not count; one is timed as an update is, clock reads included,
// with the cache as the request cycle left it.
double timeMemcpy(void* to, const void* from, size_t bytes, int repeat = 8) {
    auto start = Clock::now();
    for (int i = 0; i < repeat; i++) {
        memcpy(to, from, bytes);
        benchmark::ClobberMemory();
    }
    return seconds(start, Clock::now()) / repeat;
}

std::vector<HuevaneExtension> twoExtensionLuts() {
    return {{0, EXTENSION_ATTRIBUTES, sizeof(EXTENSION_ATTRIBUTES) - 1},
            {8, EXTENSION_HSC, 0},
            {11, EXTENSION_MATRIX, 0}};
}

// One engine of one build over the 1 MB calibration file, with a buffer of the size it reports.
struct Engine {
    explicit Engine(const HuevaneLibrary& library) : engine(library.createEngine(0)) {
        if (!engine) abort();
        engine->setColorModeWithRenderIntent(3, 1);
        engine->setColorTransform(TRANSFORM, 0);
        parcel.resize(engine->getColorCoefSize());
    }
    HuevaneLibrary::Engine engine;
    std::vector<uint8_t> parcel;
};

// Now's engine and, when built, today's: the same requests go to both.
struct Engines {
    Engines() : now(nowLibrary()) {
        if (todayLibrary() != nullptr) today.emplace_back(*todayLibrary());
        copy.resize(now.parcel.size());
    }
    Engine now;
    std::vector<Engine> today;  // empty or one
    std::vector<uint8_t> copy;
};

size_t parcelSize(const std::vector<uint8_t>& parcel) {
    return parcel[2] | parcel[3] << 8;
}

// Time spent by now, by today and by the floor, summed over the iterations; `once` is the update
// rows' second reference.
struct Totals {
    double now = 0, today = 0, floor = 0, once = 0;
};

void reportRatios(benchmark::State& state, const Totals& totals, size_t bytes) {
    state.counters["floor_ns"] = benchmark::Counter(totals.floor * 1e9 / state.iterations());
    state.counters["x_floor"] = benchmark::Counter(totals.now / totals.floor);
    if (totals.today > 0) {
        state.counters["today_x_floor"] = benchmark::Counter(totals.today / totals.floor);
        state.counters["vs_today"] = benchmark::Counter(totals.now / totals.today);
    }
    state.counters["parcel_bytes"] = benchmark::Counter(static_cast<double>(bytes));
    if (totals.once > 0) {
        state.counters["x_once"] = benchmark::Counter(totals.now / totals.once);
        if (totals.today > 0) {
            state.counters["today_x_once"] = benchmark::Counter(totals.today / totals.once);
        }
    }
}

// One request: a mode and intent (12 LUTs), a colour transform and two extension LUTs.
void stageRequest(Engine& e) {
    e.engine->setColorModeWithRenderIntent(3, 1);
    e.engine->setColorTransform(TRANSFORM, 0);
    std::vector<HuevaneExtension> extensions = twoExtensionLuts();
    e.engine->setColorExtension(extensions);
}

void update(Engine& e) {
    if (e.engine->updateColorCoef(e.parcel.data()) != 0) abort();
}

// updateColorCoef alone; the staging before it is not timed.
double timeUpdate(Engine& e) {
    stageRequest(e);
    auto start = Clock::now();
    update(e);
    return seconds(start, Clock::now());
}

// The compositor's whole cycle for one request: its setters, the size, the update.
double timeCycle(Engine& e) {
    auto start = Clock::now();
    stageRequest(e);
    int32_t size = e.engine->getColorCoefSize();
    update(e);
    double elapsed = seconds(start, Clock::now());
    if (size > static_cast<int32_t>(e.parcel.size())) abort();
    return elapsed;
}

// Heap allocations per update, or per cycle (`cycle`), in the steady state; counted in passes of
// their own, since counting slows each allocation.
double allocationsOf(Engine& e, bool cycle) {
    constexpr int CALLS = 16;
    int64_t made = 0;
    for (int i = 0; i <= CALLS; i++) {
        if (!cycle) stageRequest(e);
        // The first round is not counted: whatever it keeps is the steady state's.
        heapCount(i > 0);
        const int64_t before = heapAllocations();
        if (cycle) stageRequest(e);
        if (cycle) e.engine->getColorCoefSize();
        update(e);
        made += heapAllocations() - before;
        heapCount(false);
    }
    return static_cast<double>(made) / CALLS;
}

template <double (*TIME)(Engine&)>
void BM_Update(benchmark::State& state) {
    writeCalibration(10, 4);
    Engines e;
    Totals totals;
    // The two references take turns, so that neither finds the cache as the other left it.
    int64_t runs[2] = {};
    for (auto _ : state) {
        double elapsed = TIME(e.now);
        state.SetIterationTime(elapsed);
        totals.now += elapsed;
        for (Engine& today : e.today) totals.today += TIME(today);
        const size_t bytes = parcelSize(e.now.parcel);
        if (runs[0] > runs[1]) {
            totals.once += timeMemcpy(e.copy.data(), e.now.parcel.data(), bytes, 1);
            runs[1]++;
        } else {
            totals.floor += timeMemcpy(e.copy.data(), e.now.parcel.data(), bytes);
            runs[0]++;
        }
    }
    // Each reference as if it had run in every iteration.
    const double iterations = static_cast<double>(state.iterations());
    totals.floor *= iterations / std::max<int64_t>(runs[0], 1);
    totals.once *= runs[1] > 0 ? iterations / runs[1] : 0;
    reportRatios(state, totals, parcelSize(e.now.parcel));
    const bool cycle = TIME == timeCycle;
    state.counters["allocs"] = benchmark::Counter(allocationsOf(e.now, cycle));
    for (Engine& today : e.today) {
        state.counters["today_allocs"] = benchmark::Counter(allocationsOf(today, cycle));
    }
}
BENCHMARK_TEMPLATE(BM_Update, timeUpdate)->Name("BM_UpdateColorCoef")->UseManualTime();
BENCHMARK_TEMPLATE(BM_Update, timeCycle)->Name("BM_UpdateCycle")->UseManualTime();

// createInstance + destroyInstance of one build.
double timeCreate(const HuevaneLibrary& library) {
    auto start = Clock::now();
    IHuevane* engine = library.create(0);
    library.destroy(engine);
    double elapsed = seconds(start, Clock::now());
    if (engine == nullptr) abort();
    return elapsed;
}

// The reader's own parse (its fixed options, from the open file) and free: what creation can
// never beat.
double timeParse(const std::string& path) {
    auto start = Clock::now();
    {
        huevane::HuevaneFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        HuevaneXmlDoc document = HuevaneImplColorModeXmlBase::parseColorModeFile(fd.get(), path);
    }
    return seconds(start, Clock::now());
}

// The heap a built engine keeps, over `fileBytes`, counted in a pass of its own.
double heldOf(const HuevaneLibrary& library, size_t fileBytes) {
    heapCount(true);
    const int64_t base = heapCurrent();
    IHuevane* engine = library.create(0);
    const double held = double(heapCurrent() - base) / fileBytes;
    library.destroy(engine);
    heapCount(false);
    return held;
}

// The heap peak of `run` over `fileBytes`, counted in a pass of its own: counting costs a lookup
// per allocation, which the timed passes must not pay.
template <typename Run>
double peakOf(Run run, size_t fileBytes) {
    heapCount(true);
    int64_t base = heapCurrent();
    heapResetPeak();
    run();
    double peak = double(heapPeak() - base) / fileBytes;
    heapCount(false);
    return peak;
}

// createInstance + destroyInstance against the reader's own parse and free of the same file, and
// the heap peak of each against the file size. Args: modes, intents.
void BM_CreateInstance(benchmark::State& state) {
    const size_t fileBytes = writeCalibration(state.range(0), state.range(1));
    const std::string path = device().hostPath(CALIBRATION_FILE);
    const HuevaneLibrary* today = todayLibrary();
    Totals totals;
    bool todayFirst = false;
    for (auto _ : state) {
        // The builds take turns at going first: whichever follows the other finds the heap as
        // the other left it, which at 8 MB moves the time by several percent.
        if (today != nullptr && todayFirst) totals.today += timeCreate(*today);
        double elapsed = timeCreate(nowLibrary());
        state.SetIterationTime(elapsed);
        totals.now += elapsed;
        if (today != nullptr && !todayFirst) totals.today += timeCreate(*today);
        todayFirst = !todayFirst;
        totals.floor += timeParse(path);
    }
    state.counters["file_bytes"] = benchmark::Counter(static_cast<double>(fileBytes));
    state.counters["floor_ms"] = benchmark::Counter(totals.floor * 1e3 / state.iterations());
    state.counters["x_floor"] = benchmark::Counter(totals.now / totals.floor);
    state.counters["peak_x_file"] =
            benchmark::Counter(peakOf([] { timeCreate(nowLibrary()); }, fileBytes));
    state.counters["parse_peak_x_file"] =
            benchmark::Counter(peakOf([&] { timeParse(path); }, fileBytes));
    state.counters["held_x_file"] = benchmark::Counter(heldOf(nowLibrary(), fileBytes));
    if (today != nullptr) {
        state.counters["today_x_floor"] = benchmark::Counter(totals.today / totals.floor);
        state.counters["vs_today"] = benchmark::Counter(totals.now / totals.today);
        state.counters["today_peak_x_file"] =
                benchmark::Counter(peakOf([&] { timeCreate(*today); }, fileBytes));
        state.counters["today_held_x_file"] = benchmark::Counter(heldOf(*today, fileBytes));
    }
}
BENCHMARK(BM_CreateInstance)
        ->Args({10, 4})  // about 1 MB
        ->Args({40, 8})  // about 8 MB
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);

// CRC-16 throughput over a LUT-sized text against memcpy bandwidth on the same bytes.
void BM_Crc16(benchmark::State& state) {
    std::vector<unsigned char> data(state.range(0));
    std::mt19937 random(7);
    for (unsigned char& byte : data) byte = static_cast<unsigned char>(random());
    std::vector<unsigned char> copy(data.size());
    Totals totals;
    for (auto _ : state) {
        auto start = Clock::now();
        unsigned short crc =
                HuevaneImplUtil::getCrc16(data.data(), static_cast<int32_t>(data.size()));
        benchmark::DoNotOptimize(crc);
        double elapsed = seconds(start, Clock::now());
        state.SetIterationTime(elapsed);
        totals.now += elapsed;
        totals.floor += timeMemcpy(copy.data(), data.data(), data.size());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
    state.counters["memcpy_GBps"] =
            benchmark::Counter(state.iterations() * data.size() / totals.floor / 1e9);
    state.counters["x_floor"] = benchmark::Counter(totals.now / totals.floor);
}
BENCHMARK(BM_Crc16)->Arg(4096)->Arg(65536)->UseManualTime();

}  // namespace

int main(int argc, char** argv) {
    heapInstall();
    // The libraries' lines cost nothing once filtered, as on a device with debug lines off.
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    loadBenchLibraries(device().root().c_str());
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
