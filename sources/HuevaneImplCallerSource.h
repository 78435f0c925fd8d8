// What the two caller-given sources (colour transform, extension) have in common: a list of
// staged LUTs, a fixed parcel budget, and the same dump.
#ifndef HUEVANE_SOURCES_HUEVANEIMPLCALLERSOURCE_H
#define HUEVANE_SOURCES_HUEVANEIMPLCALLERSOURCE_H

#include <cstdint>

#include "HuevaneDataLut.h"
#include "HuevaneImplLutSource.h"
#include "HuevaneStagedLuts.h"

template <typename T>
class HuevaneImplCallerSource : public HuevaneImplLutSource<T> {
  public:
    explicit HuevaneImplCallerSource(int32_t maxSize) : mDataLutsMaxSize(maxSize) {}

    HuevaneDataLutList getDataLuts() override { return mDataLuts; }
    // The staged LUTs themselves, for the engine's update: read in place, never copied.
    const HuevaneDataLutList& getStagedDataLuts() const { return mDataLuts; }
    void clearDataLuts() override { mDataLuts.clear(); }
    void dumpDataLuts() override { huevane::dumpStagedDataLuts(mDataLuts); }
    int32_t getDataLutsMaxSize() override { return mDataLutsMaxSize; }

    // The blank LUT a caller-given source starts from: empty text, no id, every attribute 0xFF,
    // total_size and crc 0.
    HuevaneDataLut initDataHeader() {
        pvx_colormode_data_header header{};
        header.magic = PVX_DATA_MAGIC;
        header.header_size = PVX_DATA_HEADER_SIZE;
        header.attr0 = header.attr1 = header.attr2 = header.attr3 = PVX_ATTR_NONE;
        return {header, std::string()};
    }

  protected:
    // LUTs built and not yet collected, oldest first.
    HuevaneDataLutList mDataLuts;
    // Parcel bytes this source claims.
    int32_t mDataLutsMaxSize;
};

#endif  // HUEVANE_SOURCES_HUEVANEIMPLCALLERSOURCE_H
