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

__attribute__((target("pclmul"))) inline __m128i fold(__m128i x, __m128i constants, __m128i next) {
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

bool hasCrc16FoldWide() {
    static const bool supported = __builtin_cpu_supports("pclmul") &&
                                  __builtin_cpu_supports("avx512f") &&
                                  __builtin_cpu_supports("vpclmulqdq");
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

#define HUEVANE_WIDE_TARGET __attribute__((target("pclmul,avx512f,vpclmulqdq")))

namespace {

// Four 128-bit folds at once, one per lane of a 512-bit register; the xor of three is one
// ternary-logic instruction (0x96: a ^ b ^ c).
HUEVANE_WIDE_TARGET inline __m512i foldWide(__m512i x, __m512i constants, __m512i next) {
    return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(x, constants, 0x00),
                                     _mm512_clmulepi64_epi128(x, constants, 0x11), next, 0x96);
}

HUEVANE_WIDE_TARGET inline __m512i loadWide(const unsigned char* bytes) {
    return _mm512_loadu_si512(bytes);
}

// (Set element by element: the cast and broadcast intrinsics trip gcc's uninitialized check.)
HUEVANE_WIDE_TARGET inline __m512i broadcast(uint64_t high, uint64_t low) {
    const auto h = static_cast<long long>(high);
    const auto l = static_cast<long long>(low);
    return _mm512_set_epi64(h, l, h, l, h, l, h, l);
}

constexpr size_t WIDE = 4 * BLOCK;  // one 512-bit register

}  // namespace

HUEVANE_WIDE_TARGET unsigned int walkCrc16FoldWide(const unsigned char* data, size_t length,
                                                   unsigned int crc) {
    if (length < LANES * WIDE) return walkCrc16Fold(data, length, crc);
    const __m512i by2048 = broadcast(getFoldConstant(2047), getFoldConstant(2111));
    const __m512i by512 = broadcast(getFoldConstant(511), getFoldConstant(575));
    const __m128i by128 = _mm_set_epi64x(getFoldConstant(127), getFoldConstant(191));
    __m512i x0 = _mm512_xor_si512(loadWide(data), _mm512_set_epi64(0, 0, 0, 0, 0, 0, 0, crc));
    __m512i x1 = loadWide(data + WIDE);
    __m512i x2 = loadWide(data + 2 * WIDE);
    __m512i x3 = loadWide(data + 3 * WIDE);
    size_t i = LANES * WIDE;
    for (; length - i >= LANES * WIDE; i += LANES * WIDE) {
        x0 = foldWide(x0, by2048, loadWide(data + i));
        x1 = foldWide(x1, by2048, loadWide(data + i + WIDE));
        x2 = foldWide(x2, by2048, loadWide(data + i + 2 * WIDE));
        x3 = foldWide(x3, by2048, loadWide(data + i + 3 * WIDE));
    }
    x1 = foldWide(x0, by512, x1);
    x2 = foldWide(x1, by512, x2);
    x3 = foldWide(x2, by512, x3);
    for (; length - i >= WIDE; i += WIDE) x3 = foldWide(x3, by512, loadWide(data + i));
    // The register's four blocks, oldest first, become one 128-bit remainder. (The zero-masked
    // extract: the plain one trips gcc's uninitialized check too.)
    __m128i x = _mm512_maskz_extracti32x4_epi32(0xF, x3, 0);
    x = fold(x, by128, _mm512_maskz_extracti32x4_epi32(0xF, x3, 1));
    x = fold(x, by128, _mm512_maskz_extracti32x4_epi32(0xF, x3, 2));
    x = fold(x, by128, _mm512_maskz_extracti32x4_epi32(0xF, x3, 3));
    for (; length - i >= BLOCK; i += BLOCK) x = fold(x, by128, load(data + i));
    alignas(16) unsigned char remainder[BLOCK];
    _mm_store_si128(reinterpret_cast<__m128i*>(remainder), x);
    crc = walkCrc16Tables(remainder, BLOCK, 0);
    return walkCrc16Tables(data + i, length - i, crc);
}

#else

bool hasCrc16Fold() {
    return false;
}

bool hasCrc16FoldWide() {
    return false;
}

unsigned int walkCrc16FoldWide(const unsigned char* data, size_t length, unsigned int crc) {
    return walkCrc16Tables(data, length, crc);
}

unsigned int walkCrc16Fold(const unsigned char* data, size_t length, unsigned int crc) {
    return walkCrc16Tables(data, length, crc);
}

#endif

}  // namespace huevane
