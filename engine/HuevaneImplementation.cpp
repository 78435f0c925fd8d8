#define LOG_TAG "libhuevane"

#include "HuevaneImplementation.h"

#include <log/log.h>

#include <utility>

namespace {

// Levels at which the optional lines appear; 0 and 1 behave alike.
constexpr int32_t LOG_LEVEL_TRACE = 2;

}  // namespace

HuevaneImplementation::HuevaneImplementation(uint32_t id)
    : mColorMode(new HuevaneImplColorMode(id)),
      mTransform(new HuevaneImplTransform()),
      mExtension(new HuevaneImplExtension()) {
    ALOGD("%s init completed", "HuevaneImplementation");
}

HuevaneImplementation::~HuevaneImplementation() {
    // Sources first, in construction order; the stages go with the members afterwards.
    mColorMode.reset();
    mTransform.reset();
    mExtension.reset();
}

std::vector<HuevaneMode> HuevaneImplementation::getColorModes() {
    if (mLogLevel >= LOG_LEVEL_TRACE) mColorMode->dumpColorModeList();
    return mColorMode->getColorModeList();
}

int32_t HuevaneImplementation::setColorMode(uint32_t mode) {
    if (mLogLevel >= LOG_LEVEL_TRACE) {
        ALOGD("%s:mode(%d)", "setColorMode", static_cast<int>(mode));
    }
    return mColorMode->setDataLuts({mode, 0});
}

std::vector<DisplayRenderIntent> HuevaneImplementation::getRenderIntents(uint32_t mode) {
    if (mLogLevel >= LOG_LEVEL_TRACE) mColorMode->dumpRenderIntentList(mode);
    return mColorMode->getRenderIntentList(mode);
}

int32_t HuevaneImplementation::setColorModeWithRenderIntent(uint32_t mode, uint32_t intent) {
    if (mLogLevel >= LOG_LEVEL_TRACE) {
        ALOGD("%s:mode(%d), intent(%d)", "setColorModeWithRenderIntent", static_cast<int>(mode),
              static_cast<int>(intent));
    }
    return mColorMode->setDataLuts({mode, intent});
}

int32_t HuevaneImplementation::setColorTransform(const float* matrix, uint32_t /*value*/) {
    // Nothing to stage without a matrix; refusing beats reading through a null pointer.
    if (matrix == nullptr) return 1;
    int32_t result = mTransform->setDataLuts(std::vector<float>(matrix, matrix + 16));
    if (mLogLevel >= LOG_LEVEL_TRACE) mTransform->dumpDataLuts();
    return result;
}

int32_t HuevaneImplementation::setColorExtension(std::vector<HuevaneExtension>& extensions) {
    int32_t result = mExtension->setDataLuts(extensions);
    if (mLogLevel >= LOG_LEVEL_TRACE) mExtension->dumpDataLuts();
    return result;
}

void HuevaneImplementation::setLogLevel(int32_t level) {
    mLogLevel = level;
}

void HuevaneImplementation::clearDataLuts() {
    mSeqNum++;
    mColorMode->clearDataLuts();
    mTransform->clearDataLuts();
    mExtension->clearDataLuts();
    mGammaMatrix.clearDataLuts();
    mLinearMatrix.clearDataLuts();
}

int32_t HuevaneImplementation::offerToMatrixStages(int32_t sourceKind, const HuevaneDataLut& lut) {
    if (mGammaMatrix.setDataLuts(sourceKind, lut) == 0) return 0;
    return mLinearMatrix.setDataLuts(sourceKind, lut);
}

HuevaneDataLutList HuevaneImplementation::createDataLuts() {
    HuevaneDataLutList list;
    collectDataLuts(list);
    return list;
}

void HuevaneImplementation::collectDataLuts(HuevaneDataLutList& list) {
    mIndex.clear();
    putIndexedDataLuts(list, mColorMode->getDataLuts(), huevane::SOURCE_KIND_COLOR_MODE);
    putIndexedDataLuts(list, mTransform->getDataLuts(), huevane::SOURCE_KIND_TRANSFORM);
    putIndexedDataLuts(list, mExtension->getDataLuts(), huevane::SOURCE_KIND_EXTENSION);
    putIndexedDataLuts(list, mGammaMatrix.getDataLuts(), -1);
    putIndexedDataLuts(list, mLinearMatrix.getDataLuts(), -1);
}

// The copies from the sources are ours already; moving them spares the update path a second
// copy of every text.
void HuevaneImplementation::putIndexedDataLuts(HuevaneDataLutList& list, HuevaneDataLutList&& luts,
                                               int32_t sourceKind) {
    for (HuevaneDataLut& lut : luts) {
        if (sourceKind >= 0 && offerToMatrixStages(sourceKind, lut) == 0) continue;
        putIndexedDataLut(list, std::move(lut));
    }
}

void HuevaneImplementation::putIndexedDataLut(HuevaneDataLutList& list, HuevaneDataLut&& lut) {
    const int32_t position = static_cast<int32_t>(list.size());
    const int32_t found = mIndex.findOrAdd(huevane::getDataLutIdentity(lut.first), position);
    if (found >= 0) {
        list[found] = std::move(lut);
    } else {
        list.push_back(std::move(lut));
    }
}

void HuevaneImplementation::putDataLuts(HuevaneDataLutList& list, HuevaneDataLutList luts,
                                        int32_t sourceKind) {
    for (HuevaneDataLut& lut : luts) {
        if (sourceKind >= 0 && offerToMatrixStages(sourceKind, lut) == 0) continue;
        putDataLut(list, std::move(lut));
    }
}

void HuevaneImplementation::putDataLut(HuevaneDataLutList& list, const HuevaneDataLut& lut) {
    putDataLut(list, HuevaneDataLut(lut));
}

void HuevaneImplementation::putDataLut(HuevaneDataLutList& list, HuevaneDataLut&& lut) {
    for (HuevaneDataLut& entry : list) {
        if (compareDataLut(entry, lut)) {
            entry = std::move(lut);
            return;
        }
    }
    list.push_back(std::move(lut));
}

bool HuevaneImplementation::compareDataLut(const HuevaneDataLut& a, const HuevaneDataLut& b) {
    return huevane::getDataLutIdentity(a.first) == huevane::getDataLutIdentity(b.first);
}
