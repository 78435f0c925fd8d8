// Speed of the update path, of engine creation and of the CRC, each against the floor it can
// never beat, measured in the same run: memcpy of the same bytes, or libxml2's own parse of the
// same file. The ratios are the figures of interest (counters "x_floor").
#include <android/log.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "HuevaneBenchCalibration.h"
#include "HuevaneBenchHeap.h"
#include "HuevaneImplColorModeXmlBase.h"
#include "HuevaneImplUtil.h"
#include "IHuevane.h"

namespace {

using Clock = std::chrono::steady_clock;

const char CALIBRATION_DIR[] = "/vendor/etc/pvx";
const char CALIBRATION_FILE[] = "/vendor/etc/pvx/calib_data_colormode0.xml";

// A colour transform as a compositor sends it: a slight saturation boost.
const float TRANSFORM[16] = {1.1f,   -0.05f, -0.05f, 0, -0.05f, 1.1f, -0.05f, 0,
                             -0.05f, -0.05f, 1.1f,   0, 0,      0,    0,      1};
const char EXTENSION_HSC[] = "12,34,56,78,90,12,34,56,78,90,12,34,56,78,90,12";
const char EXTENSION_MATRIX[] = "1,65536,0,0,0,0,65536,0,0,0,0,65536,0,0,0,0,65536";
const char EXTENSION_ATTRIBUTES[] = "1 0";

// A device tree in a temporary folder with one calibration file, for the whole process.
class BenchDevice {
  public:
    BenchDevice() {
        char pattern[] = "/tmp/huevane-bench-XXXXXX";
        if (mkdtemp(pattern) == nullptr) abort();
        mRoot = pattern;
        HuevaneImplUtil::setDeviceRoot(mRoot);
    }
    ~BenchDevice() {
        unlink(path(CALIBRATION_FILE).c_str());
        for (const char* dir : {"/vendor/etc/pvx", "/vendor/etc", "/vendor", ""}) {
            rmdir(path(dir).c_str());
        }
    }
    std::string path(const std::string& devicePath) const { return mRoot + devicePath; }
    // Writes the calibration document of `modes` x `intents`; returns its size in bytes.
    size_t writeCalibration(int modes, int intents) {
        const std::string key = std::to_string(modes) + "x" + std::to_string(intents);
        if (key == mWritten) return mSize;
        std::string document = makeCalibration(modes, intents);
        for (const char* dir : {"/vendor", "/vendor/etc", CALIBRATION_DIR}) {
            mkdir(path(dir).c_str(), 0755);
        }
        std::ofstream(path(CALIBRATION_FILE), std::ios::binary) << document;
        mWritten = key;
        mSize = document.size();
        return mSize;
    }

