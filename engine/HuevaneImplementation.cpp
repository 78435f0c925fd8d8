#define LOG_TAG "libhuevane"

#include "HuevaneImplementation.h"

#include <log/log.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

// Levels at which the optional lines appear; 0 and 1 behave alike.
constexpr int32_t LOG_LEVEL_TRACE = 2;
constexpr int32_t LOG_LEVEL_PARCEL = 3;

// Bytes the whole list would take packed; only the refusal message needs it.
int32_t getParcelSize(const std::vector<const HuevaneDataLut*>& list) {
    int64_t size = PVX_PARCEL_HEADER_SIZE;
    for (const HuevaneDataLut* lut : list) size += huevane::getDataLutEntrySize(lut->second.size());
    return static_cast<int32_t>(std::min<int64_t>(size, INT32_MAX));
}

}  // namespace

HuevaneImplementation::HuevaneImplementation(uint32_t id)
    : mColorMode(new HuevaneImplColorMode(id)),
      mTransform(new HuevaneImplTransform()),
      mExtension(new HuevaneImplExtension()) {
    ALOGD("%s init completed", "HuevaneImplementation");
}

HuevaneImplementation::HuevaneImplementation(std::unique_ptr<HuevaneImplColorMode> colorMode)
    : mColorMode(std::move(colorMode)),
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
    // A stage takes only LUTs of its own node; the others need not be offered at all.
    if (!huevane::isMatrixNode(lut.first.id)) return 1;
    if (mGammaMatrix.setDataLuts(sourceKind, lut) == 0) return 0;
    return mLinearMatrix.setDataLuts(sourceKind, lut);
}

HuevaneDataLutList HuevaneImplementation::createDataLuts() {
    collectDataLuts();
    HuevaneDataLutList list;
    for (const HuevaneDataLut* lut : mUpdateList) list.push_back(*lut);
    mUpdateList.clear();
    return list;
}

void HuevaneImplementation::collectDataLuts() {
    mIndex.clear();
    mUpdateList.clear();
    if (mAccount != nullptr) {
        mAccount->entries.clear();
        mAccount->vanished.clear();
        for (auto& emitted : mAccount->emitted) emitted.clear();
        for (auto& stage : mAccount->lastTaken) std::fill(std::begin(stage), std::end(stage), -1);
    }
    // Read where the sources keep them: nothing changes those lists until the entries are
    // packed, and copying them would cost the update an allocation per source.
    putIndexedDataLuts(mColorMode->getStagedDataLuts(), huevane::SOURCE_KIND_COLOR_MODE);
    putIndexedDataLuts(mTransform->getStagedDataLuts(), huevane::SOURCE_KIND_TRANSFORM);
    putIndexedDataLuts(mExtension->getStagedDataLuts(), huevane::SOURCE_KIND_EXTENSION);
    putEmittedDataLuts(mGammaMatrix);
    putEmittedDataLuts(mLinearMatrix);
}

void HuevaneImplementation::putIndexedDataLuts(const HuevaneDataLutList& luts, int32_t sourceKind) {
    if (mAccount != nullptr) mAccount->staged[sourceKind] = luts;
    for (size_t i = 0; i < luts.size(); i++) {
        const HuevaneDataLut& lut = luts[i];
        const int32_t index = static_cast<int32_t>(i);
        if (mAccount != nullptr) {
            if (offerAccounted(sourceKind, index, lut)) continue;
        } else if (offerToMatrixStages(sourceKind, lut) == 0) {
            continue;
        }
        const size_t position = putIndexedDataLut(&lut);
        if (mAccount != nullptr) putAccountEntry(position, {{sourceKind, index}, 0, {}});
    }
}

void HuevaneImplementation::putEmittedDataLuts(const HuevaneImplMatrix& stage) {
    const HuevaneDataLutList& luts = stage.getEmittedDataLuts();
    const int which = &stage == &mGammaMatrix ? 0 : 1;
    for (size_t j = 0; j < luts.size(); j++) {
        const size_t position = putIndexedDataLut(&luts[j]);
        if (mAccount == nullptr) continue;
        // An entry emitted before this update (one whose parcel failed) has no account.
        const bool accounted = j < mAccount->emitted[which].size();
        putAccountEntry(position, accounted
                                          ? mAccount->emitted[which][j]
                                          : HuevaneUpdateAccount::Entry{{}, stage.getNodeId(), {}});
    }
}

