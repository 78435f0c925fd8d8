// `explain`: where every entry of a parcel comes from, and for the matrix entries the matrices
// that the stage multiplied, in order, and their product. The account is the engine's own, kept
// while it built the parcel.
#ifndef HUEVANE_TOOLS_HUEVANETOOLEXPLAIN_H
#define HUEVANE_TOOLS_HUEVANETOOLEXPLAIN_H

#include <ostream>
#include <string>

#include "HuevaneInspection.h"
#include "HuevaneMatrixText.h"
#include "HuevaneToolCommand.h"

// The parcel and its account, as text or one JSON document; file names as this host knows them.
void writeExplanation(const huevane::HuevaneInspection& inspection,
                      const huevane::HuevaneInspectedParcel& parcel, bool json, std::ostream& out);

// The 4x4 matrix as rows ("row r holds index 4c + r"), values and fixed-point numbers.
void writeMatrixRows(const huevane::mat4& matrix, const std::string& indent, std::ostream& out);

#endif  // HUEVANE_TOOLS_HUEVANETOOLEXPLAIN_H
