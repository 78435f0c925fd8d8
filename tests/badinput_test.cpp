// Hostile and broken inputs, one row each: what the library returns and logs. Run under
// `make sanitize` the same rows also prove that nothing crashes, leaks or writes past the
// parcel buffer, which is heap-allocated with exactly the reported size.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "HuevaneTestSupport.h"
#include "IHuevane.h"

namespace {

const char MODE_OPEN[] =
        "<mode name='m' mode_id='0' gamut_id='0' gamut_name='g' intent_id='0' intent_name='i'>";
const char DEFAULT_OPENED_PATH[] = "/vendor/etc/pvx/calib_data_colormode0.xml";
const char DEFAULT_OPENED[] = "/vendor/etc/pvx/calib_data_colormode0.xml opened\n";
const char SECRET[] = "secret-of-the-device";
const char CANDIDATE_ABC[] = "/vendor/etc/pvx/calib_data_colormode0_abc.xml";
const char TARGET_NODE[] = "/sys/class/pvx/pvx/xml";

std::string calibration(const std::string& luts, const std::string& mode = MODE_OPEN,
                        const std::string& prolog = "") {
    return prolog + "<Calib_Data>" + mode + luts + "</mode></Calib_Data>";
}

// A billion laughs: ten levels of tenfold references.
std::string entityBomb() {
    std::string dtd = "<!DOCTYPE Calib_Data [<!ENTITY e0 'laugh'>";
    for (int level = 1; level <= 10; level++) {
        dtd += "<!ENTITY e" + std::to_string(level) + " '";
        for (int i = 0; i < 10; i++) dtd += "&e" + std::to_string(level - 1) + ";";
        dtd += "'>";
    }
    return calibration("<degamma>&e10;</degamma>", MODE_OPEN, dtd + "]>");
}

// `plain` bytes of text, then `references` references to an entity holding 1 MiB of text, in
// one LUT.
std::string entityReferences(int references, size_t plain = 0) {
    std::string refs(plain, '5');
    for (int i = 0; i < references; i++) refs += "&big;";
    return calibration("<degamma>" + refs + "</degamma>", MODE_OPEN,
                       "<!DOCTYPE Calib_Data [<!ENTITY big '" + std::string(1 << 20, '7') + "'>]>");
}

using Setup = std::function<void(DeviceTree&)>;
using Request = std::function<int32_t(IHuevane&)>;

Setup file(const std::string& content) {
    return [content](DeviceTree& device) { device.writeCalibration(0, content); };
}

// Stages every listed (mode, intent) pair; the last one's LUTs reach the parcel.
int32_t stageAll(IHuevane& engine) {
    int32_t result = 0;
    for (const HuevaneMode& mode : engine.getColorModes()) {
        for (const DisplayRenderIntent& intent : engine.getRenderIntents(mode.modeId)) {
            result |= engine.setColorModeWithRenderIntent(mode.modeId, intent.intentId);
        }
    }
    return result;
}

struct BadInput {
    const char* name;
    Setup setup;
    Request request;  // null: stage every listed pair
    // What the library answers.
    bool created;
    std::vector<uint32_t> modeIds;
    int32_t requestResult;
    int32_t updateResult;
    int numData;  // of the parcel after a successful update
    // A line that must be logged, and text that must be in or must never reach the parcel.
    std::string logLine{};
    std::string inParcel{};
    std::string notInParcel{};
    // The host process changed libxml2's global parser defaults before creating the engine.
    bool hostDefaults = false;
};

// Files by device path, written in order. FIFO makes a FIFO without a writer there (opening
// it for reading the usual way waits for ever), OVERSIZED grows the file before it past 64 MiB
// (sparse: no disk used), and "{ROOT}" in a content stands for the host folder of the device.
const char FIFO[] = "\x01fifo";
const char OVERSIZED[] = "\x01oversized";
using Files = std::vector<std::pair<std::string, std::string>>;

Setup files(const Files& entries) {
    return [entries](DeviceTree& device) {
        std::string previous;
        for (auto [path, content] : entries) {
            const std::string host = device.hostPath(path);
            if (content == OVERSIZED) {
                ASSERT_EQ(0, truncate(device.hostPath(previous).c_str(), (off_t{64} << 20) + 1));
                continue;
            }
            for (size_t at; (at = content.find("{ROOT}")) != std::string::npos;) {
                content.replace(at, 6, device.root());
            }
            device.writeFile(path, content == FIFO ? "" : content);
            if (content == FIFO) {
                device.removeFile(path);
                ASSERT_EQ(0, mkfifo(host.c_str(), 0600));
            }
            previous = path;
        }
    };
}

const std::string OWN = calibration("<gamma>own</gamma>");
const std::string SECRET_TUNE =
        calibration(std::string("<gamma>") + SECRET + "</gamma>", "<mode name='tune'>");
// A folder that a name climbing out of the calibration folder passes through.
const Files CLIMB = {{"/vendor/etc/pvx/calib_data_colormode0_/keep", ""},
                     {"/tmp/x", SECRET_TUNE},
                     {"/tmp/x.xml", SECRET_TUNE}};

Files with(Files entries, const Files& more) {
    entries.insert(entries.end(), more.begin(), more.end());
    return entries;
}

const Files EXTERNAL_ENTITY = {
        {"/data/secret", SECRET},
        {DEFAULT_OPENED_PATH,
         calibration("<degamma>&x;</degamma>", MODE_OPEN,
                     "<!DOCTYPE Calib_Data [<!ENTITY x SYSTEM 'file://{ROOT}/data/secret'>]>")}};

int32_t nullTransform(IHuevane& engine) {
    return engine.setColorTransform(nullptr, 0);
}

// Null attribute text with a size, a null LUT text, then a LUT that must still arrive.
int32_t nullExtensionData(IHuevane& engine) {
    std::vector<HuevaneExtension> entries{{0, nullptr, 5}, {4, nullptr, 0}, {5, "t", 9}};
    return engine.setColorExtension(entries);
}

const std::string EMPTY_MODE = calibration("");

// clang-format off
const BadInput ROWS[] = {
    // name, setup, request, created, mode ids, request result, update result, num_data,
    // log line, in parcel, never in parcel
    {"empty file", file(""), nullptr, true, {}, 0, 0, 0, "empty document\n"},
    // libxml2 refuses the amplification, so the document does not parse at all.
    {"entity expansion bomb", file(entityBomb()), nullptr, true, {}, 0, 0, 0, "empty document\n",
     "", "laugh"},
    // External entities are not loaded: the LUT arrives with an empty text.
    {"external entity", files(EXTERNAL_ENTITY), nullptr, true, {0}, 0, 0, 1, DEFAULT_OPENED, "", SECRET},
    // Out-of-range and wordy values read as absent (0xFFFFFFFF, attribute byte 0xFF).
    {"huge, negative and word values",
     file(calibration("<degamma att0='99999999999999999999' att1='-5' att2='x1' att3='  +7'>v"
                      "</degamma>",
                      "<mode name='m' mode_id='4294967296' gamut_id='-7' gamut_name='g' "
                      "intent_id='zero' intent_name='i'>")),
     nullptr, true, {0xFFFFFFFF}, 0, 0, 1, DEFAULT_OPENED,
     std::string("\xDA\x04\x0E\x00\x0C\x00\xFF\xFB\xFF\x07", 10)},
    {"LUT text of 1 MB", file(calibration("<degamma>" + std::string(1 << 20, '7') + "</degamma>")),
     nullptr, true, {0}, 0, 1, 0, "size mistmatch between data 1048576 and header 13-12-1\n"},
    {"null transform", file(EMPTY_MODE), nullTransform, true, {0}, 1, 0, 0},
    {"null extension data", file(EMPTY_MODE), nullExtensionData, true, {0}, 0, 0, 1, "",
     std::string("\xDA\x05\x0E\x00\x0C\x00\xFF\xFF\xFF\xFF", 10)},
    // FIFOs, devices and folders are never read: they count as documents that do not parse.
    {"calibration file is a FIFO", files({{DEFAULT_OPENED_PATH, FIFO}}), nullptr, true, {}, 0, 0, 0,
     std::string(DEFAULT_OPENED_PATH) + " is not a regular file\n"},
    {"FIFO first, valid file second",
     files({{TARGET_NODE, "abc.xml\n"}, {CANDIDATE_ABC, FIFO}, {DEFAULT_OPENED_PATH, OWN}}),
     nullptr, true, {0}, 0, 0, 1, std::string(CANDIDATE_ABC) + " is not a regular file\n", "own"},
    {"target-name node is a FIFO", files({{TARGET_NODE, FIFO}, {DEFAULT_OPENED_PATH, OWN}}),
     nullptr, true, {0}, 0, 0, 1, "out of range of target name (rd_len:-1)", "own"},
    // Names read from outside never leave the calibration folder.
    {"target name climbs out of the folder",
     files(with(CLIMB, {{TARGET_NODE, "/../../../../tmp/x\n"}, {DEFAULT_OPENED_PATH, OWN}})),
     nullptr, true, {0}, 0, 0, 1, "target name '/../../../../tmp/x' is not a file name\n", "own",
     SECRET},
    {"subxml climbs out of the folder",
     files(with(CLIMB, {{DEFAULT_OPENED_PATH,
                         calibration("<gamma>own</gamma>",
                                     "<mode name='m' mode_id='0' gamut_id='0' gamut_name='g' "
                                     "intent_id='0' intent_name='i' subxml='/../../../../tmp/x'>")}})),
     nullptr, true, {0}, 0, 0, 1, "subxml '/../../../../tmp/x' is not a file name\n", "own",
     SECRET},
    // What the host process set as libxml2's defaults changes nothing.
    {"external entity, host substitutes entities", files(EXTERNAL_ENTITY), nullptr, true, {0}, 0,
     0, 1, DEFAULT_OPENED, "", SECRET, true},
    {"DOCTYPE names a FIFO, host loads external DTDs",
     files({{"/data/dtd", FIFO},
            {DEFAULT_OPENED_PATH, "<!DOCTYPE Calib_Data SYSTEM 'file://{ROOT}/data/dtd'>" + OWN}}),
     nullptr, true, {0}, 0, 0, 1, DEFAULT_OPENED, "own", "", true},
    // Bounded cost: refused before parsing, or before any LUT text is built.
    {"file over 64 MiB", files({{DEFAULT_OPENED_PATH, OWN}, {"", OVERSIZED}}), nullptr, true, {}, 0,
     0, 0, std::string(DEFAULT_OPENED_PATH) + " is larger than 67108864 bytes\n"},
    {"1 MB entity referenced 100 times", file(entityReferences(100)), nullptr, true, {}, 0, 0, 0,
     std::string(DEFAULT_OPENED_PATH) +
             ": entity references take its LUT texts past 67108864 bytes\n"},
    // The document's own text counts too: 63 MiB by reference and 1 MiB + 1 byte in place.
    {"64 MiB + 1 of LUT text", file(entityReferences(63, (1 << 20) + 1)), nullptr, true, {}, 0, 0,
     0, std::string(DEFAULT_OPENED_PATH) +
                ": entity references take its LUT texts past 67108864 bytes\n"},
    // Sysfs nodes of 0, 127, 128 and 4096 bytes: the target-name table of filesel_test.
};
// clang-format on

bool contains(const std::vector<uint8_t>& bytes, const std::string& text) {
    return std::string(bytes.begin(), bytes.end()).find(text) != std::string::npos;
}

void PrintTo(const BadInput& row, std::ostream* out) {
    *out << row.name;
}

// Sets libxml2's process-wide parser defaults the way a careless host process might, and puts
// them back afterwards. These setters are deprecated precisely because they are process-wide.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
class HostParserDefaults {
  public:
    HostParserDefaults()
        : mSubstitute(xmlSubstituteEntitiesDefault(1)),
          mLoadExtDtd(xmlLoadExtDtdDefaultValue),
          mValidate(xmlDoValidityCheckingDefaultValue) {
        xmlLoadExtDtdDefaultValue = XML_DETECT_IDS | XML_COMPLETE_ATTRS;
        xmlDoValidityCheckingDefaultValue = 1;
    }
    ~HostParserDefaults() {
        xmlSubstituteEntitiesDefault(mSubstitute);
        xmlLoadExtDtdDefaultValue = mLoadExtDtd;
        xmlDoValidityCheckingDefaultValue = mValidate;
    }