bool HuevaneImplementation::offerAccounted(int32_t sourceKind, int32_t index,
                                           const HuevaneDataLut& lut) {
    HuevaneImplMatrix* stages[2] = {&mGammaMatrix, &mLinearMatrix};
    for (int which = 0; which < 2; which++) {
        HuevaneImplMatrix& stage = *stages[which];
        const size_t before = stage.getDataLutsCount();
        if (stage.setDataLuts(sourceKind, lut) != 0) continue;
        mAccount->lastTaken[which][sourceKind] = index;
        if (stage.getDataLutsCount() == before) {
            mAccount->vanished.push_back({sourceKind, index});
            return true;
        }
        HuevaneUpdateAccount::Entry entry{{sourceKind, index}, stage.getNodeId(), {}};
        // The stage multiplies from the most recently first-stored matrix down to the earliest.
        const auto& matrices = stage.getMatrices();
        for (auto stored = matrices.rbegin(); stored != matrices.rend(); ++stored) {
            entry.factors.push_back(
                    {{stored->first, mAccount->lastTaken[which][stored->first]}, stored->second});
        }
        mAccount->emitted[which].push_back(std::move(entry));
        return true;
    }
    return false;
}

void HuevaneImplementation::putAccountEntry(size_t position, HuevaneUpdateAccount::Entry entry) {
    if (position == mAccount->entries.size()) {
        mAccount->entries.push_back(std::move(entry));
    } else {
        mAccount->entries[position] = std::move(entry);
    }
}

size_t HuevaneImplementation::putIndexedDataLut(const HuevaneDataLut* lut) {
    const int32_t position = static_cast<int32_t>(mUpdateList.size());
    const int32_t found = mIndex.findOrAdd(huevane::getDataLutIdentity(lut->first), position);
    if (found >= 0) {
        mUpdateList[found] = lut;
        return static_cast<size_t>(found);
    }
    mUpdateList.push_back(lut);
    return static_cast<size_t>(position);
}

