// JSON text helpers for huevane-tool's --json output: strings only need escaping, everything
// else the tool prints is a number, a bool or an array of those.
#ifndef HUEVANE_TOOLS_HUEVANETOOLJSON_H
#define HUEVANE_TOOLS_HUEVANETOOLJSON_H

#include <cstdio>
#include <string>

// `text` as a quoted JSON string. Calibration texts are ASCII; any other byte (a control
// character, or a high byte from a corrupt parcel) is escaped as \u00XX so that the document
// stays valid whatever the input held.
inline std::string jsonString(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c < 0x20 || c >= 0x7F) {
            char escaped[8];
            snprintf(escaped, sizeof(escaped), "\\u%04x", c);
            out += escaped;
        } else {
            out += static_cast<char>(c);
        }
    }
    out += '"';
    return out;
}

#endif  // HUEVANE_TOOLS_HUEVANETOOLJSON_H
