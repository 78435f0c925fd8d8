#include "HuevaneImplMatrix.h"

#include <cstring>

#include "HuevaneStagedLuts.h"

using huevane::mat4;

namespace {

constexpr mat4 IDENTITY = {1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f,
                           0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f};

// result[4j + i] = sum_k left[4k + i] * right[4j + k], i.e. left x right read column-major.
// Every product and every partial sum is rounded to single precision in k order; the build
// forbids contracting them into fused multiply-adds, so devices and hosts agree to the bit.
mat4 multiply(const mat4& left, const mat4& right) {
    mat4 result{};
    for (size_t j = 0; j < 4; j++) {
        for (size_t i = 0; i < 4; i++) {
            float sum = left[i] * right[4 * j];
            for (size_t k = 1; k < 4; k++) {
                float product = left[4 * k + i] * right[4 * j + k];
                sum = sum + product;
            }
            result[4 * j + i] = sum;
        }
    }
    return result;
}

}  // namespace

int32_t HuevaneImplMatrix::setDataLuts(int sourceKind, const HuevaneDataLut& lut) {
    if (lut.first.id != mNodeId) return 1;
    if (parseMatrixText(sourceKind, lut.second) != 0) return 1;
    // A disabled matrix while no source holds one: taken, nothing to emit.
    if (mMatrices.empty()) return 0;
    Memo& m = memo();
    if (!m.combinedValid) updateCombined();
    // Only the offered LUT's own header bytes differ between emissions of the same product.
    huevane::warnUnappliedDataLuts(mDataLuts);
    // Set in place: a header patched on the stack and then copied whole stalls on the patch.
    mDataLuts.emplace_back(lut.first, m.combined.second);
    pvx_colormode_data_header& combined = mDataLuts.back().first;
    combined.total_size = m.combined.first.total_size;
    combined.crc = m.combined.first.crc;
    return 0;
}

void HuevaneImplMatrix::updateCombined() {
    mat4 accumulator = IDENTITY;
    for (auto entry = mMatrices.rbegin(); entry != mMatrices.rend(); ++entry) {
        accumulator = multiply(accumulator, entry->second);
    }
    Memo& m = memo();
    std::string text;
    huevane::formatMatrixText(accumulator.data(), accumulator.size(), &text);
    huevane::setDataHeaderText(m.combined.first, text);
    m.combined.second = HuevaneText(std::move(text));
    m.combinedValid = true;
}

HuevaneImplMatrix::Memo& HuevaneImplMatrix::memo() {
    if (!mMemo) mMemo = std::make_unique<Memo>();
    return *mMemo;
}

const HuevaneImplMatrix::ReadText& HuevaneImplMatrix::readText(int sourceKind,
                                                               const HuevaneText& text) {
    Memo& m = memo();
    const bool remembered = sourceKind >= 0 && sourceKind < static_cast<int>(m.readTexts.size());
    ReadText& read = remembered ? m.readTexts[sourceKind] : m.scratch;
    if (remembered && read.text == text) return read;
    read.text = text;
    read.valid = huevane::getMatrixFromText(text, &read.enabled, &read.matrix);
    return read;
}

int32_t HuevaneImplMatrix::parseMatrix(int sourceKind, const std::string& text) {
    // A text of its own: the stage remembers it past this call.
    return parseMatrixText(sourceKind, HuevaneText(text));
}

int32_t HuevaneImplMatrix::parseMatrixText(int sourceKind, const HuevaneText& text) {
    const ReadText& read = readText(sourceKind, text);
    if (!read.valid) return 1;
    for (auto& entry : mMatrices) {
        if (entry.first == sourceKind) {
            // Replacing or disabling keeps the key's place in the product.
            const mat4& matrix = read.enabled ? read.matrix : IDENTITY;
            // Bit for bit on purpose: the product is written from these exact values.
            // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
            if (memcmp(entry.second.data(), matrix.data(), sizeof(mat4)) != 0) {
                entry.second = matrix;
                memo().combinedValid = false;
            }
            return 0;
        }
    }
    if (read.enabled) {
        mMatrices.emplace_back(sourceKind, read.matrix);
        memo().combinedValid = false;
    }
    return 0;
}

void HuevaneImplMatrix::putDataLuts(const pvx_colormode_data_header& header, std::string text) {
    huevane::warnUnappliedDataLuts(mDataLuts);
    pvx_colormode_data_header combined = header;
    huevane::setDataHeaderText(combined, text);
    mDataLuts.emplace_back(combined, std::move(text));
}

std::string HuevaneImplMatrix::getMatrixToString(mat4& m) {
    return huevane::getMatrixTextFromFloats(m.data(), m.size());
}

HuevaneDataLutList HuevaneImplMatrix::getDataLuts() {
    return mDataLuts;
}

void HuevaneImplMatrix::clearDataLuts() {
    mDataLuts.clear();
}
