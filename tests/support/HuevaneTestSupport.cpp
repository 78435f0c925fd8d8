#include "HuevaneTestSupport.h"

#include <android/log.h>

#include <cstring>
#include <sstream>

#include "HuevaneLogSink.h"

namespace {

LogCapture* gActiveCapture = nullptr;

bool captureLine(const HuevaneLogRecord& record) {
    if (gActiveCapture != nullptr) gActiveCapture->add({record.priority, record.tag, record.message});
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
