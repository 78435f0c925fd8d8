// `huevane-tool decode` on arbitrary bytes: the decoder must stay inside the buffer (libFuzzer
// hands it a heap block of exactly `size` bytes) and answer 0 or 1, in text and in JSON.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "HuevaneFuzzSupport.h"
#include "HuevaneParcelDecoder.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzQuietProcess();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (bool json : {false, true}) {
        std::string out;
        const int result = decodeParcel(data, size, json, &out);
        if (result != 0 && result != 1) abort();
    }
    HuevaneDecodeOptions whole;
    whole.fullText = true;
    std::string out;
    decodeParcel(data, size, whole, &out);
    return 0;
}
