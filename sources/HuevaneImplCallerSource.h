// What the two caller-given sources (colour transform, extension) have in common: a list of
// staged LUTs, a fixed parcel budget, and the same dump.
#ifndef HUEVANE_SOURCES_HUEVANEIMPLCALLERSOURCE_H
#define HUEVANE_SOURCES_HUEVANEIMPLCALLERSOURCE_H

#include <cstdint>

#include "HuevaneDataLut.h"
#include "HuevaneImplLutSource.h"
#include "HuevaneImplUtil.h"
#include "HuevaneStagedLuts.h"

template <typename T>
class HuevaneImplCallerSource : public HuevaneImplLutSource<T> {
  public:
    explicit HuevaneImplCallerSource(int32_t maxSize) : mDataLutsMaxSize(maxSize) {}

    HuevaneDataLutList getDataLuts() override { return mDataLuts; }
    void clearDataLuts() override { mDataLuts.clear(); }
    void dumpDataLuts() override { huevane::dumpStagedDataLuts(mDataLuts); }
    int32_t getDataLutsMaxSize() override { return mDataLutsMaxSize; }

    HuevaneDataLut initDataHeader() { return HuevaneImplUtil::getInitialDataLut(); }

  protected:
    // LUTs built and not yet collected, oldest first.
    HuevaneDataLutList mDataLuts;
    // Parcel bytes this source claims.
    int32_t mDataLutsMaxSize;
};

#endif  // HUEVANE_SOURCES_HUEVANEIMPLCALLERSOURCE_H
