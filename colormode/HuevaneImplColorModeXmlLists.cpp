// The colour-mode list and the per-mode render-intent lists of the calibration reader.
#define LOG_TAG "libhuevane"

#include <log/log.h>

#include "HuevaneImplColorModeXml.h"

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
    if (!isDuplicatedColorMode(mode)) mColorModeList.push_back(mode);
}

bool HuevaneImplColorModeXml::isDuplicatedColorMode(const HuevaneMode& mode) {
    for (const HuevaneMode& listed : mColorModeList) {
        if (listed.modeId == mode.modeId && listed.gamutId == mode.gamutId &&
            listed.modeName == mode.modeName) {
            return true;
        }
    }
    return false;
}

void HuevaneImplColorModeXml::putRenderIntentList(uint32_t& modeId, DisplayRenderIntent& intent) {
    if (!isDuplicatedRenderIntent(modeId, intent)) mRenderIntentMap[modeId].push_back(intent);
}

bool HuevaneImplColorModeXml::isDuplicatedRenderIntent(uint32_t& modeId,
                                                       const DisplayRenderIntent& intent) {
    auto intents = mRenderIntentMap.find(modeId);
    if (intents == mRenderIntentMap.end()) return false;
    for (const DisplayRenderIntent& listed : intents->second) {
        if (listed.intentId == intent.intentId && listed.intentName == intent.intentName) {
            return true;
        }
    }
    return false;
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
