#include "HuevaneDeviceFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace huevane {

namespace {

// Empty on a device.
std::string gDeviceRoot;

// "/" and "dir/" stand for the same tree as "" and "dir".
std::string getRootPrefix(std::string root) {
    while (!root.empty() && root.back() == '/') root.pop_back();
    return root;
}

}  // namespace

HuevaneFd::~HuevaneFd() {
    if (mFd >= 0) close(mFd);
}

HuevaneFd& HuevaneFd::operator=(HuevaneFd&& other) noexcept {
    if (this != &other) {
        if (mFd >= 0) close(mFd);
        mFd = other.mFd;
        other.mFd = -1;
    }
    return *this;
}

HuevaneFileOpen openDeviceFile(const std::string& devicePath, HuevaneFd* fd, int64_t* size) {
    HuevaneFd opened(open(getDevicePath(devicePath).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (opened.get() < 0) return HuevaneFileOpen::NOT_OPENED;
    struct stat status {};
    if (fstat(opened.get(), &status) != 0) return HuevaneFileOpen::NOT_OPENED;
    if (!S_ISREG(status.st_mode)) return HuevaneFileOpen::NOT_REGULAR;
    *size = static_cast<int64_t>(status.st_size);
    *fd = std::move(opened);
    return HuevaneFileOpen::OPENED;
}

bool isPlainFileName(const std::string& name) {
    return name.find('/') == std::string::npos && name != "..";
}

std::string getDevicePath(const std::string& devicePath) {
    return gDeviceRoot.empty() ? devicePath : gDeviceRoot + devicePath;
}

void setDeviceRoot(const std::string& root) {
    gDeviceRoot = getRootPrefix(root);
}

std::string getDevicePath(const std::string& root, const std::string& devicePath) {
    return getRootPrefix(root) + devicePath;
}

}  // namespace huevane
