// The lines the sources and the matrix stages write about the LUTs they hold.
#ifndef HUEVANE_SOURCES_HUEVANESTAGEDLUTS_H
#define HUEVANE_SOURCES_HUEVANESTAGEDLUTS_H

#include "HuevaneDataLut.h"

namespace huevane {

// Warns when LUTs of an earlier update are still staged: a new one is being added on top.
void warnUnappliedDataLuts(const HuevaneDataLutList& staged);
// Logs each LUT as "id[%d] attr(%d,%d,%d,%d) %s\n": the dump of the caller-given sources.
void dumpStagedDataLuts(const HuevaneDataLutList& luts);

}  // namespace huevane

#endif  // HUEVANE_SOURCES_HUEVANESTAGEDLUTS_H
