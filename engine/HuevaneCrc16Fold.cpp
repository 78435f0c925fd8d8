// CRC-16 by carry-less multiplication. The register never leaves its low byte, so the sum is a
// reflected CRC-8 with P = x^8 + x^6 + x^4 + x^3 + x + 1, and long runs fold the usual way: a
// 128-bit remainder X is carried F bits ahead as X_hi * (x^(F+64) mod P) + X_lo * (x^F mod P),
// two 64 x 64 multiplications, and the last remainder goes through the byte table.
#include "HuevaneCrc16.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace huevane {

namespace {

// x^exponent mod P in the reflected 64-bit form that one multiplication expects: the term of
// degree d at bit 63 - d. (A 64 x 64 product of reflected operands lands one degree low, so the
// constants for carrying F bits are those of x^(F-1) and x^(F+63).)
constexpr uint64_t getFoldConstant(int exponent) {
    unsigned int remainder = 1;
    for (int e = 0; e < exponent; e++) {
        remainder <<= 1;
        if (remainder & 0x100) remainder ^= 0x15B;
    }
    uint64_t reflected = 0;
    for (int degree = 0; degree < 8; degree++) {
        if (remainder >> degree & 1) reflected |= uint64_t{1} << (63 - degree);
    }
    return reflected;
}

constexpr size_t BLOCK = 16;
constexpr size_t LANES = 4;

}  // namespace

#if defined(__x86_64__)

namespace {

__attribute__((target("pclmul"))) __m128i fold(__m128i x, __m128i constants, __m128i next) {
    const __m128i high = _mm_clmulepi64_si128(x, constants, 0x00);
    const __m128i low = _mm_clmulepi64_si128(x, constants, 0x11);
    return _mm_xor_si128(_mm_xor_si128(high, low), next);
}

__m128i load(const unsigned char* bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

}  // namespace

bool hasCrc16Fold() {
    static const bool supported = __builtin_cpu_supports("pclmul");
    return supported;
}

__attribute__((target("pclmul"))) unsigned int walkCrc16Fold(const unsigned char* data,
                                                             size_t length, unsigned int crc) {
    if (length < LANES * BLOCK) return walkCrc16Tables(data, length, crc);
    // The low half of each constant carries X_hi, the high half X_lo.
    const __m128i by512 = _mm_set_epi64x(getFoldConstant(511), getFoldConstant(575));
    const __m128i by128 = _mm_set_epi64x(getFoldConstant(127), getFoldConstant(191));
    // Four independent lanes keep the multiplier busy; the register enters as the first byte.
    __m128i x0 = _mm_xor_si128(load(data), _mm_cvtsi32_si128(static_cast<int>(crc)));
    __m128i x1 = load(data + BLOCK);
    __m128i x2 = load(data + 2 * BLOCK);
    __m128i x3 = load(data + 3 * BLOCK);
    size_t i = LANES * BLOCK;
    for (; length - i >= LANES * BLOCK; i += LANES * BLOCK) {
        x0 = fold(x0, by512, load(data + i));
        x1 = fold(x1, by512, load(data + i + BLOCK));
        x2 = fold(x2, by512, load(data + i + 2 * BLOCK));
        x3 = fold(x3, by512, load(data + i + 3 * BLOCK));
    }
    x1 = fold(x0, by128, x1);
    x2 = fold(x1, by128, x2);
    x3 = fold(x2, by128, x3);
    for (; length - i >= BLOCK; i += BLOCK) x3 = fold(x3, by128, load(data + i));
    // The remainder's bytes, walked from a zero register, give the register after them.
    alignas(16) unsigned char remainder[BLOCK];
    _mm_store_si128(reinterpret_cast<__m128i*>(remainder), x3);
    crc = walkCrc16Tables(remainder, BLOCK, 0);
    return walkCrc16Tables(data + i, length - i, crc);
}

#else

bool hasCrc16Fold() {
    return false;
}

unsigned int walkCrc16Fold(const unsigned char* data, size_t length, unsigned int crc) {
    return walkCrc16Tables(data, length, crc);
}

#endif

}  // namespace huevane
