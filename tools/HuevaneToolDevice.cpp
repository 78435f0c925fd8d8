#include "HuevaneToolDevice.h"

#include <android/log.h>

#include <algorithm>
#include <set>

#include "HuevaneLogSink.h"
#include "HuevaneToolModel.h"

namespace {

using Document = huevane::HuevaneDocumentRecord;

bool gForwardLog = false;

// The library's own lines reach stderr only when --log-level asks for them; what they say is
// reported from the reader's account instead.
bool onLogRecord(const HuevaneLogRecord&) {
    return gForwardLog;
}

}  // namespace

HuevaneToolDevice::~HuevaneToolDevice() {
    mInspection.reset();
    setHuevaneLogSink(nullptr);
}

bool HuevaneToolDevice::open() {
    const HuevaneToolCommon& common = mContext.common;
    const size_t errorsBefore = mContext.diagnostics.getErrorCount();
    gForwardLog = common.logLevel >= 0;
    __android_log_set_minimum_priority(gForwardLog ? ANDROID_LOG_VERBOSE : ANDROID_LOG_INFO);
    setHuevaneLogSink(onLogRecord);
    mInspection = huevane::HuevaneInspection::openDisplay(common.root, common.display);
    if (common.logLevel >= 0) mInspection->getEngine().setLogLevel(common.logLevel);
    if (mInspection->isOffered()) {
        for (const HuevaneFinding& finding : getAccountFindings(*mInspection)) {
            mContext.diagnostics.report(finding);
        }
        for (const Document& document : mInspection->getAccount().documents) {
            if (document.outcome == Document::USED &&
                std::find(mDocuments.begin(), mDocuments.end(), document.path) == mDocuments.end()) {
                mDocuments.push_back(document.path);
            }
        }
    } else {
        for (const HuevaneFinding& finding : getXmlFindings(*mInspection)) {
            mContext.diagnostics.report(finding);
        }
    }
    if (mDocuments.empty()) {
        mContext.diagnostics.error("no calibration document of display " +
                                   std::to_string(common.display) + " could be read under " +
                                   common.root);
        // The candidates the reader never found; those it found were reported with their outcome.
        std::set<std::string> reported;
        for (const Document& document : mInspection->getAccount().documents) {
            if (document.sub || document.outcome != Document::NOT_FOUND ||
                !reported.insert(document.path).second) {
                continue;
            }
            mContext.diagnostics.note(mInspection->getHostPath(document.path), 0,
                                      "tried: " + getDocumentOutcomeText(document, false));
        }
        return false;
    }
    return mContext.diagnostics.getErrorCount() == errorsBefore;
}
