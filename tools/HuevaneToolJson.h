// huevane-tool's JSON output: nlohmann-json with keys in the order they are set, snake_case
// keys everywhere (listed in the README).
#ifndef HUEVANE_TOOLS_HUEVANETOOLJSON_H
#define HUEVANE_TOOLS_HUEVANETOOLJSON_H

#include <nlohmann/json.hpp>
#include <ostream>

using HuevaneJson = nlohmann::ordered_json;

// One document, indented, newline at the end. Bytes that are not UTF-8 (a corrupt parcel's text)
// become U+FFFD rather than making the document invalid.
inline void writeJson(std::ostream& out, const HuevaneJson& document) {
    out << document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

#endif  // HUEVANE_TOOLS_HUEVANETOOLJSON_H