void HuevaneImplementation::clearStoredMatrices() {
    mGammaMatrix = HuevaneImplMatrix(huevane::PVX_NODE_GAMMA_MATRIX);
    mLinearMatrix = HuevaneImplMatrix(huevane::PVX_NODE_LINEAR_MATRIX);
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

int32_t HuevaneImplementation::getColorCoefSize() {
    // Each bound is below 2^31 and the calibration bound saturates, so the sum cannot wrap.
    int64_t sum = int64_t{mColorMode->getDataLutsMaxSize()} + mTransform->getDataLutsMaxSize() +
                  mExtension->getDataLutsMaxSize();
    return getPvxCoefSize(sum, mMinCoefSize);
}

int32_t HuevaneImplementation::updateColorCoef(void* buffer) {
    collectDataLuts();
    const int32_t result = packEntries(mUpdateList, buffer);
    // The texts are in the parcel now (or refused); only the result list's storage is kept.
    mUpdateList.clear();
    if (result != 0) {
        // Written whatever the log level, at debug priority like the rest of the engine's lines.
        ALOGD("failed to fill luts\n");
        return 1;
    }
    printParcel(buffer);
    clearDataLuts();
    return 0;
}

int32_t HuevaneImplementation::packDataLutsIntoParcel(HuevaneDataLutList& list, void* buffer) {
    std::vector<const HuevaneDataLut*> entries;
    entries.reserve(list.size());
    for (const HuevaneDataLut& lut : list) entries.push_back(&lut);
    return packEntries(entries, buffer);
}

int32_t HuevaneImplementation::packEntries(const std::vector<const HuevaneDataLut*>& list,
                                           void* buffer) {
    if (buffer == nullptr) {
        ALOGE("no buffer for the parcel\n");
        return 1;
    }
    uint8_t* out = static_cast<uint8_t*>(buffer);
    // The caller's buffer holds getColorCoefSize() bytes and nothing more is known of it;
    // extension LUTs claim no room of their own, so every entry is checked against it.
    const int32_t limit = getPvxParcelLimit(getColorCoefSize());
    if (mAccount != nullptr) {
        mAccount->parcelSize = getParcelSize(list);
        mAccount->parcelLimit = limit;
    }
    int32_t offset = PVX_PARCEL_HEADER_SIZE;
    for (const HuevaneDataLut* entry : list) {
        const HuevaneDataLut& lut = *entry;
        const pvx_colormode_data_header& header = lut.first;
        const int32_t length = static_cast<int32_t>(std::min<size_t>(lut.second.size(), INT32_MAX));
        if (length != int32_t{header.total_size} - int32_t{header.header_size} - 1) {
            ALOGD("size mistmatch between data %d and header %d-%d-1\n", length, header.total_size,
                  header.header_size);
            return 1;
        }
        // Holds here: length == total_size - 13 < 65 536, so the sum cannot wrap.
        const int32_t entrySize = static_cast<int32_t>(huevane::getDataLutEntrySize(length));
        if (entrySize > limit - offset) {
            ALOGE("parcel needs %d bytes, more than the %d bytes it may use\n", getParcelSize(list),
                  limit);
            return 1;
        }
        memcpy(out + offset, &header, sizeof(header));
        memcpy(out + offset + PVX_DATA_HEADER_SIZE, lut.second.data(), length);
        out[offset + PVX_DATA_HEADER_SIZE + length] = 0;
        offset += entrySize;
    }
    pvx_colormode_parcel_header parcel{};
    parcel.magic = PVX_DATA_MAGIC;
    parcel.seq_num = mSeqNum;
    parcel.total_size = static_cast<uint16_t>(offset);
    parcel.header_size = PVX_PARCEL_HEADER_SIZE;
    // Every entry takes at least 13 bytes of at most 65 535, so the count fits 16 bits.
    parcel.num_data = static_cast<uint16_t>(list.size());
    parcel.magic_word = PVX_PARCEL_MAGIC_WORD;
    // Written last: a failed pass never leaves a header that vouches for the entries.
    memcpy(out, &parcel, sizeof(parcel));
    return 0;
}

void HuevaneImplementation::printParcel(void* buffer) const {
    if (mLogLevel < LOG_LEVEL_PARCEL || buffer == nullptr) return;
    const uint8_t* in = static_cast<const uint8_t*>(buffer);
    pvx_colormode_parcel_header parcel;
    memcpy(&parcel, in, sizeof(parcel));
    ALOGD("%s: parcel(%lx)", "printParcel", reinterpret_cast<unsigned long>(buffer));
    ALOGD("[header]");
    ALOGD("magic(0x%x)", parcel.magic);
    ALOGD("seq_num(%d)", parcel.seq_num);
    ALOGD("total_size(%d)", parcel.total_size);
    ALOGD("header_size(%d)", parcel.header_size);
    ALOGD("num_data(%d)", parcel.num_data);
    size_t offset = PVX_PARCEL_HEADER_SIZE;
    for (int k = 0; k < parcel.num_data; k++) {
        pvx_colormode_data_header header;
        memcpy(&header, in + offset, sizeof(header));
        ALOGD("[data_header%d]", k);
        ALOGD("magic(0x%x)", header.magic);
        ALOGD("id(%d)", header.id);
        ALOGD("crc(0x%x)", header.crc);
        ALOGD("total_size(%d)", header.total_size);
        ALOGD("header_size(%d)", header.header_size);
        ALOGD("attr0(%d)", header.attr0);
        ALOGD("attr1(%d)", header.attr1);
        ALOGD("attr2(%d)", header.attr2);
        ALOGD("attr3(%d)", header.attr3);
        ALOGD("[data%d]", k);
        ALOGD("%s", reinterpret_cast<const char*>(in + offset + PVX_DATA_HEADER_SIZE));
        offset += header.total_size;
    }
}
