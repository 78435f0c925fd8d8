// Drives this tree's library ("now") and an earlier commit's ("today") through the same long
// run of seeded random requests, as a compositor would make them, and stops at the first
// difference in a result, a list, a parcel byte or a log line. Usage: huevane_compare [REQUESTS]
#include <android/log.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "HuevaneBenchCalibration.h"
#include "HuevaneBenchLibrary.h"
#include "HuevaneDeviceTree.h"
#include "HuevaneLogSink.h"

namespace {

std::vector<std::string> gLines;

bool collect(const HuevaneLogRecord& record) {
    gLines.push_back(std::to_string(record.priority) + " " + record.tag + " " + record.message);
    return false;
}

// What one request left behind: its result, any list or parcel it returned, its log lines.
struct Outcome {
    std::string result;
    std::vector<std::string> lines;
};

using Random = std::mt19937;

int pick(Random& random, int below) {
    return static_cast<int>(random() % static_cast<unsigned>(below));
}

float randomElement(Random& random) {
    static const float SPECIAL[] = {0.0f,
                                    1.0f,
                                    -0.5f,
                                    0.5f / 65536,
                                    -0.5f / 65536,
                                    32768.0f,
                                    -32768.0f,
                                    40000.0f,
                                    std::numeric_limits<float>::infinity(),
                                    -std::numeric_limits<float>::infinity(),
                                    std::numeric_limits<float>::quiet_NaN(),
                                    1e-6f};
    if (pick(random, 4) == 0) return SPECIAL[pick(random, 12)];
    return std::uniform_real_distribution<float>(-2.0f, 2.0f)(random);
}

std::string matrixText(Random& random) {
    std::string text = pick(random, 5) == 0 ? "0" : "1";
    const int fields = pick(random, 8) == 0 ? 15 + pick(random, 3) : 16;
    for (int i = 0; i < fields; i++) {
        text += ",";
        if (pick(random, 10) == 0) text += " \n";
        text += std::to_string(static_cast<int32_t>(randomElement(random) * 65536) % 200000);
    }
    if (pick(random, 6) == 0) text += pick(random, 2) ? "," : "\n";
    return text;
}

std::string tableText(Random& random) {
    std::string text;
    const int values = pick(random, 40);
    for (int i = 0; i < values; i++) text += std::to_string(pick(random, 4096)) + ",";
    if (pick(random, 200) == 0) text.append(70000, '7');  // too long for one entry
    return text;
}

std::string attributeText(Random& random) {
    static const char* const VALUES[] = {"0", "1", "7", "255", "256", "300", "-1", "x", "  5"};
    std::string text;
    const int values = pick(random, 6);
    for (int i = 0; i < values; i++) text += std::string(VALUES[pick(random, 9)]) + " ";
    return text;
}

// One random request, as a list of texts that live while both builds serve it.
struct Request {
    int kind = 0;
    uint32_t mode = 0, intent = 0;
    int32_t level = 0;
    float matrix[16] = {};
    std::vector<std::string> texts;
    std::vector<uint32_t> ids;
};

Request makeRequest(Random& random) {
    Request r;
    r.kind = pick(random, 9);
    r.mode = static_cast<uint32_t>(pick(random, 6));
    r.intent = static_cast<uint32_t>(pick(random, 4));
    r.level = pick(random, 5);
    for (float& element : r.matrix) element = randomElement(random);
    if (pick(random, 3) == 0) {
        for (int i = 0; i < 16; i++) r.matrix[i] = i % 5 == 0 ? 1.0f : 0.0f;
    }
    const int entries = pick(random, 5);
    for (int i = 0; i < entries; i++) {
        const uint32_t id = static_cast<uint32_t>(pick(random, 15));
        r.ids.push_back(id);
        r.texts.push_back(id == 0               ? attributeText(random)
                          : id == 6 || id == 11 ? matrixText(random)
                                                : tableText(random));
    }
    return r;
}

std::string describe(const std::vector<uint8_t>& parcel, int32_t result) {
    std::string text = std::to_string(result) + ":";
    const size_t size = parcel[2] | parcel[3] << 8;
    for (size_t i = 0; i < size && i < parcel.size(); i++) text += std::to_string(parcel[i]) + ",";
    return text;
}

Outcome serve(IHuevane* engine, const Request& r, std::vector<uint8_t>& buffer) {
    gLines.clear();
    Outcome out;
    switch (r.kind) {
        case 0:
            out.result = std::to_string(engine->setColorMode(r.mode));
            break;
        case 1:
            out.result = std::to_string(engine->setColorModeWithRenderIntent(r.mode, r.intent));
            break;
        case 2:
            out.result = std::to_string(engine->setColorTransform(r.matrix, 0));
            break;
        case 3: {
            std::vector<HuevaneExtension> entries;
            for (size_t i = 0; i < r.ids.size(); i++) {
                entries.push_back(
                        {r.ids[i], r.texts[i].c_str(), static_cast<uint32_t>(r.texts[i].size())});
            }
            out.result = std::to_string(engine->setColorExtension(entries));
            break;
        }
        case 4:
            engine->setLogLevel(r.level);
            break;
        case 5: {
            for (const HuevaneMode& m : engine->getColorModes()) {
                out.result += std::to_string(m.modeId) + "/" + std::to_string(m.gamutId) + "/" +
                              m.modeName + ";";
            }
            for (const DisplayRenderIntent& i : engine->getRenderIntents(r.mode)) {
                out.result += std::to_string(i.intentId) + "/" + i.intentName + ";";
            }
            break;
        }
        default: {
            // The same buffer for both builds, so the parcel print shows the same address.
            const int32_t size = engine->getColorCoefSize();
            buffer.assign(size, 0xA5);
            out.result = std::to_string(size) + " " +
                         describe(buffer, engine->updateColorCoef(buffer.data()));
            break;
        }
    }
    out.lines = gLines;
    return out;
}

}  // namespace

