#include "HuevaneImplMatrix.h"

#include "HuevaneImplUtil.h"

namespace {

constexpr mat4 IDENTITY = {1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f,
                           0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f};

// result[4j + i] = sum_k left[4k + i] * right[4j + k], i.e. left x right read column-major.
// Every product and every partial sum is rounded to single precision in k order; the build
// forbids contracting them into fused multiply-adds, so devices and hosts agree to the bit.
mat4 multiply(const mat4& left, const mat4& right) {
    mat4 result{};
    for (int j = 0; j < 4; j++) {
        for (int i = 0; i < 4; i++) {
            float sum = left[i] * right[4 * j];
            for (int k = 1; k < 4; k++) {
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
    if (parseMatrix(sourceKind, lut.second) != 0) return 1;
    // A disabled matrix while no source holds one: taken, nothing to emit.
    if (mMatrices.empty()) return 0;
    mat4 accumulator = IDENTITY;
    for (auto entry = mMatrices.rbegin(); entry != mMatrices.rend(); ++entry) {
        accumulator = multiply(accumulator, entry->second);
    }
    putDataLuts(lut.first, getMatrixToString(accumulator));
    return 0;
}

int32_t HuevaneImplMatrix::parseMatrix(int sourceKind, const std::string& text) {
    bool enabled = false;
    mat4 matrix;
    if (!getMatrixFromText(text, &enabled, &matrix)) return 1;
    for (auto& entry : mMatrices) {
        if (entry.first == sourceKind) {
            // Replacing or disabling keeps the key's place in the product.
            entry.second = enabled ? matrix : IDENTITY;
            return 0;
        }
    }
    if (enabled) mMatrices.emplace_back(sourceKind, matrix);
    return 0;
}

void HuevaneImplMatrix::putDataLuts(const pvx_colormode_data_header& header, std::string text) {
    HuevaneImplUtil::warnUnappliedDataLuts(mDataLuts);
    pvx_colormode_data_header combined = header;
    HuevaneImplUtil::setDataHeaderText(combined, text);
    mDataLuts.emplace_back(combined, std::move(text));
}

std::string HuevaneImplMatrix::getMatrixToString(mat4& m) {
    return getMatrixTextFromFloats(m.data(), m.size());
}

HuevaneDataLutList HuevaneImplMatrix::getDataLuts() {
    return mDataLuts;
}

void HuevaneImplMatrix::clearDataLuts() {
    mDataLuts.clear();
}
