// The colour-transform source: the compositor's 4x4 transform becomes one staged gamma_matrix LUT.
#ifndef HUEVANE_SOURCES_HUEVANEIMPLTRANSFORM_H
#define HUEVANE_SOURCES_HUEVANEIMPLTRANSFORM_H

#include <cstdint>
#include <string>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneImplLutSource.h"

class HuevaneImplTransform : public HuevaneImplLutSource<float> {
public:
    HuevaneImplTransform() = default;
    ~HuevaneImplTransform() override = default;

    HuevaneDataLutList getDataLuts() override;
    void clearDataLuts() override;
    void dumpDataLuts() override;
    int32_t getDataLutsMaxSize() override;
    // 0 with one LUT staged; 1 when the vector does not hold exactly 16 floats.
    int32_t setDataLuts(std::vector<float> matrix) override;

    void putDataLuts(unsigned char id, std::string text);
    std::string getMatrixToString(std::vector<float>& matrix);
    HuevaneDataLut initDataHeader();

private:
    HuevaneDataLutList mDataLuts;
    // Room this source claims in the parcel: one matrix LUT at its longest.
    int32_t mDataLutsMaxSize = 124;
};

#endif  // HUEVANE_SOURCES_HUEVANEIMPLTRANSFORM_H
