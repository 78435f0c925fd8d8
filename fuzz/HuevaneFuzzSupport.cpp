#include "HuevaneFuzzSupport.h"

#include <android/log.h>
#include <ftw.h>
#include <libxml/xmlerror.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "HuevaneImplUtil.h"
#include "HuevaneParcel.h"
#include "HuevaneParcelReader.h"

namespace {

void ignoreXmlError(void*, const char*, ...) {}

int removeEntry(const char* path, const struct stat*, int, struct FTW*) {
    return remove(path);
}

std::string gRootToRemove;

void removeRoot() {
    if (!gRootToRemove.empty()) nftw(gRootToRemove.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
}

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

FuzzDeviceTree& FuzzDeviceTree::get() {
    static FuzzDeviceTree tree;
    return tree;
}

FuzzDeviceTree::FuzzDeviceTree() {
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/huevane-fuzz-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        perror("mkdtemp");
        abort();
    }
    mRoot = pattern;
    gRootToRemove = mRoot;
    atexit(removeRoot);
    HuevaneImplUtil::setDeviceRoot(mRoot);
}

void FuzzDeviceTree::writeFile(const std::string& devicePath, const void* data, size_t size) {
    std::string path = mRoot + devicePath;
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        mkdir(path.substr(0, slash).c_str(), 0755);
    }
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr) abort();
    if (size > 0 && fwrite(data, 1, size, file) != size) abort();
    fclose(file);
}

void FuzzDeviceTree::removeFile(const std::string& devicePath) {
    unlink((mRoot + devicePath).c_str());
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
