// Document-level helpers of the calibration reader, shared by the main document and sub documents.
#ifndef HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODEXMLBASE_H
#define HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODEXMLBASE_H

#include <cstdint>
#include <string>
#include <vector>

#include "HuevaneXmlOwners.h"

constexpr uint32_t PVX_VALUE_ABSENT = 0xFFFFFFFF;

// A calibration document the reader opened, and what became of it.
struct HuevaneCalibrationDocument {
    enum Outcome {
        USED,         // parsed, and its modes or tune-mode LUTs were read
        NOT_USED,     // parsed, but nothing in it was taken (no or wrong root, no tune mode)
        NOT_A_FILE,   // a FIFO, device or folder: refused without reading
        TOO_LARGE,    // refused before parsing
        NOT_PARSED,   // not well-formed
        TEXT_BUDGET,  // entity references would take its LUT texts past the budget
    };
    std::string path;  // device path
    Outcome outcome;
};
using HuevaneCalibrationDocuments = std::vector<HuevaneCalibrationDocument>;

class HuevaneImplColorModeXmlBase {
  public:
    // Properties every mode node must carry to be read at all.
    static const char* const MODE_PROPERTIES[6];
    // No real panel's calibration comes near either limit; past them a document cannot hold
    // creation for long or take much memory.
    static constexpr int64_t MAX_DOCUMENT_BYTES = int64_t{64} << 20;
    static constexpr uint64_t MAX_LUT_TEXT_BYTES = uint64_t{64} << 20;

    // The parsed document of the first name that is a regular file, within both limits, and
    // parses; null when none is. Every name found (missing ones are not) is added to `opened`
    // with its outcome, when given. `holdLutTexts` as for parseColorModeFile.
    static HuevaneXmlDoc openColorModeFile(std::vector<std::string>& names,
                                           HuevaneCalibrationDocuments* opened = nullptr,
                                           bool holdLutTexts = false);
    // Parses an open calibration file with the reader's fixed options; `url` names it in
    // libxml2's error reports. With `holdLutTexts`, the texts of the LUT nodes of mode nodes
    // are kept beside the tree instead of in it, for a reader that takes each once through
    // getLutText; everything else reads the same.
    static HuevaneXmlDoc parseColorModeFile(int fd, const std::string& url,
                                            bool holdLutTexts = false);
    // Total length of the LUT texts of every mode node once entity references are expanded,
    // counted without expanding them; any value past MAX_LUT_TEXT_BYTES means "too much".
    static uint64_t getLutTextsLength(xmlDocPtr document);

    // Decimal value of an integer property; 0xFFFFFFFF when absent or not a 32-bit number.
    static uint32_t getValueFromXmlProperty(xmlNodePtr& node, const char* propertyName);
    // Text of a property; false when absent.
    static bool getTextFromXmlProperty(xmlNodePtr& node, const char* propertyName,
                                       std::string* text);
    static bool hasXmlProperty(xmlNodePtr& node, const char* propertyName);
    static bool isElementNamed(const xmlNode* node, const char* name);
    // A sub document's first child of `root` that is a mode node named "tune", or null.
    static xmlNodePtr getTuneModeNode(xmlNodePtr root);
    // A LUT node's text: its content with entity references replaced by their text. A held text
    // is handed over: a second call for the same node gives the empty text.
    static std::string getLutText(xmlDocPtr document, const xmlNode* node);
};

#endif  // HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODEXMLBASE_H
