#include "HuevaneToolDevice.h"

#include <android/log.h>
#include <libxml/parser.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "HuevaneImplColorMode.h"
#include "HuevaneImplUtil.h"
#include "HuevaneLogSink.h"
#include "HuevaneXmlError.h"

namespace {

// The hooks are process-wide; one device is opened at a time.
HuevaneToolDevice* gOpening = nullptr;
bool gForwardLog = false;

bool onLogRecord(const HuevaneLogRecord& record) {
    if (gOpening != nullptr) gOpening->onLibraryLine(record.priority, record.message);
    return gForwardLog;
}

void onXmlError(void*, HuevaneXmlErrorPtr error) {
    if (gOpening == nullptr || error == nullptr) return;
    std::string message = error->message != nullptr ? error->message : "unknown XML error";
    while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) {
        message.pop_back();
    }
    // The reader names documents by their device paths; the user knows them by this host's.
    gOpening->onXmlProblem(error->level == XML_ERR_WARNING,
                           error->file ? HuevaneImplUtil::getDevicePath(error->file) : "",
                           error->line, message);
}

std::string trimNewline(std::string text) {
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

}  // namespace

HuevaneToolDevice::~HuevaneToolDevice() {
    mEngine.reset();
    setHuevaneLogSink(nullptr);
}

void HuevaneToolDevice::onLibraryLine(int priority, const std::string& message) {
    // The reader names every document it opened, at info priority.
    static const std::string OPENED = " opened\n";
    if (priority == ANDROID_LOG_INFO && message.size() > OPENED.size() &&
        message.compare(message.size() - OPENED.size(), OPENED.size(), OPENED) == 0) {
        mDocuments.push_back(message.substr(0, message.size() - OPENED.size()));
        return;
    }
    // "empty document" only repeats that nothing could be read, which open() explains itself.
    if (priority < ANDROID_LOG_ERROR || mDocuments.empty()) return;
    mLibraryErrors++;
    mContext.diagnostics.error(HuevaneImplUtil::getDevicePath(mDocuments.back()), 0,
                               trimNewline(message));
}

void HuevaneToolDevice::onXmlProblem(bool warning, const std::string& file, long line,
                                     const std::string& message) {
    // Without a target name both candidates are one file, parsed twice: say it once.
    if (!mXmlReported.insert(file + ":" + std::to_string(line) + ":" + message).second) return;
    if (warning) {
        mContext.diagnostics.warning(file, line, message);
    } else {
        mXmlErrors++;
        mContext.diagnostics.error(file, line, message);
    }
}

bool HuevaneToolDevice::open() {
    const HuevaneToolCommon& common = mContext.common;
    HuevaneImplUtil::setDeviceRoot(common.root);
    gForwardLog = common.logLevel >= 0;
    __android_log_set_minimum_priority(gForwardLog ? ANDROID_LOG_VERBOSE : ANDROID_LOG_INFO);
    setHuevaneLogSink(onLogRecord);
    xmlSetStructuredErrorFunc(nullptr, onXmlError);
    gOpening = this;
    mEngine.reset(createInstance(common.display));
    gOpening = nullptr;
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    if (mEngine && common.logLevel >= 0) mEngine->setLogLevel(common.logLevel);
    if (mDocuments.empty()) {
        mContext.diagnostics.error("no calibration document of display " +
                                   std::to_string(common.display) + " could be read under " +
                                   common.root);
        reportCandidates();
        return false;
    }
    return mEngine != nullptr && mXmlErrors == 0 && mLibraryErrors == 0;
}

void HuevaneToolDevice::reportCandidates() {
    std::vector<std::string> names = HuevaneImplColorMode::getXmlNames(mContext.common.display);
    if (names.size() == 2 && names[0] == names[1]) names.pop_back();
    for (const std::string& name : names) {
        const std::string path = HuevaneImplUtil::getDevicePath(name);
        if (access(path.c_str(), R_OK) != 0) {
            mContext.diagnostics.note(path, 0, std::string("tried: ") + strerror(errno));
        } else {
            mContext.diagnostics.note(path, 0, "tried: does not parse");
        }
    }
}
