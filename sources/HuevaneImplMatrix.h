// The matrix stage of one matrix node: remembers the last matrix of each source and emits, for
// every matrix LUT it takes, one LUT carrying the product of all matrices it holds.
#ifndef HUEVANE_SOURCES_HUEVANEIMPLMATRIX_H
#define HUEVANE_SOURCES_HUEVANEIMPLMATRIX_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneMatrixText.h"

class HuevaneImplMatrix {
public:
    explicit HuevaneImplMatrix(uint8_t nodeId) : mNodeId(nodeId) {}

    // 0 when the stage took the LUT (its node, valid matrix text), 1 otherwise.
    int32_t setDataLuts(int sourceKind, const HuevaneDataLut& lut);
    // 0 when the text was accepted, 1 when rejected (stored matrices unchanged).
    int32_t parseMatrix(int sourceKind, const std::string& text);
    void putDataLuts(const pvx_colormode_data_header& header, std::string text);
    std::string getMatrixToString(mat4& m);
    HuevaneDataLutList getDataLuts();
    void clearDataLuts();
    // The stored matrices by source kind, in first-insertion order (what huevane-tool explains).
    const std::vector<std::pair<int, mat4>>& getMatrices() const { return mMatrices; }

private:
    // Source kind -> matrix, kept in first-insertion order: the product visits the newest key
    // first, and replacing a matrix keeps its key's place. At most three entries.
    std::vector<std::pair<int, mat4>> mMatrices;
    HuevaneDataLutList mDataLuts;
    uint8_t mNodeId;
};

#endif  // HUEVANE_SOURCES_HUEVANEIMPLMATRIX_H