int main(int argc, char** argv) {
    const long requests = argc > 1 ? strtol(argv[1], nullptr, 10) : 20000;
    DeviceTree device;
    device.writeCalibration(0, makeCalibration(4, 3));
    loadBenchLibraries(device.root().c_str());
    if (todayLibrary() == nullptr) {
        fprintf(stderr, "built without the earlier tree: nothing to compare\n");
        return 2;
    }
    setHuevaneLogSink(collect);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);

    Random random(20240611);
    std::vector<uint8_t> buffer;
    HuevaneLibrary::Engine today = todayLibrary()->createEngine(0);
    HuevaneLibrary::Engine now = nowLibrary().createEngine(0);
    long parcels = 0;
    for (long n = 0; n < requests; n++) {
        // A fresh pair of engines now and then, so creation and first updates are compared too.
        if (pick(random, 500) == 0) {
            today = todayLibrary()->createEngine(0);
            now = nowLibrary().createEngine(0);
        }
        const Request request = makeRequest(random);
        const Outcome expected = serve(today.get(), request, buffer);
        const Outcome actual = serve(now.get(), request, buffer);
        if (expected.result != actual.result || expected.lines != actual.lines) {
            fprintf(stderr, "request %ld (kind %d) differs\ntoday: %s\nnow:   %s\n", n, request.kind,
                    expected.result.substr(0, 400).c_str(), actual.result.substr(0, 400).c_str());
            for (size_t i = 0; i < expected.lines.size() || i < actual.lines.size(); i++) {
                const char* e = i < expected.lines.size() ? expected.lines[i].c_str() : "-";
                const char* a = i < actual.lines.size() ? actual.lines[i].c_str() : "-";
                if (strcmp(e, a) != 0) fprintf(stderr, "line %zu\ntoday: %s\nnow:   %s\n", i, e, a);
            }
            return 1;
        }
        parcels += request.kind >= 6;
    }
    printf("%ld requests (%ld updates): results, parcels and log lines identical to today's\n",
           requests, parcels);
    return 0;
}
