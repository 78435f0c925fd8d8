// The colour-transform source: the compositor's 4x4 transform becomes one staged gamma_matrix LUT.
#ifndef HUEVANE_SOURCES_HUEVANEIMPLTRANSFORM_H
#define HUEVANE_SOURCES_HUEVANEIMPLTRANSFORM_H

#include <cstdint>
#include <string>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneImplCallerSource.h"

class HuevaneImplTransform : public HuevaneImplCallerSource<float> {
  public:
    // The parcel room this source claims, a fixed figure of the design. It bounds no text: the
    // identity's entry takes 62 bytes, the longest matrix text's 206.
    static constexpr int32_t TRANSFORM_MAX_SIZE = 124;

    HuevaneImplTransform() : HuevaneImplCallerSource(TRANSFORM_MAX_SIZE) {}
    ~HuevaneImplTransform() override = default;

    // 0 with one LUT staged; 1 when the vector does not hold exactly 16 floats.
    int32_t setDataLuts(std::vector<float> matrix) override;

    void putDataLuts(unsigned char id, std::string text);
    static std::string getMatrixToString(std::vector<float>& matrix);

  private:
    // The last matrix staged and its LUT: a compositor sends the same transform frame after
    // frame, and its text need not be written again. Every LUT staged for it shares the text.
    std::vector<float> mLastMatrix;
    HuevaneDataLut mLastLut;
};

#endif  // HUEVANE_SOURCES_HUEVANEIMPLTRANSFORM_H
