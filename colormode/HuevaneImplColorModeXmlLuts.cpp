// The data-LUT map of the calibration reader: LUT nodes of a mode node (or of a sub document's
// tune mode) become data LUTs stored under the mode node's (mode id, intent id) key.
#define LOG_TAG "libhuevane"

#include <libxml/tree.h>
#include <log/log.h>

#include <algorithm>

#include "HuevaneDeviceFile.h"
#include "HuevaneImplColorModeXml.h"

namespace {

const char* const SUB_XML_EXT = ".xml";

// The first child node of a sub document's tune mode node, or null; `record`, when given,
// learns why there is none.
xmlNodePtr findSubXmlNode(xmlDocPtr document, huevane::HuevaneDocumentRecord* record) {
    using Document = huevane::HuevaneDocumentRecord;
    xmlNodePtr root = xmlDocGetRootElement(document);
    if (root == nullptr) {
        if (record != nullptr) record->outcome = Document::NO_ROOT;
        return nullptr;
    }
    if (!HuevaneImplColorModeXmlBase::isElementNamed(root, "Calib_Data")) {
        ALOGE("document of the wrong type, root node != Calib_Data\n");
        if (record != nullptr) {
            record->outcome = Document::WRONG_ROOT;
            record->rootName = reinterpret_cast<const char*>(root->name);
            record->rootLine = xmlGetLineNo(root);
        }
        return nullptr;
    }
    // Only the first tune mode decides, even when it has no child node at all.
    xmlNodePtr tune = HuevaneImplColorModeXmlBase::getTuneModeNode(root);
    if (record != nullptr && (tune == nullptr || tune->children == nullptr)) {
        record->outcome = tune == nullptr ? Document::NO_TUNE_MODE : Document::EMPTY_TUNE_MODE;
    }
    return tune != nullptr ? tune->children : nullptr;
}

}  // namespace

void HuevaneImplColorModeXml::putDataLutsMap(xmlDocPtr& document, xmlNodePtr& node,
                                             const huevane::HuevaneLutKey& key) {
    // A later mode node with the same key replaces the earlier one's LUTs, even with none.
    huevane::HuevaneStoredDataLutList& luts = mDataLutsMap[key];
    luts.clear();
    std::vector<huevane::HuevanePlace>* places = nullptr;
    if (mAccount != nullptr) {
        places = &mAccount->places[key];
        places->clear();
    }
    int64_t sum = 0;
    for (xmlNodePtr cursor = node; cursor != nullptr; cursor = cursor->next) {
        if (cursor->type != XML_ELEMENT_NODE) continue;
        auto known = mNodeNameToEnumMap.find(reinterpret_cast<const char*>(cursor->name));
        if (known == mNodeNameToEnumMap.end()) {
            noteNode(huevane::HuevaneReaderNote::NOT_A_LUT_NODE, cursor,
                     reinterpret_cast<const char*>(cursor->name));
            continue;
        }
        std::string text = getLutText(document, cursor);
        pvx_colormode_data_header header = getColorModeDataHeader(cursor, known->second, text);
        luts.emplace_back(header, std::move(text));
        sum += header.total_size;
        if (places != nullptr) {
            for (const char* property : {"att0", "att1", "att2", "att3"}) {
                noteNumber(cursor, property, true);
            }
            huevane::HuevanePlace place{reinterpret_cast<const char*>(document->URL),
                                        xmlGetLineNo(cursor)};
            // A lone sub document's LUTs belong to no mode node of the account.
            const size_t modeNode = mAccount->modeNodes.empty() ? 0 : mAccount->modeNodes.size() - 1;
            // A copy of its own: the account outlives no reader, but its users may.
            mAccount->luts.push_back(
                    {modeNode, place, {luts.back().first, HuevaneText(luts.back().second)}});
            places->push_back(std::move(place));
        }
    }
    // Saturates rather than wraps: a bound that wrapped negative would shrink the parcel size.
    mDataLutsMaxSize = static_cast<int32_t>(
            std::max<int64_t>(mDataLutsMaxSize, std::min<int64_t>(sum, INT32_MAX)));
}

pvx_colormode_data_header HuevaneImplColorModeXml::getColorModeDataHeader(xmlNodePtr& node,
                                                                          uint32_t id,
                                                                          const std::string& text) {
    // An absent property reads as all bits set, so its byte is 0xFF.
    return huevane::getDataHeader(
            static_cast<uint8_t>(id), text,
            static_cast<uint8_t>(getValueFromXmlProperty(node, "att0") & 0xFF),
            static_cast<uint8_t>(getValueFromXmlProperty(node, "att1") & 0xFF),
            static_cast<uint8_t>(getValueFromXmlProperty(node, "att2") & 0xFF),
            static_cast<uint8_t>(getValueFromXmlProperty(node, "att3") & 0xFF));
}

