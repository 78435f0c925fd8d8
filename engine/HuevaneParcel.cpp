// The engine's coefficient-parcel operations: sizing, packing, printing.
#define LOG_TAG "libhuevane"

#include "HuevaneParcel.h"

#include <log/log.h>

#include <algorithm>
#include <cstring>

#include "HuevaneImplementation.h"

namespace {

// Bytes the whole list would take packed; only the refusal message needs it.
int32_t getParcelSize(const HuevaneDataLutList& list) {
    int64_t size = PVX_PARCEL_HEADER_SIZE;
    for (const HuevaneDataLut& lut : list) size += lut.second.size() + PVX_DATA_HEADER_SIZE + 1;
    return static_cast<int32_t>(std::min<int64_t>(size, INT32_MAX));
}

}  // namespace

int32_t getPvxCoefSize(int64_t sourcesMaxSize, int32_t minCoefSize) {
    int64_t sum = sourcesMaxSize + PVX_PARCEL_HEADER_SIZE;
    int32_t size = static_cast<int32_t>(std::min<int64_t>(sum, INT32_MAX));
    return minCoefSize > size ? minCoefSize : size;
}

int32_t getPvxParcelLimit(int32_t coefSize) {
    return std::min(coefSize, PVX_PARCEL_MAX_SIZE);
}

int32_t HuevaneImplementation::getColorCoefSize() {
    // Each bound is below 2^31 and the calibration bound saturates, so the sum cannot wrap.
    int64_t sum = int64_t{mColorMode->getDataLutsMaxSize()} + mTransform->getDataLutsMaxSize() +
                  mExtension->getDataLutsMaxSize();
    return getPvxCoefSize(sum, mMinCoefSize);
}

int32_t HuevaneImplementation::updateColorCoef(void* buffer) {
    mUpdateList.clear();
    collectDataLuts(mUpdateList);
    const int32_t result = packDataLutsIntoParcel(mUpdateList, buffer);
    // The texts are in the parcel now (or refused); only the list's own storage is kept.
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
    if (buffer == nullptr) {
        ALOGE("no buffer for the parcel\n");
        return 1;
    }
    uint8_t* out = static_cast<uint8_t*>(buffer);
    // The caller's buffer holds getColorCoefSize() bytes and nothing more is known of it;
    // extension LUTs claim no room of their own, so every entry is checked against it.
    const int32_t limit = getPvxParcelLimit(getColorCoefSize());
    int32_t offset = PVX_PARCEL_HEADER_SIZE;
    for (const HuevaneDataLut& lut : list) {
        const pvx_colormode_data_header& header = lut.first;
        const int32_t length = static_cast<int32_t>(std::min<size_t>(lut.second.size(), INT32_MAX));
        if (length != int32_t{header.total_size} - int32_t{header.header_size} - 1) {
            ALOGD("size mistmatch between data %d and header %d-%d-1\n", length, header.total_size,
                  header.header_size);
            return 1;
        }
        // Holds here: length == total_size - 13 < 65 536, so the sum cannot wrap.
        const int32_t entrySize = length + PVX_DATA_HEADER_SIZE + 1;
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
    if (mLogLevel < 3 || buffer == nullptr) return;
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
