// The colour-mode list and the per-mode render-intent lists of the calibration reader.
#define LOG_TAG "libhuevane"

#include <libxml/tree.h>
#include <log/log.h>

#include <cstring>

#include "HuevaneImplColorModeXml.h"

namespace {

// The identity of a listed entry: two ids, then the name's bytes.
std::string getListKey(uint32_t first, uint32_t second, const std::string& name) {
    std::string key(sizeof(first) + sizeof(second), '\0');
    memcpy(&key[0], &first, sizeof(first));
    memcpy(&key[sizeof(first)], &second, sizeof(second));
    return key + name;
}

}  // namespace

HuevaneMode HuevaneImplColorModeXml::getColorModeFromXmlProperties(xmlNodePtr& node) {
    HuevaneMode mode;
    getTextFromXmlProperty(node, "name", &mode.modeName);
    mode.modeId = getValueFromXmlProperty(node, "mode_id");
    mode.gamutId = getValueFromXmlProperty(node, "gamut_id");
    return mode;
}

DisplayRenderIntent HuevaneImplColorModeXml::getRenderIntentFromXmlProperties(xmlNodePtr& node) {
    DisplayRenderIntent intent;
    getTextFromXmlProperty(node, "intent_name", &intent.intentName);
    intent.intentId = getValueFromXmlProperty(node, "intent_id");
    return intent;
}

void HuevaneImplColorModeXml::putColorModeList(HuevaneMode& mode) {
    if (mColorModeKeys.insert(getListKey(mode.modeId, mode.gamutId, mode.modeName)).second) {
        mColorModeList.push_back(mode);
    }
}

bool HuevaneImplColorModeXml::isDuplicatedColorMode(const HuevaneMode& mode) {
    return mColorModeKeys.count(getListKey(mode.modeId, mode.gamutId, mode.modeName)) != 0;
}

void HuevaneImplColorModeXml::putRenderIntentList(uint32_t& modeId, DisplayRenderIntent& intent) {
    if (mRenderIntentKeys.insert(getListKey(modeId, intent.intentId, intent.intentName)).second) {
        mRenderIntentMap[modeId].push_back(intent);
    }
}

bool HuevaneImplColorModeXml::isDuplicatedRenderIntent(uint32_t& modeId,
                                                       const DisplayRenderIntent& intent) {
    return mRenderIntentKeys.count(getListKey(modeId, intent.intentId, intent.intentName)) != 0;
}

std::vector<HuevaneMode> HuevaneImplColorModeXml::getColorModeList() {
    return mColorModeList;
}

std::vector<DisplayRenderIntent> HuevaneImplColorModeXml::getRenderIntentList(uint32_t modeId) {
    auto intents = mRenderIntentMap.find(modeId);
    if (intents == mRenderIntentMap.end()) return std::vector<DisplayRenderIntent>();
    return intents->second;
}

void HuevaneImplColorModeXml::dumpColorModeList() {
    ALOGD("[supported color modes]");
    for (const HuevaneMode& mode : mColorModeList) {
        ALOGD("%s: modeId(%d), gamutId(%d), modeName(%s)", "dumpColorModeList",
              static_cast<int>(mode.modeId), static_cast<int>(mode.gamutId), mode.modeName.c_str());
    }
}

void HuevaneImplColorModeXml::dumpRenderIntentList(uint32_t modeId) {
    ALOGD("[supported render intents]");
    auto intents = mRenderIntentMap.find(modeId);
    if (intents == mRenderIntentMap.end()) return;
    for (const DisplayRenderIntent& intent : intents->second) {
        ALOGD("%s: intentId(%d), intentName(%s))", "dumpRenderIntentList",
              static_cast<int>(intent.intentId), intent.intentName.c_str());
    }
}
