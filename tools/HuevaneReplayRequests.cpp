#include "HuevaneReplayRequests.h"

#include <utility>

#include "HuevaneDataLut.h"
#include "HuevaneNodeTable.h"

namespace {

bool isTransformLine(const ReplayDumpLine& dump) {
    huevane::mat4 transform;
    return dump.id == huevane::PVX_NODE_GAMMA_MATRIX && dump.attr[0] == PVX_ATTR_NONE &&
           dump.attr[1] == PVX_ATTR_NONE && dump.attr[2] == PVX_ATTR_NONE &&
           dump.attr[3] == PVX_ATTR_NONE && !dump.cut && getTransformFromText(dump.text, &transform);
}

// Whether run[at...] starts with `staged`.
bool startsWith(const std::vector<ReplayDumpLine>& run, size_t at,
                const std::vector<ReplayDumpLine>& staged) {
    if (at + staged.size() > run.size()) return false;
    for (size_t i = 0; i < staged.size(); i++) {
        if (!run[at + i].isSameLut(staged[i])) return false;
    }
    return true;
}

class RequestBuilder {
  public:
    RequestBuilder(const ReplayEngineLog& engine, const std::vector<bool>& alternatives)
        : mEngine(engine), mAlternatives(alternatives) {}
    ReplayRequests build();

  private:
    // False once the requests cannot be followed further.
    bool readRun(const std::vector<ReplayDumpLine>& run, int warned);
    bool readWarnedTransform(const std::vector<ReplayDumpLine>& run, int warned, size_t* pos);
    size_t readExtension(const std::vector<ReplayDumpLine>& run, size_t pos, int decision,
                         int* split);
    bool takeAlternative(long line, int* decision);
    void addTransform(const ReplayDumpLine& dump, int decision, bool beforeLog);
    bool stop(long line, const std::string& reason);

