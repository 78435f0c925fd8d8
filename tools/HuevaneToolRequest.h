// The request options shared by the commands that drive an engine (parcel, explain): which mode
// and intent, which colour transform, which extension LUTs; and staging them through IHuevane as
// the compositor does.
#ifndef HUEVANE_TOOLS_HUEVANETOOLREQUEST_H
#define HUEVANE_TOOLS_HUEVANETOOLREQUEST_H

#include <cstdint>
#include <string>
#include <vector>

#include "HuevaneInspection.h"
#include "HuevaneToolCommand.h"
#include "IHuevane.h"

namespace CLI {
class Option;
}

// The options as CLI11 stores them.
struct HuevaneToolRequestOptions {
    uint32_t mode = 0;
    uint32_t intent = 0;
    std::vector<std::string> transform;
    std::vector<std::string> extensions;
    std::vector<std::string> attributes;
    CLI::Option* modeOption = nullptr;
    CLI::Option* intentOption = nullptr;
    CLI::Option* extensionOption = nullptr;
    CLI::Option* attributesOption = nullptr;
};

// --mode, --intent, --transform, --extension, --attributes. `modeRequired`: --mode must be given.
void addRequestOptions(CLI::App& command, HuevaneToolRequestOptions* options, bool modeRequired);

// One entry of the extension list: id 0 is an attribute entry.
struct HuevaneToolExtension {
    uint32_t id = 0;
    std::string text;
};

struct HuevaneToolRequest {
    uint32_t mode = 0;
    bool hasIntent = false;  // without it the engine is asked through setColorMode
    uint32_t intent = 0;
    bool hasTransform = false;
    float transform[16] = {};                      // column-major
    std::vector<HuevaneToolExtension> extensions;  // in command-line order

    size_t getExtensionLutCount() const;
};

// Reads the options into a request. Problems in values go to the diagnostics: a value the
// library would change silently is a warning; returns false on what cannot be used.
bool getToolRequest(HuevaneToolContext& context, const HuevaneToolRequestOptions& options,
                    HuevaneToolRequest* request);

// The request's extension list as setColorExtension takes it; its texts stay the request's.
std::vector<HuevaneExtension> getExtensionEntries(const HuevaneToolRequest& request);

// Why updateColorCoef refused a parcel, in the size rule's numbers.
void reportRefusedParcel(const huevane::HuevaneInspectedParcel& parcel,
                         HuevaneDiagnostics& diagnostics);

// Stages the request as the compositor would. A mode the engine does not offer, or an intent the
// mode does not list, is an error naming what is offered. Returns TOOL_OK or TOOL_FAILED.
int stageToolRequest(IHuevane& engine, const HuevaneToolRequest& request,
                     HuevaneDiagnostics& diagnostics);

#endif  // HUEVANE_TOOLS_HUEVANETOOLREQUEST_H
