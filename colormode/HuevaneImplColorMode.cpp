#define LOG_TAG "libhuevane"

#include "HuevaneImplColorMode.h"

#include <log/log.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "HuevaneDeviceFile.h"
#include "HuevaneImplColorModeXml.h"

const char* const HuevaneImplColorMode::TARGET_NAME_SYSFS_NODE_PREFIX = "/sys/class/pvx/pvx";
const char* const HuevaneImplColorMode::TARGET_NAME_SYSFS_NODE_SUFFIX = "xml";
const char* const HuevaneImplColorMode::COLOR_MODE_DOC_NAME =
        "/vendor/etc/pvx/calib_data_colormode";
const char* const HuevaneImplColorMode::DOC_EXT = ".xml";

namespace {

// One read of the node; a name must leave room for its terminator.
constexpr ssize_t TARGET_NAME_BUFFER = 128;

}  // namespace

HuevaneImplColorMode::HuevaneImplColorMode(uint32_t id) {
    mColorModeXml = std::make_unique<HuevaneImplColorModeXml>(getXmlNames(id));
}

HuevaneImplColorMode::HuevaneImplColorMode(std::vector<std::string> xmlNames,
                                           huevane::HuevaneCalibrationAccount* account) {
    mColorModeXml = std::make_unique<HuevaneImplColorModeXml>(std::move(xmlNames), account);
}

HuevaneImplColorMode::~HuevaneImplColorMode() {
    // The views before the reader whose texts they borrow.
    mStaged.clear();
    mColorModeXml.reset();
}

HuevaneDataLutList HuevaneImplColorMode::getDataLuts() {
    // Borrowed texts: the reader keeps them for the engine's lifetime.
    return mStaged;
}

void HuevaneImplColorMode::clearDataLuts() {
    mStaged.clear();
}

void HuevaneImplColorMode::dumpDataLuts() {
    for (const HuevaneDataLut& lut : mStaged) {
        ALOGD("id%d attr(%d,%d,%d,%d) %s\n", lut.first.id, lut.first.attr0, lut.first.attr1,
              lut.first.attr2, lut.first.attr3, lut.second.c_str());
    }
}

int32_t HuevaneImplColorMode::getDataLutsMaxSize() {
    return mColorModeXml->getDataLutsMaxSize();
}

int32_t HuevaneImplColorMode::setDataLuts(std::vector<unsigned int> request) {
    if (request.size() != 2) return 1;
    mColorModeId = request[0];
    mRenderIntentId = request[1];
    // An unknown pair stages nothing and is still accepted: there is no fallback.
    const huevane::HuevaneStoredDataLutList* luts =
            mColorModeXml->findDataLuts(mColorModeId, mRenderIntentId);
    mStaged.clear();
    if (luts != nullptr) huevane::putBorrowedDataLuts(*luts, &mStaged);
    return 0;
}

std::vector<HuevaneMode> HuevaneImplColorMode::getColorModeList() {
    return mColorModeXml->getColorModeList();
}

void HuevaneImplColorMode::dumpColorModeList() {
    mColorModeXml->dumpColorModeList();
}

std::vector<DisplayRenderIntent> HuevaneImplColorMode::getRenderIntentList(unsigned int mode) {
    return mColorModeXml->getRenderIntentList(mode);
}

void HuevaneImplColorMode::dumpRenderIntentList(unsigned int mode) {
    mColorModeXml->dumpRenderIntentList(mode);
}

std::string HuevaneImplColorMode::getXmlNameSuffixNode(uint32_t id) {
    std::string node = TARGET_NAME_SYSFS_NODE_PREFIX;
    if (id != 0) node += std::to_string(id);
    return node + "/" + TARGET_NAME_SYSFS_NODE_SUFFIX;
}

std::string HuevaneImplColorMode::getXmlNameSuffix(uint32_t id) {
    return getXmlNameSuffix(id, nullptr);
}

std::string HuevaneImplColorMode::getXmlNameSuffix(uint32_t id,
                                                   huevane::HuevaneTargetNameRecord* record) {
    using Record = huevane::HuevaneTargetNameRecord;
    Record ignored;
    Record& found = record != nullptr ? *record : ignored;
    found.node = getXmlNameSuffixNode(id);
    huevane::HuevaneFd fd;
    int64_t size = 0;
    const huevane::HuevaneFileOpen opened = huevane::openDeviceFile(found.node, &fd, &size);
    if (opened == huevane::HuevaneFileOpen::NOT_OPENED) {
        found.outcome = Record::NOT_FOUND;
        found.error = errno;
        ALOGD("no target name is found(fd(%d))", -1);
        return DOC_EXT;
    }
    char buffer[TARGET_NAME_BUFFER];
    memset(buffer, 0, sizeof(buffer));
    // A node that is not a regular file (a FIFO, a device) is never read: it counts as a node
    // whose read failed.
    ssize_t length = opened == huevane::HuevaneFileOpen::OPENED
                             ? read(fd.get(), buffer, sizeof(buffer))
                             : -1;
    found.readLength = length;
    if (length < 1 || length >= TARGET_NAME_BUFFER) {
        found.outcome = opened == huevane::HuevaneFileOpen::OPENED ? Record::OUT_OF_RANGE
                                                                   : Record::NOT_A_FILE;
        ALOGD("out of range of target name (rd_len:%d)", static_cast<int>(length));
        return DOC_EXT;
    }
    buffer[length] = '\0';
    std::string name(buffer);  // a zero byte inside the node ends the name early
    found.text = name;
    // The driver ends the name with a newline; the last byte goes whatever it is.
    if (!name.empty()) name.pop_back();
    found.name = name;
    // A name that could climb out of the calibration folder names no file at all.
    if (!huevane::isPlainFileName(name)) {
        found.outcome = Record::NOT_A_FILE_NAME;
        ALOGE("target name '%s' is not a file name\n", name.c_str());
        return DOC_EXT;
    }
    found.outcome = Record::READ;
    return "_" + name;
}

std::string HuevaneImplColorMode::getXmlNameWithSuffix(uint32_t id) {
    return getXmlNamePrefix(id) + getXmlNameSuffix(id);
}

std::string HuevaneImplColorMode::getXmlNameDefault(uint32_t id) {
    return getXmlNamePrefix(id) + DOC_EXT;
}

std::string HuevaneImplColorMode::getXmlNamePrefix(uint32_t id) {
    return COLOR_MODE_DOC_NAME + std::to_string(id);
}

std::vector<std::string> HuevaneImplColorMode::getXmlNames(uint32_t id) {
    return getXmlNames(id, nullptr);
}

std::vector<std::string> HuevaneImplColorMode::getXmlNames(uint32_t id,
                                                           huevane::HuevaneTargetNameRecord* record) {
    std::string withSuffix = getXmlNamePrefix(id) + getXmlNameSuffix(id, record);
    return {withSuffix, getXmlNameDefault(id)};
}
