// The colour-mode source: picks the display's calibration file, owns its reader, and stages the
// calibration LUTs of a requested (mode, intent).
#ifndef HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODE_H
#define HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneImplColorModeXml.h"
#include "HuevaneImplLutSource.h"
#include "IHuevane.h"

class HuevaneImplColorMode : public HuevaneImplLutSource<unsigned int> {
  public:
    static const char* const TARGET_NAME_SYSFS_NODE_PREFIX;
    static const char* const TARGET_NAME_SYSFS_NODE_SUFFIX;
    static const char* const COLOR_MODE_DOC_NAME;
    static const char* const DOC_EXT;

    explicit HuevaneImplColorMode(uint32_t id);
    // A source over the calibration names given, whose reader keeps an account of what it meets
    // (for inspection; `account` must outlive the source).
    HuevaneImplColorMode(std::vector<std::string> xmlNames,
                         huevane::HuevaneCalibrationAccount* account);
    ~HuevaneImplColorMode() override;
    HuevaneImplColorMode(const HuevaneImplColorMode&) = delete;
    HuevaneImplColorMode& operator=(const HuevaneImplColorMode&) = delete;

    HuevaneDataLutList getDataLuts() override;
    // The staged LUTs themselves, for the engine's update: read in place, never copied.
    const HuevaneDataLutList& getStagedDataLuts() const { return mStaged; }
    void clearDataLuts() override;
    void dumpDataLuts() override;
    int32_t getDataLutsMaxSize() override;
    // {mode id, intent id}; 1 when the list does not hold exactly two values.
    int32_t setDataLuts(std::vector<unsigned int> request) override;

    virtual std::vector<HuevaneMode> getColorModeList();
    virtual void dumpColorModeList();
    virtual std::vector<DisplayRenderIntent> getRenderIntentList(unsigned int mode);
    virtual void dumpRenderIntentList(unsigned int mode);
    // For inspection: the reader, and the pair of the last accepted request.
    HuevaneImplColorModeXml& getColorModeXml() { return *mColorModeXml; }
    const HuevaneImplColorModeXml& getColorModeXml() const { return *mColorModeXml; }
    uint32_t getColorModeId() const { return mColorModeId; }
    uint32_t getRenderIntentId() const { return mRenderIntentId; }

    static std::string getXmlNameSuffixNode(uint32_t id);
    static std::string getXmlNameSuffix(uint32_t id);
    // The same, with what reading the node gave written to `record` when given.
    static std::string getXmlNameSuffix(uint32_t id, huevane::HuevaneTargetNameRecord* record);
    static std::string getXmlNameWithSuffix(uint32_t id);
    static std::string getXmlNameDefault(uint32_t id);
    static std::string getXmlNamePrefix(uint32_t id);
    // Calibration files to try, in order: the with-suffix name, then the default name.
    static std::vector<std::string> getXmlNames(uint32_t id);
    static std::vector<std::string> getXmlNames(uint32_t id,
                                                huevane::HuevaneTargetNameRecord* record);

  private:
    std::unique_ptr<HuevaneImplColorModeXml> mColorModeXml;
    // The staged LUTs, as views of the texts the reader keeps for the engine's lifetime, so
    // staging a mode copies no text; the list's storage is kept between requests, so staging
    // allocates only when a pair has more LUTs than every earlier one.
    HuevaneDataLutList mStaged;
    uint32_t mColorModeId = 0xFFFFFFFF;
    uint32_t mRenderIntentId = 0xFFFFFFFF;
};

#endif  // HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODE_H
