#include "HuevaneDataLutIndex.h"

#include <algorithm>

namespace huevane {

namespace {

// Enough for a colour mode's LUTs, a transform and a few extension LUTs without growing.
constexpr size_t INITIAL_SLOTS = 64;

}  // namespace

void HuevaneDataLutIndex::clear() {
    std::fill(mPositions.begin(), mPositions.end(), -1);
    mCount = 0;
}

size_t HuevaneDataLutIndex::getSlot(uint64_t identity) const {
    // Fibonacci hashing: identities differ mostly in their low bytes, the product spreads them.
    const uint64_t mixed = identity * 0x9E3779B97F4A7C15ull;
    return static_cast<size_t>(mixed >> 32) & (mPositions.size() - 1);
}

int32_t HuevaneDataLutIndex::findOrAdd(uint64_t identity, int32_t position) {
    if (2 * (mCount + 1) > mPositions.size()) grow();
    for (size_t slot = getSlot(identity);; slot = (slot + 1) & (mPositions.size() - 1)) {
        if (mPositions[slot] < 0) {
            mIdentities[slot] = identity;
            mPositions[slot] = position;
            mCount++;
            return -1;
        }
        if (mIdentities[slot] == identity) return mPositions[slot];
    }
}

void HuevaneDataLutIndex::grow() {
    std::vector<uint64_t> identities = std::move(mIdentities);
    std::vector<int32_t> positions = std::move(mPositions);
    const size_t slots = std::max(INITIAL_SLOTS, 2 * positions.size());
    mIdentities.assign(slots, 0);
    mPositions.assign(slots, -1);
    mCount = 0;
    for (size_t i = 0; i < positions.size(); i++) {
        if (positions[i] >= 0) findOrAdd(identities[i], positions[i]);
    }
}

}  // namespace huevane
