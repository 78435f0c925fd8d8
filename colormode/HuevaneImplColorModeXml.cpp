#define LOG_TAG "libhuevane"

#include "HuevaneImplColorModeXml.h"

#include <libxml/tree.h>
#include <log/log.h>

#include <unordered_map>
#include <utility>

HuevaneImplColorModeXml::HuevaneImplColorModeXml(std::vector<std::string> xmlNames)
    : HuevaneImplColorModeXml(std::move(xmlNames), nullptr) {}

HuevaneImplColorModeXml::HuevaneImplColorModeXml(std::vector<std::string> xmlNames,
                                                 huevane::HuevaneCalibrationAccount* account)
    : mXmlNames(std::move(xmlNames)), mAccount(account) {
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
    using Document = huevane::HuevaneDocumentRecord;
    HuevaneXmlDoc owner = openColorModeFile(mXmlNames, mAccount);
    if (!owner) {
        ALOGE("empty document\n");
        return 2;
    }
    xmlDocPtr document = owner.get();
    xmlNodePtr root = xmlDocGetRootElement(document);
    if (root == nullptr) {
        ALOGE("empty document\n");
        if (mAccount != nullptr) mAccount->documents.back().outcome = Document::NO_ROOT;
        return 2;
    }
    if (mAccount != nullptr) {
        mAccount->documents.back().rootName = reinterpret_cast<const char*>(root->name);
        mAccount->documents.back().rootLine = xmlGetLineNo(root);
    }
    if (!isElementNamed(root, "Calib_Data")) {
        ALOGE("document of the wrong type, root node != Calib_Data\n");
        if (mAccount != nullptr) mAccount->documents.back().outcome = Document::WRONG_ROOT;
        return 1;
    }
    // For the account: where the mode node that last brought each key stands.
    std::unordered_map<huevane::HuevaneLutKey, size_t, huevane::PairHash> keyNodes;
    for (xmlNodePtr child = root->children; child != nullptr; child = child->next) {
        if (!isElementNamed(child, "mode")) {
            if (child->type == XML_ELEMENT_NODE) {
                noteNode(huevane::HuevaneReaderNote::NOT_A_MODE_NODE, child,
                         reinterpret_cast<const char*>(child->name));
            }
            continue;
        }
        if (!isValidXmlProperties(child)) {
            if (mAccount != nullptr) {
                std::string missing, name;
                for (const char* property : MODE_PROPERTIES) {
                    if (!hasXmlProperty(child, property)) {
                        missing += (missing.empty() ? "" : ", ") + std::string(property);
                    }
                }
                getTextFromXmlProperty(child, "name", &name);
                noteNode(huevane::HuevaneReaderNote::MODE_INCOMPLETE, child, name, missing);
            }
            continue;
        }
        HuevaneMode mode = getColorModeFromXmlProperties(child);
        putColorModeList(mode);
        DisplayRenderIntent intent = getRenderIntentFromXmlProperties(child);
        putRenderIntentList(mode.modeId, intent);
        huevane::HuevaneLutKey key(mode.modeId, intent.intentId);
        if (mAccount != nullptr) {
            for (const char* property : {"mode_id", "gamut_id", "intent_id"}) {
                noteNumber(child, property);
            }
            huevane::HuevanePlace place{reinterpret_cast<const char*>(document->URL),
                                        xmlGetLineNo(child)};
            auto earlier = keyNodes.emplace(key, mAccount->modeNodes.size());
            if (!earlier.second) {
                noteNode(huevane::HuevaneReaderNote::KEY_REPEATED, child, mode.modeName);
                mAccount->notes.back().earlier = mAccount->modeNodes[earlier.first->second].place;
                mAccount->notes.back().key = key;
                earlier.first->second = mAccount->modeNodes.size();
            }
            mAccount->modeNodes.push_back({place, key, mode});
        }
        if (tryPutDataLutsMapBySubXml(child, key) != 0) {
            xmlNodePtr first = child->children;
            putDataLutsMap(document, first, key);
        }
    }
    return 0;
}

void HuevaneImplColorModeXml::noteNode(huevane::HuevaneReaderNote::Kind kind, const xmlNode* node,
                                       std::string name, std::string text) {
    if (mAccount == nullptr) return;
    huevane::HuevaneReaderNote note;
    note.kind = kind;
    note.place.document = node->doc != nullptr && node->doc->URL != nullptr
                                  ? reinterpret_cast<const char*>(node->doc->URL)
                                  : "";
    note.place.line = xmlGetLineNo(node);
    note.name = std::move(name);
    note.text = std::move(text);
    mAccount->notes.push_back(std::move(note));
}

// Kept when the text is not exactly the decimal number used: the unsigned 32-bit value read, or
// for an attribute the byte kept of it. The inspection tells which of those an engineer would
// not expect.
void HuevaneImplColorModeXml::noteNumber(xmlNodePtr& node, const char* property, bool attribute) {
    std::string text;
    if (mAccount == nullptr || !getTextFromXmlProperty(node, property, &text)) return;
    const uint32_t value = getValueFromXmlProperty(node, property);
    if (text == std::to_string(attribute ? value & 0xFF : value)) return;
    noteNode(huevane::HuevaneReaderNote::NUMBER, node, property, text);
    mAccount->notes.back().value = value;
}
