#include "HuevaneTestSupport.h"

#include <android/log.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <sstream>

#include "HuevaneLogSink.h"

namespace {

LogCapture* gActiveCapture = nullptr;

bool captureLine(const HuevaneLogRecord& record) {
    if (gActiveCapture != nullptr)
        gActiveCapture->add({record.priority, record.tag, record.message});
    return false;
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

GuardedBytes::GuardedBytes(const std::string& bytes) : GuardedBytes(bytes.data(), bytes.size()) {}

GuardedBytes::GuardedBytes(const void* bytes, size_t size) : mSize(size) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t dataPages = (size + page - 1) / page;
    mMappingSize = (dataPages + 1) * page;
    void* mapping =
            mmap(nullptr, mMappingSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) abort();
    mMapping = static_cast<uint8_t*>(mapping);
    if (mprotect(mMapping + dataPages * page, page, PROT_NONE) != 0) abort();
    mData = mMapping + dataPages * page - size;
    if (size > 0) memcpy(mData, bytes, size);
}

GuardedBytes::~GuardedBytes() {
    munmap(mMapping, mMappingSize);
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
