#include "HuevaneFuzzSupport.h"

#include <android/log.h>
#include <libxml/xmlerror.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "HuevaneImplUtil.h"
#include "HuevaneParcel.h"
#include "HuevaneParcelReader.h"

namespace {

void ignoreXmlError(void*, const char*, ...) {}

void check(bool condition, const char* what) {
    if (condition) return;
    fprintf(stderr, "parcel invariant broken: %s\n", what);
    abort();
}

// A successful parcel must describe itself consistently: header fields, entry chain, sizes and
// CRCs, as huevane-tool's parcel reader checks them. A packer bug that writes a plausible but
// wrong parcel shows up here.
void checkParcel(const uint8_t* parcel, int32_t bufferSize) {
    pvx_colormode_parcel_header header;
    memcpy(&header, parcel, sizeof(header));
    check(header.total_size <= bufferSize, "parcel larger than the reported size");
    const HuevaneDecodedParcel read = readParcel(parcel, header.total_size);
    for (const std::string& error : read.errors) check(false, error.c_str());
    for (const HuevaneDecodedEntry& entry : read.entries) {
        for (const std::string& error : entry.errors) check(false, error.c_str());
    }
    check(read.entries.size() == header.num_data, "entries do not fill the parcel");
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
