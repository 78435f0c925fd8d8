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

void HuevaneDataLutIndex::grow() {
    std::vector<Slot> slots = std::move(mSlots);
    mSlots.assign(std::max(INITIAL_SLOTS, 2 * slots.size()), Slot());
    mCount = 0;
    for (const Slot& slot : slots) {
        if (slot.generation == mGeneration) findOrAdd(slot.identity, slot.position);
    }
}

}  // namespace huevane
