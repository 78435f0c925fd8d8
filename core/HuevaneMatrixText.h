// The matrix text carried by gamma_matrix and linear_matrix LUTs: an enable flag, then 16
// fixed-point elements with 16 fractional bits, separated by commas.
#ifndef HUEVANE_CORE_HUEVANEMATRIXTEXT_H
#define HUEVANE_CORE_HUEVANEMATRIXTEXT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace huevane {

using mat4 = std::array<float, 16>;

constexpr int MATRIX_ELEMENTS = 16;
// The longest matrix text written: "1," and 16 fields of at most 11 characters ("-2147483648")
// between 15 commas.
constexpr size_t MATRIX_TEXT_MAX_LENGTH = 2 + MATRIX_ELEMENTS * 11 + (MATRIX_ELEMENTS - 1);

// Element value -> fixed-point integer: x * 65536 in single precision, rounded half away from
// zero, saturated to the signed 32-bit range; NaN gives 0.
int32_t getFixedPointFromFloat(float value);
// False when getFixedPointFromFloat changes the value beyond rounding: NaN, or saturated.
bool isFixedPointInRange(float value);

// "1," then `count` fixed-point elements, comma separated, no trailing comma.
std::string getMatrixTextFromFloats(const float* elements, size_t count);
// The same text written into `text`, whose storage is reused: no allocation once it has held
// one matrix text.
void formatMatrixText(const float* elements, size_t count, std::string* text);

// How a matrix text reads; anything but MATRIX_TEXT_OK rejects the whole text.
enum MatrixTextRead {
    MATRIX_TEXT_OK,
    MATRIX_TEXT_EMPTY,         // no field at all
    MATRIX_TEXT_NOT_A_NUMBER,  // a field without digits
    MATRIX_TEXT_OUT_OF_RANGE,  // a field outside the signed 32-bit range
    MATRIX_TEXT_FIELD_COUNT,   // not a flag and exactly 16 elements
};
MatrixTextRead readMatrixText(const std::string& text, bool* enabled, mat4* matrix);
// True when the text reads (readMatrixText gives MATRIX_TEXT_OK).
bool getMatrixFromText(const std::string& text, bool* enabled, mat4* matrix);

}  // namespace huevane

#endif  // HUEVANE_CORE_HUEVANEMATRIXTEXT_H
