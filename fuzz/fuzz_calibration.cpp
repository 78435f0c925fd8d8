// Calibration documents: the input becomes the calibration file of display 0 and, split at
// "\n--8<--\n", a sub document (named by subxml='tune') and the sysfs target-name node. One
// engine per input lists its modes and intents, stages every pair and updates each time.
#include <fcntl.h>
#include <libxml/tree.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "HuevaneDeviceFile.h"
#include "HuevaneFuzzSupport.h"
#include "HuevaneImplColorModeXml.h"
#include "HuevaneImplUtil.h"
#include "IHuevane.h"

namespace {

const char SEPARATOR[] = "\n--8<--\n";
const char MAIN_DOC[] = "/vendor/etc/pvx/calib_data_colormode0.xml";
const char SUB_DOC[] = "/vendor/etc/pvx/calib_data_colormode0_tune.xml";
const char TARGET_NODE[] = "/sys/class/pvx/pvx/xml";

// Splits the input into at most three parts; missing parts stay absent (no file at all).
std::vector<std::string> splitInput(const uint8_t* data, size_t size) {
    std::vector<std::string> parts;
    std::string rest(reinterpret_cast<const char*>(data), size);
    while (parts.size() < 2) {
        size_t cut = rest.find(SEPARATOR);
        if (cut == std::string::npos) break;
        parts.push_back(rest.substr(0, cut));
        rest.erase(0, cut + strlen(SEPARATOR));
    }
    parts.push_back(rest);
    return parts;
}

void placeFile(DeviceTree& tree, const char* path, const std::vector<std::string>& parts,
               size_t index) {
    if (index < parts.size()) {
        tree.writeFile(path, parts[index]);
    } else {
        tree.removeFile(path);
    }
}

// The library's reader holds LUT texts beside the tree while parsing; every LUT text of every
// mode node, and the budget count, must equal those read back from the whole tree.
void checkHeldLutTexts(const std::string& path) {
    using Reader = HuevaneImplColorModeXmlBase;
    auto parse = [&](bool hold) {
        huevane::HuevaneFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        return fd.get() < 0 ? HuevaneXmlDoc() : Reader::parseColorModeFile(fd.get(), path, hold);
    };
    HuevaneXmlDoc tree = parse(false);
    HuevaneXmlDoc held = parse(true);
    if (!tree != !held) abort();
    if (!tree) return;
    if (Reader::getLutTextsLength(tree.get()) != Reader::getLutTextsLength(held.get())) abort();
    xmlNodePtr a = xmlDocGetRootElement(tree.get());
    xmlNodePtr b = xmlDocGetRootElement(held.get());
    for (a = a ? a->children : nullptr, b = b ? b->children : nullptr; a && b;
         a = a->next, b = b->next) {
        for (xmlNodePtr x = a->children, y = b->children; x && y; x = x->next, y = y->next) {
            if (x->type != XML_ELEMENT_NODE) continue;
            if (Reader::getLutText(tree.get(), x) != Reader::getLutText(held.get(), y)) abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzQuietProcess();
    fuzzDeviceTree();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    DeviceTree& tree = fuzzDeviceTree();
    std::vector<std::string> parts = splitInput(data, size);
    placeFile(tree, MAIN_DOC, parts, 0);
    placeFile(tree, SUB_DOC, parts, 1);
    placeFile(tree, TARGET_NODE, parts, 2);

    IHuevane* engine = createInstance(0);
    if (engine == nullptr) abort();  // the default name always exists here
    // Level 3 adds the dumps and the parcel print, which walk the parcel on their own.
    engine->setLogLevel(3);
    for (const HuevaneMode& mode : engine->getColorModes()) {
        for (const DisplayRenderIntent& intent : engine->getRenderIntents(mode.modeId)) {
            engine->setColorModeWithRenderIntent(mode.modeId, intent.intentId);
            fuzzUpdate(engine);
        }
        engine->setColorMode(mode.modeId);
        fuzzUpdate(engine, true);
    }
    destroyInstance(engine);
    if (!parts.empty()) checkHeldLutTexts(tree.hostPath(MAIN_DOC));
    return 0;
}
