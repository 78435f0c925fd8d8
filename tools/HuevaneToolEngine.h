// The subcommands that drive a real engine through IHuevane on a copied device tree: what they
// print is what the compositor and the hardware block would get on the device.
#ifndef HUEVANE_TOOLS_HUEVANETOOLENGINE_H
#define HUEVANE_TOOLS_HUEVANETOOLENGINE_H

#include "HuevaneToolOptions.h"

// `modes`: the colour modes and, under each, its render intents.
int runModes(HuevaneToolArgs& args, const HuevaneToolGlobals& globals);
// `parcel`: one request, one coefficient parcel, written raw or printed decoded.
int runParcel(HuevaneToolArgs& args, const HuevaneToolGlobals& globals);

#endif  // HUEVANE_TOOLS_HUEVANETOOLENGINE_H
