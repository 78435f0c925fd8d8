#include "HuevaneDataLutIndex.h"

#include <algorithm>
#include <utility>

namespace huevane {

namespace {

// Enough for a colour mode's LUTs, a transform and a few extension LUTs without growing.
constexpr size_t INITIAL_SLOTS = 64;

}  // namespace

void HuevaneDataLutIndex::clear() {
    mCount = 0;
    if (++mGeneration != 0) return;
    // After four billion updates the generations wrap: start the slots afresh.
    std::fill(mSlots.begin(), mSlots.end(), Slot());
    mGeneration = 1;
}

size_t HuevaneDataLutIndex::getSlot(uint64_t identity) const {
    // Fibonacci hashing: identities differ mostly in their low bytes, the product spreads them.
    const uint64_t mixed = identity * 0x9E3779B97F4A7C15ull;
    return static_cast<size_t>(mixed >> 32) & (mSlots.size() - 1);
}

int32_t HuevaneDataLutIndex::findOrAdd(uint64_t identity, int32_t position) {
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

void HuevaneDataLutIndex::grow() {
    std::vector<Slot> slots = std::move(mSlots);
    mSlots.assign(std::max(INITIAL_SLOTS, 2 * slots.size()), Slot());
    mCount = 0;
    for (const Slot& slot : slots) {
        if (slot.generation == mGeneration) findOrAdd(slot.identity, slot.position);
    }
}

}  // namespace huevane
