// What the library met while it chose and read a display's calibration, kept only when an
// inspection asks for it (huevane-tool): the sysfs target name, every document considered and
// what became of it, where each stored LUT was written, and what the reader passed over or read
// other than as written. The library itself never keeps one.
#ifndef HUEVANE_CORE_HUEVANECALIBRATIONACCOUNT_H
#define HUEVANE_CORE_HUEVANECALIBRATIONACCOUNT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "HuevaneDataLutMap.h"
#include "IHuevane.h"

namespace huevane {

// A place in a calibration document.
struct HuevanePlace {
    std::string document;  // device path, as the reader named the document
    long line = 0;         // 1-based; 0 for the document as a whole
};

// What reading the sysfs target-name node gave.
struct HuevaneTargetNameRecord {
    enum Outcome {
        NOT_FOUND,        // the node could not be opened
        NOT_A_FILE,       // a FIFO or device: never read
        OUT_OF_RANGE,     // read nothing, or 128 bytes or more
        NOT_A_FILE_NAME,  // the name holds '/' or is ".."
        READ,             // the name became the first candidate's suffix
    };
    std::string node;  // device path of the node
    Outcome outcome = NOT_FOUND;
    int error = 0;           // errno of the failed open
    int64_t readLength = 0;  // what the one read returned
    std::string text;        // the bytes read, up to the first zero byte
    std::string name;        // the target name: the text without its last byte
};

// A document the reader considered: a candidate of the display, or a sub document.
struct HuevaneDocumentRecord {
    enum Outcome {
        USED,             // its modes, or its tune mode's LUTs, were read
        NOT_FOUND,        // no such file (or it cannot be opened)
        NOT_A_FILE,       // a FIFO, device or folder: refused unread
        TOO_LARGE,        // larger than the reader reads: refused before parsing
        NOT_PARSED,       // not well-formed
        TEXT_BUDGET,      // entity references take its LUT texts past the budget
        NO_ROOT,          // parsed, without a root element
        WRONG_ROOT,       // parsed, its root is not <Calib_Data>
        NO_TUNE_MODE,     // a sub document without a mode named "tune"
        EMPTY_TUNE_MODE,  // a sub document whose tune mode has no child node
    };
    std::string path;  // device path
    Outcome outcome = NOT_FOUND;
    bool sub = false;      // named by a mode node's subxml
    int error = 0;         // errno, for NOT_FOUND
    std::string rootName;  // the root element, when it has one
    long rootLine = 0;
};

// Something the reader passed over, or read other than as written.
struct HuevaneReaderNote {
    enum Kind {
        MODE_INCOMPLETE,         // a mode node lacking required properties (`text`): skipped whole
        NOT_A_MODE_NODE,         // an element of the root that is not a mode node: passed over
        NOT_A_LUT_NODE,          // an element of a mode node that names no LUT node: passed over
        NUMBER,                  // an integer property (`name`) whose text is not the number read
        KEY_REPEATED,            // a mode node with an earlier one's key: its LUTs replace those
        SUBXML_NOT_A_FILE_NAME,  // a subxml value with '/' or "..": ignored
        SUBXML_NO_NAME,          // no candidate name has ".xml" to name a sub document after
        SUBXML_NOT_FOUND,        // no sub document of that name exists
        SUBXML_NOT_USED,         // a sub document was found but not used (see its record)
        SUBXML_USED,             // the mode node's LUTs come from the sub document `document`
    };
    Kind kind = MODE_INCOMPLETE;
    HuevanePlace place;    // the element concerned
    std::string name;      // element or property name; a mode node's name property
    std::string text;      // the property's text; the missing properties; the subxml value
    uint32_t value = 0;    // the number read, for NUMBER
    HuevanePlace earlier;  // for KEY_REPEATED: the mode node replaced
    HuevaneLutKey key;     // for KEY_REPEATED
    std::string document;  // for SUBXML_*: the sub document (device path) or the first name tried
};

// A mode node the reader listed, in document order.
struct HuevaneModeNodeRecord {
    HuevanePlace place;
    HuevaneLutKey key;
    HuevaneMode mode;
};

// A LUT node the reader read, and the data LUT it made of it.
struct HuevaneLutRecord {
    size_t modeNode = 0;  // index in modeNodes of the mode node whose LUTs these are
    HuevanePlace place;
    HuevaneDataLut lut;
};

struct HuevaneCalibrationAccount {
    HuevaneTargetNameRecord targetName;
    std::vector<HuevaneDocumentRecord> documents;  // in the order they were considered
    std::vector<HuevaneReaderNote> notes;          // in document order
    std::vector<HuevaneModeNodeRecord> modeNodes;
    std::vector<HuevaneLutRecord> luts;  // every LUT node read, later-replaced ones included
    // Where each stored LUT was written, parallel to the data-LUT map's lists.
    std::unordered_map<HuevaneLutKey, std::vector<HuevanePlace>, PairHash> places;
};

}  // namespace huevane

#endif  // HUEVANE_CORE_HUEVANECALIBRATIONACCOUNT_H
