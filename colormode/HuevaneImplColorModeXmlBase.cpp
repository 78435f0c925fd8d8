#define LOG_TAG "libhuevane"

#include "HuevaneImplColorModeXmlBase.h"

#include <libxml/parser.h>
#include <log/log.h>
#include <unistd.h>

#include "HuevaneDecimal.h"
#include "HuevaneImplUtil.h"

const char* const HuevaneImplColorModeXmlBase::MODE_PROPERTIES[6] = {
        "name", "mode_id", "gamut_name", "gamut_id", "intent_name", "intent_id"};

xmlDocPtr HuevaneImplColorModeXmlBase::openColorModeFile(std::vector<std::string>& names) {
    for (const std::string& name : names) {
        if (name.empty()) continue;
        std::string path = HuevaneImplUtil::getDevicePath(name);
        if (access(path.c_str(), F_OK) != 0) continue;
        xmlDocPtr document = xmlParseFile(path.c_str());
        if (document == nullptr) continue;
        ALOGI("%s opened\n", name.c_str());
        return document;
    }
    return nullptr;
}

uint32_t HuevaneImplColorModeXmlBase::getValueFromXmlProperty(xmlNodePtr& node,
                                                              const char* propertyName) {
    std::string text;
    if (!getTextFromXmlProperty(node, propertyName, &text)) return PVX_VALUE_ABSENT;
    // A value that is not a signed 32-bit number reads as absent.
    int64_t value = 0;
    if (!huevane::parseDecimal(text.data(), text.data() + text.size(), &value) ||
        value < INT32_MIN || value > INT32_MAX) {
        return PVX_VALUE_ABSENT;
    }
    return static_cast<uint32_t>(static_cast<int32_t>(value));
}

bool HuevaneImplColorModeXmlBase::getTextFromXmlProperty(xmlNodePtr& node, const char* propertyName,
                                                         std::string* text) {
    xmlChar* value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(propertyName));
    if (value == nullptr) return false;
    text->assign(reinterpret_cast<const char*>(value));
    xmlFree(value);
    return true;
}

bool HuevaneImplColorModeXmlBase::hasXmlProperty(xmlNodePtr& node, const char* propertyName) {
    xmlChar* value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(propertyName));
    if (value == nullptr) return false;
    xmlFree(value);
    return true;
}

bool HuevaneImplColorModeXmlBase::isElementNamed(const xmlNode* node, const char* name) {
    return node->type == XML_ELEMENT_NODE &&
           xmlStrcmp(node->name, reinterpret_cast<const xmlChar*>(name)) == 0;
}

xmlNodePtr HuevaneImplColorModeXmlBase::getTuneModeNode(xmlNodePtr root) {
    for (xmlNodePtr child = root->children; child != nullptr; child = child->next) {
        std::string name;
        if (isElementNamed(child, "mode") && getTextFromXmlProperty(child, "name", &name) &&
            name == "tune") {
            return child;
        }
    }
    return nullptr;
}

// Most LUT nodes hold one text node; its content is the text already, so the node-list copy is
// skipped for it.
std::string HuevaneImplColorModeXmlBase::getLutText(xmlDocPtr document, const xmlNode* node) {
    const xmlNode* child = node->children;
    if (child != nullptr && child->next == nullptr &&
        (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE)) {
        return child->content ? std::string(reinterpret_cast<const char*>(child->content)) : "";
    }
    xmlChar* content = xmlNodeListGetString(document, node->children, 1);
    if (content == nullptr) return std::string();
    std::string text(reinterpret_cast<const char*>(content));
    xmlFree(content);
    return text;
}
