// A panel description (one JSON file, every key in the README) and the model of what a parcel
// makes the panel show: the nodes that act on colour in their hardware order, each as the parcel
// programs it, then the panel's native response. The file states the order and how each curve
// node's text encodes its curve; matrix texts mean what the library's matrix stage writes. A node
// the description does not cover is listed as not modelled, never guessed.
#ifndef HUEVANE_TOOLS_HUEVANEPANEL_H
#define HUEVANE_TOOLS_HUEVANEPANEL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "HuevaneColour.h"
#include "HuevaneDataLut.h"
#include "HuevaneMatrixText.h"
#include "HuevaneToolDiagnostics.h"

// How a curve node's text encodes its curve: `entries` values per channel, spread evenly over the
// input domain, each an integer of `outputBits` bits standing for 0 to 1.
struct HuevaneCurveLayout {
    size_t entries = 0;
    double inputLow = 0;
    double inputHigh = 1;
    int outputBits = 0;
    int channels = 1;          // 1: one curve for red, green and blue; 3: one each
    bool interleaved = false;  // 3 channels: r,g,b,r,g,b,... rather than all red, green, blue
    bool nearest = false;      // the entry nearest the input rather than linear interpolation
};

struct HuevanePanel {
    std::string path;
    std::string name;
    std::vector<uint8_t> order;  // node ids in hardware order; empty when the file states none
    std::map<uint8_t, HuevaneCurveLayout> curves;
    std::unique_ptr<HuevaneColourSpace> response;
    std::string responseText;  // how the file gives the response, for people
    bool responseFromPrimaries = false;
    // Mode name -> target (a name HuevaneColourSpace knows, or a profile path as this host
    // names it).
    std::map<std::string, std::string> targets;

    const std::string* findTarget(const std::string& modeName) const;
};

// Reads and checks a description. Every problem is reported naming the file and the key; false
// when any was found. `needsOrder`: the command models a calibration, so the file must state
// the hardware order.
bool readPanel(const std::string& path, bool needsOrder, HuevanePanel* panel,
               HuevaneDiagnostics& diagnostics);

// A target: a name (HuevaneColourSpace::getKnownNames) or an RGB ICC profile. Null with the reason
// in `error`.
std::unique_ptr<HuevaneColourSpace> openTarget(const std::string& target, std::string* error);

// A LUT a parcel carries, with where it came from for messages.
struct HuevaneSentLut {
    HuevaneDataLut lut;
    std::string file;  // empty when it is not a calibration's
    long line = 0;
    std::string origin;  // "colour transform", "extension entry 2", ... when not a calibration's
};

// One node of the hardware order as a parcel programs it.
struct HuevaneStage {
    uint8_t node = 0;
    bool sent = false;  // false: the parcel programs no LUT of this node; values pass unchanged
    bool matrix = false;
    huevane::mat4 elements{};  // a matrix: as its text holds them (index 4c + r: row r, column c)
    HuevaneCurveLayout layout;
    std::array<std::vector<double>, 3> curves;  // a curve: each channel's outputs, 0 to 1

    HuevaneRgb apply(const HuevaneRgb& in) const;
};

struct HuevanePipeline {
    std::vector<HuevaneStage> stages;
    // The panel's drive: the last node's output held to 0..1. `afterEach`: every stage's output.
    HuevaneRgb run(const HuevaneRgb& signal, std::vector<HuevaneRgb>* afterEach = nullptr) const;
};

// The pipeline of a parcel's LUTs under the description. What cannot be modelled goes to
// `problems`: errors (a text that does not match its description) leave the pipeline unusable,
// warnings (a node the description does not cover, an entry a later one of its node stands in for)
// are told and left out. Returns false on any error.
bool buildPipeline(const HuevanePanel& panel, const std::vector<HuevaneSentLut>& sent,
                   HuevanePipeline* pipeline, std::vector<HuevaneFinding>* problems);

// What the panel shows for a signal, in the profile connection space.
HuevaneXyz predictPcs(const HuevanePanel& panel, const HuevanePipeline& pipeline,
                      const HuevaneRgb& signal);

// "degamma (node 4) attr 1,0,255,255"
std::string describeLut(const pvx_colormode_data_header& header);

#endif  // HUEVANE_TOOLS_HUEVANEPANEL_H
