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
#include "HuevaneMatrixText.h"
#include "HuevaneNodeTable.h"
#include "HuevaneParcel.h"
#include "IHuevane.h"

// What an update did with every staged LUT, kept only while an inspection asks for it.
struct HuevaneUpdateAccount {
    // A LUT as a source staged it: its source kind and its place in that source's list.
    struct Origin {
        int32_t sourceKind = -1;
        int32_t index = -1;  // -1: staged before this update
    };
    struct Factor {
        Origin origin;  // the LUT that last set this source's matrix
        huevane::mat4 matrix{};
    };
    struct Entry {
        Origin origin;      // the LUT that was put, or for a stage's entry the LUT it took
        uint8_t stage = 0;  // 0, or the node id of the matrix stage that made the entry
        std::vector<Factor> factors;  // the stage's matrices, left to right as multiplied
    };
    HuevaneDataLutList staged[3];  // what each source had staged, by source kind
    std::vector<Entry> entries;    // parallel to the list packed
    std::vector<Origin> vanished;  // taken by a stage that emitted nothing for it
    int32_t parcelSize = 0;        // bytes the whole list takes packed
    int32_t parcelLimit = 0;       // bytes the parcel may take
    // What the engine notes while it collects: each stage's entries, and per stage and source
    // kind the index of the last LUT the stage took.
    std::vector<Entry> emitted[2];
    int32_t lastTaken[2][3] = {};
};

class HuevaneImplementation : public IHuevane {
  public:
    explicit HuevaneImplementation(uint32_t id);
    // An engine around a colour-mode source built elsewhere (for inspection).
    explicit HuevaneImplementation(std::unique_ptr<HuevaneImplColorMode> colorMode);
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
    // For inspection: the colour-mode source; an account of the next updates (null: none);
    // forgetting the matrices both stages store, as a new engine has none.
    const HuevaneImplColorMode& getColorModeSource() const { return *mColorMode; }
    void setUpdateAccount(HuevaneUpdateAccount* account) { mAccount = account; }
    void clearStoredMatrices();

  private:
    // 0 when a stage took the LUT.
    int32_t offerToMatrixStages(int32_t sourceKind, const HuevaneDataLut& lut);
    // createDataLuts as pointers (mUpdateList) into the sources' staged lists and the stages'
    // emitted LUTs, valid until the next request or clear; de-duplicates through mIndex.
    void collectDataLuts();
    void putIndexedDataLuts(const HuevaneDataLutList& luts, int32_t sourceKind);
    void putEmittedDataLuts(const HuevaneImplMatrix& stage);
    // The position the LUT took in mUpdateList.
    size_t putIndexedDataLut(const HuevaneDataLut* lut);
    // packDataLutsIntoParcel over entries wherever they lie.
    int32_t packEntries(const std::vector<const HuevaneDataLut*>& list, void* buffer);
    // The accounted path of an offer to the stages: true when a stage took the LUT.
    bool offerAccounted(int32_t sourceKind, int32_t index, const HuevaneDataLut& lut);
    void putAccountEntry(size_t position, HuevaneUpdateAccount::Entry entry);
    static void putDataLut(HuevaneDataLutList& list, HuevaneDataLut&& lut);

    std::unique_ptr<HuevaneImplColorMode> mColorMode;
    std::unique_ptr<HuevaneImplTransform> mTransform;
    std::unique_ptr<HuevaneImplExtension> mExtension;
    HuevaneImplMatrix mGammaMatrix{huevane::PVX_NODE_GAMMA_MATRIX};
    HuevaneImplMatrix mLinearMatrix{huevane::PVX_NODE_LINEAR_MATRIX};
    int32_t mMinCoefSize = PVX_MIN_COEF_SIZE;
    uint8_t mSeqNum = 0;
    int32_t mLogLevel = 0;
    // Scratch of every update, kept so that a steady update allocates nothing: the result list,
    // as pointers into the lists the sources and stages hold.
    huevane::HuevaneDataLutIndex mIndex;
    std::vector<const HuevaneDataLut*> mUpdateList;
    // Inspection only: the account being kept.
    HuevaneUpdateAccount* mAccount = nullptr;
};

#endif  // HUEVANE_ENGINE_HUEVANEIMPLEMENTATION_H
