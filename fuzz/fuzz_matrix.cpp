// Matrix texts through the matrix stage: the input is a sequence of (source kind, node id, text)
// offers to one stage. Every emitted LUT must be well formed, and its text must be a fixed
// point of reading and writing: the stage accepts it back and writes it out unchanged.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "HuevaneFuzzSupport.h"
#include "HuevaneImplMatrix.h"
#include "HuevaneImplUtil.h"

namespace {

constexpr uint8_t GAMMA_MATRIX = 6;
constexpr uint8_t LINEAR_MATRIX = 11;

void check(bool condition, const char* what) {
    if (condition) return;
    fprintf(stderr, "matrix stage invariant broken: %s\n", what);
    abort();
}

HuevaneDataLut makeLut(uint8_t id, const std::string& text, uint8_t attr) {
    return {huevane::getDataHeader(id, text, attr, attr ^ 0x5A, 0xFF, 0), text};
}

// The stage's own output, offered to a fresh stage, must come back byte for byte.
void checkRoundTrip(const HuevaneDataLut& emitted) {
    HuevaneImplMatrix stage(emitted.first.id);
    check(stage.setDataLuts(0, emitted) == 0, "emitted text rejected");
    HuevaneDataLutList again = stage.getDataLuts();
    check(again.size() == 1, "emitted text made no LUT");
    check(again[0].second == emitted.second, "emitted text changed on a second pass");
}

void checkEmitted(const HuevaneDataLut& offered, const HuevaneDataLut& emitted) {
    const pvx_colormode_data_header& h = emitted.first;
    check(h.magic == offered.first.magic && h.id == offered.first.id, "header copied");
    check(h.attr0 == offered.first.attr0 && h.attr1 == offered.first.attr1 &&
                  h.attr2 == offered.first.attr2 && h.attr3 == offered.first.attr3,
          "attributes copied");
    check(h.total_size == emitted.second.size() + 13, "total_size");
    check(h.crc == HuevaneImplUtil::getCrc16(
                           reinterpret_cast<const unsigned char*>(emitted.second.c_str()),
                           static_cast<int32_t>(emitted.second.size() + 1)),
          "crc");
    check(emitted.second.str().compare(0, 2, "1,") == 0, "written flag");
    checkRoundTrip(emitted);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzQuietProcess();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    const uint8_t stageNode = input.ConsumeBool() ? GAMMA_MATRIX : LINEAR_MATRIX;
    HuevaneImplMatrix stage(stageNode);
    for (int offers = 0; offers < 8 && input.remaining_bytes() > 0; offers++) {
        const int kind = input.ConsumeIntegralInRange<int>(0, 2);
        const uint8_t id = input.ConsumeIntegralInRange<int>(0, 3) == 0
                                   ? input.ConsumeIntegral<uint8_t>()
                                   : stageNode;
        const uint8_t attr = input.ConsumeIntegral<uint8_t>();
        HuevaneDataLut lut = makeLut(id, input.ConsumeRandomLengthString(512), attr);
        const size_t before = stage.getDataLuts().size();
        const int32_t taken = stage.setDataLuts(kind, lut);
        HuevaneDataLutList emitted = stage.getDataLuts();
        if (taken != 0 || id != stageNode) {
            check(taken == 1, "result");
            check(emitted.size() == before, "a refused LUT emitted something");
            continue;
        }
        // Taken: one LUT more, unless no source holds a matrix yet.
        check(emitted.size() == before || emitted.size() == before + 1, "one LUT per offer");
        if (emitted.size() == before + 1) checkEmitted(lut, emitted.back());
        if (input.ConsumeIntegralInRange<int>(0, 3) == 0) stage.clearDataLuts();
    }
    return 0;
}
