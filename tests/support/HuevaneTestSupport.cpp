#include "HuevaneTestSupport.h"

#include <android/log.h>
#include <ftw.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "HuevaneImplUtil.h"
#include "HuevaneLogSink.h"

namespace {

LogCapture* gActiveCapture = nullptr;

bool captureLine(const HuevaneLogRecord& record) {
    if (gActiveCapture != nullptr) gActiveCapture->add({record.priority, record.tag, record.message});
    return false;
}

void makeParents(const std::string& path) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        mkdir(path.substr(0, slash).c_str(), 0755);
    }
}

int removeEntry(const char* path, const struct stat*, int, struct FTW*) {
    return remove(path);
}

}  // namespace

LogCapture::LogCapture() {
    gActiveCapture = this;
    setHuevaneLogSink(captureLine);
    mPreviousMinimum = __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
}

LogCapture::~LogCapture() {
    gActiveCapture = nullptr;
    setHuevaneLogSink(nullptr);
    __android_log_set_minimum_priority(mPreviousMinimum);
}

std::vector<std::string> LogCapture::messages() const {
    std::vector<std::string> texts;
    for (const LogLine& line : mLines) texts.push_back(line.message);
    return texts;
}

int LogCapture::count(int priority, const std::string& message) const {
    int n = 0;
    for (const LogLine& line : mLines) {
        if (line.priority == priority && line.message == message) n++;
    }
    return n;
}

DeviceTree::DeviceTree() {
    // The test runner's scratch folder: /tmp has no place on a device.
    std::string pattern = ::testing::TempDir() + "huevane-device-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr) {
        perror("mkdtemp");
        abort();
    }
    mRoot = buffer.data();
    HuevaneImplUtil::setDeviceRoot(mRoot);
}

DeviceTree::~DeviceTree() {
    HuevaneImplUtil::setDeviceRoot("");
    nftw(mRoot.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
}

void DeviceTree::writeFile(const std::string& devicePath, const std::string& content) const {
    std::string path = hostPath(devicePath);
    makeParents(path);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
}

void DeviceTree::removeFile(const std::string& devicePath) const {
    unlink(hostPath(devicePath).c_str());
}

void DeviceTree::writeCalibration(uint32_t display, const std::string& content) const {
    writeFile("/vendor/etc/pvx/calib_data_colormode" + std::to_string(display) + ".xml", content);
}

void DeviceTree::writeTargetName(uint32_t display, const std::string& content) const {
    std::string node = display == 0 ? "/sys/class/pvx/pvx/xml"
                                    : "/sys/class/pvx/pvx" + std::to_string(display) + "/xml";
    writeFile(node, content);
}

std::vector<uint8_t> headerBytes(const pvx_colormode_data_header& header) {
    std::vector<uint8_t> bytes(sizeof(header));
    memcpy(bytes.data(), &header, sizeof(header));
    return bytes;
}

std::vector<uint8_t> hexBytes(const std::string& text) {
    std::istringstream in(text);
    std::vector<uint8_t> bytes;
    for (unsigned int byte; in >> std::hex >> byte;) bytes.push_back(static_cast<uint8_t>(byte));
    return bytes;
}
