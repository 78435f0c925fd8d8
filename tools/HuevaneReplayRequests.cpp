#include "HuevaneReplayRequests.h"

#include <algorithm>
#include <utility>

#include "HuevaneDataLut.h"
#include "HuevaneNodeTable.h"

namespace {

// Steps spent reading one cycle at most: the first reading that fits comes after a few steps
// per dump line on any log a device writes; the rest only tell whether others fit too.
constexpr size_t READING_STEPS = 20000;
// Readings of one cycle that stage different LUTs, kept at most.
constexpr size_t READINGS_KEPT = 8;

bool isTransformLine(const ReplayDumpLine& dump) {
    huevane::mat4 transform;
    return dump.id == huevane::PVX_NODE_GAMMA_MATRIX && dump.attr[0] == PVX_ATTR_NONE &&
           dump.attr[1] == PVX_ATTR_NONE && dump.attr[2] == PVX_ATTR_NONE &&
           dump.attr[3] == PVX_ATTR_NONE && !dump.cut &&
           getTransformFromText(dump.text, &transform);
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

// A piece of one cycle: a trace, the dump lines between two other lines, or an update.
struct Segment {
    enum Kind { TRACE, DUMPS, UPDATE };
    Kind kind = TRACE;
    size_t item = 0;  // TRACE, UPDATE
    std::vector<ReplayDumpLine> run;
    int warned = -1;  // DUMPS: the count of the transform source's warning right before
};

struct Reading {
    std::vector<ReplayRequest> requests;
    std::string key;  // what was staged at each update: equal keys build equal parcels
    std::vector<long> transformLines;
};

// Walks the readings of one cycle's dumps, depth first, the likelier choice first: a line that
// reads as a new transform is one, and an extension call adds as few LUTs as fit.
class CycleReader {
  public:
    CycleReader(const ReplayEngineLog& engine, const std::vector<Segment>& segments, bool firstCycle)
        : mEngine(engine), mSegments(segments), mFirstCycle(firstCycle) {}
    void read();
    const std::vector<Reading>& getReadings() const { return mReadings; }
    long getDeadLine() const { return mDeadLine; }
    const std::string& getDeadReason() const { return mDeadReason; }

  private:
    // What a branch adds, to take back when it returns.
    struct Mark {
        size_t transforms;
        size_t extensions;
        size_t requests;
        size_t key;
        size_t transformLines;
    };
    Mark getMark() const {
        return {mTransforms.size(), mExtensions.size(), mRequests.size(), mKey.size(),
                mTransformLines.size()};
    }
    void undo(const Mark& mark);
    void walk(size_t segment, size_t pos);
    void walkRun(size_t segment, size_t pos);
    void walkWarned(size_t segment);
    void walkExtension(size_t segment, size_t pos);
    void takeTransform(const ReplayDumpLine& dump, bool beforeLog);
    void deadEnd(long line, const std::string& reason);
    void addReading();
    void addStagedKey();

    const ReplayEngineLog& mEngine;
    const std::vector<Segment>& mSegments;
    // An engine whose creation the log does not show may hold transforms staged before it.
    bool mFirstCycle;
    std::vector<ReplayDumpLine> mTransforms;  // what each caller source holds staged
    std::vector<ReplayDumpLine> mExtensions;
    std::vector<ReplayRequest> mRequests;
    std::string mKey;
    std::vector<long> mTransformLines;
    size_t mSteps = 0;
    std::vector<Reading> mReadings;
    long mDeadLine = 0;
    std::string mDeadReason;
};

void CycleReader::read() {
    walk(0, 0);
    if (mReadings.empty() && mSteps > READING_STEPS) {
        deadEnd(mDeadLine + 1, "these dumps read too many ways to follow them");
    }
}

void CycleReader::undo(const Mark& mark) {
    mTransforms.resize(mark.transforms);
    mExtensions.resize(mark.extensions);
    mRequests.resize(mark.requests);
    mKey.resize(mark.key);
    mTransformLines.resize(mark.transformLines);
}

// The furthest any reading came is where the log stops making sense.
void CycleReader::deadEnd(long line, const std::string& reason) {
    if (line <= mDeadLine) return;
    mDeadLine = line;
    mDeadReason = reason;
}

void CycleReader::addStagedKey() {
    mKey += "T";
    for (const ReplayDumpLine& lut : mTransforms) mKey += "\x1f" + lut.text;
    mKey += "\x1e"
            "E";
    for (const ReplayDumpLine& lut : mExtensions) {
        mKey += "\x1f" + std::to_string(lut.id);
        for (uint8_t attr : lut.attr) mKey += "/" + std::to_string(attr);
        mKey += ":" + lut.text;
    }
    mKey += "\x1d";
}

void CycleReader::addReading() {
    for (const Reading& reading : mReadings) {
        if (reading.key == mKey) return;
    }
    mReadings.push_back({mRequests, mKey, mTransformLines});
}

void CycleReader::takeTransform(const ReplayDumpLine& dump, bool beforeLog) {
    ReplayRequest request;
    request.kind = ReplayRequest::TRANSFORM;
    request.line = dump.line;
    request.beforeLog = beforeLog;
    getTransformFromText(dump.text, &request.transform);
    mRequests.push_back(std::move(request));
    mTransforms.push_back(dump);
    mTransformLines.push_back(dump.line);
}

void CycleReader::walk(size_t segment, size_t pos) {
    if (mReadings.size() >= READINGS_KEPT || ++mSteps > READING_STEPS) return;
    if (segment == mSegments.size()) {
        addReading();
        return;
    }
    const Segment& s = mSegments[segment];
    if (s.kind == Segment::DUMPS) {
        walkRun(segment, pos);
        return;
    }
    const Mark mark = getMark();
    const ReplayLogItem& item = mEngine.items[s.item];
    ReplayRequest request;
    request.line = item.line;
    request.item = s.item;
    if (s.kind == Segment::UPDATE) {
        request.kind = ReplayRequest::UPDATE;
        addStagedKey();
    } else {
        request.kind = item.kind == ReplayLogItem::SET_MODE ? ReplayRequest::SET_MODE
                                                            : ReplayRequest::SET_MODE_INTENT;
        request.mode = item.mode;
        request.intent = item.intent;
    }
    mRequests.push_back(std::move(request));
    walk(segment + 1, 0);
    undo(mark);
}

void CycleReader::walkRun(size_t segment, size_t pos) {
    if (mReadings.size() >= READINGS_KEPT || ++mSteps > READING_STEPS) return;
    const Segment& s = mSegments[segment];
    const std::vector<ReplayDumpLine>& run = s.run;
    if (pos == run.size()) {
        walk(segment + 1, 0);
        return;
    }
    if (pos == 0 && s.warned >= 0) {
        walkWarned(segment);
        return;
    }
    // Without a warning the transform source held nothing before.
    const bool transform = mTransforms.empty() && isTransformLine(run[pos]);
    if (transform) {
        const Mark mark = getMark();
        takeTransform(run[pos], false);
        walkRun(segment, pos + 1);
        undo(mark);
    }
    if (startsWith(run, pos, mExtensions)) {
        walkExtension(segment, pos);
    } else if (!transform) {
        deadEnd(run[pos].line,
                "this dump neither repeats the extension LUTs staged since the last update nor "
                "reads as a new colour transform: lines were lost");
    }
}

// The transform source warns with the count it held before it dumps them all again behind the
// new one.
void CycleReader::walkWarned(size_t segment) {
    const std::vector<ReplayDumpLine>& run = mSegments[segment].run;
    const size_t held = static_cast<size_t>(mSegments[segment].warned);
    const Mark mark = getMark();
    if (held != mTransforms.size()) {
        if (!mFirstCycle || !mTransforms.empty() || held >= run.size()) {
            deadEnd(run[0].line, "the transform source held " + std::to_string(held) +
                                         " colour transforms, the log shows " +
                                         std::to_string(mTransforms.size()) +
                                         " since the last update: lines were lost");
            return;
        }
        for (size_t i = 0; i < held && isTransformLine(run[i]); i++) takeTransform(run[i], true);
    }
    if (!startsWith(run, 0, mTransforms) || held >= run.size() || !isTransformLine(run[held])) {
        deadEnd(run[0].line,
                "this dump does not show the colour transforms staged since the last update "
                "followed by a new one: lines were lost");
    } else {
        takeTransform(run[held], false);
        walkRun(segment, held + 1);
    }
    undo(mark);
}

// An extension call's dump at run[pos]: the LUTs staged before, then the call's own.
void CycleReader::walkExtension(size_t segment, size_t pos) {
    const std::vector<ReplayDumpLine>& run = mSegments[segment].run;
    const size_t base = pos + mExtensions.size();
    for (size_t end = base + 1; end <= run.size(); end++) {
        const Mark mark = getMark();
        ReplayRequest request;
        request.kind = ReplayRequest::EXTENSION;
        request.line = run[base].line;
        for (size_t i = base; i < end; i++) {
            ReplayExtensionLut lut{run[i].line, run[i].id, {}, run[i].text};
            std::copy(run[i].attr, run[i].attr + 4, lut.attr);
            request.luts.push_back(std::move(lut));
            mExtensions.push_back(run[i]);
        }
        mRequests.push_back(std::move(request));
        walkRun(segment, end);
        undo(mark);
    }
    // A call that adds nothing (attribute entries alone) dumps what was staged again.
    if (!mExtensions.empty()) walkRun(segment, base);
}

// The dump lines no reading can use: a node no source stages, or a text liblog cut.
bool checkDump(const ReplayDumpLine& dump, ReplayRequests* out) {
    if (huevane::getNodeName(dump.id) == nullptr) {
        out->stopLine = dump.line;
        out->stopReason = "a dump of a LUT for node id " + std::to_string(dump.id) +
                          ", which no source stages: garbled";
        return false;
    }
    if (dump.cut) {
        out->stopLine = dump.line;
        out->stopReason = "liblog cut this dump at " + std::to_string(HUEVANE_LOG_MESSAGE_MAX) +
                          " bytes: the LUT's text cannot be rebuilt";
        return false;
    }
    return true;
}

// The segments of the cycle that begins at items[begin], up to and with the parcel that ends
// it; returns where the next begins, or SIZE_MAX when a dump line cannot be used.
size_t getCycle(const ReplayEngineLog& engine, size_t begin, std::vector<Segment>* segments,
                ReplayRequests* out) {
    const std::vector<ReplayLogItem>& items = engine.items;
    int warned = -1;
    for (size_t i = begin; i < items.size(); i++) {
        const ReplayLogItem& item = items[i];
        Segment segment;
        segment.item = i;
        if (item.kind == ReplayLogItem::DUMP) {
            segment.kind = Segment::DUMPS;
            segment.warned = warned;
            for (; i < items.size() && items[i].kind == ReplayLogItem::DUMP; i++) {
                if (!checkDump(items[i].dump, out)) return SIZE_MAX;
                segment.run.push_back(items[i].dump);
            }
            i--;
        } else if (item.kind == ReplayLogItem::PRINT || item.kind == ReplayLogItem::FAILED) {
            segment.kind = Segment::UPDATE;
        } else if (item.kind != ReplayLogItem::SET_MODE &&
                   item.kind != ReplayLogItem::SET_MODE_INTENT) {
            // A warning right before a dump is the transform source's; any other a stage's.
            warned = item.kind == ReplayLogItem::PREVIOUS_LUT ? item.count : -1;
            continue;
        }
        warned = -1;
        segments->push_back(std::move(segment));
        if (item.kind == ReplayLogItem::PRINT) return i + 1;
    }
    return items.size();
}

// Dump lines that one reading takes as a transform and another as an extension LUT.
void addOpenLines(const std::vector<Reading>& readings, std::set<long>* lines) {
    std::set<long> some;
    for (const Reading& reading : readings)
        some.insert(reading.transformLines.begin(), reading.transformLines.end());
    for (long line : some) {
        for (const Reading& reading : readings) {
            if (std::find(reading.transformLines.begin(), reading.transformLines.end(), line) ==
                reading.transformLines.end()) {
                lines->insert(line);
                break;
            }
        }
    }
}

}  // namespace

ReplayRequests rebuildReplayRequests(const ReplayEngineLog& engine,
                                     const std::vector<size_t>& readings) {
    ReplayRequests out;
    bool firstCycle = engine.createdLine == 0;
    for (size_t begin = 0; begin < engine.items.size();) {
        std::vector<Segment> segments;
        begin = getCycle(engine, begin, &segments, &out);
        if (begin == SIZE_MAX) break;
        CycleReader reader(engine, segments, firstCycle);
        reader.read();
        const std::vector<Reading>& found = reader.getReadings();
        if (found.empty()) {
            out.stopLine = reader.getDeadLine();
            out.stopReason = reader.getDeadReason();
            break;
        }
        size_t pick = 0;
        if (found.size() > 1) {
            long firstLine = 0;
            for (const Segment& segment : segments) {
                if (segment.kind == Segment::DUMPS && firstLine == 0) {
                    firstLine = segment.run[0].line;
                }
            }
            const size_t index = out.open.size();
            if (index < readings.size()) pick = std::min(readings[index], found.size() - 1);
            out.open.push_back({firstLine, found.size()});
            addOpenLines(found, &out.openLines);
        }
        out.requests.insert(out.requests.end(), found[pick].requests.begin(),
                            found[pick].requests.end());
        firstCycle = false;
    }
    return out;
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
