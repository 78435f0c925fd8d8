// Call sequences: the input drives the setters (transforms with arbitrary floats, extension
// lists with arbitrary ids, attributes and texts, colour modes), the log level and updates in
// any order on one engine built from a fixed calibration file.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "HuevaneFuzzSupport.h"
#include "IHuevane.h"

namespace {

const char CALIBRATION[] = R"(<?xml version="1.0"?>
<Calib_Data>
  <mode name='standard' mode_id='0' gamut_id='0' gamut_name='srgb' intent_id='0' intent_name='colorimetric'>
    <degamma att0='1'>0,1,2,3,4,5,6,7</degamma>
    <gamma_matrix att0='0'>1,65536,0,0,0,0,65536,0,0,0,0,65536,0,0,0,0,65536</gamma_matrix>
    <linear_matrix>1,78643,-6554,-6554,0,-3277,72090,-3277,0,0,-13107,78643,0,0,0,0,65536</linear_matrix>
  </mode>
  <mode name='standard' mode_id='0' gamut_id='0' gamut_name='srgb' intent_id='1' intent_name='enhance'>
    <gamma att0='2'>9,8,7</gamma>
    <gamma_matrix att0='0'>0,65536,0,0,0,0,65536,0,0,0,0,65536,0,0,0,0,65536</gamma_matrix>
  </mode>
  <mode name='vivid' mode_id='1' gamut_id='1' gamut_name='p3' intent_id='0' intent_name='colorimetric'>
    <hsc att0='3' att1='4'>1 2 3</hsc>
    <gamma_matrix>1,32768,0,0,0,0,32768,0,0,0,0,32768,0,6554,6554,6554,65536</gamma_matrix>
  </mode>
</Calib_Data>
)";

enum Call : uint8_t {
    SET_MODE,
    SET_MODE_INTENT,
    SET_TRANSFORM,
    SET_EXTENSION,
    UPDATE,
    UPDATE_PVX,
    SET_LOG_LEVEL,
    QUERY,
    CALL_COUNT,
};

// Keeps every text alive until the call that points at it has returned.
struct ExtensionList {
    std::vector<HuevaneExtension> entries;
    std::vector<std::unique_ptr<char[]>> storage;
};

ExtensionList makeExtensions(FuzzedDataProvider& input) {
    ExtensionList list;
    const size_t count = input.ConsumeIntegralInRange<size_t>(0, 8);
    for (size_t i = 0; i < count && input.remaining_bytes() > 0; i++) {
        HuevaneExtension entry;
        // Mostly meaningful ids, sometimes anything.
        entry.id = input.ConsumeBool() ? input.ConsumeIntegralInRange<uint32_t>(0, 13)
                                       : input.ConsumeIntegral<uint32_t>();
        std::string text = input.ConsumeRandomLengthString(256);
        const bool isNull = input.ConsumeIntegralInRange<int>(0, 15) == 0;
        if (entry.id == 0) {
            // Attribute texts carry `size` bytes and no terminator: reading past them is a bug.
            entry.size = isNull ? 0 : static_cast<uint32_t>(text.size());
            if (!isNull) {
                list.storage.emplace_back(new char[text.size() + (text.empty() ? 1 : 0)]);
                memcpy(list.storage.back().get(), text.data(), text.size());
                entry.data = list.storage.back().get();
            }
        } else if (!isNull) {
            list.storage.emplace_back(new char[text.size() + 1]);
            memcpy(list.storage.back().get(), text.c_str(), text.size() + 1);
            entry.data = list.storage.back().get();
            entry.size = input.ConsumeIntegral<uint32_t>();  // must not be read for LUT entries
        }
        list.entries.push_back(entry);
    }
    return list;
}

void setTransform(IHuevane* engine, FuzzedDataProvider& input) {
    if (input.ConsumeIntegralInRange<int>(0, 31) == 0) {
        engine->setColorTransform(nullptr, 0);
        return;
    }
    // Exactly 16 floats on the heap: a read of a 17th is caught.
    std::unique_ptr<float[]> matrix(new float[16]);
    for (int i = 0; i < 16; i++) {
        if (input.ConsumeBool()) {
            uint32_t bits = input.ConsumeIntegral<uint32_t>();  // NaNs, infinities, denormals
            memcpy(&matrix[i], &bits, sizeof(bits));
        } else {
            matrix[i] = static_cast<float>(input.ConsumeIntegralInRange<int>(-8, 8)) / 4.0f;
        }
    }
    engine->setColorTransform(matrix.get(), input.ConsumeIntegral<uint32_t>());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzQuietProcess();
    fuzzDeviceTree().writeFile("/vendor/etc/pvx/calib_data_colormode0.xml", CALIBRATION);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    std::unique_ptr<IHuevane> engine(IHuevane::createInstance(0));
    int calls = 0;
    while (input.remaining_bytes() > 0 && calls++ < 64) {
        switch (input.ConsumeIntegralInRange<uint8_t>(0, CALL_COUNT - 1)) {
            case SET_MODE:
                engine->setColorMode(input.ConsumeIntegralInRange<uint32_t>(0, 2));
                break;
            case SET_MODE_INTENT:
                engine->setColorModeWithRenderIntent(input.ConsumeIntegral<uint32_t>() % 3,
                                                     input.ConsumeIntegral<uint32_t>() % 3);
                break;
            case SET_TRANSFORM:
                setTransform(engine.get(), input);
                break;
            case SET_EXTENSION: {
                ExtensionList list = makeExtensions(input);
                const std::vector<HuevaneExtension> before = list.entries;
                engine->setColorExtension(list.entries);
                // The caller's list is read, never changed.
                if (list.entries.size() != before.size()) abort();
                for (size_t i = 0; i < before.size(); i++) {
                    const HuevaneExtension& a = before[i];
                    const HuevaneExtension& b = list.entries[i];
                    if (a.id != b.id || a.data != b.data || a.size != b.size) abort();
                }
                break;
            }
            case UPDATE:
                fuzzUpdate(engine.get());
                break;
            case UPDATE_PVX:
                fuzzUpdate(engine.get(), true);
                break;
            case SET_LOG_LEVEL:
                engine->setLogLevel(input.ConsumeIntegralInRange<int32_t>(-1, 4));
                break;
            case QUERY:
                engine->getColorModes();
                engine->getRenderIntents(input.ConsumeIntegral<uint32_t>() % 3);
                break;
        }
    }
    fuzzUpdate(engine.get());
    return 0;
}
