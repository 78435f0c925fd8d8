// Where each identity sits in the result list of an update, so that a LUT finds the entry it
// replaces in one probe instead of a walk of the list. Kept by the engine and reused between
// updates, so it allocates only when a list outgrows every earlier one.
#ifndef HUEVANE_ENGINE_HUEVANEDATALUTINDEX_H
#define HUEVANE_ENGINE_HUEVANEDATALUTINDEX_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace huevane {

class HuevaneDataLutIndex {
  public:
    // Forgets every identity.
    void clear();
    // The position recorded for `identity`, or -1 after recording `position` for it.
    int32_t findOrAdd(uint64_t identity, int32_t position);

  private:
    size_t getSlot(uint64_t identity) const;
    void grow();

    // Open addressing with linear probing; a position of -1 marks a free slot. The table is a
    // power of two at most half full.
    std::vector<uint64_t> mIdentities;
    std::vector<int32_t> mPositions;
    size_t mCount = 0;
};

}  // namespace huevane

#endif  // HUEVANE_ENGINE_HUEVANEDATALUTINDEX_H
