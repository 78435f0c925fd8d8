// What every LUT source offers the engine. The virtual order is fixed; the engine reaches the
// sources through these operations only.
#ifndef HUEVANE_CORE_HUEVANEIMPLLUTSOURCE_H
#define HUEVANE_CORE_HUEVANEIMPLLUTSOURCE_H

#include <cstdint>
#include <vector>

#include "HuevaneDataLut.h"

namespace huevane {

// Where a staged LUT comes from; tells a matrix stage under which key to store its matrix.
enum SourceKind : int32_t {
    SOURCE_KIND_COLOR_MODE = 0,
    SOURCE_KIND_TRANSFORM = 1,
    SOURCE_KIND_EXTENSION = 2,
};

}  // namespace huevane

template <typename T>
class HuevaneImplLutSource {
  public:
    virtual ~HuevaneImplLutSource() {}
    // Copy of the LUTs staged since the last clear, in staging order.
    virtual HuevaneDataLutList getDataLuts() = 0;
    virtual void clearDataLuts() = 0;
    virtual void dumpDataLuts() = 0;
    // Parcel bytes (headers, texts, zero bytes) this source's LUTs may need.
    virtual int32_t getDataLutsMaxSize() = 0;
    // Stages the LUTs of one request; 0 accepted.
    virtual int32_t setDataLuts(std::vector<T> values) = 0;
};

#endif  // HUEVANE_CORE_HUEVANEIMPLLUTSOURCE_H
