#include "HuevaneMatrixText.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

#include "HuevaneImplUtil.h"

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
    // Written on every update by the matrix stages: format into a stack buffer, one string
    // allocation at the end. "-2147483648," is the longest field.
    constexpr size_t FIELD_MAX = 12;
    char field[FIELD_MAX];
    std::string text = "1,";
    text.reserve(2 + count * FIELD_MAX);
    for (size_t i = 0; i < count; i++) {
        std::to_chars_result written =
                std::to_chars(field, field + FIELD_MAX - 1, getFixedPointFromFloat(elements[i]));
        *written.ptr++ = ',';
        text.append(field, written.ptr);
    }
    text.pop_back();
    return text;
}

bool getMatrixFromText(const std::string& text, bool* enabled, mat4* matrix) {
    if (text.empty()) return false;
    const char* p = text.data();
    const char* const end = p + text.size();
    mat4 values{};
    int fields = 0;  // the flag counts as field 0
    while (p < end) {
        const char* comma = p;
        while (comma < end && *comma != ',') comma++;
        if (fields > MATRIX_ELEMENTS) return false;
        int64_t number = 0;
        if (!HuevaneImplUtil::parseDecimal(p, comma, &number)) return false;
        if (number < INT32_MIN || number > INT32_MAX) return false;
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
    if (fields != MATRIX_ELEMENTS + 1) return false;
    *matrix = values;
    return true;
}