    const ReplayEngineLog& mEngine;
    const std::vector<bool>& mAlternatives;
    ReplayRequests mOut;
    // What each caller source holds staged since the last update, as its dumps showed it.
    std::vector<ReplayDumpLine> mTransforms;
    std::vector<ReplayDumpLine> mExtensions;
    // Until its first update, an engine whose creation the log does not show may hold
    // transforms staged before the log begins.
    bool mFirstCycle = false;
};

bool RequestBuilder::stop(long line, const std::string& reason) {
    mOut.stopLine = line;
    mOut.stopReason = reason;
    return false;
}

bool RequestBuilder::takeAlternative(long line, int* decision) {
    *decision = static_cast<int>(mOut.decisions.size());
    mOut.decisions.push_back(line);
    return static_cast<size_t>(*decision) < mAlternatives.size() && mAlternatives[*decision];
}

void RequestBuilder::addTransform(const ReplayDumpLine& dump, int decision, bool beforeLog) {
    ReplayRequest request;
    request.kind = ReplayRequest::TRANSFORM;
    request.line = dump.line;
    request.decision = decision;
    request.beforeLog = beforeLog;
    getTransformFromText(dump.text, &request.transform);
    mOut.requests.push_back(std::move(request));
    mTransforms.push_back(dump);
}

// The transform source warns with the count it held before it dumps them all again behind the
// new one.
bool RequestBuilder::readWarnedTransform(const std::vector<ReplayDumpLine>& run, int warned,
                                         size_t* pos) {
    const size_t held = static_cast<size_t>(warned);
    if (held != mTransforms.size()) {
        if (!mFirstCycle || !mTransforms.empty() || held >= run.size()) {
            return stop(run[0].line, "the transform source held " + std::to_string(held) +
                                             " colour transforms, the log shows " +
                                             std::to_string(mTransforms.size()) +
                                             " since the last update: lines were lost");
        }
        for (size_t i = 0; i < held; i++) {
            if (!isTransformLine(run[i])) break;
            addTransform(run[i], -1, true);
        }
    }
    if (!startsWith(run, 0, mTransforms) || held >= run.size() || !isTransformLine(run[held])) {
        return stop(run[0].line,
                    "this dump does not show the colour transforms staged since the last update "
                    "followed by a new one: lines were lost");
    }
    addTransform(run[held], -1, false);
    *pos = held + 1;
    return true;
}

// One extension dump at run[pos]: the LUTs staged before, then the call's own. The call's own
// end where the run shows all of them again (the next call's dump) or a transform begins.
size_t RequestBuilder::readExtension(const std::vector<ReplayDumpLine>& run, size_t pos,
                                     int decision, int* split) {
    // The caller has already read the first line as this call's own when nothing was staged.
    const bool firstRead = decision >= 0 && mExtensions.empty();
    pos += mExtensions.size();
    size_t end = pos;
    *split = -1;
    while (end < run.size()) {
        if (end > pos) {
            std::vector<ReplayDumpLine> staged = mExtensions;
            staged.insert(staged.end(), run.begin() + pos, run.begin() + end);
            if (startsWith(run, end, staged)) break;
        }
        if (mTransforms.empty() && isTransformLine(run[end]) && !(end == pos && firstRead)) {
            int open = -1;
            if (!takeAlternative(run[end].line, &open)) {
                *split = open;
                break;
            }
            decision = open;
        }
        end++;
    }
    ReplayRequest request;
    request.kind = ReplayRequest::EXTENSION;
    request.line = pos < run.size() ? run[pos].line : run.back().line;
    request.decision = decision;
    for (size_t i = pos; i < end; i++) {
        const ReplayDumpLine& dump = run[i];
        ReplayExtensionLut lut{dump.line, dump.id, {}, dump.text};
        std::copy(dump.attr, dump.attr + 4, lut.attr);
        request.luts.push_back(std::move(lut));
        mExtensions.push_back(dump);
    }
    mOut.requests.push_back(std::move(request));
    return end;
}

bool RequestBuilder::readRun(const std::vector<ReplayDumpLine>& run, int warned) {
    size_t pos = 0;
    if (warned >= 0 && !readWarnedTransform(run, warned, &pos)) return false;
    int split = -1;  // an open reading that ended the extension dump before this line
    while (pos < run.size()) {
        // Without a warning the transform source held nothing before.
        const bool transform = mTransforms.empty() && isTransformLine(run[pos]);
        const bool extension = startsWith(run, pos, mExtensions);
        int decision = split;
        if (transform && (!extension || split >= 0 ||
                          !takeAlternative(run[pos].line, &decision))) {
            addTransform(run[pos], decision, false);
            pos++;
            split = -1;
            continue;
        }
        if (!extension) {
            return stop(run[pos].line,
                        "this dump neither repeats the extension LUTs staged since the last "
                        "update nor reads as a new colour transform: lines were lost");
        }
        pos = readExtension(run, pos, decision, &split);
    }
    return true;
}

ReplayRequests RequestBuilder::build() {
    mFirstCycle = mEngine.createdLine == 0;
    const std::vector<ReplayLogItem>& items = mEngine.items;
    int warned = -1;
    for (size_t i = 0; i < items.size(); i++) {
        const ReplayLogItem& item = items[i];
        if (item.kind == ReplayLogItem::DUMP) {
            std::vector<ReplayDumpLine> run;
            for (; i < items.size() && items[i].kind == ReplayLogItem::DUMP; i++) {
                run.push_back(items[i].dump);
            }
            i--;
            for (const ReplayDumpLine& dump : run) {
                if (dump.cut) {
                    return stop(dump.line, "liblog cut this dump at " +
                                                   std::to_string(HUEVANE_LOG_MESSAGE_MAX) +
                                                   " bytes: the LUT's text cannot be rebuilt"),
                           mOut;
                }
            }
            if (!readRun(run, warned)) return mOut;
            warned = -1;
            continue;
        }
        // A warning right before a dump is the transform source's; any other is a stage's.
        warned = item.kind == ReplayLogItem::PREVIOUS_LUT ? item.count : -1;
        ReplayRequest request;
        request.line = item.line;
        if (item.kind == ReplayLogItem::SET_MODE || item.kind == ReplayLogItem::SET_MODE_INTENT) {
            request.kind = item.kind == ReplayLogItem::SET_MODE ? ReplayRequest::SET_MODE
                                                                : ReplayRequest::SET_MODE_INTENT;
            request.mode = item.mode;
            request.intent = item.intent;
        } else if (item.kind == ReplayLogItem::PRINT || item.kind == ReplayLogItem::FAILED) {
            request.kind = ReplayRequest::UPDATE;
            request.item = i;
            // A built parcel ends the cycle: the sources drop what they staged.
            if (item.kind == ReplayLogItem::PRINT) {
                mTransforms.clear();
                mExtensions.clear();
                mFirstCycle = false;
            }
        } else {
            continue;
        }
        mOut.requests.push_back(std::move(request));
    }
    return mOut;
}

}  // namespace

ReplayRequests rebuildReplayRequests(const ReplayEngineLog& engine,
                                     const std::vector<bool>& alternatives) {
    return RequestBuilder(engine, alternatives).build();
}

bool getTransformFromText(const std::string& text, huevane::mat4* transform) {
    bool enabled = false;
    if (text.compare(0, 2, "1,") != 0 || !huevane::getMatrixFromText(text, &enabled, transform)) {
        return false;
    }
    std::string written;
    huevane::formatMatrixText(transform->data(), transform->size(), &written);
    return written == text;
}
