#include "HuevaneReplayEngine.h"

#include <android/log.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <deque>
#include <set>
#include <utility>

#include "HuevaneLogSink.h"
#include "HuevaneNodeTable.h"
#include "HuevaneParcel.h"

namespace {

using huevane::HuevaneInspectedParcel;
using huevane::HuevaneLutOrigin;
using huevane::HuevaneParcelEntry;

// The replayed engine's own lines would only repeat the log; --log-level lets them through.
bool gForwardLog = false;

bool onReplayLog(const HuevaneLogRecord&) {
    return gForwardLog;
}

class LogRoute {
  public:
    explicit LogRoute(bool forward) {
        gForwardLog = forward;
        __android_log_set_minimum_priority(forward ? ANDROID_LOG_VERBOSE : ANDROID_LOG_INFO);
        setHuevaneLogSink(onReplayLog);
    }
    ~LogRoute() { setHuevaneLogSink(nullptr); }
    LogRoute(const LogRoute&) = delete;
    LogRoute& operator=(const LogRoute&) = delete;
};

std::string getLutName(int id, const int* attr) {
    return huevane::getNodeLabel(id) + " (node " + std::to_string(id) + ") attr " +
           std::to_string(attr[0]) + "," + std::to_string(attr[1]) + "," + std::to_string(attr[2]) +
           "," + std::to_string(attr[3]);
}

std::string getLutName(const pvx_colormode_data_header& h) {
    const int attr[4] = {h.attr0, h.attr1, h.attr2, h.attr3};
    return getLutName(h.id, attr);
}

std::string getHex(long value) {
    char text[16];
    snprintf(text, sizeof(text), "0x%lX", value);
    return text;
}

// A few bytes of a text around `offset`, with line breaks shown.
std::string getExcerpt(const std::string& text, size_t offset) {
    const size_t begin = offset > 12 ? offset - 12 : 0;
    std::string excerpt = begin > 0 ? "..." : "";
    for (size_t i = begin; i < text.size() && i < offset + 12; i++) {
        excerpt += text[i] == '\n' ? std::string("\\n") : std::string(1, text[i]);
    }
    return excerpt + (offset + 12 < text.size() ? "..." : "");
}

// What the print can carry of a text: liblog's limit, and no last newline in logcat's one-line
// forms.
std::string getPrintedText(const std::string& text, bool finalNewlineShown) {
    std::string printed = text.substr(0, HUEVANE_LOG_MESSAGE_MAX);
    if (!finalNewlineShown && !printed.empty() && printed.back() == '\n') printed.pop_back();
    return printed;
}

ReplayDifference getDifference(std::string field, long lut, std::string lutName, std::string device,
                               std::string rebuilt, long offset = -1) {
    ReplayDifference d;
    d.field = std::move(field);
    d.lut = lut;
    d.lutName = std::move(lutName);
    d.device = std::move(device);
    d.rebuilt = std::move(rebuilt);
    d.offset = offset;
    return d;
}

// The device could not build this parcel; it keeps what was staged for the next update.
void compareFailure(const ReplayLogItem& item, const HuevaneInspectedParcel& parcel,
                    ReplayUpdate* u) {
    u->failed = true;
    ReplayDifference& d = u->difference;
    if (parcel.built) {
        u->result = ReplayUpdate::DIFFERENT;
        d = getDifference("built", -1, "",
                          "refused" + (item.detail.empty() ? "" : ": " + item.detail),
                          "built, " + std::to_string(parcel.bytes.size()) + " bytes");
        return;
    }
    long needed = 0;
    long limit = 0;
    if (sscanf(item.detail.c_str(), "parcel needs %ld bytes, more than the %ld", &needed, &limit) ==
                2 &&
        needed != parcel.neededSize) {
        u->result = ReplayUpdate::DIFFERENT;
        d = getDifference("needed_size", -1, "", std::to_string(needed),
                          std::to_string(parcel.neededSize));
        return;
    }
    u->result = ReplayUpdate::IDENTICAL;
}

class Replayer {
  public:
    Replayer(const std::string& root, uint32_t display, const ReplayEngineLog& log, int logLevel);
    ReplayEngineRun run(const ReplayRequests& requests, long until);

  private:
    void stageExtension(const ReplayRequest& request);
    ReplayUpdate update(const ReplayRequest& request);
    void compare(const ReplayPrintedParcel& print, const HuevaneInspectedParcel& parcel,
                 ReplayUpdate* u);
    bool compareLut(size_t k, const ReplayPrintedEntry& device, const HuevaneParcelEntry& rebuilt,
                    bool finalNewlineShown, ReplayUpdate* u) const;
    void checkSeqNum(const ReplayPrintedParcel& print, const HuevaneInspectedParcel& parcel,
                     ReplayUpdate* u);
    ReplaySource getSource(const HuevaneLutOrigin& origin, uint8_t stage) const;
    void setSources(const HuevaneParcelEntry& entry, ReplayDifference* d) const;
    void endCycle();

