// What the library knows about a display's calibration and the parcels it builds, for
// huevane-tool: the documents it considered and why each was used or not, every stored LUT with
// its document and line, what its reader passed over, libxml2's reports, and for any update
// every parcel entry with the LUT it came from and the matrix stage that rewrote it. Every fact
// comes from the library's own code running as on a device; nothing here is a second reading.
// Not part of IHuevane, and never exported from the shared library.
#ifndef HUEVANE_INSPECT_HUEVANEINSPECTION_H
#define HUEVANE_INSPECT_HUEVANEINSPECTION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "HuevaneCalibrationAccount.h"
#include "HuevaneDataLut.h"
#include "HuevaneImplLutSource.h"
#include "HuevaneMatrixText.h"
#include "IHuevane.h"

class HuevaneImplementation;

namespace huevane {

// What libxml2 reported while the library parsed, one report as it gave it.
struct HuevaneXmlMessage {
    std::string document;  // device path
    long line = 0;
    bool warning = false;
    std::string message;
};

// A stored LUT and where it was written.
struct HuevaneStoredLut {
    HuevaneDataLut lut;
    HuevanePlace place;  // line 0 when the account has none
};

// One (mode, intent) as the compositor is offered it, with the LUTs stored under its key.
struct HuevaneStoredPair {
    HuevaneMode mode;
    DisplayRenderIntent intent;
    std::vector<HuevaneStoredLut> luts;
};

// Where a staged LUT came from.
struct HuevaneLutOrigin {
    int32_t sourceKind = -1;      // a SourceKind; -1 unknown
    HuevanePlace place;           // colour mode: where it was written
    int32_t extensionEntry = -1;  // extension: its index in the extension list staged
    bool earlier = false;         // staged by an earlier update (a matrix a stage still holds)
};

// One entry of a parcel the engine wrote.
struct HuevaneParcelEntry {
    size_t offset = 0;
    HuevaneDataLut sent;      // header and text as the parcel carries them
    HuevaneDataLut stored;    // the staged LUT it came from; for a stage's entry, the one taken
    HuevaneLutOrigin origin;  // of `stored`
    uint8_t stage = 0;        // 0, or the node id of the matrix stage that wrote the entry
    struct Factor {
        HuevaneLutOrigin origin;  // the LUT that last set this source's matrix
        mat4 matrix{};
    };
    std::vector<Factor> factors;  // a stage's entry: its matrices, left to right
    mat4 product{};               // a stage's entry: the matrix it sends
};

// What one updateColorCoef gave.
struct HuevaneInspectedParcel {
    bool built = false;          // updateColorCoef returned 0
    int32_t bufferSize = 0;      // getColorCoefSize() before the update
    std::vector<uint8_t> bytes;  // the parcel's total_size bytes
    std::vector<HuevaneParcelEntry> entries;
    std::vector<HuevaneLutOrigin> vanished;  // taken by a stage that emitted nothing for them
    int32_t neededSize = 0;                  // the size rule: what the list takes packed ...
    int32_t limit = 0;  // ... and what a parcel may take (refused when needed > limit)
};

class HuevaneInspection {
  public:
    // The calibration of `display` in the device tree at `root` (the folder standing for the
    // device's '/'), chosen and read as the library does on a device. The engine is built even
    // when createInstance would build none (see isOffered).
    static std::unique_ptr<HuevaneInspection> openDisplay(const std::string& root, uint32_t display);
    // One calibration document at a host path; its sub documents are looked for beside it.
    static std::unique_ptr<HuevaneInspection> openFile(const std::string& path);
    // A sub document at a host path on its own, read as a mode node naming it reads it; its LUTs
    // are getSubDocumentLuts().
    static std::unique_ptr<HuevaneInspection> openSubDocument(const std::string& path);

    ~HuevaneInspection();
    HuevaneInspection(const HuevaneInspection&) = delete;
    HuevaneInspection& operator=(const HuevaneInspection&) = delete;

    // True when createInstance would return an engine: a candidate exists.
    bool isOffered() const { return mOffered; }
    // The engine, as the compositor drives it.
    IHuevane& getEngine();
    // The calibration names tried, in order (device paths).
    const std::vector<std::string>& getCandidates() const { return mCandidates; }
    const HuevaneCalibrationAccount& getAccount() const { return mAccount; }
    const std::vector<HuevaneXmlMessage>& getXmlMessages() const { return mXmlMessages; }
    // Where a device path lies on this host.
    std::string getHostPath(const std::string& devicePath) const;
    // What the reader took the calibration's largest (mode, intent) to need in a parcel.
    int32_t getDataLutsMaxSize() const;

    // Every (mode, intent) in the order getColorModes() and getRenderIntents() offer them.
    std::vector<HuevaneStoredPair> getPairs();
    std::vector<HuevaneStoredLut> getStoredLuts(uint32_t mode, uint32_t intent) const;
    std::vector<HuevaneStoredLut> getSubDocumentLuts() const;

    // updateColorCoef over what is staged, accounted entry by entry. `extensions`: every
    // extension entry staged since the last update, in order (to name the entry of each LUT).
    HuevaneInspectedParcel update(const std::vector<HuevaneExtension>& extensions);
    // The parcel one (mode, intent) gives on its own: nothing else staged, no matrix stored
    // from earlier updates. Drops whatever was staged.
    HuevaneInspectedParcel getPairParcel(uint32_t mode, uint32_t intent);
    // Drops whatever is staged and every matrix the stages store: the engine then builds what a
    // new one would.
    void reset();

    // How the extension source reads an attribute entry's text: each value with the text it was
    // read from. Only the low 8 bits of the first four reach a header.
    static std::vector<std::pair<std::string, uint32_t>> getAttributeValues(const std::string& text);

  private:
    explicit HuevaneInspection(std::string root);
    HuevaneLutOrigin getOrigin(int32_t sourceKind, int32_t index,
                               const std::vector<HuevaneExtension>& extensions) const;

    std::string mRoot;
    bool mOffered = false;
    std::vector<std::string> mCandidates;
    HuevaneCalibrationAccount mAccount;
    std::vector<HuevaneXmlMessage> mXmlMessages;
    std::unique_ptr<HuevaneImplementation> mEngine;
};

}  // namespace huevane

#endif  // HUEVANE_INSPECT_HUEVANEINSPECTION_H
