// One display's engine on a copied device tree, created as the compositor creates it, with
// everything that went wrong on the way reported: files not found (and why), libxml2's errors
// as FILE:LINE lines, and each document the reader recorded as not used, with the reason.
#ifndef HUEVANE_TOOLS_HUEVANETOOLDEVICE_H
#define HUEVANE_TOOLS_HUEVANETOOLDEVICE_H

#include <memory>
#include <set>
#include <string>
#include <vector>

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
    IHuevane& getEngine() { return *mEngine; }
    // Device paths of the documents the reader opened, the calibration document first.
    const std::vector<std::string>& getDocuments() const { return mDocuments; }

    // Called from the libxml2 hook while open() runs.
    void onXmlProblem(bool warning, const std::string& file, long line, const std::string& message);

  private:
    void reportCandidates();
    void readDocuments();

    struct EngineDeleter {
        void operator()(IHuevane* engine) const { destroyInstance(engine); }
    };
    HuevaneToolContext& mContext;
    std::unique_ptr<IHuevane, EngineDeleter> mEngine;
    std::vector<std::string> mDocuments;
    std::set<std::string> mXmlReported;
};

#endif  // HUEVANE_TOOLS_HUEVANETOOLDEVICE_H
