// One display's engine on a copied device tree, created as the compositor creates it, with
// everything that went wrong on the way reported from the library's own account: candidates not
// found (and why), libxml2's reports as FILE:LINE lines, and each document the reader did not
// use, with the reason.
#ifndef HUEVANE_TOOLS_HUEVANETOOLDEVICE_H
#define HUEVANE_TOOLS_HUEVANETOOLDEVICE_H

#include <memory>
#include <string>
#include <vector>

#include "HuevaneInspection.h"
#include "HuevaneToolCommand.h"
#include "IHuevane.h"

class HuevaneToolDevice {
  public:
    explicit HuevaneToolDevice(HuevaneToolContext& context) : mContext(context) {}
    ~HuevaneToolDevice();
    HuevaneToolDevice(const HuevaneToolDevice&) = delete;
    HuevaneToolDevice& operator=(const HuevaneToolDevice&) = delete;

    // Creates the engine of --display under --root. False when no calibration document of the
    // display could be read, or one read was malformed; every reason has been reported.
    bool open();
    IHuevane& getEngine() { return mInspection->getEngine(); }
    huevane::HuevaneInspection& getInspection() { return *mInspection; }
    // Device paths of the documents the reader used, the calibration document first.
    const std::vector<std::string>& getDocuments() const { return mDocuments; }

  private:
    HuevaneToolContext& mContext;
    std::unique_ptr<huevane::HuevaneInspection> mInspection;
    std::vector<std::string> mDocuments;
};

#endif  // HUEVANE_TOOLS_HUEVANETOOLDEVICE_H
