#include "HuevaneFuzzSupport.h"

#include <android/log.h>
#include <libxml/xmlerror.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "HuevaneImplUtil.h"
#include "HuevaneParcel.h"

namespace {

void ignoreXmlError(void*, const char*, ...) {}

void check(bool condition, const char* what) {
    if (condition) return;
    fprintf(stderr, "parcel invariant broken: %s\n", what);
    abort();
}

// A successful parcel must describe itself consistently: header fields, entry chain, sizes and
// CRCs. A packer bug that writes a plausible but wrong parcel shows up here.
void checkParcel(const uint8_t* parcel, int32_t bufferSize) {
    pvx_colormode_parcel_header header;
    memcpy(&header, parcel, sizeof(header));
    check(header.magic == PVX_DATA_MAGIC, "parcel magic");
    check(header.header_size == PVX_PARCEL_HEADER_SIZE, "parcel header_size");
    check(header.magic_word == PVX_PARCEL_MAGIC_WORD, "parcel magic_word");
    check(header.total_size <= bufferSize, "parcel larger than the reported size");
    size_t offset = PVX_PARCEL_HEADER_SIZE;
    for (int k = 0; k < header.num_data; k++) {
        check(offset + PVX_DATA_HEADER_SIZE <= header.total_size, "entry header past the end");
        pvx_colormode_data_header entry;
        memcpy(&entry, parcel + offset, sizeof(entry));
        check(entry.header_size == PVX_DATA_HEADER_SIZE, "entry header_size");
        check(entry.total_size >= PVX_DATA_HEADER_SIZE + 1, "entry total_size");
        check(offset + entry.total_size <= header.total_size, "entry past the end");
        const uint8_t* text = parcel + offset + PVX_DATA_HEADER_SIZE;
        const int32_t length = entry.total_size - PVX_DATA_HEADER_SIZE - 1;
        check(text[length] == 0, "entry text not terminated");
        check(HuevaneImplUtil::getCrc16(text, length + 1) == entry.crc, "entry crc");
        offset += entry.total_size;
    }
    check(offset == header.total_size, "entries do not fill the parcel");
}

}  // namespace

void fuzzQuietProcess() {
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    xmlSetGenericErrorFunc(nullptr, ignoreXmlError);
}

DeviceTree& fuzzDeviceTree() {
    static DeviceTree tree;
    return tree;
}

int32_t fuzzUpdate(IHuevane* engine, bool throughPvxNames) {
    const int32_t size = throughPvxNames ? engine->getPvxLutSize() : engine->getColorCoefSize();
    check(size >= 4096, "coefficient size below the minimum");
    // Exactly the reported size, on the heap: ASan sees any write past it.
    std::unique_ptr<uint8_t[]> buffer(new uint8_t[size]);
    const int32_t result = throughPvxNames ? engine->getPvxLut(buffer.get())
                                           : engine->updateColorCoef(buffer.get());
    check(result == 0 || result == 1, "update result");
    if (result == 0) checkParcel(buffer.get(), size);
    return result;
}