    const ReplayEngineLog& mLog;
    std::unique_ptr<huevane::HuevaneInspection> mInspection;
    // Every extension entry staged since the last update, the texts they point at, and the log
    // line each came from.
    std::deque<std::string> mTexts;
    std::vector<HuevaneExtension> mEntries;
    std::vector<long> mEntryLines;
    std::vector<ReplayExtensionLut> mCycleLuts;
    std::set<long> mOpenLines;
    // The log lines of the matrices the stages hold: the transform, and the extension LUT of
    // each stage's node, of this cycle and as stored by earlier ones.
    long mTransformLine = 0;
    long mStoredTransformLine = 0;
    long mStoredExtensionMatrixLine[2] = {0, 0};
    bool mSeqKnown = false;
    int mSeqOffset = 0;
    bool mFirstUpdate = true;
};

Replayer::Replayer(const std::string& root, uint32_t display, const ReplayEngineLog& log,
                   int logLevel)
    : mLog(log), mInspection(huevane::HuevaneInspection::openDisplay(root, display)) {
    if (logLevel >= 0) mInspection->getEngine().setLogLevel(logLevel);
}

int getStageSlot(uint8_t node) {
    return node == huevane::PVX_NODE_LINEAR_MATRIX ? 1 : 0;
}

ReplaySource Replayer::getSource(const HuevaneLutOrigin& origin, uint8_t stage) const {
    ReplaySource source;
    source.sourceKind = origin.sourceKind;
    source.earlier = origin.earlier;
    if (origin.sourceKind == huevane::SOURCE_KIND_COLOR_MODE && !origin.place.document.empty()) {
        source.file = mInspection->getHostPath(origin.place.document);
        source.line = origin.place.line;
    } else if (origin.sourceKind == huevane::SOURCE_KIND_TRANSFORM) {
        source.logLine = origin.earlier ? mStoredTransformLine : mTransformLine;
    } else if (origin.sourceKind == huevane::SOURCE_KIND_EXTENSION) {
        const int32_t entry = origin.extensionEntry;
        if (origin.earlier) {
            source.logLine = mStoredExtensionMatrixLine[getStageSlot(stage)];
        } else if (entry >= 0 && static_cast<size_t>(entry) < mEntryLines.size()) {
            source.logLine = mEntryLines[entry];
        }
    }
    source.open = source.logLine != 0 && mOpenLines.count(source.logLine) > 0;
    return source;
}

void Replayer::setSources(const HuevaneParcelEntry& entry, ReplayDifference* d) const {
    if (entry.stage == 0) {
        d->sources.push_back(getSource(entry.origin, 0));
        return;
    }
    d->stage = huevane::getNodeLabel(entry.stage);
    for (const HuevaneParcelEntry::Factor& factor : entry.factors) {
        d->sources.push_back(getSource(factor.origin, entry.stage));
    }
}

// Rebuilds attribute entries that give the dumped attribute bytes: each call starts without
// attributes, and a LUT whose bytes differ from the current ones gets an entry of its own.
void Replayer::stageExtension(const ReplayRequest& request) {
    std::vector<HuevaneExtension> call;
    std::vector<long> lines;
    uint8_t current[4] = {PVX_ATTR_NONE, PVX_ATTR_NONE, PVX_ATTR_NONE, PVX_ATTR_NONE};
    for (const ReplayExtensionLut& lut : request.luts) {
        if (!std::equal(lut.attr, lut.attr + 4, current)) {
            std::copy(lut.attr, lut.attr + 4, current);
            mTexts.push_back(std::to_string(lut.attr[0]) + " " + std::to_string(lut.attr[1]) + " " +
                             std::to_string(lut.attr[2]) + " " + std::to_string(lut.attr[3]));
            call.push_back({0, mTexts.back().c_str(), static_cast<uint32_t>(mTexts.back().size())});
            lines.push_back(lut.line);
        }
        mTexts.push_back(lut.text);
        call.push_back({lut.id, mTexts.back().c_str(), static_cast<uint32_t>(mTexts.back().size())});
        lines.push_back(lut.line);
        mCycleLuts.push_back(lut);
    }
    mEntries.insert(mEntries.end(), call.begin(), call.end());
    mEntryLines.insert(mEntryLines.end(), lines.begin(), lines.end());
    mInspection->getEngine().setColorExtension(call);
}

// A built parcel ends the cycle: the sources drop what they staged, the stages keep their
// matrices.
void Replayer::endCycle() {
    if (mTransformLine != 0) mStoredTransformLine = mTransformLine;
    mTransformLine = 0;
    for (const ReplayExtensionLut& lut : mCycleLuts) {
        bool enabled = false;
        huevane::mat4 matrix;
        if (huevane::isMatrixNode(lut.id) &&
            huevane::getMatrixFromText(lut.text, &enabled, &matrix)) {
            mStoredExtensionMatrixLine[getStageSlot(lut.id)] = lut.line;
        }
    }
    mCycleLuts.clear();
    mEntries.clear();
    mEntryLines.clear();
    mTexts.clear();
}

void Replayer::checkSeqNum(const ReplayPrintedParcel& print, const HuevaneInspectedParcel& parcel,
                           ReplayUpdate* u) {
    const int rebuilt = parcel.bytes.size() > 1 ? parcel.bytes[1] : 0;
    if (!mSeqKnown) {
        mSeqKnown = true;
        // An engine created before the log begins has counted updates the log never saw.
        mSeqOffset = mLog.createdLine != 0 ? 0 : (print.seqNum - rebuilt) & 0xFF;
    }
    const int due = (rebuilt + mSeqOffset) & 0xFF;
    if (print.seqNum == due) return;
    u->caveats.push_back("seq_num is " + std::to_string(print.seqNum) + " where " +
                         std::to_string(due) +
                         " was due: " + std::to_string((print.seqNum - due) & 0xFF) +
                         " updates before it are not in the log (lines lost, or a log level "
                         "below 3 meanwhile)");
    mSeqOffset = (print.seqNum - rebuilt) & 0xFF;
}

bool Replayer::compareLut(size_t k, const ReplayPrintedEntry& device,
                          const HuevaneParcelEntry& rebuilt, bool finalNewlineShown,
                          ReplayUpdate* u) const {
    const pvx_colormode_data_header& h = rebuilt.sent.first;
    ReplayDifference& d = u->difference;
    d.lut = static_cast<long>(k);
    d.lutName = getLutName(h);
    const int rebuiltAttr[4] = {h.attr0, h.attr1, h.attr2, h.attr3};
    if (device.id != h.id || !std::equal(device.attr, device.attr + 4, rebuiltAttr)) {
        d.field = "lut";
        d.device = getLutName(device.id, device.attr);
        d.rebuilt = d.lutName;
    } else if (device.magic != h.magic) {
        d = getDifference("magic", d.lut, d.lutName, getHex(device.magic), getHex(h.magic));
    } else if (device.headerSize != h.header_size) {
        d = getDifference("header_size", d.lut, d.lutName, std::to_string(device.headerSize),
                          std::to_string(h.header_size));
    } else {
        const std::string printed = getPrintedText(rebuilt.sent.second, finalNewlineShown);
        if (device.text != printed) {
            const auto mismatch = std::mismatch(device.text.begin(), device.text.end(),
                                                printed.begin(), printed.end());
            const size_t at = static_cast<size_t>(mismatch.first - device.text.begin());
            d = getDifference("text", d.lut, d.lutName, getExcerpt(device.text, at),
                              getExcerpt(printed, at), static_cast<long>(at));
        } else if (device.totalSize != h.total_size) {
            d = getDifference("total_size", d.lut, d.lutName, std::to_string(device.totalSize),
                              std::to_string(h.total_size));
        } else if (device.crc != h.crc) {
            d = getDifference("crc", d.lut, d.lutName, getHex(device.crc), getHex(h.crc));
        } else {
            if (rebuilt.sent.second.size() > HUEVANE_LOG_MESSAGE_MAX) {
                u->cuts.push_back({k, device.text.size(), rebuilt.sent.second.size()});
            }
            return true;
        }
        // Beyond what the print carries the texts may differ where nobody can see it.
        if (d.field != "text" && rebuilt.sent.second.size() > HUEVANE_LOG_MESSAGE_MAX) {
            d.offset = static_cast<long>(HUEVANE_LOG_MESSAGE_MAX);
        }
    }
    setSources(rebuilt, &d);
    u->result = ReplayUpdate::DIFFERENT;
    return false;
}

void Replayer::compare(const ReplayPrintedParcel& print, const HuevaneInspectedParcel& parcel,
                       ReplayUpdate* u) {
    u->seqNum = print.seqNum;
    u->luts = print.entries.size();
    u->size = static_cast<size_t>(print.totalSize);
    ReplayDifference& d = u->difference;
    if (!parcel.built) {
        u->result = ReplayUpdate::DIFFERENT;
        d = getDifference("built", -1, "", "built, " + std::to_string(print.totalSize) + " bytes",
                          "refused: it needs " + std::to_string(parcel.neededSize) +
                                  " bytes, more than the " + std::to_string(parcel.limit) +
                                  " it may use");
        return;
    }
    checkSeqNum(print, parcel, u);
    const size_t common = std::min(print.entries.size(), parcel.entries.size());
    for (size_t k = 0; k < common; k++) {
        if (!compareLut(k, print.entries[k], parcel.entries[k], print.finalNewlineShown, u)) {
            return;
        }
    }
    u->result = ReplayUpdate::DIFFERENT;
    if (print.entries.size() != parcel.entries.size()) {
        d = getDifference("luts", static_cast<long>(common), "",
                          std::to_string(print.entries.size()),
                          std::to_string(parcel.entries.size()));
        if (common < parcel.entries.size()) {
            d.lutName = getLutName(parcel.entries[common].sent.first);
            setSources(parcel.entries[common], &d);
        } else {
            d.lutName = getLutName(print.entries[common].id, print.entries[common].attr);
        }
        return;
    }
    pvx_colormode_parcel_header header;
    memcpy(&header, parcel.bytes.data(), sizeof(header));
    if (print.magic != header.magic) {
        d = getDifference("magic", -1, "", getHex(print.magic), getHex(header.magic));
    } else if (print.headerSize != header.header_size) {
        d = getDifference("header_size", -1, "", std::to_string(print.headerSize),
                          std::to_string(header.header_size));
    } else if (print.totalSize != header.total_size) {
        d = getDifference("total_size", -1, "", std::to_string(print.totalSize),
                          std::to_string(header.total_size));
    } else {
        u->result = ReplayUpdate::IDENTICAL;
    }
}

ReplayUpdate Replayer::update(const ReplayRequest& request) {
    const ReplayLogItem& item = mLog.items[request.item];
    ReplayUpdate u;
    u.line = item.line;
    const HuevaneInspectedParcel parcel = mInspection->update(mEntries);
    if (item.kind == ReplayLogItem::FAILED) {
        compareFailure(item, parcel, &u);
    } else {
        compare(mLog.prints[item.print], parcel, &u);
    }
    if (mLog.createdLine == 0) {
        if (mFirstUpdate) {
            u.caveats.push_back(
                    "the log begins after the engine was created: what it had "
                    "staged before line " +
                    std::to_string(mLog.firstLine) + " is not in the log");
        } else if (u.result == ReplayUpdate::DIFFERENT && !u.difference.stage.empty()) {
            u.caveats.push_back("the matrices the stages held when the log begins are unknown");
        }
    }
    mFirstUpdate = false;
    if (parcel.built) endCycle();
    return u;
}

ReplayEngineRun Replayer::run(const ReplayRequests& requests, long until) {
    ReplayEngineRun out;
    for (const huevane::HuevaneDocumentRecord& document : mInspection->getAccount().documents) {
        if (document.outcome == huevane::HuevaneDocumentRecord::USED &&
            std::find(out.treeDocuments.begin(), out.treeDocuments.end(), document.path) ==
                    out.treeDocuments.end()) {
            out.treeDocuments.push_back(document.path);
        }
    }
    IHuevane& engine = mInspection->getEngine();
    out.treeModes = engine.getColorModes();
    mOpenLines = requests.openLines;
    std::vector<size_t> updateItems;
    for (size_t i = 0; i < mLog.items.size(); i++) {
        const ReplayLogItem::Kind kind = mLog.items[i].kind;
        if (kind == ReplayLogItem::PRINT || kind == ReplayLogItem::FAILED) updateItems.push_back(i);
    }
    for (const ReplayRequest& request : requests.requests) {
        if (until != 0 && request.line > until) return out;
        switch (request.kind) {
            case ReplayRequest::SET_MODE:
                engine.setColorMode(request.mode);
                break;
            case ReplayRequest::SET_MODE_INTENT:
                engine.setColorModeWithRenderIntent(request.mode, request.intent);
                break;
            case ReplayRequest::TRANSFORM:
                engine.setColorTransform(request.transform.data(), 0);
                mTransformLine = request.line;
                break;
            case ReplayRequest::EXTENSION:
                stageExtension(request);
                break;
            case ReplayRequest::UPDATE:
                out.updates.push_back(update(request));
                break;
        }
    }
    // Updates past where the requests could be rebuilt.
    for (size_t n = out.updates.size(); n < updateItems.size(); n++) {
        ReplayUpdate u;
        u.line = mLog.items[updateItems[n]].line;
        u.caveats.push_back("the requests before it could not be rebuilt past line " +
                            std::to_string(requests.stopLine));
        out.updates.push_back(std::move(u));
    }
    for (size_t n = 0; n < out.updates.size(); n++) out.updates[n].number = n + 1;
    return out;
}

}  // namespace

ReplayEngineRun replayEngineLog(const std::string& root, uint32_t display,
                                const ReplayEngineLog& log, const ReplayRequests& requests,
                                int logLevel, long until) {
    LogRoute route(logLevel >= 0);
    Replayer replayer(root, display, log, logLevel);
    return replayer.run(requests, until);
}
