#include "HuevaneParcel.h"

#include <algorithm>

int32_t getPvxCoefSize(int64_t sourcesMaxSize, int32_t minCoefSize) {
    int64_t sum = sourcesMaxSize + PVX_PARCEL_HEADER_SIZE;
    int32_t size = static_cast<int32_t>(std::min<int64_t>(sum, INT32_MAX));
    return minCoefSize > size ? minCoefSize : size;
}

int32_t getPvxParcelLimit(int32_t coefSize) {
    return std::min(coefSize, PVX_PARCEL_MAX_SIZE);
}
