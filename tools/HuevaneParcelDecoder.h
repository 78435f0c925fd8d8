// Reads a coefficient parcel back: the parcel header, every entry's header and text, and the
// matrices inside gamma_matrix and linear_matrix entries. Built for bytes of unknown origin
// (a buffer dump, a truncated file, garbage): it never reads outside [data, data + size).
#ifndef HUEVANE_TOOLS_HUEVANEPARCELDECODER_H
#define HUEVANE_TOOLS_HUEVANEPARCELDECODER_H

#include <cstddef>
#include <cstdint>
#include <string>

struct HuevaneDecodeOptions {
    bool json = false;
    // Print every LUT text whole; otherwise long texts are cut to one line in the text form.
    bool fullText = false;
};

// Appends the decoded parcel to `out`, as text or JSON. Returns 0 when the parcel is
// consistent, 1 when anything in it is not (each problem is named in the output).
int decodeParcel(const uint8_t* data, size_t size, const HuevaneDecodeOptions& options,
                 std::string* out);

// The same with default options; the entry point for fuzzing.
int decodeParcel(const uint8_t* data, size_t size, bool json, std::string* out);

#endif  // HUEVANE_TOOLS_HUEVANEPARCELDECODER_H