HuevaneXmlDoc HuevaneImplColorModeXml::getSubXmlDoc(xmlNodePtr& node) {
    using Note = huevane::HuevaneReaderNote;
    std::string subXml;
    if (!getTextFromXmlProperty(node, "subxml", &subXml)) return nullptr;
    // A value that could climb out of the calibration folder counts as no subxml at all.
    if (!huevane::isPlainFileName(subXml)) {
        ALOGE("subxml '%s' is not a file name\n", subXml.c_str());
        noteNode(Note::SUBXML_NOT_A_FILE_NAME, node, "subxml", subXml);
        return nullptr;
    }
    std::vector<std::string> names = getSubXmlNames(mXmlNames, subXml);
    if (names.empty()) {
        noteNode(Note::SUBXML_NO_NAME, node, "subxml", subXml);
        return nullptr;
    }
    const size_t considered = mAccount != nullptr ? mAccount->documents.size() : 0;
    HuevaneXmlDoc document = openColorModeFile(names, mAccount, true);
    if (!document && mAccount != nullptr) {
        // The first document found and refused says why; with none found, the first name.
        std::string refused;
        for (size_t i = considered; i < mAccount->documents.size() && refused.empty(); i++) {
            const huevane::HuevaneDocumentRecord& record = mAccount->documents[i];
            if (record.outcome != huevane::HuevaneDocumentRecord::NOT_FOUND) refused = record.path;
        }
        noteNode(refused.empty() ? Note::SUBXML_NOT_FOUND : Note::SUBXML_NOT_USED, node, "subxml",
                 subXml);
        mAccount->notes.back().document = refused.empty() ? names[0] : refused;
    }
    return document;
}

std::vector<std::string> HuevaneImplColorModeXml::getSubXmlNames(
        const std::vector<std::string>& xmlNames, const std::string& subXml) {
    std::string suffix = "_" + subXml;
    std::vector<std::string> names;
    for (const std::string& candidate : xmlNames) {
        size_t ext = candidate.rfind(SUB_XML_EXT);
        // A candidate without ".xml" (a target name without extension) names no sub document.
        if (ext == std::string::npos) continue;
        std::string name = candidate;
        name.insert(ext, suffix);
        names.push_back(std::move(name));
    }
    return names;
}

xmlNodePtr HuevaneImplColorModeXml::getSubXmlNode(xmlDocPtr& document) {
    return findSubXmlNode(document, nullptr);
}

int32_t HuevaneImplColorModeXml::tryPutDataLutsMapBySubXml(xmlNodePtr& node,
                                                           const huevane::HuevaneLutKey& key) {
    HuevaneXmlDoc owner = getSubXmlDoc(node);
    if (!owner) return 2;
    const int32_t status = putDataLutsMapBySubXmlDoc(owner.get(), key);
    if (mAccount != nullptr) {
        std::string subXml;
        getTextFromXmlProperty(node, "subxml", &subXml);
        noteNode(status == 0 ? huevane::HuevaneReaderNote::SUBXML_USED
                             : huevane::HuevaneReaderNote::SUBXML_NOT_USED,
                 node, "subxml", subXml);
        mAccount->notes.back().document = reinterpret_cast<const char*>(owner->URL);
    }
    return status;
}

int32_t HuevaneImplColorModeXml::putDataLutsMapBySubXml(std::vector<std::string> names,
                                                        const huevane::HuevaneLutKey& key) {
    HuevaneXmlDoc owner = openColorModeFile(names, mAccount, true);
    if (!owner) return 2;
    return putDataLutsMapBySubXmlDoc(owner.get(), key);
}

int32_t HuevaneImplColorModeXml::putDataLutsMapBySubXmlDoc(xmlDocPtr document,
                                                           const huevane::HuevaneLutKey& key) {
    huevane::HuevaneDocumentRecord* record =
            mAccount != nullptr ? &mAccount->documents.back() : nullptr;
    xmlNodePtr first = findSubXmlNode(document, record);
    if (first == nullptr) return 1;
    putDataLutsMap(document, first, key);
    return 0;
}

HuevaneDataLutList HuevaneImplColorModeXml::getDataLuts(uint32_t modeId, uint32_t intentId) const {
    const huevane::HuevaneStoredDataLutList* luts = findDataLuts(modeId, intentId);
    return luts != nullptr ? huevane::getBorrowedDataLuts(*luts) : HuevaneDataLutList();
}

const huevane::HuevaneStoredDataLutList* HuevaneImplColorModeXml::findDataLuts(
        uint32_t modeId, uint32_t intentId) const {
    auto entry = mDataLutsMap.find(huevane::HuevaneLutKey(modeId, intentId));
    return entry != mDataLutsMap.end() ? &entry->second : nullptr;
}

void HuevaneImplColorModeXml::dumpDataLuts() {
    for (const auto& entry : mDataLutsMap) {
        for (const huevane::HuevaneStoredDataLut& lut : entry.second) {
            ALOGD("[%d/%d] id%d attr(%d,%d,%d,%d) %s\n", static_cast<int>(entry.first.first),
                  static_cast<int>(entry.first.second), lut.first.id, lut.first.attr0,
                  lut.first.attr1, lut.first.attr2, lut.first.attr3, lut.second.c_str());
        }
    }
}

int32_t HuevaneImplColorModeXml::getDataLutsMaxSize() const {
    return mDataLutsMaxSize;
}
