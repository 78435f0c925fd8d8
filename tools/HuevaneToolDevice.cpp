#include "HuevaneToolDevice.h"

#include <android/log.h>
#include <libxml/parser.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "HuevaneDeviceFile.h"
#include "HuevaneImplColorMode.h"
#include "HuevaneImplColorModeXmlBase.h"
#include "HuevaneImplUtil.h"
#include "HuevaneImplementation.h"
#include "HuevaneLogSink.h"
#include "HuevaneXmlError.h"

namespace {

// The libxml2 hook is process-wide; one device is opened at a time.
HuevaneToolDevice* gOpening = nullptr;
bool gForwardLog = false;

// The library's own lines reach stderr only when --log-level asks for them; what they say is
// reported from the reader's record instead.
bool onLogRecord(const HuevaneLogRecord&) {
    return gForwardLog;
}

void onXmlError(void*, HuevaneXmlErrorPtr error) {
    if (gOpening == nullptr || error == nullptr) return;
    std::string message = error->message != nullptr ? error->message : "unknown XML error";
    while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) {
        message.pop_back();
    }
    // The reader names documents by their device paths; the user's editor wants the copy's.
    const std::string file = error->file != nullptr ? error->file : "";
    gOpening->onXmlProblem(error->level == XML_ERR_WARNING,
                           file.empty() ? file : huevane::getDevicePath(file), error->line, message);
}

using Document = HuevaneCalibrationDocument;

// Why the reader did not use a document; `sub` tells a sub document (whose mode node then keeps
// its own LUTs) from a calibration document.
std::string getOutcomeText(Document::Outcome outcome, bool sub) {
    const std::string fallback = sub ? ": the mode node's own LUTs are used" : ": skipped";
    switch (outcome) {
        case Document::USED:
            return "used";
        case Document::NOT_USED:
            return sub ? "no <Calib_Data> root or no tune mode" + fallback
                       : "no <Calib_Data> root: the library reads nothing from it";
        case Document::NOT_A_FILE:
            return "not a regular file" + fallback;
        case Document::TOO_LARGE:
            return "larger than the " +
                   std::to_string(HuevaneImplColorModeXmlBase::MAX_DOCUMENT_BYTES) +
                   " bytes the library reads" + fallback;
        case Document::NOT_PARSED:
            return "does not parse" + fallback;
        case Document::TEXT_BUDGET:
            return "entity references take its LUT texts past " +
                   std::to_string(HuevaneImplColorModeXmlBase::MAX_LUT_TEXT_BYTES) + " bytes" +
                   fallback;
    }
    return "not used";
}

}  // namespace

HuevaneToolDevice::~HuevaneToolDevice() {
    mEngine.reset();
    setHuevaneLogSink(nullptr);
}

void HuevaneToolDevice::onXmlProblem(bool warning, const std::string& file, long line,
                                     const std::string& message) {
    // Without a target name both candidates are one file, parsed twice: say it once.
    if (!mXmlReported.insert(file + ":" + std::to_string(line) + ":" + message).second) return;
    if (warning) {
        mContext.diagnostics.warning(file, line, message);
    } else {
        mContext.diagnostics.error(file, line, message);
    }
}

bool HuevaneToolDevice::open() {
    const HuevaneToolCommon& common = mContext.common;
    const size_t errorsBefore = mContext.diagnostics.getErrorCount();
    huevane::setDeviceRoot(common.root);
    gForwardLog = common.logLevel >= 0;
    __android_log_set_minimum_priority(gForwardLog ? ANDROID_LOG_VERBOSE : ANDROID_LOG_INFO);
    setHuevaneLogSink(onLogRecord);
    xmlSetStructuredErrorFunc(nullptr, onXmlError);
    gOpening = this;
    mEngine.reset(createInstance(common.display));
    gOpening = nullptr;
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    if (mEngine && common.logLevel >= 0) mEngine->setLogLevel(common.logLevel);
    if (mEngine) readDocuments();
    if (mDocuments.empty()) {
        mContext.diagnostics.error("no calibration document of display " +
                                   std::to_string(common.display) + " could be read under " +
                                   common.root);
        reportCandidates();
        return false;
    }
    return mContext.diagnostics.getErrorCount() == errorsBefore;
}

// What the engine's own reader recorded: the documents it used, and a line for each it did not.
void HuevaneToolDevice::readDocuments() {
    // createInstance builds nothing but HuevaneImplementation.
    const auto& engine = static_cast<const HuevaneImplementation&>(*mEngine);
    const std::vector<std::string> candidates =
            HuevaneImplColorMode::getXmlNames(mContext.common.display);
    bool mainUsed = false;
    for (const Document& document : engine.getColorModeSource().getCalibrationDocuments()) {
        const bool sub = mainUsed || std::find(candidates.begin(), candidates.end(),
                                               document.path) == candidates.end();
        if (document.outcome == Document::USED) {
            mDocuments.push_back(document.path);
            mainUsed = true;
            continue;
        }
        const std::string file = huevane::getDevicePath(document.path);
        const std::string text = getOutcomeText(document.outcome, sub);
        if (!mXmlReported.insert(file + ":" + text).second) continue;
        // A sub document the library does without is a warning; a calibration document it
        // cannot use is an error even when the next candidate stands in for it.
        sub ? mContext.diagnostics.warning(file, 0, text)
            : mContext.diagnostics.error(file, 0, text);
    }
}
// The candidates the reader never found; those it found were reported with their outcome.
void HuevaneToolDevice::reportCandidates() {
    std::vector<std::string> names = HuevaneImplColorMode::getXmlNames(mContext.common.display);
    if (names.size() == 2 && names[0] == names[1]) names.pop_back();
    for (const std::string& name : names) {
        const std::string path = huevane::getDevicePath(name);
        if (access(path.c_str(), F_OK) != 0) {
            mContext.diagnostics.note(path, 0, std::string("tried: ") + strerror(errno));
        }
    }
}
