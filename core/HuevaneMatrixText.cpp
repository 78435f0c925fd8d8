#include "HuevaneMatrixText.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

#include "HuevaneDecimal.h"

namespace huevane {

namespace {

constexpr float FIXED_POINT_ONE = 65536.0f;

}  // namespace

int32_t getFixedPointFromFloat(float value) {
    float scaled = value * FIXED_POINT_ONE;  // rounded once, in single precision
    if (std::isnan(scaled)) return 0;
    // Exact in double; std::round rounds halves away from zero.
    double rounded = std::round(static_cast<double>(scaled));
    if (rounded > 2147483647.0) return std::numeric_limits<int32_t>::max();
    if (rounded < -2147483648.0) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(rounded);
}

bool isFixedPointInRange(float value) {
    float scaled = value * FIXED_POINT_ONE;
    if (std::isnan(scaled)) return false;
    double rounded = std::round(static_cast<double>(scaled));
    return rounded <= 2147483647.0 && rounded >= -2147483648.0;
}

std::string getMatrixTextFromFloats(const float* elements, size_t count) {
    std::string text;
    formatMatrixText(elements, count, &text);
    return text;
}

void formatMatrixText(const float* elements, size_t count, std::string* text) {
    // "-2147483648," is the longest field.
    constexpr size_t FIELD_MAX = 12;
    text->resize(2 + count * FIELD_MAX);
    char* const begin = &(*text)[0];
    char* const end = begin + text->size();
    char* out = begin;
    *out++ = '1';
    *out++ = ',';
    for (size_t i = 0; i < count; i++) {
        out = std::to_chars(out, end, getFixedPointFromFloat(elements[i])).ptr;
        *out++ = ',';
    }
    text->resize(static_cast<size_t>(out - begin) - 1);  // no comma after the last field
}

MatrixTextRead readMatrixText(const std::string& text, bool* enabled, mat4* matrix) {
    if (text.empty()) return MATRIX_TEXT_EMPTY;
    const char* p = text.data();
    const char* const end = p + text.size();
    mat4 values{};
    int fields = 0;  // the flag counts as field 0
    while (p < end) {
        const char* comma = p;
        while (comma < end && *comma != ',') comma++;
        if (fields > MATRIX_ELEMENTS) return MATRIX_TEXT_FIELD_COUNT;
        int64_t number = 0;
        if (!parseDecimal(p, comma, &number)) return MATRIX_TEXT_NOT_A_NUMBER;
        if (number < INT32_MIN || number > INT32_MAX) return MATRIX_TEXT_OUT_OF_RANGE;
        if (fields == 0) {
            *enabled = number != 0;
        } else {
            // int -> float rounds to nearest-even; the power-of-two scale adds no rounding.
            values[fields - 1] = static_cast<float>(number) / FIXED_POINT_ONE;
        }
        fields++;
        // A comma at the very end opens no further field.
        p = comma < end ? comma + 1 : end;
    }
    if (fields != MATRIX_ELEMENTS + 1) return MATRIX_TEXT_FIELD_COUNT;
    *matrix = values;
    return MATRIX_TEXT_OK;
}

bool getMatrixFromText(const std::string& text, bool* enabled, mat4* matrix) {
    return readMatrixText(text, enabled, matrix) == MATRIX_TEXT_OK;
}

}  // namespace huevane
