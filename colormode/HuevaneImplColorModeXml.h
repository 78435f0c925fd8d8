// The calibration reader: opens the display's calibration document once, walks its mode nodes
// and keeps the colour modes, render intents and data LUTs they describe.
#ifndef HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODEXML_H
#define HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODEXML_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneDataLutMap.h"
#include "HuevaneImplColorModeXmlBase.h"
#include "HuevaneNodeTable.h"
#include "IHuevane.h"

class HuevaneImplColorModeXml : public HuevaneImplColorModeXmlBase {
  public:
    // Index = node id written into data-LUT headers; entry 0 names no LUT.
    static constexpr const auto& PVX_COLORMODE_NODE = huevane::PVX_COLORMODE_NODE;
    static constexpr int PVX_COLORMODE_NODE_COUNT = huevane::PVX_COLORMODE_NODE_COUNT;

    explicit HuevaneImplColorModeXml(std::vector<std::string> xmlNames);
    // A reader that also keeps an account of what it meets, for inspection; `account` must
    // outlive the reader.
    HuevaneImplColorModeXml(std::vector<std::string> xmlNames,
                            huevane::HuevaneCalibrationAccount* account);
    ~HuevaneImplColorModeXml();
    HuevaneImplColorModeXml(const HuevaneImplColorModeXml&) = delete;
    HuevaneImplColorModeXml& operator=(const HuevaneImplColorModeXml&) = delete;

    // Document walk.
    void buildupPvxNodeNameToEnumMap();
    static const char* getPvxColorModeNode(int32_t index);
    static bool isValidXmlProperties(xmlNodePtr& node);
    int32_t buildupColorModeNodes();

    // Data-LUT map.
    void putDataLutsMap(xmlDocPtr& document, xmlNodePtr& node, const huevane::HuevaneLutKey& key);
    static pvx_colormode_data_header getColorModeDataHeader(xmlNodePtr& node, uint32_t id,
                                                            const std::string& text);
    HuevaneXmlDoc getSubXmlDoc(xmlNodePtr& node);
    // The names a sub document called `subXml` is looked for under, one per calibration name:
    // "_" + subXml goes before the name's last ".xml"; a name without ".xml" gives none.
    static std::vector<std::string> getSubXmlNames(const std::vector<std::string>& xmlNames,
                                                   const std::string& subXml);
    static xmlNodePtr getSubXmlNode(xmlDocPtr& document);
    int32_t tryPutDataLutsMapBySubXml(xmlNodePtr& node, const huevane::HuevaneLutKey& key);
    // The LUTs of the first of `names` that opens, read as a sub document under `key`, as a mode
    // node naming it would have them read: 0 when it supplied them, 1 when it has no usable tune
    // mode, 2 when none opens. For inspecting a sub document on its own.
    int32_t putDataLutsMapBySubXml(std::vector<std::string> names,
                                   const huevane::HuevaneLutKey& key);
    HuevaneDataLutList getDataLuts(uint32_t modeId, uint32_t intentId) const;
    // The stored list of the pair itself, or null; valid as long as the reader lives.
    const huevane::HuevaneStoredDataLutList* findDataLuts(uint32_t modeId, uint32_t intentId) const;
    void dumpDataLuts();
    int32_t getDataLutsMaxSize() const;

    // Mode and intent lists.
    static HuevaneMode getColorModeFromXmlProperties(xmlNodePtr& node);
    static DisplayRenderIntent getRenderIntentFromXmlProperties(xmlNodePtr& node);
    void putColorModeList(HuevaneMode& mode);
    bool isDuplicatedColorMode(const HuevaneMode& mode);
    void putRenderIntentList(uint32_t& modeId, DisplayRenderIntent& intent);
    bool isDuplicatedRenderIntent(uint32_t& modeId, const DisplayRenderIntent& intent);
    std::vector<HuevaneMode> getColorModeList();
    std::vector<DisplayRenderIntent> getRenderIntentList(uint32_t modeId);
    void dumpColorModeList();
    void dumpRenderIntentList(uint32_t modeId);

  private:
    huevane::HuevaneDataLutMap mDataLutsMap;
    std::vector<HuevaneMode> mColorModeList;
    std::unordered_map<uint32_t, std::vector<DisplayRenderIntent>> mRenderIntentMap;
    std::unordered_map<std::string, uint32_t> mNodeNameToEnumMap;
    std::vector<std::string> mXmlNames;
    int32_t mDataLutsMaxSize = 0;
    // Keys of the listed modes and intents, so each duplicate check is one lookup.
    std::unordered_set<std::string> mColorModeKeys;
    std::unordered_set<std::string> mRenderIntentKeys;
    // Null unless an inspection asked for an account.
    huevane::HuevaneCalibrationAccount* mAccount = nullptr;

    // The sub document's LUTs under `key`; 0 when it supplied them, 1 otherwise.
    int32_t putDataLutsMapBySubXmlDoc(xmlDocPtr document, const huevane::HuevaneLutKey& key);
    // What the account keeps of the walk.
    void noteNode(huevane::HuevaneReaderNote::Kind kind, const xmlNode* node, std::string name,
                  std::string text = std::string());
    void noteNumber(xmlNodePtr& node, const char* property, bool attribute = false);
};

#endif  // HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODEXML_H
