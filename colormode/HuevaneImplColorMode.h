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
    ~HuevaneImplColorMode() override;
    HuevaneImplColorMode(const HuevaneImplColorMode&) = delete;
    HuevaneImplColorMode& operator=(const HuevaneImplColorMode&) = delete;

    HuevaneDataLutList getDataLuts() override;
    void clearDataLuts() override;
    void dumpDataLuts() override;
    int32_t getDataLutsMaxSize() override;
    // {mode id, intent id}; 1 when the list does not hold exactly two values.
    int32_t setDataLuts(std::vector<unsigned int> request) override;

    virtual std::vector<HuevaneMode> getColorModeList();
    virtual void dumpColorModeList();
    virtual std::vector<DisplayRenderIntent> getRenderIntentList(unsigned int mode);
    virtual void dumpRenderIntentList(unsigned int mode);
    // The calibration documents the reader found, main document first (see the reader).
    const HuevaneCalibrationDocuments& getCalibrationDocuments() const;

    static std::string getXmlNameSuffixNode(uint32_t id);
    static std::string getXmlNameSuffix(uint32_t id);
    static std::string getXmlNameWithSuffix(uint32_t id);
    static std::string getXmlNameDefault(uint32_t id);
    static std::string getXmlNamePrefix(uint32_t id);
    // Calibration files to try, in order: the with-suffix name, then the default name.
    static std::vector<std::string> getXmlNames(uint32_t id);

  private:
    std::unique_ptr<HuevaneImplColorModeXml> mColorModeXml;
    // The staged LUTs: the reader's own list for the pair, which never changes after the walk,
    // so staging a mode copies nothing. Null when nothing is staged.
    const HuevaneDataLutList* mDataLuts = nullptr;
    uint32_t mColorModeId = 0xFFFFFFFF;
    uint32_t mRenderIntentId = 0xFFFFFFFF;
};

#endif  // HUEVANE_COLORMODE_HUEVANEIMPLCOLORMODE_H