  private:
    int mSubstitute, mLoadExtDtd, mValidate;
};
#pragma GCC diagnostic pop

class BadInputTest : public ::testing::TestWithParam<BadInput> {};

TEST_P(BadInputTest, AnswersAsDocumented) {
    const BadInput& row = GetParam();
    DeviceTree device;
    row.setup(device);
    std::unique_ptr<HostParserDefaults> host(row.hostDefaults ? new HostParserDefaults : nullptr);
    LogCapture log;
    alarm(20);  // creation that waits on a file fails the row instead of hanging the run
    std::unique_ptr<IHuevane, void (*)(IHuevane*)> engine(createInstance(0), destroyInstance);
    alarm(0);
    ASSERT_EQ(row.created, engine != nullptr);
    if (engine) {
        std::vector<uint32_t> modeIds;
        for (const HuevaneMode& mode : engine->getColorModes()) modeIds.push_back(mode.modeId);
        EXPECT_EQ(row.modeIds, modeIds);
        EXPECT_EQ(row.requestResult, row.request ? row.request(*engine) : stageAll(*engine));

        const int32_t size = engine->getColorCoefSize();
        ASSERT_GE(size, 4096);
        std::unique_ptr<uint8_t[]> buffer(new uint8_t[size]);
        ASSERT_EQ(row.updateResult, engine->updateColorCoef(buffer.get()));
        if (row.updateResult == 0) {
            std::vector<uint8_t> parcel(buffer.get(), buffer.get() + (buffer[2] | buffer[3] << 8));
            EXPECT_EQ(row.numData, parcel[6] | parcel[7] << 8);
            if (!row.inParcel.empty()) {
                EXPECT_TRUE(contains(parcel, row.inParcel));
            }
            if (!row.notInParcel.empty()) {
                EXPECT_FALSE(contains(parcel, row.notInParcel));
            }
        }
    }
    if (!row.logLine.empty()) {
        std::vector<std::string> messages = log.messages();
        EXPECT_NE(messages.end(), std::find(messages.begin(), messages.end(), row.logLine))
                << "missing log line: " << row.logLine;
    }
}

std::string rowName(const ::testing::TestParamInfo<BadInput>& info) {
    std::string name;
    for (const char* c = info.param.name; *c; c++) name += isalnum(*c) ? *c : '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Rows, BadInputTest, ::testing::ValuesIn(ROWS), rowName);

}  // namespace
