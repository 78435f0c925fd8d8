#include "HuevaneDeviceTree.h"

#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "HuevaneDeviceFile.h"

namespace {

void makeParents(const std::string& path) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        mkdir(path.substr(0, slash).c_str(), 0755);
    }
}

int removeEntry(const char* path, const struct stat* /*status*/, int /*type*/,
                struct FTW* /*walk*/) {
    return remove(path);
}

// The test runner's scratch folder, as GoogleTest picks it: /tmp has no place on a device.
std::string getScratchFolder() {
    for (const char* name : {"TEST_TMPDIR", "TMPDIR"}) {
        const char* folder = getenv(name);
        if (folder != nullptr && *folder != '\0') return folder;
    }
#if defined(__ANDROID__)
    return "/data/local/tmp";
#else
    return "/tmp";
#endif
}

}  // namespace

DeviceTree::DeviceTree() {
    std::string pattern = getScratchFolder() + "/huevane-device-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr) {
        perror("mkdtemp");
        abort();
    }
    mRoot = buffer.data();
    huevane::setDeviceRoot(mRoot);
}

DeviceTree::~DeviceTree() {
    huevane::setDeviceRoot("");
    nftw(mRoot.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
}

void DeviceTree::writeFile(const std::string& devicePath, const void* data, size_t size) const {
    const std::string path = hostPath(devicePath);
    makeParents(path);
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr || (size > 0 && fwrite(data, 1, size, file) != size)) {
        perror(path.c_str());
        abort();
    }
    fclose(file);
}

void DeviceTree::removeFile(const std::string& devicePath) const {
    unlink(hostPath(devicePath).c_str());
}

void DeviceTree::writeCalibration(uint32_t display, const std::string& content) const {
    writeFile("/vendor/etc/pvx/calib_data_colormode" + std::to_string(display) + ".xml", content);
}

void DeviceTree::writeTargetName(uint32_t display, const std::string& content) const {
    const std::string node = display == 0 ? "/sys/class/pvx/pvx/xml"
                                          : "/sys/class/pvx/pvx" + std::to_string(display) + "/xml";
    writeFile(node, content);
}
