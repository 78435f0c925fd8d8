// What diff, plot and report show of a calibration: the library's own account of it (modes,
// intents, and for every pair the entries of the parcel the device gets for it, each with the
// LUT as written and the file and line it came from), with every path as this host names it.
#ifndef HUEVANE_TOOLS_HUEVANETOOLMODEL_H
#define HUEVANE_TOOLS_HUEVANETOOLMODEL_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneInspection.h"
#include "HuevaneMatrixText.h"
#include "HuevaneToolDiagnostics.h"
#include "IHuevane.h"

// Where a calibration LUT was written: file as this host names it, 1-based line (0 unknown).
using HuevaneLutPlace = huevane::HuevanePlace;

// One entry of a pair's parcel.
struct HuevaneModelLut {
    HuevaneDataLut lut;     // as the parcel carries it, after the matrix stages
    HuevaneDataLut stored;  // as the calibration holds it
    HuevaneLutPlace place;  // where it was written; line 0 when not in the calibration
    // True when a matrix stage rewrote the text, so that its size or CRC differ.
    bool isRewritten() const {
        return lut.first.total_size != stored.first.total_size || lut.first.crc != stored.first.crc;
    }
};

// One (mode, intent) and the parcel the device gets for it alone: nothing else staged.
struct HuevaneModelPair {
    HuevaneMode mode;
    DisplayRenderIntent intent;
    // The parcel's entries; when the size rule refuses the parcel, the LUTs as written.
    std::vector<HuevaneModelLut> luts;
    bool built = true;
    int32_t neededSize = 0;  // when refused: what the parcel needs and what it may take
    int32_t limit = 0;
};

// "file:line"; "" when not known. `brief`: the file's name without its folder.
std::string placeText(const HuevaneLutPlace& place, bool brief = false);

// How every view prints a CRC ("0xFFF2") and a matrix element ("0.984985").
std::string getCrcText(unsigned crc);
std::string getMatrixValueText(float value);
// "1253 bytes, crc 0xFFF2": the entry as the device gets it.
std::string getSentText(const HuevaneModelLut& lut);
// "stored 143 bytes, crc 0xFFA3" when a stage rewrote the text; "" otherwise.
std::string getStoredText(const HuevaneModelLut& lut);
// Why updateColorCoef refuses the pair's parcel ("" when it is built).
std::string getRefusedText(const HuevaneModelPair& pair);
// The sysfs node the target name came from and what it held ("PATH: NAME", "PATH: not found").
std::string getTargetNameText(const huevane::HuevaneTargetNameRecord& target);

struct HuevaneCalibrationModel {
    std::string document;                   // main document as opened on this host
    std::string targetName;                 // getTargetNameText; "" for a file on its own
    std::vector<std::string> subDocuments;  // in the order the reader opened them
    // Every other document the reader looked for, with why it did without it.
    std::vector<std::pair<std::string, std::string>> unusedDocuments;
    std::vector<HuevaneMode> modes;  // as getColorModes() lists them
    // Each mode id's render intents as getRenderIntents() lists them, in the order of the modes.
    std::vector<std::pair<uint32_t, std::vector<DisplayRenderIntent>>> intents;
    // The pairs in the order the compositor is offered them: mode list, then each intent list.
    std::vector<HuevaneModelPair> pairs;
    // Why no calibration could be read; the model is unusable when there are any.
    std::vector<HuevaneFinding> errors;
    // What libxml2 said about documents that were passed over for a later one.
    std::vector<HuevaneFinding> warnings;

    const HuevaneModelPair* findPair(uint32_t modeId, uint32_t intentId) const;

    // The reader the stored LUTs' texts belong to, kept while the model lives.
    std::shared_ptr<const huevane::HuevaneInspection> source;
};

// Reports the model's errors and warnings; false when the model is unusable.
bool reportModelProblems(const HuevaneCalibrationModel& model, HuevaneDiagnostics& diagnostics);

// Keeps the library's log lines off the tool's output while the library reads, unless the user
// asked for them with --log-level.
class HuevaneLibraryLogGuard {
  public:
    explicit HuevaneLibraryLogGuard(int logLevel);
    ~HuevaneLibraryLogGuard();
    HuevaneLibraryLogGuard(const HuevaneLibraryLogGuard&) = delete;
    HuevaneLibraryLogGuard& operator=(const HuevaneLibraryLogGuard&) = delete;
};

// A calibration file on its own: sub documents are looked for beside it, as the library names them.
HuevaneCalibrationModel loadCalibrationFile(const std::string& path);
// The calibration of `display` in a device tree rooted at `root`, chosen as the library chooses.
HuevaneCalibrationModel loadDeviceCalibration(const std::string& root, uint32_t display);

// Why the library did not use a document, in words ("does not parse"); with what follows from it
// (`sub`: a sub document, whose mode node then keeps its own LUTs).
std::string getDocumentReason(const huevane::HuevaneDocumentRecord& document);
std::string getDocumentOutcomeText(const huevane::HuevaneDocumentRecord& document, bool sub);
// libxml2's reports as findings, each once, under this host's paths.
std::vector<HuevaneFinding> getXmlFindings(const huevane::HuevaneInspection& inspection);
// Everything the library read, or looked for, and did without: libxml2's reports, the
// target-name node, documents found and not used, sub documents that do not exist.
std::vector<HuevaneFinding> getAccountFindings(const huevane::HuevaneInspection& inspection);

// The numbers of a LUT text that is a list of decimal values; false for any other text.
bool getLutValues(const std::string& text, std::vector<double>* values);
// A LUT text cut into its comma-separated fields, white space around each removed.
std::vector<std::string> getLutFields(const std::string& text);

#endif  // HUEVANE_TOOLS_HUEVANETOOLMODEL_H
