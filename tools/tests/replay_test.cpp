// huevane-tool replay on logs the library writes itself: sessions are driven through IHuevane on
// the sample device at log level 3, their lines heard through the log sink (and liblog's stderr
// writer for the host form) and written out in every form logcat prints by liblog's own
// formatter. What the tool must say about them is checked against the sessions.
#include <android/log.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <log/logprint.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <random>
#include <sstream>
#include <thread>

#include "HuevaneDeviceTree.h"
#include "HuevaneInspection.h"
#include "HuevaneLogSink.h"
#include "HuevaneMatrixText.h"
#include "HuevaneTool.h"

namespace {

const std::string SOURCE = HUEVANE_SOURCE_DIR;
const std::string DEVICE = SOURCE + "/examples/device";
const std::string PANEL = "/vendor/etc/pvx/calib_data_colormode0_demo_panel.xml";

// ---- sessions: what a compositor asks of its engines ----

struct Step {
    enum Kind { LEVEL, MODE, MODE_INTENT, TRANSFORM, EXTENSION, UPDATE, MODES };
    Kind kind = UPDATE;
    uint32_t a = 0;
    uint32_t b = 0;
    std::vector<float> matrix;
    std::vector<std::pair<uint32_t, std::string>> extensions;  // id 0: attribute entry
};

// One engine of a session: its display, the process it claims to be, its requests.
struct EngineScript {
    uint32_t display = 0;
    int pid = 0;  // 0: this process
    std::vector<Step> steps;
};

void drive(IHuevane& engine, const std::vector<Step>& steps) {
    for (const Step& step : steps) {
        switch (step.kind) {
            case Step::LEVEL:
                engine.setLogLevel(static_cast<int32_t>(step.a));
                break;
            case Step::MODE:
                engine.setColorMode(step.a);
                break;
            case Step::MODE_INTENT:
                engine.setColorModeWithRenderIntent(step.a, step.b);
                break;
            case Step::TRANSFORM:
                engine.setColorTransform(step.matrix.data(), 0);
                break;
            case Step::EXTENSION: {
                std::vector<HuevaneExtension> entries;
                for (const auto& e : step.extensions) {
                    entries.push_back(
                            {e.first, e.second.c_str(), static_cast<uint32_t>(e.second.size())});
                }
                engine.setColorExtension(entries);
                break;
            }
            case Step::UPDATE: {
                std::vector<uint8_t> buffer(engine.getColorCoefSize());
                engine.updateColorCoef(buffer.data());
                break;
            }
            case Step::MODES:
                engine.getColorModes();
                break;
        }
    }
}

// ---- hearing the library ----

struct Record {
    int priority;
    std::string message;
    int pid;
    int tid;
    long long nanos;
};

std::mutex gMutex;
std::vector<Record> gRecords;
int gPid = 0;
long long gClock = 0;

bool hear(const HuevaneLogRecord& record) {
    std::lock_guard<std::mutex> lock(gMutex);
    gRecords.push_back({record.priority, record.message, gPid != 0 ? gPid : getpid(),
                        static_cast<int>(syscall(SYS_gettid)), gClock});
    gClock += 400000;  // several lines share a millisecond, as on a device
    return true;       // liblog's stderr writer prints the host form
}

// A session's lines, heard and printed by liblog's stderr writer at once.
struct Capture {
    std::vector<Record> records;
    std::string host;
};

// CTest runs the tests of this file as processes side by side: each keeps to its own files.
std::string getScratchPath(const std::string& name) {
    return ::testing::TempDir() + "huevane_replay_" + std::to_string(getpid()) + "_" + name;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Each engine on a thread of its own, taking turns step by step so that their lines interleave.
void driveInTurns(const std::string& root, const std::vector<EngineScript>& engines) {
    std::mutex mutex;
    std::condition_variable turned;
    size_t turn = 0;
    std::vector<size_t> left;
    left.reserve(engines.size());
    for (const EngineScript& script : engines) left.push_back(script.steps.size());
    auto run = [&](size_t me) {
        std::unique_lock<std::mutex> lock(mutex);
        auto inspection = huevane::HuevaneInspection::openDisplay(root, engines[me].display);
        for (const Step& step : engines[me].steps) {
            turned.wait(lock, [&] { return turn == me; });
            drive(inspection->getEngine(), {step});
            left[me]--;
            do {
                turn = (turn + 1) % engines.size();
            } while (left[turn] == 0 &&
                     std::any_of(left.begin(), left.end(), [](size_t n) { return n > 0; }));
            turned.notify_all();
        }
    };
    std::vector<std::thread> threads;
    for (size_t i = 0; i < engines.size(); i++) threads.emplace_back(run, i);
    for (std::thread& thread : threads) thread.join();
}

// Engines run one after another, or on threads whose lines interleave.
Capture capture(const std::string& root, const std::vector<EngineScript>& engines,
                bool threads = false) {
    gRecords.clear();
    gClock = 0;
    const std::string stderrPath = getScratchPath("stderr");
    fflush(stderr);
    const int saved = dup(2);
    const int file = open(stderrPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(file, 2);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    setHuevaneLogSink(hear);
    auto run = [&root](const EngineScript& script) {
        gPid = script.pid;
        auto inspection = huevane::HuevaneInspection::openDisplay(root, script.display);
        drive(inspection->getEngine(), script.steps);
    };
    if (threads) {
        driveInTurns(root, engines);
    } else {
        for (const EngineScript& script : engines) run(script);
    }
    setHuevaneLogSink(nullptr);
    gPid = 0;
    fflush(stderr);
    dup2(saved, 2);
    close(saved);
    close(file);
    return {gRecords, readFile(stderrPath)};
}

// As the stderr writer of liblog 34 (Debian 13) prints a session, whichever liblog this test
// runs on: threadtime's prefix on a message's first line, its further lines bare.
std::string getStderr34Log(const Capture& capture) {
    std::string text;
    for (const Record& r : capture.records) {
        char line[64];
        const long long ms = r.nanos / 1000000;
        snprintf(line, sizeof(line),
                 "11-24 10:%02lld:%02lld.%03lld %5d %5d %c %-8s: ", ms / 60000 % 60, ms / 1000 % 60,
                 ms % 1000, r.pid, r.tid, "XXVDIWEF"[r.priority], "libhuevane");
        text += line + r.message + "\n";
    }
    return text;
}

// The capture as `adb logcat -v FORM` prints it ("host": as liblog's stderr writer did), with
// other processes' lines between the library's.
std::string getLog(const Capture& capture, const std::string& form) {
    if (form == "host") return capture.host;
    if (form == "stderr34") return getStderr34Log(capture);
    AndroidLogFormat* format = android_log_format_new();
    std::stringstream words(form);
    bool crlf = false;  // a capture made on Windows
    for (std::string word; std::getline(words, word, ',');) {
        crlf |= word == "crlf";
        if (word != "crlf") {
            android_log_setPrintFormat(format, android_log_formatFromString(word.c_str()));
        }
    }
    std::string text = "--------- beginning of main\n";
    auto print = [&](int priority, const char* tag, const std::string& message, int pid, int tid,
                     long long nanos) {
        AndroidLogEntry entry{};
        entry.tv_sec = 1700000000 + nanos / 1000000000;
        entry.tv_nsec = static_cast<long>(nanos % 1000000000);
        entry.priority = static_cast<android_LogPriority>(priority);
        entry.uid = 1000;
        entry.pid = pid;
        entry.tid = tid;
        entry.tag = tag;
        entry.tagLen = strlen(tag);
        entry.message = message.c_str();
        entry.messageLen = message.size();
        char buffer[1024];
        size_t length = 0;
        char* line = android_log_formatLogLine(format, buffer, sizeof(buffer), &entry, &length);
        text.append(line, length);
        if (line != buffer) free(line);
    };
    for (size_t i = 0; i < capture.records.size(); i++) {
        const Record& r = capture.records[i];
        if (i % 7 == 3) print(ANDROID_LOG_INFO, "SurfaceFlinger", "frame", 77, 78, r.nanos);
        print(r.priority, "libhuevane", r.message, r.pid, r.tid, r.nanos);
    }
    android_log_format_free(format);
    if (!crlf) return text;
    std::string windows;
    for (char c : text) windows += c == '\n' ? "\r\n" : std::string(1, c);
    return windows;
}

// ---- running the tool ----

struct ToolRun {
    int status;
    std::string out;
    std::string err;
};

std::string writeLog(const std::string& text) {
    std::string path = getScratchPath("replay.log");
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

ToolRun replay(const std::string& text, const std::string& root,
               std::vector<std::string> more = {}) {
    const std::string path = writeLog(text);
    std::vector<std::string> args = {"--root", root, "replay", path};
    args.insert(args.end(), more.begin(), more.end());
    std::ostringstream out;
    std::ostringstream err;
    const int status = runHuevaneTool(args, out, err);
    return {status, out.str(), err.str()};
}

size_t countOf(const std::string& text, const std::string& piece) {
    size_t count = 0;
    for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) {
        count++;
    }
    return count;
}

const std::vector<std::string> FORMS = {"host",
                                        "stderr34",
                                        "threadtime",
                                        "time",
                                        "brief",
                                        "long",
                                        "threadtime,year,usec,uid",
                                        "time,epoch,nsec",
                                        "long,color",
                                        "threadtime,color,crlf"};

// ---- steps ----

Step level(uint32_t value) {
    Step s;
    s.kind = Step::LEVEL;
    s.a = value;
    return s;
}

Step mode(uint32_t m, int intent = -1) {
    Step s;
    s.kind = intent < 0 ? Step::MODE : Step::MODE_INTENT;
    s.a = m;
    s.b = intent < 0 ? 0 : static_cast<uint32_t>(intent);
    return s;
}

Step transform(std::vector<float> matrix) {
    Step s;
    s.kind = Step::TRANSFORM;
    s.matrix = std::move(matrix);
    return s;
}

Step extension(std::vector<std::pair<uint32_t, std::string>> entries) {
    Step s;
    s.kind = Step::EXTENSION;
    s.extensions = std::move(entries);
    return s;
}

Step update() {
    return Step();
}

const std::vector<float> WARM = {1, 0, 0, 0, 0, 0.93f, 0, 0, 0, 0, 0.82f, 0, 0, 0, 0, 1};
const std::vector<float> DIM = {0.5f, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 0.5f, 0, 0.1f, 0.1f, 0.1f, 1};

// A compositor's random session, seeded: modes (some not offered), transforms (NaN and
// saturating values among them), extension lists with attribute entries and texts that span
// lines, gamma_matrix LUTs without attributes that read like a transform, updates.
std::vector<Step> getRandomSteps(unsigned seed) {
    std::mt19937 rng(seed);
    auto pick = [&rng](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    std::uniform_real_distribution<float> value(-2.0f, 2.0f);
    std::vector<Step> steps = {level(3)};
    for (int i = 0; i < 28; i++) {
        const int what = pick(20);
        if (what < 5) {
            steps.push_back(mode(pick(5), pick(2) == 0 ? -1 : pick(3)));
        } else if (what < 9) {
            std::vector<float> m(16);
            for (float& v : m) v = value(rng);
            if (pick(4) == 0) m[pick(16)] = NAN;
            if (pick(4) == 0) m[pick(16)] = -40000.0f;
            steps.push_back(transform(m));
        } else if (what < 14) {
            std::vector<std::pair<uint32_t, std::string>> entries;
            for (int e = pick(4); e >= 0; e--) {
                const uint32_t id = static_cast<uint32_t>(pick(15));
                std::string text;
                if (id == 0) {
                    for (int k = pick(5); k >= 0; k--) text += std::to_string(pick(300) - 5) + "  ";
                } else if ((id == 6 || id == 11) && pick(2) == 0) {
                    float m[16];
                    for (float& v : m) v = value(rng);
                    text = huevane::getMatrixTextFromFloats(m, 16);
                } else {
                    for (int k = pick(8); k >= 0; k--) {
                        text += std::to_string(pick(1000)) + (pick(5) == 0 ? ",\n  " : ",");
                    }
                }
                entries.push_back({id, text});
            }
            steps.push_back(extension(entries));
        } else if (what < 19) {
            steps.push_back(update());
        } else {
            Step modes;
            modes.kind = Step::MODES;
            steps.push_back(modes);
        }
    }
    steps.push_back(update());
    return steps;
}

size_t countUpdates(const std::vector<Step>& steps) {
    size_t count = 0;
    for (const Step& step : steps) count += step.kind == Step::UPDATE;
    return count;
}

// ---- identical replays ----

class EveryForm : public ::testing::TestWithParam<std::string> {};

TEST_P(EveryForm, RandomSessionsReplayIdentical) {
    for (unsigned seed = 1; seed <= 100; seed++) {
        const std::vector<Step> steps = getRandomSteps(seed);
        const Capture heard = capture(DEVICE, {{0, 0, steps}});
        const ToolRun run = replay(getLog(heard, GetParam()), DEVICE);
        const size_t n = countUpdates(steps);
        const std::string all = std::to_string(n) + (n == 1 ? " update: " : " updates: ") +
                                std::to_string(n) + " identical";
        EXPECT_EQ(run.status, 0) << "seed " << seed << "\n" << run.out << run.err;
        EXPECT_NE(run.out.find(all), std::string::npos) << "seed " << seed << "\n" << run.out;
    }
}

INSTANTIATE_TEST_SUITE_P(Replay, EveryForm, ::testing::ValuesIn(FORMS),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             std::string name = info.param;
                             for (char& c : name) c = c == ',' ? '_' : c;
                             return name;
                         });

// Two displays driven by two threads of one process, their lines interleaved step by step: the
// forms that print thread ids tell them apart.
TEST(Replay, RandomSessionsOfTwoEnginesReplayIdentical) {
    for (unsigned seed = 1; seed <= 12; seed++) {
        const std::vector<EngineScript> engines = {{0, 0, getRandomSteps(seed)},
                                                   {1, 0, getRandomSteps(seed + 5000)}};
        const Capture heard = capture(DEVICE, engines, true);
        const size_t n = countUpdates(engines[0].steps) + countUpdates(engines[1].steps);
        for (const char* form : {"host", "threadtime", "long"}) {
            const ToolRun run = replay(getLog(heard, form), DEVICE);
            EXPECT_EQ(run.status, 0) << "seed " << seed << " " << form << "\n"
                                     << run.out << run.err;
            EXPECT_NE(run.out.find(std::to_string(n) + " updates: " + std::to_string(n) +
                                   " identical"),
                      std::string::npos)
                    << "seed " << seed << " " << form << "\n"
                    << run.out;
        }
    }
}

// A gamma_matrix extension LUT without attributes, dumped beside a transform, reads either way;
// the products tell which source held which.
TEST(Replay, ReadsTransformAndExtensionMatricesAsTheDeviceDid) {
    const std::string lookalike = huevane::getMatrixTextFromFloats(DIM.data(), 16);
    const std::vector<Step> steps = {level(3),
                                     mode(1, 0),
                                     extension({{6, lookalike}}),
                                     transform(WARM),
                                     update(),
                                     transform(DIM),
                                     extension({{6, lookalike}, {6, lookalike}}),
                                     update()};
    const Capture heard = capture(DEVICE, {{0, 0, steps}});
    for (const char* form : {"host", "brief"}) {
        const ToolRun run = replay(getLog(heard, form), DEVICE);
        EXPECT_EQ(run.status, 0) << form << "\n" << run.out << run.err;
        EXPECT_NE(run.out.find("2 updates: 2 identical"), std::string::npos) << run.out;
    }
}

// ---- engines told apart ----

struct EnginesCase {
    const char* name;
    std::vector<EngineScript> engines;
    bool threads;
    std::string form;
    std::vector<std::string> more;
    int status;
    std::vector<std::string> out;  // each must appear
    std::string err;
};

void PrintTo(const EnginesCase& c, std::ostream* out) {
    *out << c.name;
}

class Engines : public ::testing::TestWithParam<EnginesCase> {};

TEST_P(Engines, AreToldApartOrTheToolSaysWhy) {
    const EnginesCase& c = GetParam();
    const ToolRun run =
            replay(getLog(capture(DEVICE, c.engines, c.threads), c.form), DEVICE, c.more);
    EXPECT_EQ(run.status, c.status) << run.out << run.err;
    for (const std::string& piece : c.out)
        EXPECT_NE(run.out.find(piece), std::string::npos) << run.out;
    EXPECT_NE(run.err.find(c.err), std::string::npos) << run.err;
}

const std::vector<Step> CYCLES = {level(3), mode(1, 0), transform(WARM),
                                  update(), mode(2),    extension({{0, "1 2"}, {8, "1,2,3"}}),
                                  update()};
const std::vector<Step> OTHER_CYCLES = {level(3), mode(1), transform(DIM), update(), update()};

INSTANTIATE_TEST_SUITE_P(
        Replay, Engines,
        ::testing::Values(
                EnginesCase{"threads_host",
                            {{0, 0, CYCLES}, {1, 0, OTHER_CYCLES}},
                            true,
                            "host",
                            {},
                            0,
                            {"display 0, process", "display 1, process", "4 updates: 4 identical"},
                            ""},
                EnginesCase{"threads_threadtime",
                            {{0, 0, CYCLES}, {1, 0, OTHER_CYCLES}},
                            true,
                            "threadtime",
                            {},
                            0,
                            {"4 updates: 4 identical"},
                            ""},
                // brief prints no thread: the lines of one process cannot be told apart.
                EnginesCase{"threads_brief",
                            {{0, 0, CYCLES}, {1, 0, OTHER_CYCLES}},
                            true,
                            "brief",
                            {},
                            2,
                            {},
                            "choose the display with --display"},
                EnginesCase{"processes_time",
                            {{0, 4100, CYCLES}, {1, 4200, OTHER_CYCLES}},
                            false,
                            "time",
                            {},
                            0,
                            {"display 1, process 4200, created at line", "4 updates: 4 identical"},
                            ""},
                EnginesCase{"only_display_1",
                            {{0, 4100, CYCLES}, {1, 4200, OTHER_CYCLES}},
                            false,
                            "long",
                            {"--display", "1"},
                            0,
                            {"2 updates: 2 identical"},
                            ""},
                // The compositor made the engine of display 0 anew: its counts start again.
                EnginesCase{
                        "second_init",
                        {{0, 0, CYCLES}, {0, 0, CYCLES}},
                        false,
                        "threadtime",
                        {},
                        0,
                        {"engine 2    display 0", "update 1    line 1", "4 updates: 4 identical"},
                        ""}));

// ---- a calibration changed after the capture ----

struct Planted {
    const char* name;
    long fileLine;  // where the value is changed ...
    std::string from;
    std::string to;
    std::string expect;  // ... and the update's line up to the document's name
    long nodeLine;       // the LUT node the tool must name
};

void PrintTo(const Planted& c, std::ostream* out) {
    *out << c.name;
}

class PlantedChange : public ::testing::TestWithParam<Planted> {};

TEST_P(PlantedChange, IsFoundAtItsUpdateAndLut) {
    const Planted& c = GetParam();
    DeviceTree tree;
    const std::string files[] = {PANEL, "/vendor/etc/pvx/calib_data_colormode0_demo_panel_hdr.xml",
                                 "/sys/class/pvx/pvx/xml"};
    for (const std::string& file : files) tree.writeFile(file, readFile(DEVICE + file));
    const std::vector<Step> steps = {level(3),        mode(2, 1), update(), mode(1, 0),
                                     transform(WARM), update(),   mode(0),  update()};
    const std::string log = getLog(capture(tree.root(), {{0, 0, steps}}), "threadtime");

    std::string panel = readFile(tree.hostPath(PANEL));
    std::istringstream lines(panel);
    std::string rewritten;
    long number = 0;
    for (std::string line; std::getline(lines, line);) {
        if (++number == c.fileLine) {
            ASSERT_NE(line.find(c.from), std::string::npos) << line;
            line.replace(line.find(c.from), c.from.size(), c.to);
        }
        rewritten += line + "\n";
    }
    tree.writeFile(PANEL, rewritten);
    const ToolRun run = replay(log, tree.root());
    EXPECT_EQ(run.status, 1) << run.out << run.err;
    EXPECT_EQ(countOf(run.out, "DIFFERS"), 1u) << run.out;
    EXPECT_NE(run.out.find(c.expect + tree.hostPath(PANEL) + ":" + std::to_string(c.nodeLine)),
              std::string::npos)
            << run.out;
}

INSTANTIATE_TEST_SUITE_P(
        Replay, PlantedChange,
        ::testing::Values(
                // A value in mode 1's gamma, within what the print carries.
                Planted{"gamma_value", 74, "1128,", "1129,",
                        "update 2    line 118, seq_num 1: DIFFERS: LUT 1 gamma (node 5) attr "
                        "1,0,255,255: text at byte 73: device \"...057,1093,1128,\\n        "
                        "1...\", rebuilt \"...057,1093,1129,\\n        1...\"; rebuilt from "
                        "colour mode ",
                        73},
                // A value of mode 1's degamma past byte 1023, where the print stops.
                Planted{"degamma_past_the_cut", 63, "4060", "4061",
                        "update 2    line 118, seq_num 1: DIFFERS: LUT 0 degamma (node 4) attr "
                        "1,0,255,255: crc 0xFFCA on the device, 0xFF5D rebuilt (the texts differ "
                        "past byte 1023, where the print stops); rebuilt from colour mode ",
                        47},
                // Mode 1's matrix, which the stage multiplies with the transform.
                Planted{"matrix_factor", 69, "62445", "62446",
                        "update 2    line 118, seq_num 1: DIFFERS: LUT 2 gamma_matrix (node 6) "
                        "attr 0,255,255,255: text at byte 30: device \"...0,12301,62445,5179,0,"
                        "112...\", rebuilt \"...0,12301,62446,5179,0,112...\"; rebuilt by the "
                        "gamma_matrix stage from colour mode ",
                        66}));

// ---- logs that cannot be used ----

const std::vector<Step> SHORT = {level(3),
                                 mode(1, 0),
                                 transform(WARM),
                                 transform(DIM),
                                 extension({{0, "7 8"}, {8, "1,2,3"}}),
                                 update(),
                                 mode(2, 0),
                                 update()};

// The log's lines, to cut and splice.
std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

std::string joinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

// 0-based index of the first line holding `piece`.
size_t findLine(const std::vector<std::string>& lines, const std::string& piece, size_t from = 0) {
    for (size_t i = from; i < lines.size(); i++) {
        if (lines[i].find(piece) != std::string::npos) return i;
    }
    ADD_FAILURE() << "no line holds " << piece;
    return 0;
}

struct Unusable {
    const char* name;
    std::vector<Step> steps;
    // Spoils the log's lines; returns the 1-based line the tool must name (0: none).
    long (*spoil)(std::vector<std::string>& lines);
    std::string err;
    bool endsInsideLine = false;  // no line break after the last line
};

void PrintTo(const Unusable& c, std::ostream* out) {
    *out << c.name;
}

class UnusableLog : public ::testing::TestWithParam<Unusable> {};

TEST_P(UnusableLog, ExitsTwoWithTheReasonAndLine) {
    const Unusable& c = GetParam();
    std::vector<std::string> lines =
            splitLines(getLog(capture(DEVICE, {{0, 0, c.steps}}), "threadtime"));
    const long line = c.spoil(lines);
    std::string text = joinLines(lines);
    if (c.endsInsideLine) text.pop_back();
    const ToolRun run = replay(text, DEVICE);
    EXPECT_EQ(run.status, 2) << run.out << run.err;
    EXPECT_NE(run.err.find("replay.log" + (line > 0 ? ":" + std::to_string(line) : "") +
                           ": error: " + c.err),
              std::string::npos)
            << run.err;
}

INSTANTIATE_TEST_SUITE_P(Replay, UnusableLog,
                         ::testing::Values(Unusable{"no_library_lines", SHORT,
                                                    [](std::vector<std::string>& lines) {
                                                        lines = {"--------- beginning of main",
                                                                 "11-14 22:13:20.000  77  78 I "
                                                                 "SurfaceFlinger: frame"};
                                                        return 0L;
                                                    },
                                                    "no line of tag libhuevane among its 2 lines "
                                                    "(threadtime)"},
                                           Unusable{"not_a_log", SHORT,
                                                    [](std::vector<std::string>& lines) {
                                                        lines = {"hello", "world"};
                                                        return 0L;
                                                    },
                                                    "no line is in a form replay reads"},
                                           Unusable{"level_1",
                                                    {level(1), mode(1, 0), update()},
                                                    [](std::vector<std::string>& lines) {
                                                        return static_cast<long>(
                                                                findLine(lines, "libhuevane") + 1);
                                                    },
                                                    "the library's lines show no request: the "
                                                    "engine's log level was below 2"},
                                           Unusable{
                                                   "level_2",
                                                   {level(2), mode(1, 0), update()},
                                                   [](std::vector<std::string>& lines) {
                                                       return static_cast<long>(
                                                               findLine(lines, "intent(0)") + 1);
                                                   },
                                                   "no parcel print: the engine's log level was 2"},
                                           Unusable{"ends_inside_a_print", SHORT,
                                                    [](std::vector<std::string>& lines) {
                                                        const size_t print =
                                                                findLine(lines, "printParcel");
                                                        lines.resize(
                                                                findLine(lines, "attr2(", print));
                                                        return static_cast<long>(print + 1);
                                                    },
                                                    "the log ends inside the parcel print that "
                                                    "begins here"},
                                           Unusable{"ends_inside_a_line", SHORT,
                                                    [](std::vector<std::string>& lines) {
                                                        const size_t print =
                                                                findLine(lines, "printParcel");
                                                        lines.resize(
                                                                findLine(lines, "[data0]", print) +
                                                                2);
                                                        lines.back().resize(lines.back().size() / 2);
                                                        return static_cast<long>(print + 1);
                                                    },
                                                    "the log ends inside the parcel print that "
                                                    "begins here",
                                                    true},
                                           Unusable{"trace_cut", SHORT,
                                                    [](std::vector<std::string>& lines) {
                                                        const size_t at =
                                                                findLine(lines, "intent(0)");
                                                        lines[at].resize(lines[at].size() - 6);
                                                        return static_cast<long>(at + 1);
                                                    },
                                                    "cannot read this libhuevane line (cut or "
                                                    "garbled): "
                                                    "'setColorModeWithRenderIntent:mode(1), int'"},
                                           Unusable{"prefix_garbled", SHORT,
                                                    [](std::vector<std::string>& lines) {
                                                        const size_t at = findLine(
                                                                lines,
                                                                "setColorModeWithRenderIntent");
                                                        lines[at] = "#&! libhuevane" +
                                                                    lines[at].substr(30);
                                                        return static_cast<long>(at + 1);
                                                    },
                                                    "names libhuevane but is in no log form: cut "
                                                    "or garbled"},
                                           Unusable{"interleaved_into_a_print", SHORT,
                                                    [](std::vector<std::string>& lines) {
                                                        const size_t trace = findLine(
                                                                lines, "mode(2), intent(0)");
                                                        const size_t at = findLine(
                                                                lines, "crc(0x",
                                                                findLine(lines, "printParcel"));
                                                        lines.insert(lines.begin() +
                                                                             static_cast<long>(at),
                                                                     lines[trace]);
                                                        return static_cast<long>(at + 1);
                                                    },
                                                    "the parcel print that begins at line "},
                                           Unusable{"transform_dump_lost", SHORT,
                                                    [](std::vector<std::string>& lines) {
                                                        const size_t first = findLine(
                                                                lines,
                                                                "id[6] attr(255,255,255,255)");
                                                        lines.erase(lines.begin() +
                                                                    static_cast<long>(first));
                                                        return static_cast<long>(
                                                                findLine(lines,
                                                                         "id[6] "
                                                                         "attr(255,255,255,255)") +
                                                                1);
                                                    },
                                                    "the transform source held 1 colour "
                                                    "transforms, the log shows 0 since "
                                                    "the last update: lines were lost"},
                                           Unusable{"extension_dump_cut",
                                                    {level(3), mode(1, 0),
                                                     extension({{8, std::string(1500, '7')}}),
                                                     update()},
                                                    [](std::vector<std::string>& lines) {
                                                        return static_cast<long>(
                                                                findLine(lines, "id[8] attr") + 1);
                                                    },
                                                    "liblog cut this dump at 1023 bytes: the LUT's "
                                                    "text cannot be rebuilt"}));

// What the log leaves unknown is said beside an update that still compares.
TEST(Replay, GapsAreNoted) {
    const std::vector<Step> steps = {level(3), mode(1, 0), update(), mode(2, 1),
                                     update(), mode(3),    update()};
    std::vector<std::string> lines =
            splitLines(getLog(capture(DEVICE, {{0, 0, steps}}), "threadtime"));
    // The second update's request and print go missing, and logd says it dropped lines.
    const size_t from = findLine(lines, "mode(2), intent(1)");
    lines.erase(lines.begin() + static_cast<long>(from),
                lines.begin() + static_cast<long>(findLine(lines, "setColorMode:mode(3)")));
    const std::string pid = lines[from].substr(19, 5);
    lines.insert(lines.begin() + static_cast<long>(from),
                 "11-14 22:13:21.000 " + pid + " " + pid + " I chatty  : uid=1000 expire 84 lines");
    const ToolRun run = replay(joinLines(lines), DEVICE);
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_NE(run.out.find("seq_num 2: identical, 0 LUTs, 12 bytes; note: seq_num is 2 where 1 "
                           "was due: 1 updates before it are not in the log"),
              std::string::npos)
            << run.out;
    EXPECT_NE(run.err.find("replay.log:" + std::to_string(from + 1) +
                           ": warning: logd dropped lines of process"),
              std::string::npos)
            << run.err;
}

// An engine created before the log begins: the log starts after its first update.
TEST(Replay, LogBeginningAfterCreation) {
    // No transform before the log begins: the stages hold only what later modes replace.
    const std::vector<Step> steps = {level(3), mode(1, 0), update(),       mode(2, 1),
                                     update(), mode(3),    transform(DIM), update()};
    std::vector<std::string> lines = splitLines(getLog(capture(DEVICE, {{0, 0, steps}}), "time"));
    lines.erase(lines.begin(),
                lines.begin() + static_cast<long>(findLine(lines, "mode(2), intent(1)")));
    const ToolRun run = replay(joinLines(lines), DEVICE);
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_NE(run.out.find("created before the log begins"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("seq_num 1: identical"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("2 updates: 2 identical"), std::string::npos) << run.out;
}

}  // namespace
