// Engines created and used on several threads at once build exactly the parcels that the same
// sessions build one after another. `make tsan` runs this under ThreadSanitizer, which also
// proves that the only state engines share (the CRC table, libxml2's set-up) is race-free.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "HuevaneLogSink.h"
#include "HuevaneTestSupport.h"
#include "IHuevane.h"

namespace {

constexpr int THREADS = 8;
constexpr int ROUNDS = 4;  // creations per thread, so creations overlap updates

const char IDENTITY[] = "1,65536,0,0,0,0,65536,0,0,0,0,65536,0,0,0,0,65536";

// Three modes of two intents, each with a degamma LUT and both matrix LUTs.
std::string calibration() {
    std::string modes;
    for (int pair = 0; pair < 6; pair++) {
        const std::string mode = std::to_string(pair / 2), intent = std::to_string(pair % 2);
        modes += "<mode name='m' mode_id='" + mode + "' gamut_id='0' gamut_name='g' intent_id='" +
                 intent + "' intent_name='i'><degamma att0='" + intent + "'>" +
                 std::string(200 + pair * 50, 'a' + pair) + "</degamma><gamma_matrix>" + IDENTITY +
                 "</gamma_matrix><linear_matrix>" + IDENTITY + "</linear_matrix></mode>";
    }
    return "<Calib_Data>" + modes + "</Calib_Data>";
}

using Parcels = std::vector<std::vector<uint8_t>>;

// One compositor display: every listed pair with a transform and an extension LUT that depend
// on `seed`, one parcel each.
Parcels runSession(int seed) {
    Parcels parcels;
    for (int round = 0; round < ROUNDS; round++) {
        std::unique_ptr<IHuevane, void (*)(IHuevane*)> engine(createInstance(0), destroyInstance);
        if (!engine) return parcels;
        for (const HuevaneMode& mode : engine->getColorModes()) {
            for (const DisplayRenderIntent& intent : engine->getRenderIntents(mode.modeId)) {
                engine->setColorModeWithRenderIntent(mode.modeId, intent.intentId);
                float matrix[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
                matrix[0] = 0.5f + 0.0625f * seed;
                matrix[5] = 1.0f - 0.03125f * round;
                engine->setColorTransform(matrix, 0);
                std::string text = std::to_string(seed) + "," + std::to_string(round);
                std::vector<HuevaneExtension> extension{{8, text.c_str(), 0}};
                engine->setColorExtension(extension);
                std::vector<uint8_t> buffer(engine->getColorCoefSize());
                if (engine->updateColorCoef(buffer.data()) != 0) buffer.clear();
                parcels.push_back(std::move(buffer));
            }
        }
    }
    return parcels;
}

TEST(ThreadsTest, EnginesOnEightThreadsBuildTheParcelsOfOneThread) {
    DeviceTree device;
    device.writeCalibration(0, calibration());
    // Every thread logs; the lines are formatted and dropped.
    setHuevaneLogSink([](const HuevaneLogRecord&) { return false; });
    std::vector<Parcels> together(THREADS);
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int seed = 0; seed < THREADS; seed++) {
        threads.emplace_back([&together, seed] { together[seed] = runSession(seed); });
    }
    for (std::thread& thread : threads) thread.join();
    // The replay comes second, so the threads are the process's first users of shared state.
    std::vector<Parcels> alone(THREADS);
    for (int seed = 0; seed < THREADS; seed++) alone[seed] = runSession(seed);
    ASSERT_EQ(alone[0].size(), size_t{6} * ROUNDS);
    ASSERT_FALSE(alone[0][0].empty());
    for (int seed = 0; seed < THREADS; seed++) {
        EXPECT_EQ(alone[seed], together[seed]) << "thread " << seed;
    }
    setHuevaneLogSink(nullptr);
}

}  // namespace
