#include "HuevaneDecimal.h"

namespace huevane {

namespace {

// Beyond this the value is outside every range a caller accepts; clamping keeps the
// accumulation from overflowing on arbitrarily long digit runs.
constexpr int64_t DECIMAL_CLAMP = int64_t{1} << 40;

bool isDecimalSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

}  // namespace

bool parseDecimal(const char* begin, const char* end, int64_t* value) {
    const char* p = begin;
    while (p < end && isDecimalSpace(*p)) p++;
    bool negative = false;
    if (p < end && (*p == '+' || *p == '-')) {
        negative = *p == '-';
        p++;
    }
    const char* digits = p;
    int64_t magnitude = 0;
    for (; p < end && *p >= '0' && *p <= '9'; p++) {
        if (magnitude < DECIMAL_CLAMP) magnitude = magnitude * 10 + (*p - '0');
    }
    if (p == digits) return false;
    if (magnitude > DECIMAL_CLAMP) magnitude = DECIMAL_CLAMP;
    *value = negative ? -magnitude : magnitude;
    return true;
}

}  // namespace huevane
