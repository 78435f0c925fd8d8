// Document-level helpers of the calibration reader, shared by the main document and sub documents.
#ifndef HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODEXMLBASE_H
#define HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODEXMLBASE_H

#include <libxml/tree.h>

#include <cstdint>
#include <string>
#include <vector>

constexpr uint32_t PVX_VALUE_ABSENT = 0xFFFFFFFF;

class HuevaneImplColorModeXmlBase {
  public:
    // Properties every mode node must carry to be read at all.
    static const char* const MODE_PROPERTIES[6];

    // The parsed document of the first name that exists and parses, or null. The caller frees it
    // with xmlFreeDoc.
    static xmlDocPtr openColorModeFile(std::vector<std::string>& names);
    // Decimal value of an integer property; 0xFFFFFFFF when absent or not a 32-bit number.
    static uint32_t getValueFromXmlProperty(xmlNodePtr& node, const char* propertyName);
    // Text of a property; false when absent. The fetched value is freed before returning.
    static bool getTextFromXmlProperty(xmlNodePtr& node, const char* propertyName,
                                       std::string* text);
    static bool hasXmlProperty(xmlNodePtr& node, const char* propertyName);
    static bool isElementNamed(const xmlNode* node, const char* name);
    // A sub document's first child of `root` that is a mode node named "tune", or null.
    static xmlNodePtr getTuneModeNode(xmlNodePtr root);
    // A LUT node's text: its content with entity references replaced by their text.
    static std::string getLutText(xmlDocPtr document, const xmlNode* node);
};

#endif  // HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODEXMLBASE_H
