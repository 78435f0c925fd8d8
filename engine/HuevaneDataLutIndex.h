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
    struct Slot {
        uint64_t identity = 0;
        int32_t position = 0;
        uint32_t generation = 0;  // the slot is free unless it is the index's own
    };

    size_t getSlot(uint64_t identity) const;
    void grow();

    // Open addressing with linear probing, at most half full. Forgetting is a new generation,
    // so clearing touches no slot.
    std::vector<Slot> mSlots;
    size_t mCount = 0;
    uint32_t mGeneration = 1;
};

// In the header: an update probes once per LUT, and a call each would cost more than the probe.
inline size_t HuevaneDataLutIndex::getSlot(uint64_t identity) const {
    // Fibonacci hashing: identities differ mostly in their low bytes, the product spreads them.
    const uint64_t mixed = identity * 0x9E3779B97F4A7C15ull;
    return static_cast<size_t>(mixed >> 32) & (mSlots.size() - 1);
}

inline int32_t HuevaneDataLutIndex::findOrAdd(uint64_t identity, int32_t position) {
    if (2 * (mCount + 1) > mSlots.size()) grow();
    for (size_t slot = getSlot(identity);; slot = (slot + 1) & (mSlots.size() - 1)) {
        Slot& entry = mSlots[slot];
        if (entry.generation != mGeneration) {
            entry = {identity, position, mGeneration};
            mCount++;
            return -1;
        }
        if (entry.identity == identity) return entry.position;
    }
}

}  // namespace huevane

#endif  // HUEVANE_ENGINE_HUEVANEDATALUTINDEX_H
