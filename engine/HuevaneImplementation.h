// The engine behind IHuevane: owns the three LUT sources and both matrix stages, and turns what
// they staged into one de-duplicated LUT list and then into a coefficient parcel.
#ifndef HUEVANE_ENGINE_HUEVANEIMPLEMENTATION_H
#define HUEVANE_ENGINE_HUEVANEIMPLEMENTATION_H

#include <cstdint>
#include <memory>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneDataLutIndex.h"
#include "HuevaneImplColorMode.h"
#include "HuevaneImplExtension.h"
#include "HuevaneImplMatrix.h"
#include "HuevaneImplTransform.h"
#include "HuevaneNodeTable.h"
#include "HuevaneParcel.h"
#include "IHuevane.h"

class HuevaneImplementation : public IHuevane {
  public:
    explicit HuevaneImplementation(uint32_t id);
    ~HuevaneImplementation() override;
    HuevaneImplementation(const HuevaneImplementation&) = delete;
    HuevaneImplementation& operator=(const HuevaneImplementation&) = delete;

    std::vector<HuevaneMode> getColorModes() override;
    int32_t setColorMode(uint32_t mode) override;
    std::vector<DisplayRenderIntent> getRenderIntents(uint32_t mode) override;
    int32_t setColorModeWithRenderIntent(uint32_t mode, uint32_t intent) override;
    int32_t setColorTransform(const float* matrix, uint32_t value) override;
    int32_t setColorExtension(std::vector<HuevaneExtension>& extensions) override;
    int32_t getColorCoefSize() override;
    int32_t updateColorCoef(void* buffer) override;
    void setLogLevel(int32_t level) override;

    // Ends an update cycle without producing a parcel.
    void clearDataLuts();
    HuevaneDataLutList createDataLuts();
    static void putDataLut(HuevaneDataLutList& list, const HuevaneDataLut& lut);
    void putDataLuts(HuevaneDataLutList& list, HuevaneDataLutList luts, int32_t sourceKind);
    // Same hardware slot: same id and attribute bytes. Reads no engine state.
    static bool compareDataLut(const HuevaneDataLut& a, const HuevaneDataLut& b);
    int32_t packDataLutsIntoParcel(HuevaneDataLutList& list, void* buffer);
    void printParcel(void* buffer) const;
    // Host tools show which calibration documents the reader used, and why others were not.
    const HuevaneImplColorMode& getColorModeSource() const { return *mColorMode; }

  private:
    // 0 when a stage took the LUT.
    int32_t offerToMatrixStages(int32_t sourceKind, const HuevaneDataLut& lut);
    // createDataLuts into `list`, which must be empty; de-duplicates through mIndex.
    void collectDataLuts(HuevaneDataLutList& list);
    void putIndexedDataLuts(HuevaneDataLutList& list, HuevaneDataLutList&& luts, int32_t sourceKind);
    void putIndexedDataLut(HuevaneDataLutList& list, HuevaneDataLut&& lut);
    static void putDataLut(HuevaneDataLutList& list, HuevaneDataLut&& lut);

    std::unique_ptr<HuevaneImplColorMode> mColorMode;
    std::unique_ptr<HuevaneImplTransform> mTransform;
    std::unique_ptr<HuevaneImplExtension> mExtension;
    HuevaneImplMatrix mGammaMatrix{huevane::PVX_NODE_GAMMA_MATRIX};
    HuevaneImplMatrix mLinearMatrix{huevane::PVX_NODE_LINEAR_MATRIX};
    int32_t mMinCoefSize = PVX_MIN_COEF_SIZE;
    uint8_t mSeqNum = 0;
    int32_t mLogLevel = 0;
    // Scratch of every update, kept so that the update allocates only for the LUT texts.
    huevane::HuevaneDataLutIndex mIndex;
    HuevaneDataLutList mUpdateList;
};

#endif  // HUEVANE_ENGINE_HUEVANEIMPLEMENTATION_H
