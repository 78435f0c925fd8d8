// The colour-transform source: the compositor's 4x4 transform becomes one staged gamma_matrix LUT.
#ifndef HUEVANE_SOURCES_HUEVANEIMPLTRANSFORM_H
#define HUEVANE_SOURCES_HUEVANEIMPLTRANSFORM_H

#include <cstdint>
#include <string>
#include <vector>

#include "HuevaneImplCallerSource.h"

class HuevaneImplTransform : public HuevaneImplCallerSource<float> {
public:
    // Room claimed in the parcel: one matrix LUT at its longest.
    static constexpr int32_t TRANSFORM_MAX_SIZE = 124;

    HuevaneImplTransform() : HuevaneImplCallerSource(TRANSFORM_MAX_SIZE) {}
    ~HuevaneImplTransform() override = default;

    // 0 with one LUT staged; 1 when the vector does not hold exactly 16 floats.
    int32_t setDataLuts(std::vector<float> matrix) override;

    void putDataLuts(unsigned char id, std::string text);
    std::string getMatrixToString(std::vector<float>& matrix);
};

#endif  // HUEVANE_SOURCES_HUEVANEIMPLTRANSFORM_H
