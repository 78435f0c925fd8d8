#include "HuevaneImplTransform.h"

#include <cstring>

#include "HuevaneMatrixText.h"
#include "HuevaneNodeTable.h"
#include "HuevaneStagedLuts.h"

int32_t HuevaneImplTransform::setDataLuts(std::vector<float> matrix) {
    if (matrix.size() != huevane::MATRIX_ELEMENTS) return 1;
    // Bit for bit, so that NaN and -0.0 are told apart like any other value.
    if (mLastMatrix.size() != matrix.size() ||
        memcmp(mLastMatrix.data(), matrix.data(), matrix.size() * sizeof(float)) != 0) {
        std::string text;
        huevane::formatMatrixText(matrix.data(), matrix.size(), &text);
        mLastLut.first = huevane::getDataHeader(huevane::PVX_NODE_GAMMA_MATRIX, text);
        mLastLut.second = HuevaneText(std::move(text));
        mLastMatrix = std::move(matrix);
    }
    huevane::warnUnappliedDataLuts(mDataLuts);
    mDataLuts.push_back(mLastLut);
    return 0;
}

void HuevaneImplTransform::putDataLuts(unsigned char id, std::string text) {
    huevane::warnUnappliedDataLuts(mDataLuts);
    pvx_colormode_data_header header = huevane::getDataHeader(id, text);
    mDataLuts.emplace_back(header, std::move(text));
}

std::string HuevaneImplTransform::getMatrixToString(std::vector<float>& matrix) {
    return huevane::getMatrixTextFromFloats(matrix.data(), matrix.size());
}