  private:
    std::string mRoot;
    std::string mWritten;
    size_t mSize = 0;
};

BenchDevice& device() {
    static BenchDevice instance;
    return instance;
}

double seconds(Clock::time_point start, Clock::time_point end) {
    return std::chrono::duration<double>(end - start).count();
}

// The time of one memcpy of `bytes` from `from` to `to`, averaged over a few so that reading
// the clock does not count.
double timeMemcpy(void* to, const void* from, size_t bytes) {
    constexpr int REPEAT = 8;
    auto start = Clock::now();
    for (int i = 0; i < REPEAT; i++) {
        memcpy(to, from, bytes);
        benchmark::ClobberMemory();
    }
    return seconds(start, Clock::now()) / REPEAT;
}

std::vector<HuevaneExtension> twoExtensionLuts() {
    return {{0, EXTENSION_ATTRIBUTES, sizeof(EXTENSION_ATTRIBUTES) - 1},
            {8, EXTENSION_HSC, 0},
            {11, EXTENSION_MATRIX, 0}};
}

struct Engine {
    std::unique_ptr<IHuevane, void (*)(IHuevane*)> engine{nullptr, destroyInstance};
    std::vector<uint8_t> parcel;
    std::vector<uint8_t> copy;
};

// An engine over the 1 MB calibration file, a buffer of the size it reports and a second one
// for the floor's memcpy.
Engine makeEngine() {
    device().writeCalibration(10, 4);
    Engine e;
    e.engine.reset(createInstance(0));
    if (!e.engine) abort();
    e.engine->setColorModeWithRenderIntent(3, 1);
    e.engine->setColorTransform(TRANSFORM, 0);
    e.parcel.resize(e.engine->getColorCoefSize());
    e.copy.resize(e.parcel.size());
    return e;
}

size_t parcelSize(const std::vector<uint8_t>& parcel) {
    return parcel[2] | parcel[3] << 8;
}

void reportRatio(benchmark::State& state, double total, double floor, size_t bytes) {
    state.counters["floor_ns"] = benchmark::Counter(floor * 1e9 / state.iterations());
    state.counters["x_floor"] = benchmark::Counter(total / floor);
    state.counters["parcel_bytes"] = benchmark::Counter(static_cast<double>(bytes));
}

// updateColorCoef alone for one mode and intent (12 LUTs), a colour transform and two extension
// LUTs; the staging before it is not timed.
void BM_UpdateColorCoef(benchmark::State& state) {
    Engine e = makeEngine();
    double total = 0, floor = 0;
    for (auto _ : state) {
        e.engine->setColorModeWithRenderIntent(3, 1);
        e.engine->setColorTransform(TRANSFORM, 0);
        std::vector<HuevaneExtension> extensions = twoExtensionLuts();
        e.engine->setColorExtension(extensions);
        auto start = Clock::now();
        int32_t result = e.engine->updateColorCoef(e.parcel.data());
        double elapsed = seconds(start, Clock::now());
        if (result != 0) state.SkipWithError("update failed");
        state.SetIterationTime(elapsed);
        total += elapsed;
        floor += timeMemcpy(e.copy.data(), e.parcel.data(), parcelSize(e.parcel));
    }
    reportRatio(state, total, floor, parcelSize(e.parcel));
}
BENCHMARK(BM_UpdateColorCoef)->UseManualTime();

// The compositor's whole cycle for one change of mode and transform.
void BM_UpdateCycle(benchmark::State& state) {
    Engine e = makeEngine();
    double total = 0, floor = 0;
    for (auto _ : state) {
        auto start = Clock::now();
        e.engine->setColorModeWithRenderIntent(3, 1);
        e.engine->setColorTransform(TRANSFORM, 0);
        int32_t size = e.engine->getColorCoefSize();
        int32_t result = e.engine->updateColorCoef(e.parcel.data());
        double elapsed = seconds(start, Clock::now());
        if (result != 0 || size > static_cast<int32_t>(e.parcel.size())) {
            state.SkipWithError("update failed");
        }
        state.SetIterationTime(elapsed);
        total += elapsed;
        floor += timeMemcpy(e.copy.data(), e.parcel.data(), parcelSize(e.parcel));
    }
    reportRatio(state, total, floor, parcelSize(e.parcel));
}
BENCHMARK(BM_UpdateCycle)->UseManualTime();

// createInstance + destroyInstance against the reader's own parse and free of the same file, and
// the heap peak of each against the file size. Args: modes, intents.
void BM_CreateInstance(benchmark::State& state) {
    const size_t fileBytes = device().writeCalibration(state.range(0), state.range(1));
    const std::string path = device().path(CALIBRATION_FILE);
    double total = 0, floor = 0;
    size_t enginePeak = 0, parsePeak = 0, engineHeld = 0;
    for (auto _ : state) {
        size_t base = heapCurrent();
        heapResetPeak();
        auto start = Clock::now();
        IHuevane* engine = createInstance(0);
        auto built = Clock::now();
        engineHeld = heapCurrent() - base;
        destroyInstance(engine);
        double elapsed = seconds(start, Clock::now());
        enginePeak = heapPeak() - base;
        if (engine == nullptr) state.SkipWithError("no engine");
        state.SetIterationTime(elapsed);
        total += elapsed;
        (void)built;

        heapResetPeak();
        start = Clock::now();
        {
            HuevaneFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
            HuevaneXmlDoc document = HuevaneImplColorModeXmlBase::parseColorModeFile(fd.get(), path);
        }
        floor += seconds(start, Clock::now());
        parsePeak = heapPeak() - base;
    }
    state.counters["file_bytes"] = benchmark::Counter(static_cast<double>(fileBytes));
    state.counters["floor_ms"] = benchmark::Counter(floor * 1e3 / state.iterations());
    state.counters["x_floor"] = benchmark::Counter(total / floor);
    state.counters["peak_x_file"] = benchmark::Counter(double(enginePeak) / fileBytes);
    state.counters["parse_peak_x_file"] = benchmark::Counter(double(parsePeak) / fileBytes);
    state.counters["held_x_file"] = benchmark::Counter(double(engineHeld) / fileBytes);
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
    double total = 0, floor = 0;
    for (auto _ : state) {
        auto start = Clock::now();
        unsigned short crc =
                HuevaneImplUtil::getCrc16(data.data(), static_cast<int32_t>(data.size()));
        benchmark::DoNotOptimize(crc);
        double elapsed = seconds(start, Clock::now());
        state.SetIterationTime(elapsed);
        total += elapsed;
        floor += timeMemcpy(copy.data(), data.data(), data.size());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
    state.counters["memcpy_GBps"] =
            benchmark::Counter(state.iterations() * data.size() / floor / 1e9);
    state.counters["x_floor"] = benchmark::Counter(total / floor);
}
BENCHMARK(BM_Crc16)->Arg(4096)->Arg(65536)->UseManualTime();

}  // namespace

int main(int argc, char** argv) {
    heapInstall();
    // The library's lines cost nothing once filtered, as on a device with debug lines off.
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
