// Document-level helpers of the calibration reader, shared by the main document and sub documents.
#ifndef HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODEXMLBASE_H
#define HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODEXMLBASE_H

#include <cstdint>
#include <string>
#include <vector>

#include "HuevaneCalibrationAccount.h"
#include "HuevaneCalibrationLimits.h"
#include "HuevaneXmlOwners.h"

constexpr uint32_t PVX_VALUE_ABSENT = 0xFFFFFFFF;

class HuevaneImplColorModeXmlBase {
  public:
    // Properties every mode node must carry to be read at all.
    static const char* const MODE_PROPERTIES[6];
    static constexpr int64_t MAX_DOCUMENT_BYTES = huevane::MAX_DOCUMENT_BYTES;
    static constexpr uint64_t MAX_LUT_TEXT_BYTES = huevane::MAX_LUT_TEXT_BYTES;

    // The parsed document of the first name that is a regular file, within both limits, and
    // parses; null when none is. With an account, every name tried goes into its documents with
    // what became of it (`sub`: named by a subxml), and the document keeps every node's line;
    // without one, the LUT texts are held beside the tree for the reader's walk.
    static HuevaneXmlDoc openColorModeFile(std::vector<std::string>& names,
                                           huevane::HuevaneCalibrationAccount* account = nullptr,
                                           bool sub = false);
    // Parses an open calibration file with the reader's fixed options; `url` names it in
    // libxml2's error reports. With `holdLutTexts`, the texts of the LUT nodes of mode nodes
    // are kept beside the tree instead of in it, for a reader that takes each once through
    // getLutText; everything else reads the same. With `bigLines`, lines past 65535 are kept.
    static HuevaneXmlDoc parseColorModeFile(int fd, const std::string& url,
                                            bool holdLutTexts = false, bool bigLines = false);
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
