#include "HuevaneImplTransform.h"

#include "HuevaneImplUtil.h"
#include "HuevaneMatrixText.h"

int32_t HuevaneImplTransform::setDataLuts(std::vector<float> matrix) {
    if (matrix.size() != MATRIX_ELEMENTS) return 1;
    putDataLuts(PVX_NODE_GAMMA_MATRIX, getMatrixToString(matrix));
    return 0;
}

void HuevaneImplTransform::putDataLuts(unsigned char id, std::string text) {
    HuevaneImplUtil::warnUnappliedDataLuts(mDataLuts);
    pvx_colormode_data_header header = HuevaneImplUtil::getDataHeader(id, text);
    mDataLuts.emplace_back(header, std::move(text));
}

std::string HuevaneImplTransform::getMatrixToString(std::vector<float>& matrix) {
    return getMatrixTextFromFloats(matrix.data(), matrix.size());
}
