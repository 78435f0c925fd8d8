#define LOG_TAG "libhuevane"

#include "HuevaneImplColorModeXml.h"

#include <libxml/tree.h>
#include <log/log.h>

HuevaneImplColorModeXml::HuevaneImplColorModeXml(std::vector<std::string> xmlNames)
    : mXmlNames(std::move(xmlNames)) {
    buildupPvxNodeNameToEnumMap();
    // Nobody acts on the status: a reader that could not read offers empty lists, exactly like
    // the reader of an empty document.
    buildupColorModeNodes();
}

HuevaneImplColorModeXml::~HuevaneImplColorModeXml() {
    // Reverse of the declaration order; no document outlives the constructor.
    mXmlNames.clear();
    mNodeNameToEnumMap.clear();
    mRenderIntentMap.clear();
    mColorModeList.clear();
    mDataLutsMap.clear();
}

void HuevaneImplColorModeXml::buildupPvxNodeNameToEnumMap() {
    for (uint32_t id = 1; id < PVX_COLORMODE_NODE_COUNT; id++) {
        mNodeNameToEnumMap.emplace(PVX_COLORMODE_NODE[id], id);
    }
}

const char* HuevaneImplColorModeXml::getPvxColorModeNode(int32_t index) {
    return huevane::getNodeName(index);
}

bool HuevaneImplColorModeXml::isValidXmlProperties(xmlNodePtr& node) {
    for (const char* property : MODE_PROPERTIES) {
        if (!hasXmlProperty(node, property)) return false;
    }
    return true;
}

int32_t HuevaneImplColorModeXml::buildupColorModeNodes() {
    HuevaneXmlDoc owner = openColorModeFile(mXmlNames, &mDocuments, true);
    if (!owner) {
        ALOGE("empty document\n");
        return 2;
    }
    xmlDocPtr document = owner.get();
    xmlNodePtr root = xmlDocGetRootElement(document);
    if (root == nullptr) {
        ALOGE("empty document\n");
        mDocuments.back().outcome = HuevaneCalibrationDocument::NOT_USED;
        return 2;
    }
    if (!isElementNamed(root, "Calib_Data")) {
        ALOGE("document of the wrong type, root node != Calib_Data\n");
        mDocuments.back().outcome = HuevaneCalibrationDocument::NOT_USED;
        return 1;
    }
    for (xmlNodePtr child = root->children; child != nullptr; child = child->next) {
        if (!isElementNamed(child, "mode") || !isValidXmlProperties(child)) continue;
        HuevaneMode mode = getColorModeFromXmlProperties(child);
        putColorModeList(mode);
        DisplayRenderIntent intent = getRenderIntentFromXmlProperties(child);
        putRenderIntentList(mode.modeId, intent);
        huevane::HuevaneLutKey key(mode.modeId, intent.intentId);
        if (tryPutDataLutsMapBySubXml(child, key) != 0) {
            xmlNodePtr first = child->children;
            putDataLutsMap(document, first, key);
        }
    }
    return 0;
}
