// `report`: one self-contained HTML page for a device's calibration: its modes and intents, per
// pair the LUTs with their curves and the matrices, and the lint findings.
#ifndef HUEVANE_TOOLS_HUEVANETOOLREPORT_H
#define HUEVANE_TOOLS_HUEVANETOOLREPORT_H

#include <string>
#include <vector>

#include "HuevaneColourReport.h"
#include "HuevaneToolCommand.h"
#include "HuevaneToolModel.h"

// `findings` are lint's; `colour`, when given, what --panel adds. The page fetches nothing: no
// scripts, fonts, style sheets or images.
std::string reportHtml(const HuevaneCalibrationModel& model, const std::string& heading,
                       const std::vector<HuevaneFinding>& findings,
                       const HuevaneReportColour* colour = nullptr);

#endif  // HUEVANE_TOOLS_HUEVANETOOLREPORT_H
